#pragma once

#include <QString>
#include <QStringView>

// How two names (or paths) are judged to be the same item. Windows and macOS file systems ignore case;
// Linux does not, and there "Readme.txt" and "README.TXT" are two files on both sides, so merging them
// would hide one. Sibling order ignores case everywhere.
enum class NameMatching
{
    CaseSensitive,
    CaseInsensitive
};

// The rule in force for this process: the platform's own, unless set otherwise.
NameMatching CurrentNameMatching();
void SetNameMatching(NameMatching rule);

// True when the two names stand for the same item under the rule in force.
bool NamesMatch(QStringView a, QStringView b);

// The form under which names are indexed: two names match exactly when their match keys are equal.
QString NameMatchKey(const QString& strName);

// The case-folded form by which siblings are ordered.
QString NameOrderKey(const QString& strName);

// Why a name cannot be given to a file or folder, in one sentence; empty when it can. Refused: empty names,
// "." and "..", separators, control characters, names longer than a file system allows, and names holding
// "$quorvel" or "$diffundo", which this program keeps for its own working files.
QString WhyNameIsRefused(const QString& strName);
