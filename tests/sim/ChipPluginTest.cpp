// The plug-in's own chip classes on the simulated chips: two descriptions of one chip, written apart.
#include "bench/AllocationCount.h"
#include "frame/Xml.h"
#include "hwmon/Chips.h"
#include "hwmon/PortIo.h"
#include "sim/BoardFile.h"
#include "sim/SimSuperIo.h"
#include "sim/SuperIoChips.h"
#include "tests/support/FakeHost.h"
#include "tests/support/ManualClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <string>
#include <tuple>

namespace
{
using namespace std::chrono_literals;
using sim::Quantity;
using testing::Contains;
using testing::Not;

// The port instructions of the plug-in, answered by the simulated chip.
class CSimPortIo final : public CPortIo
{
public:
    CSimPortIo(sim::CSimSuperIo& chip, const CManualClock& clock) : m_chip(chip), m_clock(clock) {}

    std::uint8_t In(std::uint16_t port) override
    {
        const auto before = bench::Allocations();
        const std::uint8_t value = m_chip.In(port, Now());
        CheckAccess(port, before);
        return value;
    }
    void Out(std::uint16_t port, std::uint8_t value) override
    {
        const auto before = bench::Allocations();
        m_chip.Out(port, value, Now());
        CheckAccess(port, before);
    }
    int SetPermission(std::uint16_t first, int count, bool on) override
    {
        const int error = m_chip.SetPermission(first, count, on);
        for (int port = first; error == 0 && port < first + count; ++port)
        {
            on ? static_cast<void>(m_granted.insert(port)) : static_cast<void>(m_granted.erase(port));
        }
        return error;
    }
    [[nodiscard]] sim::SimTime Now() const { return sim::SimTime(m_clock.MonotonicMs()); }

private:
    void CheckAccess(std::uint16_t port, std::uint64_t before)
    {
        EXPECT_EQ(bench::Allocations(), before) << "an access may come from a signal handler";
        EXPECT_EQ(m_granted.count(port), 1U) << port;
    }

    sim::CSimSuperIo& m_chip;
    const CManualClock& m_clock;
    std::set<int> m_granted;
};

struct ChipCase
{
    const char* name;
    const char* vendor;
    const char* description;
    int chipId;
    int configPort;
    int monitorPort;
    bool tellsReboot; // the class can say that the watchdog caused the last reset
    bool armsAtFirstPing;
    std::string readings; // at rest
    const char* silent;   // the sensor that never alarms
};

// Readings that chips have in common.
const std::string kNuvoton =
    "1000=1016 1001=1000 1002=1680 1003=1672 1004=1008 1005=1200 1006=1504 1007=1688 "
    "1008=1520 2000=34 2001=48 2002=39 ";
const std::string kNct6776 = kNuvoton + "2003=51 2004=43 3000=1150 3001=2989 3003=1252 3004=1300 3005=5600";
const std::string kIte = "1100=1020 1101=1500 1102=1680 1103=2040 1104=2016 1105=1044 ";

const auto kChips = std::to_array<ChipCase>({
    {"w83627dhg", "ACME", "Winbond LPC I/O W83627DHG", 0xA020, 0x2E, 0x295, true, false,
     kNuvoton + "3000=1155 3001=3013 3002=1318 3003=1240 3004=5625", "3002"},
    {"w83677hg", "ACME", "Nuvoton LPC I/O W83676HG-I / W83677HG", 0xB470, 0x2E, 0x295, true, false,
     kNuvoton + "3000=1150 3001=2989 3003=1252 3004=1300", "3004"},
    {"nct6776", "ACME", "Nuvoton LPC I/O NCT6776F / NCT6776D", 0xC330, 0x2E, 0x295, true, false, kNct6776,
     ""},
    {"nct6776", "ASRock", "NCT5573D Nuvoton LPC I/O", 0xC330, 0x2E, 0x295, false, false, kNct6776, ""},
    {"it8772e", "ACME", "ITE Tech IT8772E EC-LPC I/O", 0x8770, 0x2E, 0xA35, false, false,
     kIte + "1106=1668 1107=1524 2100=47 2101=35 2102=39 3100=2960 3101=1161", ""},
    {"it8728", "ACME", "ITE Tech IT8728 EC-LPC I/O", 0x8728, 0x2E, 0xA35, false, false,
     kIte + "1106=1200 1107=1524 2100=47 2101=35 2102=39 3100=2960 3101=1161 3102=1252", ""},
    {"it8612", "ACME", "ITE Tech IT8612E EC-LPC I/O", 0x8610, 0x2E, 0xA35, false, false,
     kIte + "1106=1200 1107=1524 2100=47 2101=35 2102=39 2103=41 3100=2960 3101=1161 3102=1252", "2103"},
    {"nct6791", "ACME", "Nuvoton LPC I/O NCT6791D", 0xC800, 0x2E, 0x295, true, false,
     "1000=1016 1001=1000 1002=1680 1003=1672 1004=1008 1005=1688 1006=1520 2000=34 2001=48 "
     "3000=1150 3001=1838 3003=1240",
     ""},
    {"nct5525d", "ACME", "Nuvoton NCT5525D", 0xD2B0, 0x4E, 0xA25, true, true,
     "1000=127 1001=125 1002=209 2000=34 2001=48 3000=1150 3001=2989", ""},
    {"f81966a", "ACME", "Fintek F81966/A", 0x1500, 0x4E, 0x295, true, false,
     "1000=1672 1001=1016 1002=1008 1003=1200 1004=1688 1005=1520 2000=47 2001=35 2002=39 "
     "3000=2964 3001=1161 3002=1252",
     ""},
});

class ChipPlugin : public testing::TestWithParam<ChipCase>
{
protected:
    ChipPlugin() : m_rows(*sim::FindChip(GetParam().name)), m_model(m_rows), m_ports(m_model, m_clock)
    {
        EXPECT_TRUE(m_boardFile.Parse(sim::MakeBoardFile(m_rows, "B1", "")));
        SwitchOn();
    }

