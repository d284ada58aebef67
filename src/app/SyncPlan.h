#pragma once

#include <vector>

#include <QString>

struct CFileItem;

// What a sync does with one item of the comparison.
enum class SyncAction
{
    Copy, // to the target side: missing there, different, or not compared
    Delete, // on the target side: it exists only there
    Keep, // exists only on the target, but its folder on the source side was not read in full
    Skip // cannot be copied: it, or something in it, could not be read
};

struct SyncStep
{
    CFileItem* pItem = nullptr;
    SyncAction action = SyncAction::Copy;
    QString strRelative; // below the compared folders, "/" between the parts
    QString strWhy;
    // Skipped only because the server's listings may leave the name out: asking the server for it by name can
    // still show that it is missing there.
    bool bMaybeHiddenOnServer = false;
};

// The steps that bring the target side in step with the source side (bUpload: the local folder is the
// source). Deletions come only with bDelete, and only below folders whose source side was read in full: a
// listing that was empty or held lines that could not be read, a folder that could not be read and a
// link that was not followed never make anything on the other side look superfluous. Links are neither
// copied as what they lead to nor written through. bServerHidesDotNames: the server's listings may leave
// out names beginning with a dot, so such a name is neither deleted locally nor sent as if missing there.
std::vector<SyncStep> MakeSyncPlan(CFileItem* pRoot, bool bUpload, bool bDelete, bool bServerHidesDotNames = false);

// Why a side of a folder was not read in full, as the end of a sentence; empty when it was.
QString NotReadInFullReason(const CFileItem& folder, int nSide);
