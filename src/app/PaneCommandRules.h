#pragma once

#include <array>
#include <vector>

#include <QString>

#include "app/QuorvelView.h"
#include "app/TreeSnapshot.h"

// The commands of the comparison panes that act on the selection.
enum PaneCommand : int
{
    CMD_UPLOAD, // copy from the local side to the FTP side
    CMD_DOWNLOAD, // copy from the FTP side to the local side
    CMD_COPY_DIFFERENCES, // from the active pane's side: only what differs below the selection
    CMD_DELETE,
    CMD_RENAME,
    CMD_NEW_FOLDER,
    CMD_OPEN,
    CMD_EDIT,
    CMD_VIEW_BOTH,
    CMD_SHOW_IN_FOLDER,
    CMD_COPY_WITHIN_FTP, // into another folder of the server
    CMD_COPY_FILES, // the local files to the clipboard
    CMD_PASTE, // files from the clipboard into this side's folder
    kPaneCommands
};

// Whether a command can run now, and if not, why: the reason is the command's tooltip.
struct CommandState
{
    bool bEnabled = false;
    QString strWhyNot;
};

// What the commands are judged by.
struct SelectionFacts
{
    const CTreeSnapshot* pSnapshot = nullptr; // null while no comparison is open
    std::vector<int> selected; // snapshot nodes
    int nActiveSide = SIDE_LEFT;
    bool bFtpReady = false; // the FTP side is a connected server
    bool bClipboardHasFiles = false;
};

std::array<CommandState, kPaneCommands> JudgePaneCommands(const SelectionFacts& facts);

// The nodes the copy of differences takes from the selection: every file below (or at) a selected node
// that is not Same and is on nFromSide, with no node twice.
std::vector<int> DifferencesBelow(const CTreeSnapshot& snapshot, const std::vector<int>& selected, int nFromSide);

// The folder node that receives what is dropped or pasted on a node on nSide: the node itself when it is a
// folder, else its folder, the nearest one that side has; 0 for the root.
int FolderNodeOnSide(const CTreeSnapshot& snapshot, int nNode, int nSide);

// A node's path below the root ("docs/a.txt"), as the view's commands name items.
QString RelativePathOf(const CTreeSnapshot& snapshot, int nNode);

// The nodes that are on nSide, as the view's commands name them; *pBytes adds up their files' sizes there.
std::vector<ItemPath> ItemsOnSide(
    const CTreeSnapshot& snapshot, const std::vector<int>& nodes, int nSide, long long* pBytes = nullptr);
