// The plug-in on simulated boards: the shared object's own port instructions trap and are answered by a model
// of the chip.
#include "host/PortTrap.h"
#include "host/SimTime.h"
#include "sim/Appliance.h"
#include "tests/plugin/LoadedPlugin.h"

#include <sched.h>

#include <atomic>
#include <memory>

namespace
{
using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::uint64_t kOwnSource = 0x370000;
constexpr int kTimeoutSec = 40;

// The board's temperature leaves its limits at 12 s and is back within them at 52 s: between two polls, which
// come every five seconds.
constexpr const char* kScenario = "at 12s chip temperature 1 value 100\nat 52s chip temperature 1 value 40\n";

class BoardRig : public PluginRig
{
protected:
    // Switches on an appliance with that chip and starts the plug-in on it.
    void StartOn(const std::string& chip)
    {
        std::string error;
        m_appliance = std::make_unique<sim::CAppliance>("plain", sim::ParseScenario(kScenario, error), chip);
        for (const auto& [name, text] : m_appliance->Files())
        {
            m_dir.Write(name, text);
        }
        m_host.SetProgramHook([this](const CFakeHost::Arguments& arguments) { return RunTool(arguments); });
        m_switchedOn = host::simtime::MonotonicNow();
        host::TrapPorts(m_appliance->Ports(), m_trace, std::chrono::steady_clock::now());
        Load();
        Run();
        Settle(); // the loop runs, and what Run had queued for it is ahead of the next
        Settle();
    }

    ~BoardRig() override
    {
        Stop();
        host::ReleasePorts();
    }

    // Stopping the watchdog sleeps 100 ms and more by the clock, which may not run on until the watchdog has
    // run out.
    void Stop()
    {
        std::atomic<bool> stopped{false};
        std::thread time(
            [&stopped]
            {
                while (!stopped)
                {
                    if (host::simtime::NextDeadline().value_or(1h) <= 100ms)
                    {
                        host::simtime::Advance(10ms);
                    }
                    sched_yield();
                }
            });
        CloseAndUnload();
        stopped = true;
        time.join();
    }

    [[nodiscard]] sim::SimTime Now() const
    {
        return std::chrono::duration_cast<sim::SimTime>(host::simtime::MonotonicNow() - m_switchedOn);
    }

    [[nodiscard]] sim::WatchdogView Watchdog() const { return m_appliance->Watchdog(Now()).value(); }

    // The host returns a heartbeat; true when the chip has been reloaded. The clock moves a little, so that
    // the chip shows it.
    bool Ping()
    {
        host::simtime::Advance(1ms);
        m_plugin.Write(kOwnSource, 32, nullptr, 0);
        return WaitUntil(
            [this](const CFakeHost::Record&)
            { return Watchdog().isArmed && Watchdog().left == std::chrono::seconds(kTimeoutSec); });
    }

    // Moves the clock by seconds, each with a ping, until a status document carries sensors; that document.
    std::string NextSensorStatus()
    {
        m_host.Forget();
        for (int second = 0; second < 60; ++second)
        {
            host::simtime::Advance(1s);
            m_appliance->Advance(Now());
            EXPECT_TRUE(Ping());
            Settle();
            for (const std::string& text : Documents(MessageCategory::StatusDocument))
            {
                if (text.find("<Sensors") != std::string::npos)
                {
                    return text;
                }
            }
        }
        return "none";
    }

    std::unique_ptr<sim::CAppliance> m_appliance;
    host::CPortTrace m_trace;

private:
    std::optional<CFakeHost::Answer> RunTool(const CFakeHost::Arguments& arguments)
    {
        const sim::ProgramRun run = m_appliance->Run(arguments, Now());
        CFakeHost::Answer answer;
        answer.output = run.standardOutput;
        answer.exitCode = run.waitStatus >> 8;
        answer.startError = run.startError;
        return answer;
    }

