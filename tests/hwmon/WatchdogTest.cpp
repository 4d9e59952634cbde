#include "frame/Log.h"
#include "tests/hwmon/ChipRig.h"

#include <array>

namespace
{
using Watchdog = ChipRig;

// Register accesses of a chip's operations, from a chip whose registers read 0 at first.
struct SequenceCase
{
    const char* name;
    Chip chip;
    const char* init;
    const char* start; // time-out 40
    const char* ping;
    const char* stop;
};

constexpr const char* kRegisterInit = "enter C07=0B C30=01 B0 M40? B0 M40=01 B5 M5D? B5 M5D=01 exit";
constexpr const char* kRegisterStart = "enter C07=0A C30=01 CF7? CF7=04 exit "
                                       "enter C07=0A CF4? CF4=00 exit "
                                       "enter C07=08 C30? C30=01 CF5? CF5=02 CF7? CF7=00 CF6=28 exit";
constexpr const char* kRegisterPing = "enter C07=08 C30? CF6=28 exit";
constexpr const char* kRegisterStop = "enter C07=08 CF6=00 C30=FE C30? exit";
constexpr const char* kItePing = "enter C07=07 C73=28 C74=00 exit";
constexpr const char* kIteStop = "enter C07=07 C73=00 C74=00 C71? exit";

constexpr auto kSequences = std::to_array<SequenceCase>({
    {"W83627", Chip::W83627, kRegisterInit, kRegisterStart, kRegisterPing, kRegisterStop},
    {"W83677", Chip::W83677, kRegisterInit, kRegisterStart, kRegisterPing, kRegisterStop},
    {"Nct6776", Chip::Nct6776, kRegisterInit,
     "enter C07=0A CF7? CF7=04 exit enter C07=0A CF4? CF4=00 exit "
     "c07=0D cF7? cF7=FF " // the chip does not answer out of configuration mode
     "enter C07=08 C30? C30=01 CF5? CF5=02 CF6=28 CF7? CF7=00 exit",
     kRegisterPing, kRegisterStop},
    {"Nct5573", Chip::Nct5573, kRegisterInit,
     "c07=0D cF7? cF7=FF enter C07=08 C2B? C2B=00 C30? C30=01 CF5? CF5=02 CF6=28 CF7? CF7=00 exit",
     kRegisterPing, kRegisterStop},
    {"It8772", Chip::It8772, "enter C07=04 C30=01 M00? M00=01 M50=FF M51=FC M0C=00 M13? M13=60 exit",
     "enter C07=07 C71=00 C72=C0 C73=28 C74=00 exit", kItePing, kIteStop},
    {"It8728", Chip::It8728, "enter C07=04 C30=01 M00? M00=41 M50=FF M51=38 M0C? M0C=00 M13? M13=70 exit",
     "enter C07=07 C71=00 C72=D0 C73=28 C74=00 exit", kItePing, kIteStop},
    {"It8612", Chip::It8612, "enter C07=04 C30=01 M00? M00=19 M50=FF M51=C3 M0C? M0C=00 M13? M13=70 exit",
     "enter C07=07 C71=00 C72=D0 C73=28 C74=00 exit", kItePing, kIteStop},
    {"Nct6791", Chip::Nct6791, "enter C07=0B C30=01 C28? C28=00 B0 M40? B0 M40=01 B0 M5D? B0 M5D=01 exit",
     "enter C07=0A CF7? CF7=04 exit enter C07=0A CF4? CF4=00 exit "
     "enter C07=08 C30? C30=01 CF5? CF5=00 CF7? CF7=00 CF6=28 exit enter C07=0D CF0? CF0=00 exit",
     kRegisterPing, kRegisterStop},
    {"Fintek", Chip::Fintek, "enter C07=04 C30? C30=01 C01? C01=03 C04? C04=80 exit",
     "enter C07=0A C30? C30=01 CF0? CF0=40 exit enter C07=07 CF5? CF5=40 exit "
     "enter C07=07 CF6=28 CFA? CFA=41 CF5? CF5=71 exit", // 0x40 from before is in it
     "enter C07=07 CF6=28 exit", "enter C07=07 CF5? CF5=51 exit"},
    {"Nct5525", Chip::Nct5525, "",
     "enter C07=0A CE7? CE7=08 exit enter C07=08 CF2? CF2=00 exit enter C07=08 C30=01 CF0=02 exit",
     "enter C07=08 CF1=28 exit", "enter C07=08 CF1=00 exit"},
});

using ChipSequences = WithCases<ChipRig, SequenceCase>;

TEST_P(ChipSequences, AreTheChipsOwn)
{
    Make(GetParam().chip);
    ASSERT_TRUE(m_chip->InitHwMonitoring(BoardFile(SensorXml(1000, 0, 0))));
    EXPECT_EQ(m_ports->TakeRegisters(), GetParam().init);
    ASSERT_TRUE(m_chip->StartWatchdog(40, BoardFile("")));
    EXPECT_EQ(m_ports->TakeRegisters(), GetParam().start);
    m_chip->PingWatchdog();
    EXPECT_EQ(m_ports->TakeRegisters(), GetParam().ping);
    m_chip->StopWatchdog();
    EXPECT_EQ(m_ports->TakeRegisters(), GetParam().stop);
}
INSTANTIATE_TEST_SUITE_P(Cases, ChipSequences, testing::ValuesIn(kSequences), kByName);

// Where a change of bits meets other bits: device (-1: a monitor register), register, before, after.
constexpr auto kBitsCases = std::to_array<std::tuple<const char*, Chip, int, int, int, int>>({
    {"PmeEventOn", Chip::W83627, 0x0A, 0xF7, 0x90, 0x94},
    {"WatchdogDeviceOn", Chip::W83627, 0x08, 0x30, 0x80, 0x81},
    {"WatchdogEventsOff", Chip::W83627, 0x08, 0xF7, 0xFF, 0x0F},
    {"StatusIsWrittenBack", Chip::W83627, 0x0A, 0xF4, 0xFF, 0xFF},
    {"OutputPin", Chip::Nct5573, 0x08, 0x2B, 0xFF, 0xFB},
    {"NoPinOnTheOtherChip", Chip::Nct6776, 0x08, 0x2B, 0xFF, 0xFF},
    {"FanCountersOfIt8728", Chip::It8728, -1, 0x0C, 0xFF, 0x37},
    {"FanCountersOfIt8612", Chip::It8612, -1, 0x0C, 0xFF, 0x30},
    {"ItStart", Chip::It8612, -1, 0x00, 0x20, 0x39},
    {"MonitorUnlocked", Chip::Nct6791, 0x0B, 0x28, 0xFF, 0xEF},
    {"FintekControl", Chip::Fintek, 0x07, 0xF5, 0x8F, 0xF5},
    {"FintekOutput", Chip::Fintek, 0x07, 0xFA, 0x80, 0xC1},
    {"NctStatusBitIsTakenOut", Chip::Nct5525, 0x08, 0xF2, 0xFF, 0xEF},
});

TEST_F(Watchdog, ChangedBitsKeepTheOthers)
{
    for (const auto& [name, chip, device, reg, before, after] : kBitsCases)
    {
        SCOPED_TRACE(name);
        Make(chip);
        std::uint8_t& bits = device < 0 ? m_ports->Monitor(reg) : m_ports->Config(device, reg);
        bits = static_cast<std::uint8_t>(before);
        ASSERT_TRUE(m_chip->InitHwMonitoring(BoardFile(SensorXml(1000, 0, 0))));
        ASSERT_TRUE(m_chip->StartWatchdog(40, BoardFile("")));
        EXPECT_EQ(bits, after);
    }
}

// Whether the last reset was the watchdog's.
constexpr auto kRebootCases = std::to_array<std::tuple<const char*, Chip, int, int, int, bool>>({
    {"W83627", Chip::W83627, 0x0A, 0xF4, 0x04, true},
    {"W83627OtherBits", Chip::W83627, 0x0A, 0xF4, 0xFB, false},
    {"Nct5573NeverAsks", Chip::Nct5573, 0x0A, 0xF4, 0xFF, false},
    {"ItNeverAsks", Chip::It8728, 0x07, 0xF4, 0xFF, false},
    {"Nct6791", Chip::Nct6791, 0x0A, 0xF4, 0x04, true},
    {"Fintek", Chip::Fintek, 0x07, 0xF5, 0x40, true},
    {"FintekOtherBits", Chip::Fintek, 0x07, 0xF5, 0xBF, false},
    {"Nct5525", Chip::Nct5525, 0x08, 0xF2, 0x10, true},
    {"Nct5525OtherBits", Chip::Nct5525, 0x08, 0xF2, 0xEF, false},
});

TEST_F(Watchdog, RebootStatusIsTold)
{
    for (const auto& [name, chip, device, reg, status, told] : kRebootCases)
    {
        SCOPED_TRACE(name);
        Make(chip);
        m_ports->Config(device, reg) = static_cast<std::uint8_t>(status);
        ASSERT_TRUE(m_chip->StartWatchdog(40, BoardFile("")));
        const std::string line = "SENSORS: Unexpected errors caused the system to reboot";
        EXPECT_EQ(testing::Matches(testing::Contains(line))(m_host.LogTexts(LogWarning)), told);
    }
}

TEST_F(Watchdog, AnUnknownBoardIsNotGuardedAndAKnownOneMayForbidIt)
{
    Make(Chip::W83627);
    EXPECT_TRUE(m_chip->IsWatchdogAllowed());
    EXPECT_FALSE(m_chip->StartWatchdog(40, BoardFile("", "Watchdog=\"0\"")));
    EXPECT_FALSE(m_chip->IsWatchdogAllowed());
    EXPECT_EQ(Logged(), "25 SENSORS: hwmconfig.xml disabled watchdog for 'ACME' 'B1'");
    EXPECT_FALSE(m_chip->StartWatchdog(40, BoardFile(""))) << "without the attribute the answer stands";
    EXPECT_EQ(m_ports->TakeRegisters(), "");
    EXPECT_TRUE(m_chip->StartWatchdog(40, BoardFile("", "Watchdog=\"2\"")));
    EXPECT_TRUE(m_chip->IsWatchdogAllowed());

    m_ports->TakeRegisters();
    m_host.Forget();
    m_chip->SetMotherboard("ACME", "B2");
    EXPECT_FALSE(m_chip->StartWatchdog(40, BoardFile("")));
    EXPECT_FALSE(m_chip->IsWatchdogAllowed());
    EXPECT_EQ(m_ports->TakeRegisters(), "");
    EXPECT_EQ(Logged(), "75 SENSORS: hwmconfig.xml disabled watchdog for unknown 'ACME' 'B2'");
}

TEST_F(Watchdog, PingsBeforeAndAfterUseTheirOwnTimeout)
{
    Make(Chip::W83627);
    m_chip->PingWatchdog();
    EXPECT_EQ(m_ports->TakeRegisters(), "enter C07=08 C30? CF6=FF exit");
    ASSERT_TRUE(m_chip->StartWatchdog(250, BoardFile("")));
    m_chip->StopWatchdog();
    m_ports->TakeRegisters();
    m_chip->PingWatchdog();
    EXPECT_EQ(m_ports->TakeRegisters(), "enter C07=08 C30? CF6=00 exit");
}

TEST_F(Watchdog, StoppingGivesUpAfterTenPasses)
{
    Make(Chip::W83627);
    m_ports->FixConfig(0x08, 0x30, 0x01);
    m_chip->StopWatchdog();
    std::string passes;
    for (int pass = 0; pass < 10; ++pass)
    {
        passes += "C30=FE C30? ";
    }
    EXPECT_EQ(m_ports->TakeRegisters(), "enter C07=08 CF6=00 " + passes + "exit");
    EXPECT_EQ(m_clock.MonotonicMs(), 1000);
}

TEST_F(Watchdog, TheItFamilyOnlyLooksWhileStopping)
{
    Make(Chip::It8728);
    m_ports->Config(0x07, 0x71) = 0x03;
    m_chip->StopWatchdog();
    EXPECT_EQ(m_ports->TakeRegisters(),
              "enter C07=07 C73=00 C74=00 C71? C71? C71? C71? C71? C71? C71? C71? C71? C71? exit");
    m_ports->Config(0x07, 0x71) = 0xFE;
    m_chip->StopWatchdog();
    EXPECT_EQ(m_ports->TakeRegisters(), "enter C07=07 C73=00 C74=00 C71? exit");
}

TEST_F(Watchdog, Nct6791TakesBitsFromTheBoardFile)
{
    Make(Chip::Nct6791);
    ASSERT_TRUE(m_chip->InitHwMonitoring(BoardFile(SensorXml(1000, 0, 0) +
                                                   R"(<Register Name="WDTControlVal" Value="1"/>)"
                                                   R"(<Register Name="WDTControlVal" Value="66"/>)"
                                                   R"(<Register Name="WDTResetVal"/>)"
                                                   R"(<Register Name="WDTResetVal" Value="385"/>)")));
    m_ports->Config(0x08, 0xF5) = 0x10;
    m_host.Forget();
    ASSERT_TRUE(m_chip->StartWatchdog(40, BoardFile("")));
    EXPECT_EQ(m_ports->Config(0x08, 0xF5), 0x52);
    EXPECT_EQ(m_ports->Config(0x0D, 0xF0), 0x81);
    EXPECT_EQ(Logged(), "25 SENSORS: WDTControlVal: 0x42\n25 SENSORS: WDTResetVal: 0x81\n"
                        "25 SENSORS: Watchdog timer started successfully");
}

TEST_F(Watchdog, FintekTellsItsRegisters)
{
    Make(Chip::Fintek);
    ASSERT_TRUE(m_chip->InitHwMonitoring(BoardFile(SensorXml(1000, 0, 0))));
    ASSERT_TRUE(m_chip->StartWatchdog(40, BoardFile("")));
    m_chip->StopWatchdog();
    EXPECT_THAT(m_host.LogTexts(LogDebug),
                testing::ElementsAre("SENSORS: InitHwMonitoring register [0x30] read [0x00] wrote [0x01]",
                                     "SENSORS: InitHwMonitoring register [0x01] read [0x00] wrote [0x03]",
                                     "SENSORS: InitHwMonitoring register [0x04] read [0x00] wrote [0x80]",
                                     "SENSORS: EnablePME reg [0x30] read [0x00] wrote [0x01]",
                                     "SENSORS: EnablePME reg [0xF0] read [0x00] wrote [0x40]",
                                     "SENSORS: GetLastRebootStatus reg [0xF5] read [0x00] wrote [0x40]",
                                     "SENSORS: ConfigureWatchdog reg [0xF6] wrote [0x28]",
                                     "SENSORS: ConfigureWatchdog reg [0xFA] read [0x00] wrote [0x41]",
                                     "SENSORS: ConfigureWatchdog reg [0xF5] read [0x40] wrote [0x71]",
                                     "SENSORS: ConfigureWatchdog reg [0xF5] read [0x71] wrote [0x51]"));
}

TEST_F(Watchdog, FintekTellsEveryFifteenthPing)
{
    Make(Chip::Fintek);
    ASSERT_TRUE(m_chip->StartWatchdog(40, BoardFile("")));
    m_host.Forget();
    std::string told;
    for (int ping = 1; ping <= 31; ++ping)
    {
        m_chip->PingWatchdog();
        if (const std::string line = Logged(); !line.empty())
        {
            told += std::to_string(ping) + ": " + line + "\n";
        }
    }
    EXPECT_EQ(told, "15: 0 SENSORS: PingWatchdog reg [0xF6] wrote [0x28] (15 times)\n"
                    "30: 0 SENSORS: PingWatchdog reg [0xF6] wrote [0x28] (15 times)\n");
}

// Pings come from a thread of their own: no access of one operation may stand inside another.
TEST_F(Watchdog, OperationsOfTwoThreadsDoNotInterleave)
{
    Make(Chip::W83627);
    Monitor(SensorXml(1000, 0, 0) + SensorXml(3000, 0, 0));
    m_ports->Monitor(0x028) = 100;
    Poll(); // the first one also writes the limits
    const std::ptrdiff_t pollLength = CountAccesses(Poll());
    m_chip->PingWatchdog();
    const std::ptrdiff_t pingLength = CountAccesses(m_ports->TakeRegisters());

    std::thread heartbeat(
        [this]
        {
            for (int ping = 0; ping < 400; ++ping)
            {
                m_chip->PingWatchdog();
            }
        });
    for (int poll = 0; poll < 100; ++poll)
    {
        m_chip->PollSensors();
    }
    heartbeat.join();
    const std::vector<std::thread::id> threads = m_ports->Threads();
    ASSERT_EQ(threads.size(), static_cast<std::size_t>(100 * pollLength + 400 * pingLength));
    for (auto at = threads.begin(); at < threads.end();)
    {
        const auto length = *at == std::this_thread::get_id() ? pollLength : pingLength;
        ASSERT_EQ(std::count(at, at + std::min(length, threads.end() - at), *at), length);
        at += length;
    }
}
} // namespace
