// The view's commands that edit one side in place: rename and new folder.
#include <QFileInfo>

#include "app/QuorvelView.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/LocalRename.h"
#include "support/TextFormat.h"
#include "transfer/TransferRoutines.h"
#include "tree/NameRules.h"
#include "tree/TreeOperations.h"

namespace {

const char* const kSideWords[2] = { "local", "FTP" };

// A sibling that already has the name on that side.
bool NameTakenOnSide(const CFileItem& folder, const CFileItem* pExcept, int nSide, const QString& strName)
{
    for (const CFileItem* pChild = folder.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        if (pChild != pExcept && !pChild->strPaths[nSide].IsEmpty() && NamesMatch(pChild->strName, strName)) {
            return true;
        }
    }
    return false;
}

} // namespace

QString CQuorvelView::FolderPathOn(const CFileItem& folder, int nSide) const
{
    if (folder.fParent == nullptr) {
        return m_paths.Root(nSide);
    }
    return JoinPath(folder.strPaths[nSide], folder.strName);
}

int CQuorvelView::RunRemoteCommand(const std::function<int(TransferContext&)>& command, QString& strFailure)
{
    std::unique_ptr<CCurlConnection> pConnection = m_session.AcquireConnection(nullptr);
    if (!pConnection) {
        strFailure = QStringLiteral("The FTP connection was lost.");
        return TRANSFER_FAILED;
    }
    TransferContext context { *pConnection, m_trace, {}, nullptr, true, {}, {}, -1 };
    const int nResult = command(context);
    strFailure = context.strFailure;
    m_session.ReleaseConnection(std::move(pConnection));
    return nResult;
}

QString CQuorvelView::RenameItem(const ItemPath& item, int nSide, const QString& strNewName)
{
    if (QString strWhy = WhyNameIsRefused(strNewName); !strWhy.isEmpty()) {
        return strWhy;
    }
    CFileItemPtr pFormer;
    QString strFolder;
    {
        std::lock_guard lock(m_viewLock);
        const CFileItem* pItem = FindByRelativePath(item.strRelative, item.nKind);
        if (pItem == nullptr || pItem->strPaths[nSide].IsEmpty()) {
            return FormatText("\"%s\" is no longer on the %s side.", item.strRelative, kSideWords[nSide]);
        }
        if (pItem->strName == strNewName) {
            return {};
        }
        if (NameTakenOnSide(*pItem->fParent, pItem, nSide, strNewName)) {
            return FormatText(
                "\"%s\" already exists on the %s side; nothing was renamed.", strNewName, kSideWords[nSide]);
        }
        pFormer = CloneItem(*pItem);
        strFolder = pItem->strPaths[nSide];
    }
    if (nSide == SIDE_LEFT) {
        if (QString strError = RenameLocalEntry(JoinPath(strFolder, pFormer->strName), JoinPath(strFolder, strNewName));
            !strError.isEmpty()) {
            m_trace.AddTraceText(TRACE_ERROR, strError);
            return strError;
        }
    } else {
        const QString strRemoteFolder = m_paths.RemoteFolderOf(strFolder);
        if (strRemoteFolder.isEmpty()) {
            return FormatText("\"%s\" lies outside the compared FTP folder.", strFolder);
        }
        QString strFailure;
        if (RunRemoteCommand(
                [&](TransferContext& context) {
                    return RenameRemote(context, strRemoteFolder, pFormer->strName, strNewName);
                },
                strFailure)
            != TRANSFER_DONE) {
            return FormatText("\"%s\" could not be renamed on the server. %s",
                JoinRemotePath(strRemoteFolder, pFormer->strName), strFailure);
        }
        ForgetMirrorCopy(JoinRemotePath(strRemoteFolder, pFormer->strName));
    }
    const qsizetype nCut = item.strRelative.lastIndexOf(QLatin1Char('/'));
    RefreshAfterNewName(
        { nCut < 0 ? QString() : item.strRelative.left(nCut), KIND_DIR }, nSide, strNewName, pFormer.get());
    return {};
}

QString CQuorvelView::RenameInFolder(int nSide, const QString& strFolder, const QString& strFrom, const QString& strTo)
{
    if (nSide == SIDE_LEFT) {
        QString strError = RenameLocalEntry(JoinPath(strFolder, strFrom), JoinPath(strFolder, strTo));
        if (!strError.isEmpty()) {
            m_trace.AddTraceText(TRACE_ERROR, strError);
        }
        return strError;
    }
    // A job of its own in the transfer list, where a refused one can be run again.
    if (RunJobAndWait(MakeRemoteRenameJob(strFolder, strFrom, strTo)) != TRANSFER_DONE) {
        return FormatText(
            "%s could not be renamed on the server; the transfer list says why.", JoinRemotePath(strFolder, strFrom));
    }
    return {};
}

QString CQuorvelView::MakeFolder(const ItemPath& folder, int nSide, const QString& strName)
{
    if (QString strWhy = WhyNameIsRefused(strName); !strWhy.isEmpty()) {
        return strWhy;
    }
    QString strParent;
    {
        std::lock_guard lock(m_viewLock);
        const CFileItem* pFolder = FindByRelativePath(folder.strRelative, KIND_DIR);
        if (pFolder == nullptr || (pFolder->fParent != nullptr && pFolder->strPaths[nSide].IsEmpty())) {
            return FormatText("The folder \"%s\" is not on the %s side.", folder.strRelative, kSideWords[nSide]);
        }
        if (NameTakenOnSide(*pFolder, nullptr, nSide, strName)) {
            return FormatText("\"%s\" already exists on the %s side.", strName, kSideWords[nSide]);
        }
        strParent = FolderPathOn(*pFolder, nSide);
    }
    if (nSide == SIDE_LEFT) {
        if (QString strError = MakeLocalFolder(JoinPath(strParent, strName)); !strError.isEmpty()) {
            m_trace.AddTraceText(TRACE_ERROR, strError);
            return strError;
        }
    } else {
        const QString strRemoteFolder = m_paths.RemoteFolderOf(strParent);
        QString strFailure;
        if (strRemoteFolder.isEmpty()
            || RunRemoteCommand(
                   [&](TransferContext& context) { return MakeRemoteFolder(context, strRemoteFolder, strName); },
                   strFailure)
                != TRANSFER_DONE) {
            return FormatText("The folder \"%s\" could not be made on the server. %s",
                JoinRemotePath(strRemoteFolder, strName), strFailure);
        }
        ForgetMirrorCopy(JoinRemotePath(strRemoteFolder, strName));
    }
    RefreshAfterNewName(folder, nSide, strName, nullptr);
    return {};
}
