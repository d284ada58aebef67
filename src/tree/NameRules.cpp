#include "tree/NameRules.h"
#include "support/NameBytes.h"
#include "tree/WorkingNames.h"

#include <atomic>

#include <QFile>

namespace {

constexpr NameMatching kPlatformRule =
#if defined(Q_OS_WIN) || defined(Q_OS_MACOS)
    NameMatching::CaseInsensitive;
#else
    NameMatching::CaseSensitive;
#endif

std::atomic<NameMatching> g_rule { kPlatformRule };

} // namespace

NameMatching CurrentNameMatching()
{
    return g_rule.load(std::memory_order_relaxed);
}

void SetNameMatching(NameMatching rule)
{
    g_rule = rule;
}

bool NamesMatch(QStringView a, QStringView b)
{
    const Qt::CaseSensitivity sensitivity
        = CurrentNameMatching() == NameMatching::CaseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    return a.compare(b, sensitivity) == 0;
}

QString NameMatchKey(const QString& strName)
{
    return CurrentNameMatching() == NameMatching::CaseSensitive ? strName : strName.toCaseFolded();
}

QString NameOrderKey(const QString& strName)
{
    return strName.toCaseFolded();
}

QString WhyNameIsRefused(const QString& strName)
{
    if (strName.isEmpty()) {
        return QStringLiteral("A name cannot be empty.");
    }
    if (strName == QLatin1String(".") || strName == QLatin1String("..")) {
        return QStringLiteral("\".\" and \"..\" are not names a file or folder can have.");
    }
    for (const QChar ch : strName) {
        if (ch == QLatin1Char('/') || ch == QLatin1Char('\\')) {
            return QStringLiteral("A name cannot hold \"/\" or \"\\\".");
        }
        if (ch.unicode() < 0x20 || ch.unicode() == 0x7F) {
            return QStringLiteral("A name cannot hold a control character (a line break, a tab ...).");
        }
    }
    if (IsWorkingName(strName)) {
        // What the scan would hide must never be a name the user gives.
        QString strRule = WorkingNameRule();
        strRule[0] = strRule[0].toUpper();
        return strRule + QLatin1Char('.');
    }
    // 255 bytes is the limit of the common Linux, macOS and Windows file systems.
    if (NameToBytes(strName).size() > 255) {
        return QStringLiteral("The name is too long for a file system (more than 255 bytes).");
    }
    return {};
}
