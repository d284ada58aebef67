#include "app/JobMaking.h"

#include <QDir>
#include <QFileInfo>

#include "ftp/ListingParser.h"
#include "support/TextFormat.h"
#include "transfer/TransferRoutines.h"
#include "tree/FileItem.h"
#include "tree/FileTexts.h"
#include "tree/FileTree.h"

namespace {

// The folder on nToSide that receives the item: the one matching its parent, made up from the nearest
// folder above that the side has (or the side's root) where the side lacks the parent.
QString TargetFolderOf(const CViewPaths& paths, const CFileTree& tree, const CFileItem& item, int nToSide)
{
    bool bDerived = false;
    QString strTarget = tree.FillOutTargetPath(&item, nToSide, bDerived);
    if (!strTarget.isEmpty()) {
        return strTarget;
    }
    QString strRelative;
    for (const CFileItem* pFolder = item.fParent; pFolder != nullptr; pFolder = pFolder->fParent) {
        if (pFolder->fParent == nullptr) {
            const QString& strRoot = paths.Root(nToSide);
            return strRelative.isEmpty() ? strRoot : JoinPath(strRoot, strRelative);
        }
        if (!pFolder->strPaths[nToSide].IsEmpty()) {
            const QString strFolder = JoinPath(pFolder->strPaths[nToSide], pFolder->strName);
            return strRelative.isEmpty() ? strFolder : JoinPath(strFolder, strRelative);
        }
        strRelative = strRelative.isEmpty() ? pFolder->strName : JoinPath(pFolder->strName, strRelative);
    }
    return {};
}

// A folder of the tree as the user knows it: "docs/old".
QString PathOfFolderItem(const CFileItem& folder)
{
    QStringList names;
    for (const CFileItem* pItem = &folder; pItem != nullptr && pItem->fParent != nullptr; pItem = pItem->fParent) {
        names.prepend(pItem->strName);
    }
    return names.join(QLatin1Char('/'));
}

// Whether the item or a folder above it is a link on nSide: nothing is written through one.
const CFileItem* LinkAbove(const CFileItem& item, int nSide)
{
    for (const CFileItem* pFolder = item.fParent; pFolder != nullptr; pFolder = pFolder->fParent) {
        if (pFolder->bLink[nSide] || pFolder->nRead[nSide] == SideRead::LinkNotFollowed) {
            return pFolder;
        }
    }
    return nullptr;
}

// The items below folder on nSide, as PlanOfItem gives them, below strPrefix.
void AddToPlan(const CFileItem& folder, const QString& strPrefix, int nSide, PlanPurpose purpose, FolderPlan& plan,
    QStringList* pSkipped)
{
    for (const CFileItem* pItem = folder.pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        if (pItem->strPaths[nSide].IsEmpty()) {
            continue;
        }
        const QString strRelative
            = strPrefix.isEmpty() ? pItem->strName : strPrefix + QLatin1Char('/') + pItem->strName;
        const bool bFolder = pItem->kind == KIND_DIR;
        const bool bLink = bFolder && (pItem->bLink[nSide] || pItem->nRead[nSide] == SideRead::LinkNotFollowed);
        const bool bUnread
            = pItem->nRead[nSide] == SideRead::Unreadable || pItem->nRead[nSide] == SideRead::ListingFailed;
        const std::int64_t nSize = bFolder ? -1 : BytesOfSizeText(pItem->strSize[nSide]);
        if (purpose == PlanPurpose::Delete) {
            plan.push_back({ strRelative, bFolder, bLink, nSize });
        } else if (bLink || (bUnread && !bFolder)) {
            // A link is not copied as what it leads to, nor a file that could not be read.
            if (pSkipped != nullptr) {
                pSkipped->append(strRelative);
            }
            continue;
        } else {
            plan.push_back({ strRelative, bFolder, false, nSize });
            if (bUnread && pSkipped != nullptr) {
                pSkipped->append(strRelative);
            }
        }
        if (bFolder && !bLink) {
            AddToPlan(*pItem, strRelative, nSide, purpose, plan, pSkipped);
        }
    }
}

// A download of the FTP item to strLocalPath.
TransferJob DownloadOf(const CViewPaths& paths, const CFileItem& item, const QString& strLocalPath)
{
    TransferJob job;
    job.operation = TransferOperation::Download;
    job.bFolder = item.kind == KIND_DIR;
    job.strName = item.strName;
    job.strRemoteFolder = paths.RemoteFolderOf(item.strPaths[SIDE_RIGHT]);
    job.strLocalPath = strLocalPath;
    if (!job.bFolder) {
        job.nExpectedSize = BytesOfSizeText(item.strSize[SIDE_RIGHT]);
    } else {
        job.plan = PlanOfItem(item, SIDE_RIGHT, PlanPurpose::Copy);
    }
    return job;
}

} // namespace