    // As the plug-in does when it starts.
    void SwitchOn()
    {
        m_info = DetectSuperIo(m_ports);
        m_chip = CreateSuperIo(GetParam().vendor, m_info, m_ports, m_clock);
        ASSERT_NE(m_chip, nullptr);
        m_chip->SetMotherboard(GetParam().vendor, "B1");
        ASSERT_TRUE(
            m_chip->InitHwMonitoring(m_boardFile)); // before the watchdog, which may use its registers
    }

    // The elements of a document, "ID=Value" each, or only those in alarm state `alarm`, "ID".
    std::string Elements(bool full, const char* alarm = nullptr)
    {
        CXmlDocument document;
        TiXmlElement& root = AddChild(StartDocument(document), "S");
        m_chip->AddSensorElements(root, full);
        std::string text;
        for (const auto* element = root.FirstChildElement(); element != nullptr;
             element = element->NextSiblingElement())
        {
            const std::string id = (text.empty() ? "" : " ") + std::string(element->Attribute("ID"));
            if (alarm == nullptr)
            {
                text += id + "=" + element->Attribute("Value");
            }
            else if (TextAttribute(*element, "Alarm") == alarm)
            {
                text += id;
            }
        }
        return text;
    }

    // Two polls: a status that remembers ends one poll later, and one of a stepped divisor begins so.
    std::string PollForAlarms(const char* alarm)
    {
        std::string ids;
        for (int poll = 0; poll < 2; ++poll)
        {
            m_clock.Advance(5s);
            m_chip->PollSensors();
            ids += Elements(false, alarm);
        }
        return ids;
    }

    // Moves a channel out of its limits and back; what alarms then, and what ends.
    void TryChannel(Quantity quantity, std::size_t at, int boardId, int out, int rest)
    {
        const int number = static_cast<int>(at) + 1;
        const std::string id = std::to_string(boardId);
        const std::string expected = id == GetParam().silent ? "" : id;
        m_model.SetValue(quantity, number, out, 0s, m_ports.Now());
        EXPECT_EQ(PollForAlarms("1"), expected) << id;
        m_model.SetValue(quantity, number, rest, 0s, m_ports.Now());
        EXPECT_EQ(PollForAlarms("0"), expected) << id;
    }

    void StartWatchdog()
    {
        ASSERT_TRUE(m_chip->StartWatchdog(40, m_boardFile));
        EXPECT_EQ(m_model.Watchdog(m_ports.Now()).isArmed, !GetParam().armsAtFirstPing);
        m_chip->PingWatchdog();
        EXPECT_TRUE(m_model.Watchdog(m_ports.Now()).isArmed);
    }

