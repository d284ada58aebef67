#include "app/RemoteEditSession.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include "app/ComparisonDocument.h"
#include "app/QuorvelView.h"
#include "support/TextFormat.h"
#include "transfer/TransferRoutines.h"

namespace {

// An edited copy goes back over the file it came from: the user has just said so.
class CReplacePrompt : public IConflictPrompt
{
public:
    ConflictAnswer AskReplace(const QString&, int) override { return ConflictAnswer::Replace; }
};

} // namespace

CRemoteEditSession::CRemoteEditSession(CComparisonDocument& document, Ask ask, Tell tell)
    : m_document(document)
    , m_ask(std::move(ask))
    , m_tell(std::move(tell))
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(700);
    QObject::connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_settle, [this](const QString& strPath) {
        m_changed.insert(strPath);
        m_settle.start();
    });
    QObject::connect(&m_settle, &QTimer::timeout, &m_settle, [this] { OfferUploads(); });
}

QString CRemoteEditSession::StartEdit(
    const QString& strBase, const QString& strCached, const QString& strRemotePath, QString& strError)
{
    QDir().mkpath(strBase);
    QTemporaryDir folder(QDir(strBase).filePath(QStringLiteral("XXXXXX")));
    folder.setAutoRemove(false);
    QString strCopy = folder.filePath(QFileInfo(strCached).fileName());
    strError
        = folder.isValid() ? CopyLocalFile(strCached, strCopy) : FormatText("The folder %s cannot be made.", strBase);
    if (!strError.isEmpty()) {
        return {};
    }
    m_edits[strCopy] = { strRemotePath, m_document.Request().strRight };
    m_watcher.addPath(strCopy);
    return strCopy;
}

void CRemoteEditSession::OfferUploads()
{
    if (m_bAsking) {
        m_settle.start();
        return;
    }
    const std::set<QString> changed = std::exchange(m_changed, {});
    for (const QString& strCopy : changed) {
        if (!QFileInfo::exists(strCopy)) {
            continue;
        }
        // A copy written anew and renamed into place is a new file to the watcher.
        if (!m_watcher.files().contains(strCopy)) {
            m_watcher.addPath(strCopy);
        }
        const EditedCopy edit = m_edits[strCopy];
        m_bAsking = true;
        const bool bSend = m_ask(strCopy, edit.strRemotePath);
        m_bAsking = false;
        if (!bSend) {
            continue;
        }
        CQuorvelView* pView = m_document.View();
        if (pView == nullptr || m_document.Request().strRight != edit.strComparison) {
            m_tell(FormatText(
                "The comparison of %s is closed; the edited copy stays in %s.", edit.strRemotePath, strCopy));
            continue;
        }
        const qsizetype nCut = edit.strRemotePath.lastIndexOf(QLatin1Char('/'));
        CReplacePrompt replace;
        pView->SetConflictPrompt(&replace);
        pView->DropFiles({ strCopy }, SIDE_RIGHT, nCut <= 0 ? QStringLiteral("/") : edit.strRemotePath.left(nCut));
        pView->SetConflictPrompt(nullptr);
    }
}
