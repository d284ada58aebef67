#include "app/QuorvelView.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include "ftp/MirrorRoot.h"
#include "support/FolderRemoval.h"
#include "transfer/TransferRoutines.h"
#include "tree/FileTexts.h"
#include "tree/TreeOperations.h"
#include "tree/VersionResource.h"

// How the tree and the mirror follow what a completed job changed.

namespace {

// The tree now shows on nToSide what it shows on nFromSide: the copy of a whole item has completed.
void MarkCopied(CFileItem* pItem, int nFromSide, int nToSide, const CSharedText& strTargetFolder)
{
    pItem->strPaths[nToSide] = strTargetFolder;
    if (pItem->kind == KIND_FILE) {
        CopySide(nFromSide, nToSide, pItem);
    } else {
        pItem->status = DIR_BOTH;
        pItem->bListed[nToSide] = true;
        // One folder text for all the children.
        const CSharedText strChildFolder(JoinPath(strTargetFolder, pItem->strName));
        for (CFileItem* pChild = pItem->pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            if (!pChild->strPaths[nFromSide].IsEmpty()) {
                MarkCopied(pChild, nFromSide, nToSide, strChildFolder);
            }
        }
    }
    SetIconsFromStatus(pItem);
}

// The tree no longer shows the item on nSide: what only that side had goes, the rest stays on the other.
void MarkDeleted(CFileItem* pItem, int nSide)
{
    const int nOther = 1 - nSide;
    if (pItem->strPaths[nOther].IsEmpty()) {
        DeleteItem(pItem);
        return;
    }
    if (pItem->kind == KIND_FILE) {
        DropSide(nSide, pItem);
    } else {
        DropDirSide(nSide, pItem);
        for (CFileItem* pChild = pItem->pFirstChild; pChild != nullptr;) {
            CFileItem* pNext = pChild->pNext;
            MarkDeleted(pChild, nSide);
            pChild = pNext;
        }
    }
    SetIconsFromStatus(pItem);
}

void RemoveMarkers(const QString& strFolder, const QString& strFileName)
{
    const QDir folder(strFolder);
    for (const QString& strName : folder.entryList(QDir::Files | QDir::Hidden)) {
        const std::optional<MarkerInfo> marker = ParseMarkerName(strName);
        if (marker && (strFileName.isEmpty() || marker->strFileName == strFileName)) {
            QFile::remove(folder.filePath(strName));
        }
    }
}

} // namespace

void CQuorvelView::RefreshAfterCopy(const TransferJob& job)
{
    const bool bUpload = job.operation == TransferOperation::Upload;
    if (bUpload) {
        ForgetMirrorCopy(RemotePathOf(job));
    }
    const std::optional<QString> relative = m_paths.RelativeOfRemote(RemotePathOf(job));
    if (!relative) {
        return;
    }
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    CFileItem* pItem = FindByRelativePath(*relative, job.bFolder ? KIND_DIR : KIND_FILE);
    if (pItem == nullptr || pItem == Tree().Root()) {
        return;
    }
    const int nFromSide = bUpload ? SIDE_LEFT : SIDE_RIGHT;
    const QString strTargetFolder
        = bUpload ? m_paths.CachePathOf(job.strRemoteFolder) : QFileInfo(job.strLocalPath).path();
    // Only the copy of the same item (not one to another name or folder) makes it Same.
    if (FullName(*pItem, nFromSide) != (bUpload ? job.strLocalPath : m_paths.CachePathOf(RemotePathOf(job)))
        || (!bUpload && JoinPath(strTargetFolder, pItem->strName) != job.strLocalPath)) {
        return;
    }
    MarkCopied(pItem, nFromSide, 1 - nFromSide, strTargetFolder);
}