    const sim::SuperIoRows& m_rows;
    CFakeHost m_host;
    CManualClock m_clock;
    sim::CSimSuperIo m_model;
    CSimPortIo m_ports;
    CXmlDocument m_boardFile;
    SuperIoInfo m_info;
    std::unique_ptr<CSuperIo> m_chip;
};

TEST_P(ChipPlugin, IsDetectedAndReadsEverySensor)
{
    EXPECT_EQ(m_info.chipId, static_cast<unsigned>(GetParam().chipId));
    EXPECT_EQ(m_info.configIndexPort, GetParam().configPort);
    EXPECT_EQ(m_info.monitorIndexPort, GetParam().monitorPort);
    EXPECT_EQ(m_chip->Description(), GetParam().description);
    EXPECT_EQ(Elements(true), GetParam().readings);
    EXPECT_FALSE(m_model.IsOpen());
    EXPECT_EQ(PollForAlarms("1"), "");
}

TEST_P(ChipPlugin, EachSensorAlarmsAloneAndRecovers)
{
    PollForAlarms("0");
    for (std::size_t at = 0; at < m_rows.voltages.size(); ++at)
    {
        const auto& row = m_rows.voltages[at];
        TryChannel(Quantity::Voltage, at, row.boardId, row.restMillivolts * 8 / 10, row.restMillivolts);
        TryChannel(Quantity::Voltage, at, row.boardId, row.restMillivolts * 12 / 10, row.restMillivolts);
    }
    for (std::size_t at = 0; at < m_rows.temperatures.size(); ++at)
    {
        const auto& row = m_rows.temperatures[at];
        TryChannel(Quantity::Temperature, at, row.boardId, row.restDegrees + 40, row.restDegrees);
    }
    for (std::size_t at = 0; at < m_rows.fans.size(); ++at)
    {
        const auto& row = m_rows.fans[at];
        if (row.restRpm != 0)
        {
            TryChannel(Quantity::Fan, at, row.boardId, row.restRpm / 2, row.restRpm);
        }
    }
}

TEST_P(ChipPlugin, WatchdogIsArmedReloadedAndStopped)
{
    StartWatchdog();
    m_clock.Advance(39s);
    EXPECT_EQ(m_model.Watchdog(m_ports.Now()).left, 1s);
    m_chip->PingWatchdog();
    const sim::WatchdogView view = m_model.Watchdog(m_ports.Now());
    EXPECT_EQ(view.left, 40s);
    EXPECT_EQ(view.timeoutSec, 40);
    const auto before = m_ports.Now();
    m_chip->StopWatchdog();
    EXPECT_LE(m_ports.Now() - before, 100ms); // the stop was seen at the first look
    EXPECT_FALSE(m_model.Watchdog(m_ports.Now()).isArmed);
    EXPECT_FALSE(m_model.IsOpen());
    m_clock.Advance(1h);
    m_model.Tick(m_ports.Now());
    EXPECT_FALSE(m_model.TakeReset());
}

TEST_P(ChipPlugin, RunsOutAndTellsItOnceAfterTheReset)
{
    constexpr const char* kTold = "SENSORS: Unexpected errors caused the system to reboot";
    StartWatchdog();
    EXPECT_THAT(m_host.LogTexts(), Not(Contains(kTold)));
    m_clock.Advance(39'999ms);
    m_model.Tick(m_ports.Now());
    EXPECT_FALSE(m_model.TakeReset());
    m_clock.Advance(1ms);
    m_model.Tick(m_ports.Now());
    EXPECT_TRUE(m_model.TakeReset());
    EXPECT_EQ(m_model.Watchdog(m_ports.Now()).resetCount, 1U);
    SwitchOn();
    StartWatchdog();
    const auto texts = m_host.LogTexts();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), kTold), GetParam().tellsReboot ? 1 : 0);
    m_host.Forget();
    m_chip->StopWatchdog();
    SwitchOn();
    StartWatchdog();
    EXPECT_THAT(m_host.LogTexts(), Not(Contains(kTold)));
}

INSTANTIATE_TEST_SUITE_P(Chips, ChipPlugin, testing::ValuesIn(kChips),
                         [](const auto& test)
                         {
                             const bool isAsRock = std::string(test.param.vendor) == "ASRock";
                             return isAsRock ? std::string("nct5573d") : std::string(test.param.name);
                         });

// Of the documentation's board file: all readings within limits, and whether it allows the watchdog.
TEST(ExampleBoards, AreInGoodOrder)
{
    using Row = std::tuple<const char*, const char*, std::size_t, bool>;
    for (const auto& [name, board, sensors, hasWatchdog] : {
             Row{"nct6791", "TB-470M", 10, true}, // one socket is empty
             Row{"it8728", "tb-315 rev B", 10, true},
             Row{"w83627dhg", "TS-220R", 8, false},
         })
    {
        SCOPED_TRACE(name);
        const CFakeHost host;
        CManualClock clock;
        sim::CSimSuperIo model(*sim::FindChip(name));
        CSimPortIo ports(model, clock);
        CXmlDocument boardFile;
        ASSERT_TRUE(boardFile.Parse(sim::kExampleBoardFile));
        const auto chip = CreateSuperIo("Tarnwerk", DetectSuperIo(ports), ports, clock);
        ASSERT_NE(chip, nullptr);
        chip->SetMotherboard("Tarnwerk", board);
        ASSERT_TRUE(chip->InitHwMonitoring(boardFile));
        chip->PollSensors();
        CXmlDocument document;
        TiXmlElement& root = AddChild(StartDocument(document), "S");
        EXPECT_TRUE(chip->AddSensorElements(root, false));
        std::size_t count = 0;
        for (const auto* element = root.FirstChildElement(); element != nullptr;
             element = element->NextSiblingElement(), ++count)
        {
            EXPECT_STREQ(element->Attribute("Alarm"), "0") << element->Attribute("Label");
        }
        EXPECT_EQ(count, sensors);
        EXPECT_EQ(chip->StartWatchdog(40, boardFile), hasWatchdog);
        EXPECT_EQ(model.Watchdog(ports.Now()).isArmed, hasWatchdog);
    }
}

TEST(ChipList, HoldsEveryChipOfThePlugin)
{
    std::set<int> simulated;
    for (const std::string& name : sim::ListChips())
    {
        simulated.insert(sim::FindChip(name)->boardChip);
    }
    std::set<int> supported;
    for (const ChipRow& row : SupportedChips())
    {
        supported.insert(static_cast<int>(row.id));
    }
    EXPECT_EQ(simulated, supported);
}
} // namespace
