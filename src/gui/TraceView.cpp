#include "gui/TraceView.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QMenu>

#include "support/TextFormat.h"

CTraceView::CTraceView(QWidget* pParent)
    : QListWidget(pParent)
{
    setObjectName(QStringLiteral("tracePane"));
    // The prefixes are padded to line up in a fixed-width font.
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setUniformItemSizes(true);
    setToolTip(QStringLiteral("Every FTP command and the server's answer"));
}

CTraceView::~CTraceView()
{
    Attach(nullptr);
}

void CTraceView::Attach(CTraceBuffer* pBuffer)
{
    if (m_pBuffer != nullptr) {
        m_pBuffer->SetObserver(nullptr);
    }
    m_pBuffer = pBuffer;
    clear();
    {
        std::lock_guard lock(m_mutex);
        m_pending.clear();
        m_bClearFirst = false;
    }
    if (pBuffer != nullptr) {
        pBuffer->SetObserver(this);
        for (const TraceLine& line : pBuffer->Lines()) {
            Append(line);
        }
        setCurrentRow(count() - 1);
    }
}

void CTraceView::OnTraceLine(const TraceLine& line, bool bEmptiedFirst)
{
    std::lock_guard lock(m_mutex);
    if (bEmptiedFirst) {
        m_pending.clear();
        m_bClearFirst = true;
    }
    m_pending.push_back(line);
    if (!m_bFlushPosted) {
        m_bFlushPosted = true;
        QMetaObject::invokeMethod(this, &CTraceView::Flush, Qt::QueuedConnection);
    }
}

void CTraceView::Flush()
{
    std::vector<TraceLine> lines;
    bool bClear = false;
    {
        std::lock_guard lock(m_mutex);
        lines.swap(m_pending);
        bClear = m_bClearFirst;
        m_bClearFirst = false;
        m_bFlushPosted = false;
    }
    if (bClear) {
        clear();
    }
    if (lines.empty()) {
        return;
    }
    for (const TraceLine& line : lines) {
        Append(line);
    }
    setCurrentRow(count() - 1);
    scrollToBottom();
}

void CTraceView::Append(const TraceLine& line)
{
    auto* pItem = new QListWidgetItem(EscapeControlCharacters(line.strText), this);
    pItem->setForeground(QColor(line.color.nRed, line.color.nGreen, line.color.nBlue));
}

QString CTraceView::SelectedText() const
{
    QStringList lines;
    const bool bAll = selectedItems().isEmpty();
    for (int nRow = 0; nRow < count(); ++nRow) {
        if (bAll || item(nRow)->isSelected()) {
            lines.append(item(nRow)->text());
        }
    }
    return lines.join(QLatin1Char('\n'));
}

void CTraceView::CopySelection() const
{
    QApplication::clipboard()->setText(SelectedText());
}

void CTraceView::contextMenuEvent(QContextMenuEvent* pEvent)
{
    QMenu menu(this);
    QAction* pCopy = menu.addAction(QStringLiteral("&Copy"), this, &CTraceView::CopySelection);
    pCopy->setShortcut(QKeySequence::Copy);
    menu.addAction(QStringLiteral("C&lear"), this, [this] { clear(); });
    menu.exec(pEvent->globalPos());
}
