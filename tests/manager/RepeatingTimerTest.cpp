#include "manager/RepeatingTimer.h"

#include "tests/support/FakeHost.h"

#include <boost/asio/basic_waitable_timer.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using testing::ElementsAre;

struct ManualTime
{
    using rep = std::int64_t;
    using period = std::milli;
    using duration = std::chrono::milliseconds;
    using time_point = std::chrono::time_point<ManualTime>;
    // NOLINTBEGIN(readability-identifier-naming): names that a clock has to have
    static constexpr bool is_steady = true;
    static time_point now() { return s_now; }
    // NOLINTEND(readability-identifier-naming)
    inline static time_point s_now{};
};

using ManualTimer = boost::asio::basic_waitable_timer<ManualTime>;

class RepeatingTimer : public testing::Test
{
protected:
    RepeatingTimer()
    {
        m_timer.SetWork({.period = [this] { return m_period; },
                         .beforeRearm =
                             [this]
                         {
                             m_runs.push_back("work");
                             ManualTime::s_now += m_workTakes;
                         },
                         .afterRearm = [this] { m_runs.push_back("after"); }});
        m_timer.Arm();
    }

    // Lets `period` pass and runs what is due. The loop looks at its timers only when an earlier one comes
    // in, so one is added that is overdue; the others that are due leave the queue together with it.
    void Pass(std::chrono::milliseconds period)
    {
        ManualTime::s_now += period;
        bool looked = false;
        ManualTimer overdue(m_context, ManualTime::time_point::min());
        overdue.async_wait([&looked](const boost::system::error_code&) { looked = true; });
        m_context.restart();
        while (!looked)
        {
            m_context.run_one();
        }
        m_context.poll();
    }

    CFakeHost m_host;
    boost::asio::io_context m_context;
    std::atomic<bool> m_stopped{false};
    std::chrono::seconds m_period{60};
    std::chrono::seconds m_workTakes{0};
    std::vector<std::string> m_runs;
    CRepeatingTimer<ManualTimer> m_timer{m_context, 2, m_stopped};
};

TEST_F(RepeatingTimer, RunsAgainAPeriodAfterTheEndOfItsWork)
{
    m_workTakes = std::chrono::seconds(100);
    Pass(std::chrono::milliseconds(59999));
    EXPECT_TRUE(m_runs.empty());
    Pass(std::chrono::milliseconds(1));
    EXPECT_THAT(m_runs, ElementsAre("work", "after"));
    Pass(std::chrono::milliseconds(59999));
    EXPECT_EQ(m_runs.size(), 2U) << "counted from the end of the work";
    Pass(std::chrono::milliseconds(1));
    EXPECT_EQ(m_runs.size(), 4U);
    EXPECT_TRUE(m_host.LogTexts().empty());
}

TEST_F(RepeatingTimer, AsksForItsPeriodAtEachArming)
{
    m_period = std::chrono::seconds(5);
    Pass(std::chrono::seconds(60));
    Pass(std::chrono::seconds(5));
    EXPECT_EQ(m_runs.size(), 4U);
}

TEST_F(RepeatingTimer, EndsWithALineOnceStopped)
{
    m_stopped = true;
    Pass(std::chrono::seconds(60));
    Pass(std::chrono::hours(1));
    EXPECT_TRUE(m_runs.empty());
    EXPECT_THAT(m_host.LogTexts(LogDebug),
                ElementsAre("CORVANEPI: Will not reschedule 2 timer because we are done"));
}

TEST_F(RepeatingTimer, EndsWithTheErrorWhenCancelled)
{
    m_timer.Cancel();
    Pass(std::chrono::hours(1));
    EXPECT_TRUE(m_runs.empty());
    EXPECT_THAT(m_host.LogTexts(LogDebug),
                ElementsAre("CORVANEPI: Will not reschedule 2 timer. m_stopped=false, error_code=125, "
                            "error_description=Operation canceled"));
}
} // namespace
