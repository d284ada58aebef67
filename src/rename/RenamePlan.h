#pragma once

#include <functional>
#include <vector>

#include <QString>
#include <QStringList>

#include "rename/RenameRules.h"

// One selected item: the folder it stands in (a path the caller understands; items of one folder share it),
// its name and what rules may use.
struct RenameSource
{
    QString strFolder;
    QString strName;
    NameFacts facts;
};

enum class RenameVerdict
{
    Fine,
    Unchanged,
    ThroughTemporaryName, // part of a cycle (a -> b, b -> a): one of them goes through a temporary name first
    ClashWithNew, // another item of the selection gets the same new name in that folder
    ClashWithExisting, // an item that stays in that folder has the name
    Invalid
};

struct RenameEntry
{
    RenameSource source;
    QString strNewName;
    RenameVerdict verdict = RenameVerdict::Fine;
    QString strWhy; // for a clash or an invalid name
};

// One rename of the execution, in the order that never needs a name still taken.
struct RenameStep
{
    QString strFolder;
    QString strFrom;
    QString strTo;
    int nEntry = -1; // the entry it finishes; -1 for a step to a temporary name
};

struct RenamePlan
{
    std::vector<RenameEntry> entries;

    // Nothing may run while any verdict is a clash or an invalid name.
    [[nodiscard]] bool CanRun() const;
    [[nodiscard]] int Count(RenameVerdict verdict) const;
    // The renames in an order that works: chains from their free end, cycles through a temporary name.
    [[nodiscard]] std::vector<RenameStep> Steps() const;
};

// The names a folder holds now; with them clashes with items outside the selection are found.
using FolderNames = std::function<QStringList(const QString& strFolder)>;

// Plans the renames of the selection under the rules. bCaseSensitive: whether the side's file system tells
// "A" from "a" (a clash is judged by it).
RenamePlan MakeRenamePlan(const std::vector<RenameSource>& sources, const std::vector<RenameRule>& rules,
    const FolderNames& names, bool bCaseSensitive = true);

// The plan that undoes a batch that ran: every new name back to its old one, checked the same way.
RenamePlan MakeUndoPlan(const std::vector<RenameStep>& done, const FolderNames& names, bool bCaseSensitive = true);

// A word for a verdict, for the preview and the command line.
QString VerdictWord(RenameVerdict verdict);
