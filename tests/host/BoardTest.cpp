// What the host says of the board: readings, chip, watchdog, and who else uses its ports.
#include "host/ChipPicture.h"
#include "host/PictureText.h"
#include "host/PortClaims.h"
#include "host/Screen.h"

#include <gmock/gmock.h>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::HasSubstr;

struct ReadingCase
{
    SensorPicture sensor;
    const char* text;
};

TEST(DescribeReading, HasTheUnitAndTheLimitsThatThereAre)
{
    const auto cases = std::to_array<ReadingCase>({
        {{3200, "Voltage", "-12V", -11900, -13200, -10800, {}}, "-12V -11900 mV (-13200 to -10800)"},
        {{2000, "Temperature", "CPU", 45, {}, 80, {}}, "CPU 45 C (max 80)"},
        {{3000, "FanSpeed", "Rear", 900, 500, {}, {}}, "Rear 900 rpm (min 500)"},
        {{1000, "Voltage", "Vcore", 1012, 0, 1500, {}}, "Vcore 1012 mV (max 1500)"},
        {{2001, "Temperature", "CPU Temp (ok)", 45, -1, -1, {}}, "CPU Temp (ok) 45 C"},
        {{1, "Unknown", "x\x1b", 7, 0, 0, {}}, "x? 7"},
    });
    for (const ReadingCase& reading : cases)
    {
        EXPECT_EQ(DescribeReading(reading.sensor), reading.text);
    }
}

TEST(Watchdog, OfASimulatedApplianceIsTheChips)
{
    Picture picture;
    EXPECT_EQ(DescribeChip(picture), "");
    picture.chip.name = "Chip";
    picture.watchdog = WatchdogNow(picture, sim::WatchdogView{true, 40, 20900ms, 2}, {}, 0);
    EXPECT_EQ(DescribeChip(picture),
              "Chip, watchdog 40 s: pinged 19 s ago, 20 s left, has reset the appliance 2 times");
    EXPECT_TRUE(picture.watchdog->IsLate());
    picture.watchdog = WatchdogNow(picture, sim::WatchdogView{true, 40, 21s, 0}, {}, 0);
    EXPECT_FALSE(picture.watchdog->IsLate());
    picture.watchdog = WatchdogNow(picture, sim::WatchdogView{false, 40, 0s, 1}, {}, 0);
    EXPECT_EQ(DescribeChip(picture), "Chip, watchdog off, has reset the appliance 1 time");
    EXPECT_FALSE(picture.watchdog->IsLate());
}

TEST(Watchdog, OfARealMachineIsWhatLogSettingsAndHeartbeatsTell)
{
    Picture picture;
    const auto text = [&picture](const HeartbeatCount& heartbeats)
    {
        picture.watchdog = WatchdogNow(picture, {}, heartbeats, 1000);
        return DescribeChip(picture);
    };
    NoteChipLog(picture, "SENSORS: Found Winbond X");
    EXPECT_EQ(text({}), "Winbond X") << "no settings yet, or no permission for the watchdog";
    picture.settings.watchdog = {"Winbond X", true, 30};
    EXPECT_EQ(text({}), "Winbond X, watchdog off");
    NoteChipLog(picture, "SENSORS: Watchdog timer started successfully");
    EXPECT_EQ(text({}), "Winbond X, watchdog 30 s");
    EXPECT_EQ(text({5, 5, 999, 995}), "Winbond X, watchdog 30 s: pinged 5 s ago, 25 s left");
    NoteChipLog(picture, "SENSORS: Stopping watchdog.");
    EXPECT_EQ(text({5, 5, 999, 995}), "Winbond X, watchdog off");
}

TEST(Screen, ShowsReadingsSideBySideAndAlarmsFirst)
{
    Picture picture;
    picture.chip.name = "Chip";
    for (int at = 0; at < 5; ++at)
    {
        picture.sensors.push_back({1000 + at, "Voltage", "V" + std::to_string(at), 1000, 900, 1100, {}});
    }
    picture.sensors.push_back({3000, "FanSpeed", "F", 900, {}, {}, {}});
    picture.sensors[1].health = {"V1 value exceeds threshold", true, 0};
    const auto lines = ComposeScreen({picture, {}, 1, 1, "x", true}, {}, {24, 60});
    ASSERT_GE(lines.size(), 8U);
    EXPECT_EQ(lines[3], "Chip");
    EXPECT_THAT(lines[4], HasSubstr("V1 1000 mV (900 to 1100), ALARM V1 value exceeds threshold"));
    EXPECT_EQ(lines[5], "V0 1000 mV (900 to 1100)  V2 1000 mV (900 to 1100)  ");
    EXPECT_EQ(lines[6], "V3 1000 mV (900 to 1100)  V4 1000 mV (900 to 1100)  ");
    EXPECT_EQ(lines[7], "F 900 rpm                 ");
    const auto narrow = ComposeScreen({picture, {}, 1, 1, "x", true}, {}, {9, 20});
    EXPECT_THAT(narrow.back(), HasSubstr("and 2 more"));
}

struct ClaimCase
{
    const char* name;
    const char* list;
    std::vector<std::string> warnings;
};

std::string Warning(const char* driver, const char* range)
{
    return std::string("the kernel's driver ") + driver + " claims the ports " + range +
           ": two programs at one chip disturb each other, so unload it first";
}

class PortClaims : public testing::TestWithParam<ClaimCase>
{
};

TEST_P(PortClaims, AreToldOfTheDriversThatAreInTheWay)
{
    EXPECT_EQ(PortClaimWarnings(GetParam().list), GetParam().warnings);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PortClaims,
    testing::Values(
        ClaimCase{"NobodyThere",
                  "0000-0cf7 : PCI Bus 0000:00\n"
                  "  0020-0021 : pic1\n"
                  "  002e-002f : pnp 00:04\n"
                  "  0060-0060 : keyboard\n"
                  "  0080-008f : dma page reg\n"
                  "  0290-029f : pnp 00:04\n"
                  "0d00-ffff : PCI Bus 0000:00\n"
                  "  1800-1803 : ACPI PM1a_EVT_BLK\n",
                  {}},
        ClaimCase{"DriverBelowItsDeviceIsOne",
                  "  0290-029f : pnp 00:04\n"
                  "    0295-0296 : nct6775.656\n"
                  "      0295-0296 : nct6775\n",
                  {Warning("nct6775", "0x0295-0x0296")}},
        ClaimCase{"ConfigurationPortsAtBothPlaces",
                  "  0020-002e : one\n  002f-002f : two\n  0030-0031 : no\n  004e-004f : three",
                  {Warning("one", "0x0020-0x002E"), Warning("two", "0x002F-0x002F"),
                   Warning("three", "0x004E-0x004F")}},
        ClaimCase{"UnknownDriverAtAMonitorsPorts",
                  "0a25-0a26 : mystery\n0a35-0a37 : wider\n0a46-0a47 : shifted\n0a55-0a56 : pnp 00:01\n",
                  {Warning("mystery", "0x0A25-0x0A26")}},
        ClaimCase{"AddressesHidden",
                  "0000-0000 : PCI Bus 0000:00\n  0000-0000 : it87.2608\n    0000-0000 : it87\n",
                  {Warning("it87", "whose addresses only root may see")}},
        ClaimCase{"OtherForms", "\n\n002e-002f\n : x\n2e-2f:y\nzz-2f : z\n\x01", {}}),
    [](const auto& test) { return std::string(test.param.name); });
} // namespace
