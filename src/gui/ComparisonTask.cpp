#include "gui/ComparisonTask.h"

CComparisonTask::CComparisonTask(Work work, Snapshot snapshot, QObject* pParent)
    : QObject(pParent)
    , m_work(std::move(work))
    , m_snapshot(std::move(snapshot))
{ }

CComparisonTask::~CComparisonTask()
{
    m_bCancel = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void CComparisonTask::Start()
{
    m_thread = std::thread([this] {
        const ComparisonOutcome outcome = m_work(m_bCancel, [this](const QString& strText) { Report(strText); });
        std::shared_ptr<const CTreeSnapshot> pSnapshot = m_bCancel.load() ? nullptr : m_snapshot();
        QMetaObject::invokeMethod(
            this, [this, outcome, pSnapshot] { emit Finished(outcome, pSnapshot); }, Qt::QueuedConnection);
    });
}

void CComparisonTask::Report(const QString& strText)
{
    std::lock_guard lock(m_mutex);
    m_strProgress = strText.trimmed();
    if (!m_bProgressPosted) {
        m_bProgressPosted = true;
        QMetaObject::invokeMethod(this, &CComparisonTask::DeliverProgress, Qt::QueuedConnection);
    }
}

void CComparisonTask::DeliverProgress()
{
    QString strText;
    {
        std::lock_guard lock(m_mutex);
        strText = m_strProgress;
        m_bProgressPosted = false;
    }
    emit ProgressChanged(strText);
}