void CQuorvelView::RefreshAfterCache(const QString& strRemotePath, bool bFolder)
{
    const QString strCache = m_paths.CachePathOf(strRemotePath);
    const std::optional<QString> relative = m_paths.RelativeOfRemote(strRemotePath);
    if (!relative) {
        return;
    }
    // The downloaded contents replace the placeholders: their markers must not speak for them any more.
    if (bFolder) {
        RemoveMarkers(strCache, {});
        QDirIterator folders(strCache, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
        while (folders.hasNext()) {
            RemoveMarkers(folders.next(), {});
        }
    } else {
        RemoveMarkers(QFileInfo(strCache).path(), QFileInfo(strCache).fileName());
    }
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    CFileItem* pItem = FindByRelativePath(*relative, bFolder ? KIND_DIR : KIND_FILE);
    if (pItem == nullptr) {
        return;
    }
    CItemComparer comparer;
    if (bFolder) {
        CFolderScanner().ScanFolder(pItem, strCache, strRemotePath, pItem->indent, SIDE_RIGHT, true);
        comparer.CompareTree(pItem, 1);
        AddComparedFiles(comparer.ComparedFiles());
        return;
    }
    const QFileInfo info(strCache);
    pItem->strSize[SIDE_RIGHT] = MakeSizeText(static_cast<std::uint64_t>(info.size()));
    pItem->strTime[SIDE_RIGHT] = MakeTimeText(info.lastModified().toSecsSinceEpoch());
    pItem->strVersion[SIDE_RIGHT]
        = MayHaveVersionResource(pItem->strName) ? ReadVersionText(info.filePath()) : QString();
    pItem->nAttrSource = ATTR_FROM_FILE;
    comparer.CompareItem(pItem);
    AddComparedFiles(comparer.ComparedFiles());
}

void CQuorvelView::RefreshAfterDelete(const TransferJob& job, int nSide)
{
    if (nSide == SIDE_RIGHT) {
        ForgetMirrorCopy(RemotePathOf(job));
    }
    const std::optional<QString> relative = nSide == SIDE_LEFT ? m_paths.RelativeOf(job.strLocalPath, SIDE_LEFT)
                                                               : m_paths.RelativeOfRemote(RemotePathOf(job));
    if (!relative || relative->isEmpty()) {
        return;
    }
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    if (CFileItem* pItem = FindByRelativePath(*relative, job.bFolder ? KIND_DIR : KIND_FILE)) {
        MarkDeleted(pItem, nSide);
    }
}

std::int64_t CQuorvelView::RecordedSize(const QString& strRemotePath)
{
    const std::optional<QString> relative = m_paths.RelativeOfRemote(strRemotePath);
    if (!relative || relative->isEmpty()) {
        return 0;
    }
    std::lock_guard lock(m_viewLock);
    const CFileItem* pItem = FindByRelativePath(*relative, KIND_FILE);
    if (pItem == nullptr) {
        pItem = FindByRelativePath(*relative, KIND_DIR);
    }
    return pItem != nullptr && !pItem->strPaths[SIDE_RIGHT].IsEmpty() ? ItemBytes(*pItem, SIDE_RIGHT) : 0;
}

void CQuorvelView::RefreshAfterDrop(const QString& strPath, int nSide, const QString& strTargetFolder)
{
    const std::optional<QString> relative = nSide == SIDE_LEFT ? m_paths.RelativeOf(strTargetFolder, SIDE_LEFT)
                                                               : m_paths.RelativeOfRemote(strTargetFolder);
    if (!relative) {
        return;
    }
    const QFileInfo source(strPath);
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    CFileItem* pFolder = FindByRelativePath(*relative, KIND_DIR);
    if (pFolder == nullptr) {
        return;
    }
    const QString strSideFolder = nSide == SIDE_LEFT ? strTargetFolder : m_paths.CachePathOf(strTargetFolder);
    if (nSide == SIDE_LEFT) {
        // A local copy is on disk: read it as a scan would.
        CFolderScanner().ScanFolder(pFolder, strSideFolder, strSideFolder, pFolder->indent, SIDE_LEFT, true);
        CItemComparer comparer;
        comparer.CompareTree(pFolder, 1);
        AddComparedFiles(comparer.ComparedFiles());
        return;
    }
    ShowNewOnServer(pFolder, strTargetFolder, source.fileName(), source.isDir(),
        MakeSizeText(static_cast<std::uint64_t>(source.size())),
        MakeTimeText(source.lastModified().toSecsSinceEpoch()));
}

void CQuorvelView::RefreshAfterRemoteRename(const TransferJob& job)
{
    ForgetMirrorCopy(RemotePathOf(job));
    ForgetMirrorCopy(job.strTargetRemotePath);
}

void CQuorvelView::RefreshAfterServerCopy(const TransferJob& job)
{
    ForgetMirrorCopy(job.strTargetRemotePath);
    const qsizetype nCut = job.strTargetRemotePath.lastIndexOf(QLatin1Char('/'));
    const QString strTargetFolder = nCut <= 0 ? QStringLiteral("/") : job.strTargetRemotePath.left(nCut);
    const std::optional<QString> target = m_paths.RelativeOfRemote(strTargetFolder);
    const std::optional<QString> source = m_paths.RelativeOfRemote(RemotePathOf(job));
    if (!target) {
        return;
    }
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    CFileItem* pFolder = FindByRelativePath(*target, KIND_DIR);
    const CFileItem* pSource = source ? FindByRelativePath(*source, job.bFolder ? KIND_DIR : KIND_FILE) : nullptr;
    if (pFolder == nullptr) {
        return;
    }
    ShowNewOnServer(pFolder, strTargetFolder, job.strTargetRemotePath.mid(nCut + 1), job.bFolder,
        pSource != nullptr ? pSource->strSize[SIDE_RIGHT].Text() : QString(),
        pSource != nullptr ? pSource->strTime[SIDE_RIGHT].Text() : QString());
}

void CQuorvelView::ShowNewOnServer(CFileItem* pFolder, const QString& strRemoteFolder, const QString& strName,
    bool bFolder, const QString& strSize, const QString& strTime)
{
    // The server has it now but the mirror has not listed it: shown as it was sent, not compared.
    CFileItemPtr pNew = NewItem();
    pNew->strName = strName;
    pNew->indent = pFolder->indent + 1;
    pNew->strPaths[SIDE_RIGHT] = m_paths.CachePathOf(strRemoteFolder);
    pNew->strShowPaths[SIDE_RIGHT] = strRemoteFolder;
    if (bFolder) {
        pNew->kind = KIND_DIR;
        pNew->status = DIR_RIGHT_ONLY;
    } else {
        pNew->kind = KIND_FILE;
        pNew->status = FILE_RIGHT_ONLY;
        pNew->strSize[SIDE_RIGHT] = strSize;
        pNew->strTime[SIDE_RIGHT] = strTime;
        pNew->strVersion[SIDE_RIGHT] = kUnknownVersion;
    }
    CFileItem* pLive = AddItem(std::move(pNew), pFolder);
    if (pLive->kind == KIND_FILE && !pLive->strPaths[SIDE_LEFT].IsEmpty()) {
        pLive->status = FILE_UNKNOWN;
    } else if (pLive->kind == KIND_DIR && !pLive->strPaths[SIDE_LEFT].IsEmpty()) {
        pLive->status = DIR_BOTH;
    }
    SetIconsFromStatus(pLive);
}

void CQuorvelView::RefreshAfterNewName(
    const ItemPath& folder, int nSide, const QString& strName, const CFileItem* pFormer)
{
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    CFileItem* pFolder = FindByRelativePath(folder.strRelative, KIND_DIR);
    if (pFolder == nullptr) {
        return;
    }
    if (pFormer != nullptr) {
        if (CFileItem* pOld = FindSibling(pFormer->kind, pFormer->strName, pFolder->pFirstChild)) {
            MarkDeleted(pOld, nSide);
        }
    }
    const QString strSideFolder = FolderPathOn(*pFolder, nSide);
    CFileItemPtr pNew = NewItem();
    pNew->kind = pFormer != nullptr ? pFormer->kind : KIND_DIR;
    pNew->strName = strName;
    pNew->indent = pFolder->indent + 1;
    pNew->strPaths[nSide] = strSideFolder;
    pNew->strShowPaths[nSide] = nSide == SIDE_LEFT ? strSideFolder : m_paths.RemoteFolderOf(strSideFolder);
    if (pNew->kind == KIND_FILE) {
        // A rename keeps size, time and contents.
        pNew->status = nSide == SIDE_LEFT ? FILE_LEFT_ONLY : FILE_RIGHT_ONLY;
        pNew->strSize[nSide] = pFormer->strSize[nSide];
        pNew->strTime[nSide] = pFormer->strTime[nSide];
        pNew->strVersion[nSide] = pFormer->strVersion[nSide];
    } else {
        pNew->status = nSide == SIDE_LEFT ? DIR_LEFT_ONLY : DIR_RIGHT_ONLY;
        pNew->bListed[nSide] = nSide == SIDE_LEFT;
    }
    CFileItem* pLive = AddItem(std::move(pNew), pFolder);
    const bool bBoth = !pLive->strPaths[SIDE_LEFT].IsEmpty() && !pLive->strPaths[SIDE_RIGHT].IsEmpty();
    if (pLive->kind == KIND_DIR && nSide == SIDE_LEFT) {
        // A renamed local folder is read again below its new name.
        const QString strPath = JoinPath(strSideFolder, strName);
        CFolderScanner().ScanFolder(pLive, strPath, strPath, pLive->indent, SIDE_LEFT, true);
    }
    if (bBoth && nSide == SIDE_LEFT) {
        CItemComparer comparer;
        if (pLive->kind == KIND_DIR) {
            comparer.CompareTree(pLive, 1);
        } else {
            comparer.CompareItem(pLive);
        }
        AddComparedFiles(comparer.ComparedFiles());
    } else if (bBoth && pLive->kind == KIND_FILE) {
        // The mirror has no copy under the new name until the next listing: undecided until then.
        pLive->status = FILE_UNKNOWN;
        pLive->strVersion[SIDE_RIGHT] = kUnknownVersion;
    }
    SetIconsFromStatus(pLive);
}

// After a job has changed the server, the mirror's copy of what it touched no longer stands for it (and a
// listing with minutes only may not show the change): it goes, the folders above it are no longer current,
// and the next scan fetches the truth.
void CQuorvelView::ForgetMirrorCopy(const QString& strRemotePath) const
{
    const QString strCache = m_paths.CachePathOf(strRemotePath);
    if (strCache.isEmpty() || strCache == Folders().strMirror) {
        return;
    }
    const QFileInfo copy(strCache);
    const QString strMirrorRoot = QDir::cleanPath(Folders().strMirror);
    for (QString strFolder = QDir::cleanPath(copy.path()); strFolder.startsWith(strMirrorRoot);
         strFolder = QFileInfo(strFolder).path()) {
        QFile::remove(QDir(strFolder).filePath(QString::fromLatin1(kFolderCurrentMarker)));
        if (strFolder == strMirrorRoot) {
            break;
        }
    }
    const bool bFolder = copy.isDir() && !copy.isSymLink();
    (void)RemoveLocalEntry(copy.filePath());
    if (!bFolder) {
        RemoveMarkers(copy.path(), copy.fileName());
    }
}