    std::chrono::nanoseconds m_switchedOn{0};
};

struct ChipCase
{
    const char* chip;
    const char* detected; // the numbers of the log line
    const char* description;
    const char* voltage;     // attributes in the full list
    const char* fan;         // the same
    const char* temperature; // its element as it begins in every document
    const char* degrees;     // how it goes on in the full list
    bool armedByStart;       // or else by the first ping
};

constexpr auto kChips = std::to_array<ChipCase>({
    {"f81966a", "[0x1500] efir [0x004E] hwmir [0x0295]", "Fintek F81966/A",
     R"(ID="1005" Label="Voltage 6" Value="1520" Type="1" Max="1672" Min="1368" />)",
     R"(ID="3000" Label="Fan 1" Value="2964" Type="3" Min="1973" />)",
     R"(<Temperature ID="2000" Label="Temperature 1")", R"( Value="47" Type="2" Max=")", true},
    {"it8612", "[0x8610] efir [0x002E] hwmir [0x0A35]", "ITE Tech IT8612E EC-LPC I/O",
     R"(ID="1107" Label="Voltage 8" Value="1524" Type="1" Max="1676" Min="1371" />)",
     R"(ID="3100" Label="Fan 1" Value="2960" Type="3" Min="1973" />)",
     R"(<Temperature ID="2100" Label="Temperature 1")", R"( Value="47" Type="2" Max=")", true},
    {"it8728", "[0x8728] efir [0x002E] hwmir [0x0A35]", "ITE Tech IT8728 EC-LPC I/O",
     R"(ID="1107" Label="Voltage 8" Value="1524" Type="1" Max="1676" Min="1371" />)",
     R"(ID="3100" Label="Fan 1" Value="2960" Type="3" Min="1973" />)",
     R"(<Temperature ID="2100" Label="Temperature 1")", R"( Value="47" Type="2" Max=")", true},
    {"it8772e", "[0x8770] efir [0x002E] hwmir [0x0A35]", "ITE Tech IT8772E EC-LPC I/O",
     R"(ID="1106" Label="Voltage 7" Value="1668" Type="1" Max="1834" Min="1501" />)",
     R"(ID="3100" Label="Fan 1" Value="2960" Type="3" Min="1973" />)",
     R"(<Temperature ID="2100" Label="Temperature 1")", R"( Value="47" Type="2" Max=")", true},
    {"nct5525d", "[0xD2B0] efir [0x004E] hwmir [0x0A25]", "Nuvoton NCT5525D",
     R"(ID="1002" Label="Voltage 3" Value="209" Type="1" Max="229" Min="188" />)",
     R"(ID="3000" Label="Fan 1" Value="1150" Type="3" Min="766" />)",
     R"(<Temperature ID="2000" Label="Temperature 1")", R"( Value="34" Type="2" Max=")", false},
    {"nct6776", "[0xC330] efir [0x002E] hwmir [0x0295]", "Nuvoton LPC I/O NCT6776F / NCT6776D",
     R"(ID="1008" Label="Voltage 9" Value="1520" Type="1" Max="1672" Min="1368" />)",
     R"(ID="3000" Label="Fan 1" Value="1150" Type="3" Min="766" />)",
     R"(<Temperature ID="2000" Label="Temperature 1")", R"( Value="34" Type="2" Max=")", true},
    {"nct6791", "[0xC800] efir [0x002E] hwmir [0x0295]", "Nuvoton LPC I/O NCT6791D",
     R"(ID="1004" Label="+12V" Value="12096" Type="1" Max="12600" Min="11400" />)",
     R"(ID="3000" Label="Chassis fan 1" Value="1150" Type="3" Min="500" />)",
     R"(<Temperature ID="2000" Label="Board")", R"( Value="34" Type="2" Max=")", true},
    {"w83627dhg", "[0xA020] efir [0x002E] hwmir [0x0295]", "Winbond LPC I/O W83627DHG",
     R"(ID="1008" Label="Voltage 9" Value="1520" Type="1" Max="1672" Min="1368" />)",
     R"(ID="3000" Label="Fan 1" Value="1155" Type="3" Min="766" />)",
     R"(<Temperature ID="2000" Label="Temperature 1")", R"( Value="34" Type="2" Max=")", true},
    {"w83677hg", "[0xB470] efir [0x002E] hwmir [0x0295]", "Nuvoton LPC I/O W83676HG-I / W83677HG",
     R"(ID="1008" Label="Voltage 9" Value="1520" Type="1" Max="1672" Min="1368" />)",
     R"(ID="3000" Label="Fan 1" Value="1150" Type="3" Min="766" />)",
     R"(<Temperature ID="2000" Label="Temperature 1")", R"( Value="34" Type="2" Max=")", true},
});

class ChipPlugin : public BoardRig, public testing::WithParamInterface<ChipCase>
{
};

TEST_P(ChipPlugin, FindsWatchesAndGuardsTheBoard)
{
    const ChipCase& chip = GetParam();
    StartOn(chip.chip);
    const std::string found = std::string("SENSORS: Found ") + chip.description;
    EXPECT_THAT(
        m_host.LogTexts(),
        AllOf(Contains(StartsWith("SENSORS: Detected super I/O chip ID " + std::string(chip.detected))),
              Contains(found), Contains("SENSORS: Watchdog timer started successfully")));
    const std::string configuration = Documents(MessageCategory::ConfigDocument).back();
    EXPECT_THAT(configuration, AllOf(HasSubstr(chip.voltage), HasSubstr(chip.fan),
                                     HasSubstr(std::string(chip.temperature) + chip.degrees),
                                     HasSubstr(std::string(R"(<Watchdog Source=")") + chip.description +
                                               R"(" Enabled="1" Timeout="40" />)")));

    EXPECT_EQ(Watchdog().isArmed, chip.armedByStart);
    EXPECT_TRUE(Ping());
    EXPECT_TRUE(Watchdog().isArmed);
    EXPECT_THAT(NextSensorStatus(), HasSubstr(chip.temperature))
        << "all of them, with the state they start in";
    EXPECT_THAT(NextSensorStatus(), AllOf(HasSubstr(chip.temperature), HasSubstr(R"(Alarm="1")")));
    EXPECT_THAT(NextSensorStatus(), AllOf(HasSubstr(chip.temperature), HasSubstr(R"(Alarm="0")")));
    EXPECT_EQ(Watchdog().resetCount, 0U);

    Stop();
    EXPECT_THAT(m_host.LogTexts(), Contains("SENSORS: Stopping watchdog."));
    EXPECT_FALSE(Watchdog().isArmed);
    EXPECT_EQ(Watchdog().resetCount, 0U);
}

INSTANTIATE_TEST_SUITE_P(Chips, ChipPlugin, testing::ValuesIn(kChips),
                         [](const auto& test) { return std::string(test.param.chip); });

class BoardPlugin : public BoardRig
{
};

TEST_F(BoardPlugin, WithoutPingsTheBoardIsResetAndTheNextStartKnowsIt)
{
    StartOn("");
    EXPECT_TRUE(Ping());
    host::simtime::Advance(std::chrono::seconds(kTimeoutSec) - 1ms);
    EXPECT_EQ(Watchdog().left, 1ms);
    host::simtime::Advance(1ms);
    EXPECT_EQ(Watchdog().resetCount, 1U);
    Stop();
    ASSERT_TRUE(m_appliance->TakeReset());
    m_host.Forget();
    Load();
    Run();
    Settle();
    Settle();
    EXPECT_THAT(m_host.LogTexts(), Contains("SENSORS: Unexpected errors caused the system to reboot"));
    EXPECT_TRUE(Ping());
}

// A minute of 100 ms steps, and some more while the end comes.
constexpr auto kStep = 100ms;
constexpr int kSteps = 600;
constexpr int kStepsInAll = 620;
constexpr int kMostStepsBehind = 30; // either loop

// What a thread does once in every step of the clock that another thread moves.
class CStepper
{
public:
    CStepper(const std::atomic<int>& step, std::function<void()> work)
        : m_thread(
              [this, &step, work = std::move(work)]
              {
                  for (int at = 1; at <= kStepsInAll; ++at)
                  {
                      while (step < std::min(at, kSteps))
                      {
                          sched_yield();
                      }
                      work();
                      m_done = at;
                  }
              })
    {
    }
    ~CStepper() { m_thread.join(); }
    CStepper(const CStepper&) = delete;
    CStepper& operator=(const CStepper&) = delete;

    void WaitFor(int step) const
    {
        while (m_done < step)
        {
            sched_yield();
        }
    }

private:
    std::atomic<int> m_done{0};
    std::thread m_thread;
};

// Pings, polls and documents never stop, and the end comes in the middle of them.
TEST_F(BoardPlugin, PingsPollsDocumentsAndTheEndAtOnce)
{
    constexpr int kPingsPerStep = 10;
    m_host.SetLogThreshold(25);
    StartOn("w83627dhg");
    const std::string& refresh = Lend(R"(<zDVR><Sensors ID="3604480" Refresh="1"/></zDVR>)");
    const std::string& change =
        Lend(R"(<zDVR Delta="1"><Storage ID="3604480" RefreshIntervalSec="60"/></zDVR>)");
    {
        std::atomic<int> step{0};
        const CStepper pings(step,
                             [this]
                             {
                                 for (int ping = 0; ping < kPingsPerStep; ++ping)
                                 {
                                     m_plugin.Write(kOwnSource, 32, nullptr, 0);
                                 }
                             });
        const CStepper documents(
            step,
            [this, &refresh, &change]
            {
                m_plugin.Write(kForeignSource, 4, refresh.data(), static_cast<std::int32_t>(refresh.size()));
                m_plugin.Ioctl(2, change.data(), static_cast<std::uint32_t>(change.size()));
            });
        while (step < kSteps)
        {
            host::simtime::Advance(kStep);
            ++step;
            pings.WaitFor(step);
            documents.WaitFor(step);
            // Neither loop may fall so far behind that the board is reset.
            const std::size_t processed = 2 * static_cast<std::size_t>(std::max(0, step - kMostStepsBehind));
            EXPECT_TRUE(WaitUntil(
                [this, processed](const CFakeHost::Record& told)
                {
                    const auto pingedAgo = std::chrono::seconds(kTimeoutSec) - Watchdog().left;
                    return told.releases.size() >= processed && pingedAgo < kMostStepsBehind * kStep;
                }));
        }
        EXPECT_TRUE(Watchdog().isArmed);
        EXPECT_EQ(Watchdog().resetCount, 0U);
        Stop();
    }
    EXPECT_FALSE(Watchdog().isArmed);
    EXPECT_EQ(m_host.Told().releases.size(), 2U + 2U * kStepsInAll)
        << "every kept buffer once, with those of Settle";
}
} // namespace
