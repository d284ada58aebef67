#include "app/RefreshTimer.h"

#include "common/TestFiles.h"
#include "support/SettingsStore.h"

namespace {

class RefreshTimerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_store = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("timer-profile")));
        m_timer.SetInterval(10);
    }

    // A tick nSeconds after the cycle started, with nFiles files in the panes.
    TickDecision TickAfter(std::int64_t nSeconds, int nFiles = 5)
    {
        m_nNow += nSeconds;
        ++m_nTicks;
        return m_timer.OnTimer(m_store, [this, nFiles] {
            ++m_nCounts;
            return nFiles;
        });
    }

    std::int64_t m_nNow = 1'700'000'000;
    int m_nTicks = 0;
    int m_nCounts = 0;
    CSettingsStore m_store;
    CRefreshTimer m_timer { [this] { return m_nNow; } };
};

TEST_F(RefreshTimerTest, AnOverrunCycleRearmsWithoutRefreshing)
{
    m_timer.Start();
    const TickDecision onTime = TickAfter(10);
    EXPECT_TRUE(onTime.bRearm);
    EXPECT_TRUE(onTime.bRefresh);
    // 13 seconds for a 10-second interval: more than interval + 2.
    const TickDecision late = TickAfter(13);
    EXPECT_TRUE(late.bRearm);
    EXPECT_FALSE(late.bRefresh);
    EXPECT_EQ(m_nCounts, 1) << "an overrun tick must not even count the files";
    // Exactly interval + 2 is still on time.
    EXPECT_TRUE(TickAfter(12).bRefresh);
}

TEST_F(RefreshTimerTest, MoreThanAHundredFilesKeepTheTimerButNeverRefresh)
{
    m_timer.Start();
    const TickDecision many = TickAfter(10, 101);
    EXPECT_TRUE(many.bRearm);
    EXPECT_FALSE(many.bRefresh);
    EXPECT_TRUE(m_timer.IsRunning());
    EXPECT_TRUE(TickAfter(10, 100).bRefresh);
}

TEST_F(RefreshTimerTest, DisableAutoRefreshStopsAtTheNextTick)
{
    m_timer.Start();
    EXPECT_TRUE(TickAfter(10).bRearm);
    m_store.WriteInt("Misc.", "DisableAutoRefresh", 1);
    const TickDecision stopped = TickAfter(10);
    EXPECT_FALSE(stopped.bRearm);
    EXPECT_FALSE(stopped.bRefresh);
    EXPECT_FALSE(m_timer.IsRunning());
}

} // namespace
