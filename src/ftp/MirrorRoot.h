#pragma once

#include <QString>

#include "tree/WorkingNames.h"

// The mirror folder of a site: one per server, port and user, under the user's cache folder
// (~/.cache/Quorvel/mirrors on Linux), so that sites never share placeholders or copies.
QString MirrorRootFor(const QString& strHost, int nPort, const QString& strUser);

// Makes sure the mirror folder exists and forgets which of its folders were current: a new session lists
// every folder again. False when the folder cannot be made.
bool PrepareMirrorRoot(const QString& strRoot);
