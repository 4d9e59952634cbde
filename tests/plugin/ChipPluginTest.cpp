// The plug-in on simulated boards: the shared object's own port instructions trap and are answered by a model
// of the chip.
#include "host/PortTrap.h"
#include "tests/plugin/ApplianceRig.h"
#include "tests/support/CaseName.h"

#include <sched.h>

#include <atomic>

namespace
{
using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kTimeoutSec = 40;

// The board's temperature leaves its limits at 12 s and is back within them at 52 s: between two polls, which
// come every five seconds.
constexpr const char* kScenario = "at 12s chip temperature 1 value 100\nat 52s chip temperature 1 value 40\n";

class BoardRig : public ApplianceRig
{
protected:
    // Switches on an appliance with that chip and starts the plug-in on it.
    void StartOn(const std::string& chip)
    {
        std::string error;
        SwitchOn(std::make_unique<sim::CAppliance>("plain", sim::ParseScenario(kScenario, error), chip));
        host::TrapPorts(m_appliance->Ports(), m_trace, std::chrono::steady_clock::now());
        Start();
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

    [[nodiscard]] sim::WatchdogView Watchdog() const { return m_appliance->Watchdog(Now()).value(); }

    // The host returns a heartbeat; true when the chip has been reloaded. The clock moves a little, so that
    // the chip shows it.
    bool Ping()
    {
        host::simtime::Advance(1ms);
        m_plugin.Write(kOwnSource, 32, nullptr, 0);
        return WaitUntil(
            [this](const auto&)
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

    host::CPortTrace m_trace;
};

// In a document.
std::string Attribute(const std::string& name, int value)
{
    return " " + name + "=\"" + std::to_string(value) + "\"";
}
std::string Identity(int id, const std::string& label)
{
    return Attribute("ID", id) + " Label=\"" + label + "\"";
}
std::string Voltage(int id, const std::string& label, int value, int max, int min)
{
    return Identity(id, label) + Attribute("Value", value) + Attribute("Type", 1) + Attribute("Max", max) +
           Attribute("Min", min) + " />";
}
std::string Fan(int id, const std::string& label, int value, int min)
{
    return Identity(id, label) + Attribute("Value", value) + Attribute("Type", 3) + Attribute("Min", min) +
           " />";
}

struct ChipCase
{
    const char* name;
    const char* detected; // the numbers of the log line
    const char* description;
    std::string voltage; // attributes in the full list
    std::string fan;     // the same
    int temperatureId;   // of the one that leaves its limits
    const char* temperatureLabel;
    int degrees;
    bool armedByFirstPing = false; // or else by the start
};

const auto kChips = std::to_array<ChipCase>({
    {"f81966a", "[0x1500] efir [0x004E] hwmir [0x0295]", "Fintek F81966/A",
     Voltage(1005, "Voltage 6", 1520, 1672, 1368), Fan(3000, "Fan 1", 2964, 1973), 2000, "Temperature 1", 47},
    {"it8612", "[0x8610] efir [0x002E] hwmir [0x0A35]", "ITE Tech IT8612E EC-LPC I/O",
     Voltage(1107, "Voltage 8", 1524, 1676, 1371), Fan(3100, "Fan 1", 2960, 1973), 2100, "Temperature 1", 47},
    {"it8728", "[0x8728] efir [0x002E] hwmir [0x0A35]", "ITE Tech IT8728 EC-LPC I/O",
     Voltage(1107, "Voltage 8", 1524, 1676, 1371), Fan(3100, "Fan 1", 2960, 1973), 2100, "Temperature 1", 47},
    {"it8772e", "[0x8770] efir [0x002E] hwmir [0x0A35]", "ITE Tech IT8772E EC-LPC I/O",
     Voltage(1106, "Voltage 7", 1668, 1834, 1501), Fan(3100, "Fan 1", 2960, 1973), 2100, "Temperature 1", 47},
    {"nct5525d", "[0xD2B0] efir [0x004E] hwmir [0x0A25]", "Nuvoton NCT5525D",
     Voltage(1002, "Voltage 3", 209, 229, 188), Fan(3000, "Fan 1", 1150, 766), 2000, "Temperature 1", 34,
     true},
    {"nct6776", "[0xC330] efir [0x002E] hwmir [0x0295]", "Nuvoton LPC I/O NCT6776F / NCT6776D",
     Voltage(1008, "Voltage 9", 1520, 1672, 1368), Fan(3000, "Fan 1", 1150, 766), 2000, "Temperature 1", 34},
    {"nct6791", "[0xC800] efir [0x002E] hwmir [0x0295]", "Nuvoton LPC I/O NCT6791D",
     Voltage(1004, "+12V", 12096, 12600, 11400), Fan(3000, "Chassis fan 1", 1150, 500), 2000, "Board", 34},
    {"w83627dhg", "[0xA020] efir [0x002E] hwmir [0x0295]", "Winbond LPC I/O W83627DHG",
     Voltage(1008, "Voltage 9", 1520, 1672, 1368), Fan(3000, "Fan 1", 1155, 766), 2000, "Temperature 1", 34},
    {"w83677hg", "[0xB470] efir [0x002E] hwmir [0x0295]", "Nuvoton LPC I/O W83676HG-I / W83677HG",
     Voltage(1008, "Voltage 9", 1520, 1672, 1368), Fan(3000, "Fan 1", 1150, 766), 2000, "Temperature 1", 34},
});

class ChipPlugin : public BoardRig, public testing::WithParamInterface<ChipCase>
{
};

TEST_P(ChipPlugin, FindsWatchesAndGuardsTheBoard)
{
    const ChipCase& chip = GetParam();
    StartOn(chip.name);
    const std::string found = std::string("SENSORS: Found ") + chip.description;
    EXPECT_THAT(
        m_host.LogTexts(),
        AllOf(Contains(StartsWith("SENSORS: Detected super I/O chip ID " + std::string(chip.detected))),
              Contains(found), Contains("SENSORS: Watchdog timer started successfully")));
    const std::string configuration = Documents(MessageCategory::ConfigDocument).back();
    const std::string temperature = "<Temperature" + Identity(chip.temperatureId, chip.temperatureLabel);
    EXPECT_THAT(configuration,
                AllOf(HasSubstr(chip.voltage), HasSubstr(chip.fan),
                      HasSubstr(temperature + Attribute("Value", chip.degrees) + R"( Type="2" Max=")"),
                      HasSubstr(std::string(R"(<Watchdog Source=")") + chip.description +
                                R"(" Enabled="1" Timeout="40" />)")));

    EXPECT_EQ(Watchdog().isArmed, !chip.armedByFirstPing);
    EXPECT_TRUE(Ping());
    EXPECT_TRUE(Watchdog().isArmed);
    EXPECT_THAT(NextSensorStatus(), HasSubstr(temperature)) << "all of them, with the state they start in";
    EXPECT_THAT(NextSensorStatus(), AllOf(HasSubstr(temperature), HasSubstr(R"(Alarm="1")")));
    EXPECT_THAT(NextSensorStatus(), AllOf(HasSubstr(temperature), HasSubstr(R"(Alarm="0")")));
    EXPECT_EQ(Watchdog().resetCount, 0U);

    Stop();
    EXPECT_THAT(m_host.LogTexts(), Contains("SENSORS: Stopping watchdog."));
    EXPECT_FALSE(Watchdog().isArmed);
    EXPECT_EQ(Watchdog().resetCount, 0U);
}

INSTANTIATE_TEST_SUITE_P(Chips, ChipPlugin, testing::ValuesIn(kChips), kByName);

using BoardPlugin = BoardRig;

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
    Start();
    EXPECT_THAT(m_host.LogTexts(), Contains("SENSORS: Unexpected errors caused the system to reboot"));
    EXPECT_TRUE(Ping());
}

// Pings, polls and documents never stop, and the end comes in the middle of them: a minute of 100 ms steps,
// and some more while the plug-in stops.
TEST_F(BoardPlugin, PingsPollsDocumentsAndTheEndAtOnce)
{
    constexpr auto kStep = 100ms;
    constexpr int kSteps = 600;
    constexpr int kStepsAtTheEnd = 20;
    constexpr int kMostStepsBehind = 30; // either loop
    m_host.SetLogThreshold(25);
    StartOn("w83627dhg");
    const std::string& refresh = Lend(R"(<zDVR><Sensors ID="3604480" Refresh="1"/></zDVR>)");
    const std::string& change =
        Lend(R"(<zDVR Delta="1"><Storage ID="3604480" RefreshIntervalSec="60"/></zDVR>)");
    const auto ping = [this](int steps)
    {
        for (int count = 0; count < 10 * steps; ++count)
        {
            m_plugin.Write(kOwnSource, 32, nullptr, 0);
        }
    };
    const auto tell = [this, &refresh, &change](int steps)
    {
        for (int count = 0; count < steps; ++count)
        {
            m_plugin.Write(kForeignSource, 4, refresh.data(), static_cast<std::int32_t>(refresh.size()));
            m_plugin.Ioctl(2, change.data(), static_cast<std::uint32_t>(change.size()));
        }
    };
    for (int step = 1; step <= kSteps; ++step)
    {
        host::simtime::Advance(kStep);
        std::thread pings(ping, 1);
        tell(1);
        pings.join();
        // Neither loop may fall so far behind that the board is reset.
        const std::size_t processed = 2 * static_cast<std::size_t>(std::max(0, step - kMostStepsBehind));
        ASSERT_TRUE(WaitUntil(
            [&](const auto& told)
            {
                const auto pingedAgo = std::chrono::seconds(kTimeoutSec) - Watchdog().left;
                return told.releases.size() >= processed && pingedAgo < kMostStepsBehind * kStep;
            }));
    }
    EXPECT_TRUE(Watchdog().isArmed);
    EXPECT_EQ(Watchdog().resetCount, 0U);
    std::thread pings(ping, kStepsAtTheEnd);
    std::thread documents(tell, kStepsAtTheEnd);
    m_plugin.Close();
    pings.join();
    documents.join();
    Stop();
    EXPECT_FALSE(Watchdog().isArmed);
    EXPECT_EQ(m_host.Told().releases.size(), 2U + 2U * (kSteps + kStepsAtTheEnd))
        << "every kept buffer once, with those of Settle";
}
} // namespace
