#include "app/PaneCommandRules.h"

#include <algorithm>
#include <set>

#include <QStringList>

#include "tree/FileItem.h"

namespace {

CommandState Enabled()
{
    return { true, {} };
}

CommandState Disabled(const char* pWhy)
{
    return { false, QString::fromUtf8(pWhy) };
}

bool AnyOn(const SelectionFacts& facts, int nSide)
{
    for (const int nNode : facts.selected) {
        if (facts.pSnapshot->Node(nNode).IsOn(nSide)) {
            return true;
        }
    }
    return false;
}

// Whether the downloaded copy in the mirror holds the whole file, so that it can be opened.
bool MirrorCopyIsWhole(const SnapshotNode& node)
{
    return node.nAttrSource != ATTR_FROM_MARKER;
}

} // namespace

std::array<CommandState, kPaneCommands> JudgePaneCommands(const SelectionFacts& facts)
{
    std::array<CommandState, kPaneCommands> states;
    if (facts.pSnapshot == nullptr) {
        states.fill(Disabled("Open a comparison first."));
        return states;
    }
    const int nSide = facts.nActiveSide;
    const bool bSideReady = nSide == SIDE_LEFT || facts.bFtpReady;
    const char* const pNotConnected = "The FTP server is not connected.";
    const char* const pNothing = "Select the items first.";
    const auto copyState = [&](int nFromSide, const char* pNotThere) {
        if (facts.selected.empty()) {
            return Disabled(pNothing);
        }
        if (!facts.bFtpReady) {
            return Disabled(pNotConnected);
        }
        return AnyOn(facts, nFromSide) ? Enabled() : Disabled(pNotThere);
    };
    states[CMD_UPLOAD] = copyState(SIDE_LEFT, "Nothing selected is on the local side.");
    states[CMD_DOWNLOAD] = copyState(SIDE_RIGHT, "Nothing selected is on the FTP side.");
    states[CMD_COPY_DIFFERENCES] = copyState(nSide, "Nothing selected is on this side.");
    if (states[CMD_COPY_DIFFERENCES].bEnabled && DifferencesBelow(*facts.pSnapshot, facts.selected, nSide).empty()) {
        states[CMD_COPY_DIFFERENCES] = Disabled("Nothing selected differs.");
    }

    const bool bOne = facts.selected.size() == 1;
    const SnapshotNode* pOne = bOne ? &facts.pSnapshot->Node(facts.selected.front()) : nullptr;
    if (!bSideReady) {
        states[CMD_DELETE] = states[CMD_RENAME] = states[CMD_NEW_FOLDER] = Disabled(pNotConnected);
    } else {
        states[CMD_DELETE] = facts.selected.empty() ? Disabled(pNothing)
            : AnyOn(facts, nSide)                   ? Enabled()
                                                    : Disabled("Nothing selected is on this side.");
        states[CMD_RENAME] = !bOne ? Disabled("Select one item to rename.")
            : pOne->IsOn(nSide)    ? Enabled()
                                   : Disabled("The item is not on this side.");
        states[CMD_NEW_FOLDER] = Enabled();
    }
    const bool bOneFile = bOne && pOne->nKind == KIND_FILE;
    // An FTP file that the mirror holds only as a placeholder is downloaded first, which needs the server.
    const bool bNeedsDownload = bOneFile && pOne->IsOn(SIDE_RIGHT) && !MirrorCopyIsWhole(*pOne);
    const char* const pNotDownloaded = "The FTP file has not been downloaded, and the server is not connected.";
    if (!bOneFile) {
        states[CMD_OPEN] = Disabled("Select one file to open.");
        states[CMD_EDIT] = Disabled("Select one file to edit.");
    } else if (!pOne->IsOn(nSide)) {
        states[CMD_OPEN] = states[CMD_EDIT] = Disabled("The file is not on this side.");
    } else if (nSide == SIDE_RIGHT && !facts.bFtpReady) {
        states[CMD_OPEN] = bNeedsDownload ? Disabled(pNotDownloaded) : Enabled();
        states[CMD_EDIT] = Disabled(pNotConnected);
    } else {
        states[CMD_OPEN] = states[CMD_EDIT] = Enabled();
    }
    if (!bOneFile || !pOne->IsOn(SIDE_LEFT) || !pOne->IsOn(SIDE_RIGHT)) {
        states[CMD_VIEW_BOTH] = Disabled("Select one file that is on both sides.");
    } else if (bNeedsDownload && !facts.bFtpReady) {
        states[CMD_VIEW_BOTH] = Disabled(pNotDownloaded);
    } else {
        states[CMD_VIEW_BOTH] = Enabled();
    }
    states[CMD_SHOW_IN_FOLDER] = !bOne ? Disabled("Select one item.")
        : pOne->IsOn(SIDE_LEFT)        ? Enabled()
                                       : Disabled("The item is not on the local side.");
    states[CMD_COPY_WITHIN_FTP] = copyState(SIDE_RIGHT, "Nothing selected is on the FTP side.");
    states[CMD_COPY_FILES] = facts.selected.empty() ? Disabled(pNothing)
        : AnyOn(facts, SIDE_LEFT)                   ? Enabled()
                                                    : Disabled("Nothing selected is on the local side.");
    states[CMD_PASTE] = !facts.bClipboardHasFiles ? Disabled("The clipboard holds no files.")
        : bSideReady                              ? Enabled()
                                                  : Disabled(pNotConnected);
    return states;
}

