// What the host says of the board: readings, chip, watchdog, and who else uses its ports.
#include "host/ChipPicture.h"
#include "host/PictureText.h"
#include "host/PortClaims.h"
#include "host/Screen.h"

#include <gmock/gmock.h>

#include <map>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(DescribeReading, HasTheUnitAndTheLimitsThatThereAre)
{
    const std::map<std::string, SensorPicture> readings{
        {"-12V -11900 mV (-13200 to -10800)", {3200, "Voltage", "-12V", -11900, -13200, -10800, {}}},
        {"CPU 45 C (max 80)", {2000, "Temperature", "CPU", 45, {}, 80, {}}},
        {"Rear 900 rpm (min 500)", {3000, "FanSpeed", "Rear", 900, 500, 0, {}}},
        {"x? 45", {2001, "Unknown", "x\x1b", 45, -1, -1, {}}},
    };
    for (const auto& [text, sensor] : readings)
    {
        EXPECT_EQ(DescribeReading(sensor), text);
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

TEST(PortClaims, AreToldOfTheDriversThatAreInTheWay)
{
    const std::vector<std::pair<const char*, std::vector<std::string>>> cases{
        {"0000-0cf7 : PCI Bus 0000:00\n  002e-002f : pnp 00:04\n  0080-008f : dma page reg\n"
         "  0a25-0a26 : pnp 00:04\n0a35-0a37 : wider\n0a46-0a47 : shifted\n1800-1803 : ACPI PM1a_EVT_BLK\n",
         {}},
        {"  0290-029f : pnp 00:04\n    0295-0296 : nct6775.656\n      0295-0296 : nct6775\n0a25-0a26 : mystery",
         {"nct6775 claims the ports 0x0295-0x0296", "mystery claims the ports 0x0A25-0x0A26"}},
        {"0020-002e : one\n002f-002f : two\n0030-0031 : no\n004e-004f : three",
         {"one claims the ports 0x0020-0x002E", "two claims the ports 0x002F-0x002F",
          "three claims the ports 0x004E-0x004F"}},
        {"0000-0000 : PCI Bus 0000:00\n  0000-0000 : it87.2608\n    0000-0000 : it87\n",
         {"it87 claims the ports whose addresses only root may see"}},
        {"\n\n002e-002f\n : x\n2e-2f:y\nzz-2f : z\n\x01", {}},
    };
    for (const auto& [list, claims] : cases)
    {
        std::vector<std::string> warnings;
        for (const std::string& claim : claims)
        {
            warnings.push_back("the kernel's driver " + claim +
                               ": two programs at one chip disturb each other, so unload it first");
        }
        EXPECT_EQ(PortClaimWarnings(list), warnings) << list;
    }
}
} // namespace
