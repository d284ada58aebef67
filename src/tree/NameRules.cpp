#include "tree/NameRules.h"

#include <atomic>

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