std::vector<int> DifferencesBelow(const CTreeSnapshot& snapshot, const std::vector<int>& selected, int nFromSide)
{
    std::set<int> found;
    std::vector<int> pending(selected.begin(), selected.end());
    while (!pending.empty()) {
        const int nNode = pending.back();
        pending.pop_back();
        const SnapshotNode& node = snapshot.Node(nNode);
        if (node.nKind == KIND_FILE) {
            if (node.nClass != CLASS_SAME && node.IsOn(nFromSide)) {
                found.insert(nNode);
            }
            continue;
        }
        // A folder on one side goes over whole: its files have no folder to go to on their own.
        if (node.nClass == CLASS_FOLDER_ONE_SIDE) {
            if (node.IsOn(nFromSide)) {
                found.insert(nNode);
            }
            continue;
        }
        if (!node.DiffersBelow()) {
            continue;
        }
        for (int nChild = node.nFirstChild; nChild < node.nFirstChild + node.nChildCount; ++nChild) {
            pending.push_back(nChild);
        }
    }
    return { found.begin(), found.end() };
}

int FolderNodeOnSide(const CTreeSnapshot& snapshot, int nNode, int nSide)
{
    if (nNode > 0 && snapshot.Node(nNode).nKind != KIND_DIR) {
        nNode = snapshot.Node(nNode).nParent;
    }
    while (nNode > 0 && !snapshot.Node(nNode).IsOn(nSide)) {
        nNode = snapshot.Node(nNode).nParent;
    }
    return std::max(nNode, 0);
}

QString RelativePathOf(const CTreeSnapshot& snapshot, int nNode)
{
    QStringList names;
    for (int n = nNode; n > 0; n = snapshot.Node(n).nParent) {
        names.prepend(snapshot.Node(n).strName);
    }
    return names.join(QLatin1Char('/'));
}

std::vector<ItemPath> ItemsOnSide(
    const CTreeSnapshot& snapshot, const std::vector<int>& nodes, int nSide, long long* pBytes)
{
    std::vector<ItemPath> items;
    for (const int nNode : nodes) {
        const SnapshotNode& node = snapshot.Node(nNode);
        if (nNode > 0 && node.IsOn(nSide)) {
            items.push_back({ RelativePathOf(snapshot, nNode), node.nKind });
            if (pBytes != nullptr) {
                *pBytes += BytesOfSizeText(node.strSize[nSide]);
            }
        }
    }
    return items;
}