const QString& CViewPaths::Root(int nSide) const
{
    return nSide == SIDE_LEFT ? m_folders.strLocal : m_folders.strMirror;
}

std::optional<QString> CViewPaths::RelativeOf(const QString& strPath, int nSide) const
{
    const QString strClean = QDir::cleanPath(strPath);
    const QString strCleanRoot = QDir::cleanPath(Root(nSide));
    if (strClean == strCleanRoot) {
        return QString();
    }
    const QString strPrefix = strCleanRoot.endsWith(QLatin1Char('/')) ? strCleanRoot : strCleanRoot + QLatin1Char('/');
    if (!strClean.startsWith(strPrefix)) {
        return std::nullopt;
    }
    return strClean.mid(strPrefix.size());
}

QString CViewPaths::RemoteFolderOf(const QString& strMirrorFolder) const
{
    const std::optional<QString> relative = RelativeOf(strMirrorFolder, SIDE_RIGHT);
    if (!relative) {
        return {};
    }
    return relative->isEmpty() ? m_folders.strRemote : JoinRemotePath(m_folders.strRemote, *relative);
}

QString CViewPaths::CachePathOf(const QString& strRemotePath) const
{
    const QString strRoot
        = m_folders.strRemote.endsWith(QLatin1Char('/')) ? m_folders.strRemote : m_folders.strRemote + QLatin1Char('/');
    if (strRemotePath == m_folders.strRemote || strRemotePath + QLatin1Char('/') == strRoot) {
        return m_folders.strMirror;
    }
    if (!strRemotePath.startsWith(strRoot)) {
        return {};
    }
    const QString strRelative = strRemotePath.mid(strRoot.size());
    // The mirror holds only names a listing could have given: nothing climbs out of it.
    for (const QString& strPart : strRelative.split(QLatin1Char('/'))) {
        if (!IsSafeEntryName(strPart)) {
            return {};
        }
    }
    return QDir(m_folders.strMirror).filePath(strRelative);
}

std::optional<QString> CViewPaths::RelativeOfRemote(const QString& strRemotePath) const
{
    const QString strCache = CachePathOf(strRemotePath);
    return strCache.isEmpty() ? std::nullopt : RelativeOf(strCache, SIDE_RIGHT);
}

FolderPlan PlanOfItem(const CFileItem& item, int nSide, PlanPurpose purpose, QStringList* pSkipped)
{
    FolderPlan plan;
    AddToPlan(item, QString(), nSide, purpose, plan, pSkipped);
    return plan;
}

std::int64_t ItemBytes(const CFileItem& item, int nSide)
{
    if (item.kind == KIND_FILE) {
        return std::max<std::int64_t>(0, BytesOfSizeText(item.strSize[nSide]));
    }
    std::int64_t nTotal = 0;
    for (const CFileItem* pItem = NextInPreOrder(&item, &item); pItem != nullptr;
         pItem = NextInPreOrder(pItem, &item)) {
        if (pItem->kind == KIND_FILE && !pItem->strPaths[nSide].IsEmpty()) {
            nTotal += std::max<std::int64_t>(0, BytesOfSizeText(pItem->strSize[nSide]));
        }
    }
    return nTotal;
}

