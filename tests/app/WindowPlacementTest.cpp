#include "app/WindowPlacement.h"

#include "common/TestFiles.h"

namespace {

TEST(WindowPlacement, TenFieldsRoundTripAndAnyOtherCountIsIgnoredWhole)
{
    const WindowPlacement placement { 0, SHOW_MAXIMIZED, -1, -1, -32000, -32000, 10, 20, 1290, 820 };
    const QString strText = FormatWindowPlacement(placement);
    EXPECT_EQ(strText, QStringLiteral("0,3,-1,-1,-32000,-32000,10,20,1290,820"));
    EXPECT_EQ(ParseWindowPlacement(strText), placement);

    // Nine or eleven numbers, text in a field, an empty value: the window opens at its default place.
    EXPECT_FALSE(ParseWindowPlacement(QStringLiteral("0,1,-1,-1,-1,-1,10,20,1290")));
    EXPECT_FALSE(ParseWindowPlacement(QStringLiteral("0,1,-1,-1,-1,-1,10,20,1290,820,5")));
    EXPECT_FALSE(ParseWindowPlacement(QStringLiteral("0,1,-1,-1,-1,-1,10,x,1290,820")));
    EXPECT_FALSE(ParseWindowPlacement(QString()));
    // The flags and show state are unsigned.
    EXPECT_FALSE(ParseWindowPlacement(QStringLiteral("-1,1,-1,-1,-1,-1,10,20,1290,820")));
}

TEST(WindowPlacement, ViewsHeightsNeedSixPositiveNumbers)
{
    const ViewsHeights heights { 600, 610, 500, 200, 700, 520 };
    EXPECT_EQ(FormatViewsHeights(heights), QStringLiteral("600,610,500,200,700,520"));
    const std::optional<ViewsHeights> read = ParseViewsHeights(FormatViewsHeights(heights));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->nTransferWidth, 520);
    // A collapsed pane (0) would come back invisible; five numbers are not a layout.
    EXPECT_FALSE(ParseViewsHeights(QStringLiteral("600,0,500,200,700,520")));
    EXPECT_FALSE(ParseViewsHeights(QStringLiteral("600,610,500,200,700")));
}

} // namespace
