#include "rename/RenamePlan.h"

#include <algorithm>
#include <map>
#include <set>

#include "support/TextFormat.h"
#include "tree/NameRules.h"

namespace {

using Key = std::pair<QString, QString>; // folder, name as the file system compares it

Key KeyOf(const QString& strFolder, const QString& strName, bool bCaseSensitive)
{
    return { strFolder, bCaseSensitive ? strName : strName.toCaseFolded() };
}

// Judges every entry whose new name is set: invalid names, unchanged ones, clashes among new names and with
// what stays in the folders, and cycles.
void Judge(std::vector<RenameEntry>& entries, const FolderNames& names, bool bCaseSensitive)
{
    std::map<Key, int> newNames; // how many entries take each new name
    std::set<Key> leaving; // the names the renamed items free
    for (const RenameEntry& entry : entries) {
        if (entry.strNewName != entry.source.strName) {
            ++newNames[KeyOf(entry.source.strFolder, entry.strNewName, bCaseSensitive)];
            leaving.insert(KeyOf(entry.source.strFolder, entry.source.strName, bCaseSensitive));
        }
    }
    std::map<QString, std::set<Key>> existing;
    for (RenameEntry& entry : entries) {
        const QString& strFolder = entry.source.strFolder;
        if (entry.strNewName == entry.source.strName) {
            entry.verdict = RenameVerdict::Unchanged;
            continue;
        }
        if (QString strWhy = WhyNameIsRefused(entry.strNewName); !strWhy.isEmpty()) {
            entry.verdict = RenameVerdict::Invalid;
            entry.strWhy = strWhy;
            continue;
        }
        const Key target = KeyOf(strFolder, entry.strNewName, bCaseSensitive);
        if (newNames[target] > 1) {
            entry.verdict = RenameVerdict::ClashWithNew;
            entry.strWhy = FormatText("Another selected item gets the name \"%s\" too.", entry.strNewName);
            continue;
        }
        if (!existing.count(strFolder)) {
            std::set<Key>& held = existing[strFolder];
            for (const QString& strName : names ? names(strFolder) : QStringList()) {
                held.insert(KeyOf(strFolder, strName, bCaseSensitive));
            }
        }
        // A name in use is free when the item holding it is renamed too; only a case change of the item
        // itself is no clash on a file system that ignores case.
        const bool bOwnName = target == KeyOf(strFolder, entry.source.strName, bCaseSensitive);
        if (!bOwnName && existing[strFolder].count(target) != 0 && leaving.count(target) == 0) {
            entry.verdict = RenameVerdict::ClashWithExisting;
            entry.strWhy = FormatText("\"%s\" exists in that folder and is not renamed.", entry.strNewName);
            continue;
        }
        entry.verdict = RenameVerdict::Fine;
    }
    // A cycle: following new names from an entry leads back to it.
    std::map<Key, int> byOldName;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].verdict == RenameVerdict::Fine) {
            byOldName[KeyOf(entries[i].source.strFolder, entries[i].source.strName, bCaseSensitive)]
                = static_cast<int>(i);
        }
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].verdict != RenameVerdict::Fine) {
            continue;
        }
        std::set<int> seen { static_cast<int>(i) };
        int nAt = static_cast<int>(i);
        for (;;) {
            const RenameEntry& at = entries[static_cast<size_t>(nAt)];
            const auto next = byOldName.find(KeyOf(at.source.strFolder, at.strNewName, bCaseSensitive));
            if (next == byOldName.end() || next->second == nAt) {
                break;
            }
            if (next->second == static_cast<int>(i)) {
                entries[i].verdict = RenameVerdict::ThroughTemporaryName;
                break;
            }
            if (!seen.insert(next->second).second) {
                break;
            }
            nAt = next->second;
        }
    }
}

} // namespace

bool RenamePlan::CanRun() const
{
    return Count(RenameVerdict::ClashWithNew) == 0 && Count(RenameVerdict::ClashWithExisting) == 0
        && Count(RenameVerdict::Invalid) == 0;
}

