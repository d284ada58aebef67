#pragma once

#include <array>
#include <optional>

#include <QString>

// Show states as the saved placement records them.
inline constexpr int SHOW_NORMAL = 1;
inline constexpr int SHOW_MINIMIZED = 2;
inline constexpr int SHOW_MAXIMIZED = 3;

// Where the main window stood: the ten values kept under "WindowPos", in their order.
struct WindowPlacement
{
    unsigned nFlags = 0;
    unsigned nShowCmd = SHOW_NORMAL;
    int nMinX = -1;
    int nMinY = -1;
    int nMaxX = -1;
    int nMaxY = -1;
    int nLeft = 0;
    int nTop = 0;
    int nRight = 0;
    int nBottom = 0;

    bool operator==(const WindowPlacement&) const = default;
};

// "%u,%u,%d,%d,%d,%d,%d,%d,%d,%d"; nothing unless exactly ten numbers stand in the text, so a value
// that is cut short or has one field too many leaves the window at its default place.
std::optional<WindowPlacement> ParseWindowPlacement(const QString& strText);
QString FormatWindowPlacement(const WindowPlacement& placement);

// The splitter sizes kept under "ViewsHeights": the left and right pane widths, the panes' height and the
// height of the bottom strip, and the trace pane's and transfer list's widths in that strip.
struct ViewsHeights
{
    int nLeftPaneWidth = 0;
    int nRightPaneWidth = 0;
    int nPanesHeight = 0;
    int nBottomHeight = 0;
    int nTraceWidth = 0;
    int nTransferWidth = 0;
};

// Six numbers, all positive, or nothing.
std::optional<ViewsHeights> ParseViewsHeights(const QString& strText);
QString FormatViewsHeights(const ViewsHeights& heights);
