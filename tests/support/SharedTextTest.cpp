#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/SharedText.h"

namespace {

// A count paid in advance must end exact: too high and LeakSanitizer finds the text never freed, too low
// and AddressSanitizer finds it read after it was freed.
TEST(SharedText, CopiesFromASourceOutliveItOnAnyThreadAndTheTextGoesWithTheLastOne)
{
    std::vector<CSharedText> copies;
    {
        CSharedTextSource source(CSharedText(QStringLiteral("12 KB")));
        for (int i = 0; i < 2500; ++i) {
            copies.push_back(source.Copy());
        }
        CSharedTextSource moved(std::move(source));
        copies.push_back(moved.Copy());
        source = std::move(moved);
        copies.push_back(source.Copy());
    }
    std::thread([&copies] { copies.resize(1000); }).join();
    for (const CSharedText& copy : copies) {
        ASSERT_EQ(copy.Text(), QStringLiteral("12 KB"));
    }
    copies.clear();

    CSharedTextSource empty { CSharedText(QString()) };
    EXPECT_TRUE(empty.Copy().IsEmpty());
}

TEST(SharedText, ATableSharesOneTextPerKeyAndStaysRightPastItsBound)
{
    CSharedTextTable<int> table;
    int nMade = 0;
    const auto text = [&nMade](int nKey) {
        return [&nMade, nKey] {
            ++nMade;
            return QString::number(nKey);
        };
    };
    const CSharedText first = table.Copy(7, text(7));
    const CSharedText again = table.Copy(7, text(7));
    EXPECT_EQ(nMade, 1);
    EXPECT_EQ(&first.Text(), &again.Text()) << "one text, shared";
    std::vector<CSharedText> kept;
    for (int nKey = 0; nKey < 70000; ++nKey) {
        kept.push_back(table.Copy(nKey, text(nKey)));
    }
    for (int nKey = 0; nKey < 70000; nKey += 997) {
        ASSERT_EQ(kept[static_cast<size_t>(nKey)].Text(), QString::number(nKey));
        ASSERT_EQ(table.Copy(nKey, text(nKey)).Text(), QString::number(nKey));
    }
    EXPECT_EQ(first.Text(), QStringLiteral("7"));
}

} // namespace