std::optional<PreparedJob> MakeCopyJob(
    const CViewPaths& paths, const CFileTree& tree, const CFileItem& item, int nFromSide, QString& strWhyNot)
{
    const int nToSide = 1 - nFromSide;
    if (const CFileItem* pLink = LinkAbove(item, nToSide); pLink != nullptr) {
        strWhyNot = FormatText("%s was not copied: its folder %s is a link on the other side, and nothing is written "
                               "through a link.",
            FullName(item, nFromSide), PathOfFolderItem(*pLink));
        return std::nullopt;
    }
    if (item.kind == KIND_DIR && (item.bLink[nFromSide] || item.nRead[nFromSide] == SideRead::LinkNotFollowed)) {
        strWhyNot = FormatText("%s is a link; it is not copied as what it leads to.", FullName(item, nFromSide));
        return std::nullopt;
    }
    const QString strTarget = TargetFolderOf(paths, tree, item, nToSide);
    if (strTarget.isEmpty()) {
        strWhyNot
            = FormatText("%s has no folder to go to on the other side; it was not copied.", FullName(item, nFromSide));
        return std::nullopt;
    }
    PreparedJob prepared;
    if (nFromSide == SIDE_LEFT) {
        prepared.job.operation = TransferOperation::Upload;
        prepared.job.bFolder = item.kind == KIND_DIR;
        prepared.job.strName = item.strName;
        prepared.job.strLocalPath = FullName(item, SIDE_LEFT);
        prepared.job.strRemoteFolder = paths.RemoteFolderOf(strTarget);
        if (prepared.job.bFolder) {
            prepared.job.plan = PlanOfItem(item, SIDE_LEFT, PlanPurpose::Copy);
        }
    } else {
        prepared.job = DownloadOf(paths, item, JoinPath(strTarget, item.strName));
    }
    prepared.nTotalBytes = ItemBytes(item, nFromSide);
    if (!item.strPaths[nToSide].IsEmpty()) {
        prepared.strReplaces = nToSide == SIDE_LEFT ? prepared.job.strLocalPath : RemotePathOf(prepared.job);
    }
    return prepared;
}

PreparedJob MakeCacheJob(const CViewPaths& paths, const CFileItem& item)
{
    PreparedJob prepared;
    prepared.job = DownloadOf(paths, item, FullName(item, SIDE_RIGHT));
    prepared.nTotalBytes = ItemBytes(item, SIDE_RIGHT);
    prepared.purpose = JobPurpose::IntoMirror;
    return prepared;
}

PreparedJob MakeDeleteJob(const CViewPaths& paths, const CFileItem& item, int nSide)
{
    PreparedJob prepared;
    prepared.job.operation = TransferOperation::Delete;
    prepared.job.bFolder = item.kind == KIND_DIR;
    prepared.job.strName = item.strName;
    prepared.job.strLocalPath = FullName(item, nSide);
    prepared.job.bLink = item.kind == KIND_DIR && (item.bLink[nSide] || item.nRead[nSide] == SideRead::LinkNotFollowed);
    if (prepared.job.bFolder && !prepared.job.bLink) {
        prepared.job.plan = PlanOfItem(item, nSide, PlanPurpose::Delete);
    }
    if (nSide == SIDE_RIGHT) {
        prepared.job.strRemoteFolder = paths.RemoteFolderOf(item.strPaths[SIDE_RIGHT]);
    }
    return prepared;
}

PreparedJob MakeServerCopyJob(const CViewPaths& paths, const CFileItem& item, const QString& strTargetRemoteFolder)
{
    PreparedJob prepared;
    prepared.job.operation = TransferOperation::Copy;
    prepared.job.bFolder = item.kind == KIND_DIR;
    prepared.job.strName = item.strName;
    prepared.job.strRemoteFolder = paths.RemoteFolderOf(item.strPaths[SIDE_RIGHT]);
    prepared.job.strTargetRemotePath = JoinRemotePath(strTargetRemoteFolder, item.strName);
    if (prepared.job.bFolder) {
        prepared.job.plan = PlanOfItem(item, SIDE_RIGHT, PlanPurpose::Copy);
    }
    prepared.nTotalBytes = ItemBytes(item, SIDE_RIGHT);
    return prepared;
}

PreparedJob MakeRemoteRenameJob(const QString& strRemoteFolder, const QString& strFrom, const QString& strTo)
{
    PreparedJob prepared;
    prepared.job.operation = TransferOperation::Rename;
    prepared.job.strName = strFrom;
    prepared.job.strRemoteFolder = strRemoteFolder;
    prepared.job.strTargetRemotePath = JoinRemotePath(strRemoteFolder, strTo);
    return prepared;
}

PreparedJob MakeDropJob(const QString& strLocalPath, const QString& strRemoteFolder)
{
    const QFileInfo source(strLocalPath);
    PreparedJob prepared;
    prepared.job = { TransferOperation::Upload, source.isDir(), source.fileName(), strLocalPath, strRemoteFolder, -1,
        {}, false, source.isDir() ? PlanLocalFolder(strLocalPath) : FolderPlan() };
    prepared.purpose = JobPurpose::Dropped;
    prepared.nTotalBytes = LocalSize(strLocalPath);
    return prepared;
}