int RenamePlan::Count(RenameVerdict verdict) const
{
    int nCount = 0;
    for (const RenameEntry& entry : entries) {
        nCount += entry.verdict == verdict ? 1 : 0;
    }
    return nCount;
}

std::vector<RenameStep> RenamePlan::Steps() const
{
    struct Pending
    {
        QString strFolder;
        QString strCurrent;
        QString strTarget;
        int nEntry;
    };
    std::vector<Pending> pending;
    for (size_t i = 0; i < entries.size(); ++i) {
        const RenameEntry& entry = entries[i];
        if (entry.verdict == RenameVerdict::Fine || entry.verdict == RenameVerdict::ThroughTemporaryName) {
            pending.push_back({ entry.source.strFolder, entry.source.strName, entry.strNewName, static_cast<int>(i) });
        }
    }
    std::vector<RenameStep> steps;
    int nTemporary = 0;
    while (!pending.empty()) {
        bool bProgress = false;
        for (size_t i = 0; i < pending.size();) {
            // A target still held by another pending item waits until that one has moved.
            const bool bHeld = std::any_of(pending.begin(), pending.end(), [&](const Pending& other) {
                return &other != &pending[i] && other.strFolder == pending[i].strFolder
                    && NamesMatch(other.strCurrent, pending[i].strTarget);
            });
            if (bHeld) {
                ++i;
                continue;
            }
            steps.push_back({ pending[i].strFolder, pending[i].strCurrent, pending[i].strTarget, pending[i].nEntry });
            pending.erase(pending.begin() + static_cast<std::ptrdiff_t>(i));
            bProgress = true;
        }
        if (!bProgress && !pending.empty()) {
            // Only cycles are left: one of them steps aside under a name no listing shows.
            Pending& aside = pending.front();
            const QString strTemporary = FormatText("$quorvelren-%d-%s", ++nTemporary, aside.strTarget);
            steps.push_back({ aside.strFolder, aside.strCurrent, strTemporary, -1 });
            aside.strCurrent = strTemporary;
        }
    }
    return steps;
}

RenamePlan MakeRenamePlan(const std::vector<RenameSource>& sources, const std::vector<RenameRule>& rules,
    const FolderNames& names, bool bCaseSensitive)
{
    RenamePlan plan;
    plan.entries.reserve(sources.size());
    for (const RenameSource& source : sources) {
        plan.entries.push_back({ source, ApplyRules(rules, source.strName, source.facts), RenameVerdict::Fine, {} });
    }
    Judge(plan.entries, names, bCaseSensitive);
    return plan;
}

RenamePlan MakeUndoPlan(const std::vector<RenameStep>& done, const FolderNames& names, bool bCaseSensitive)
{
    // Each item's first name and its last, whatever temporary names it passed through.
    std::map<std::pair<QString, QString>, QString> firstNameOf; // (folder, current name) -> first name
    for (const RenameStep& step : done) {
        const auto found = firstNameOf.find({ step.strFolder, step.strFrom });
        const QString strFirst = found != firstNameOf.end() ? found->second : step.strFrom;
        if (found != firstNameOf.end()) {
            firstNameOf.erase(found);
        }
        firstNameOf[{ step.strFolder, step.strTo }] = strFirst;
    }
    RenamePlan plan;
    for (const auto& [current, strFirst] : firstNameOf) {
        plan.entries.push_back({ { current.first, current.second, {} }, strFirst, RenameVerdict::Fine, {} });
    }
    Judge(plan.entries, names, bCaseSensitive);
    return plan;
}

QString VerdictWord(RenameVerdict verdict)
{
    switch (verdict) {
    case RenameVerdict::Fine:
        return QStringLiteral("fine");
    case RenameVerdict::Unchanged:
        return QStringLiteral("unchanged");
    case RenameVerdict::ThroughTemporaryName:
        return QStringLiteral("fine (cycle, through a temporary name)");
    case RenameVerdict::ClashWithNew:
        return QStringLiteral("clash with another new name");
    case RenameVerdict::ClashWithExisting:
        return QStringLiteral("clash with an existing name");
    case RenameVerdict::Invalid:
        return QStringLiteral("invalid name");
    }
    return {};
}
