#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <QString>

#include "transfer/TransferJob.h"
#include "transfer/TransferList.h"

struct CFileItem;
class CFileTree;

// The folders of one comparison: the user's, the mirror of the FTP folder, and the FTP folder itself.
struct ViewFolders
{
    QString strLocal;
    QString strMirror;
    QString strRemote;
};

// Where things of one comparison lie: a path below a side's root as a path in the tree, a mirror folder as
// the FTP folder it stands for, an FTP path as the mirror's place for it.
class CViewPaths
{
public:
    explicit CViewPaths(ViewFolders folders)
        : m_folders(std::move(folders))
    { }
    [[nodiscard]] const ViewFolders& Folders() const { return m_folders; }
    // The side's root folder: the user's folder on the left, the mirror on the right.
    [[nodiscard]] const QString& Root(int nSide) const;
    // A path below a side's root folder relative to it; nothing when outside.
    [[nodiscard]] std::optional<QString> RelativeOf(const QString& strPath, int nSide) const;
    // The FTP folder a mirror folder stands for; empty outside the mirror.
    [[nodiscard]] QString RemoteFolderOf(const QString& strMirrorFolder) const;
    // Where the mirror keeps a remote path; empty for a path outside the compared folder or a name no
    // listing could give.
    [[nodiscard]] QString CachePathOf(const QString& strRemotePath) const;
    // The item of the tree an FTP path stands for, as a path relative to the mirror.
    [[nodiscard]] std::optional<QString> RelativeOfRemote(const QString& strRemotePath) const;

private:
    ViewFolders m_folders;
};

// A job made whole from an item of the tree, under the view's lock, before it is queued: its worker runs the
// transfer and refreshes the tree without asking the view for anything more.
struct PreparedJob
{
    TransferJob job;
    JobPurpose purpose = JobPurpose::Transfer;
    std::int64_t nTotalBytes = 0;
    // What the copy would replace on the other side; empty when the other side does not have the item.
    QString strReplaces;
    // Told the job's result (TRANSFER_DONE ...) on the worker's thread, once the tree shows it.
    std::function<void(int)> whenDone;
};

// What a folder job works on: a copy takes what the comparison read of the folder's side, links and
// unreadable files left out (and named in pSkipped); a deletion takes everything, links as links.
enum class PlanPurpose
{
    Copy,
    Delete
};
FolderPlan PlanOfItem(const CFileItem& item, int nSide, PlanPurpose purpose, QStringList* pSkipped = nullptr);

// The bytes an item's files hold on a side (a folder's, all the way down).
std::int64_t ItemBytes(const CFileItem& item, int nSide);

// A copy of the item from nFromSide to the other side, into the folder there that matches its own.
// Nothing, with strWhyNot, when the item has no folder to go to.
std::optional<PreparedJob> MakeCopyJob(
    const CViewPaths& paths, const CFileTree& tree, const CFileItem& item, int nFromSide, QString& strWhyNot);
// A download of an FTP item into the mirror, where it can be compared and opened.
PreparedJob MakeCacheJob(const CViewPaths& paths, const CFileItem& item);
// The deletion of the item on one side.
PreparedJob MakeDeleteJob(const CViewPaths& paths, const CFileItem& item, int nSide);
// A copy of an FTP item into another FTP folder, on the server.
PreparedJob MakeServerCopyJob(const CViewPaths& paths, const CFileItem& item, const QString& strTargetRemoteFolder);
// A rename of an FTP item within its folder.
PreparedJob MakeRemoteRenameJob(const QString& strRemoteFolder, const QString& strFrom, const QString& strTo);
// An upload of a dropped or pasted local file or folder into an FTP folder.
PreparedJob MakeDropJob(const QString& strLocalPath, const QString& strRemoteFolder);
