#pragma once

#include <QString>

struct CFileItem;

// The status as the tree dump shows it: " Same", " Diff", " Left", " Right", " UNKNOWN" for files,
// " Left", " Right", " Both" for folders, " UnDef" otherwise.
QString StatusText(const CFileItem& item);

// "ICON_SAME" and so on; "ICON_UnDef" for an unknown code.
QString IconName(int nIcon);

// Writes the whole tree below pRoot to the diagnostic log, one entry per item in pre-order.
void DumpTree(const CFileItem* pRoot);
