#include "app/WindowPlacement.h"

#include <vector>

#include <QStringList>

#include "support/TextFormat.h"

namespace {

// The numbers of a comma-separated text, or nothing when any field is not a whole number.
std::optional<std::vector<long long>> ParseNumbers(const QString& strText)
{
    if (strText.trimmed().isEmpty()) {
        return std::nullopt;
    }
    std::vector<long long> numbers;
    for (const QString& strField : strText.split(QLatin1Char(','))) {
        bool bOk = false;
        const long long nValue = strField.trimmed().toLongLong(&bOk);
        if (!bOk || nValue < INT32_MIN || nValue > UINT32_MAX) {
            return std::nullopt;
        }
        numbers.push_back(nValue);
    }
    return numbers;
}

} // namespace

std::optional<WindowPlacement> ParseWindowPlacement(const QString& strText)
{
    const std::optional<std::vector<long long>> numbers = ParseNumbers(strText);
    if (!numbers || numbers->size() != 10 || (*numbers)[0] < 0 || (*numbers)[1] < 0) {
        return std::nullopt;
    }
    const std::vector<long long>& n = *numbers;
    for (size_t i = 2; i < n.size(); ++i) {
        if (n[i] > INT32_MAX) {
            return std::nullopt;
        }
    }
    WindowPlacement placement;
    placement.nFlags = static_cast<unsigned>(n[0]);
    placement.nShowCmd = static_cast<unsigned>(n[1]);
    placement.nMinX = static_cast<int>(n[2]);
    placement.nMinY = static_cast<int>(n[3]);
    placement.nMaxX = static_cast<int>(n[4]);
    placement.nMaxY = static_cast<int>(n[5]);
    placement.nLeft = static_cast<int>(n[6]);
    placement.nTop = static_cast<int>(n[7]);
    placement.nRight = static_cast<int>(n[8]);
    placement.nBottom = static_cast<int>(n[9]);
    return placement;
}

QString FormatWindowPlacement(const WindowPlacement& p)
{
    return FormatText("%u,%u,%d,%d,%d,%d,%d,%d,%d,%d", p.nFlags, p.nShowCmd, p.nMinX, p.nMinY, p.nMaxX, p.nMaxY,
        p.nLeft, p.nTop, p.nRight, p.nBottom);
}

std::optional<ViewsHeights> ParseViewsHeights(const QString& strText)
{
    const std::optional<std::vector<long long>> numbers = ParseNumbers(strText);
    if (!numbers || numbers->size() != 6) {
        return std::nullopt;
    }
    for (const long long nValue : *numbers) {
        if (nValue <= 0 || nValue > INT32_MAX) {
            return std::nullopt;
        }
    }
    const std::vector<long long>& n = *numbers;
    return ViewsHeights { static_cast<int>(n[0]), static_cast<int>(n[1]), static_cast<int>(n[2]),
        static_cast<int>(n[3]), static_cast<int>(n[4]), static_cast<int>(n[5]) };
}

QString FormatViewsHeights(const ViewsHeights& h)
{
    return FormatText("%d,%d,%d,%d,%d,%d", h.nLeftPaneWidth, h.nRightPaneWidth, h.nPanesHeight, h.nBottomHeight,
        h.nTraceWidth, h.nTransferWidth);
}
