#include "hwmon/Ipmi.h"

#include "frame/Log.h"
#include "tests/support/Cases.h"
#include "tests/support/FakeHost.h"
#include "tests/support/KernelWait.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr const char* kGood = "CPU Temp,45,degrees C,ok\n12V,12.096,Volts,ok\nFAN1,5400,RPM,ok\n";

const CFakeHost::Arguments kCommand = {"ipmitool", "-c", "sdr"};

// The readings as "name|value|unit|state;", and whether the report is complete.
std::string Parsed(int exitCode, const std::string& output)
{
    const IpmiReport report = ParseIpmiReport(exitCode, output);
    std::string text;
    for (const IpmiReading& reading : report.readings)
    {
        text += reading.name + "|" + reading.value + "|" + reading.unit + "|" + reading.state + ";";
    }
    return text + (report.isComplete ? " complete" : " incomplete");
}

constexpr auto kParserCases = std::to_array<std::tuple<const char*, int, const char*, const char*>>({
    {"OneLine", 0, "CPU Temp,45,degrees C,ok\n", "CPU Temp|45|degrees C|ok; complete"},
    {"LastLineUnterminated", 0, "FAN1,0,RPM,cr", "FAN1|0|RPM|cr; complete"},
    {"EveryUnit", 0, "A,1,Volts,ok\nB,2,rpm,ok", "A|1|Volts|ok;B|2|rpm|ok; complete"},
    {"CommaInName", 0, "FAN, rear,100,RPM,nr", "FAN, rear|100|RPM|nr; complete"},
    {"NumberInName", 0, "Bay 1,2,3,40,degrees C,ok", "Bay 1,2,3|40|degrees C|ok; complete"},
    {"MoreFieldsGoToTheUnit", 0, "FAN1,5400,RPM,ok,29.1,x", "FAN1|5400|RPM,ok,29.1|x; complete"},
    {"LastCommaGoesToTheState", 0, "FAN1,5400,RPM,ok,", "FAN1|5400|RPM|ok,; complete"},
    {"BlanksAreKept", 0, " VRM  ,232,degrees C, cr ", " VRM  |232|degrees C| cr ; complete"},
    {"LongestNumber", 0, "A,00000000000000000000012345678901234567890,RPM,ok",
     "A|00000000000000000000012345678901234567890|RPM|ok; complete"},
    {"NotUtf8", 0, "T\xB0\xFF,1,RPM,\xE2", "T\xB0\xFF|1|RPM|\xE2; complete"},
    {"Decimal", 0, "A,18.500,degrees C,ok", " incomplete"},
    {"Negative", 0, "A,-5,degrees C,nr", " incomplete"},
    {"NotANumber", 0, "Fan1,na,RPM,ns", " incomplete"},
    {"NoReading", 0, "FAN3,,,ns", " incomplete"},
    {"EmptyName", 0, ",5,RPM,ok", " incomplete"},
    {"EmptyUnit", 0, "A,5,,ok", " incomplete"},
    {"EmptyState", 0, "A,5,RPM,", " incomplete"},
    {"ThreeFields", 0, "A,5,RPM", " incomplete"},
    {"CarriageReturnIsNoText", 0, "A,5,RPM,ok\r\n", " incomplete"},
    {"Empty", 0, "", " incomplete"},
    {"OnlyALineFeed", 0, "\n", " incomplete"},
    {"MessageInTheMiddle", 0, "A,1,RPM,ok\noops\nB,2,RPM,ok\n", "A|1|RPM|ok;B|2|RPM|ok; complete"},
    {"MessageAtTheEnd", 0, "A,1,RPM,ok\noops", "A|1|RPM|ok; incomplete"},
    {"DiscreteAtTheEnd", 0, "A,1,RPM,ok\nChassis,0Bh,ok,23.1,\n", "A|1|RPM|ok; incomplete"},
    {"NoReadingAtTheEnd", 0, "A,1,RPM,ok\nFAN3,,,ns\n", "A|1|RPM|ok; incomplete"},
    {"BlankLineAtTheEnd", 0, "A,1,RPM,ok\n\n", "A|1|RPM|ok; incomplete"},
    {"FailedRun", 1, "A,1,RPM,ok\n", "A|1|RPM|ok; incomplete"},
});

// A host that answers ipmitool, and a monitor with a file in a directory of its own.
class IpmiMonitoring : public testing::Test
{
protected:
    // One poll with this answer. What the host was told before it is forgotten.
    void PollAnswer(const CFakeHost::Answer& answer)
    {
        m_host.OnProgram(kCommand, answer);
        m_host.Forget();
        m_monitor.Poll(m_clock);
    }
    void Poll(const std::string& output) { PollAnswer({.output = output}); }

    [[nodiscard]] auto Full() const { return DocumentTexts(m_host, MessageCategory::ConfigDocument); }
    [[nodiscard]] auto Changes() const { return DocumentTexts(m_host, MessageCategory::StatusDocument); }

    CFakeHost m_host;
    CManualClock m_clock{1'700'000'000};
    CTempDir m_dir;
    const std::string m_file = m_dir.File("ipmi.xml");
    IpmiMonitor m_monitor{m_file};
};

// Beginnings of log lines and elements.
const std::string kCpuLine = "IPMI: type[Temperature] id[2001] name[CPU Temp] value";
const std::string kFanLine = "IPMI: type[FanSpeed] id[3001] name[FAN1] value";
const std::string kCpu = R"(<Temperature ID="2001" Label="CPU Temp)";
const std::string kFan = R"(<FanSpeed ID="3001" Label="FAN1)";

// Ends of elements.
const std::string kNews = " />";
const std::string kCleared = R"( Alarm="0" Time="1700000000" />)";
const std::string kRaised = R"( Alarm="1" Time="1700000000" />)";

std::string Element(const std::string& begin, const std::string& state, int value, const std::string& end)
{
    return begin + " (" + state + ")\" Value=\"" + std::to_string(value) + "\"" + end;
}

std::string ChangeDocument(const std::string& elements)
{
    return R"(<?xml ?><zDVR><Sensors ID="3604480">)" + elements + "</Sensors></zDVR>";
}

} // namespace

TEST(IpmiParser, GivesTheReadings)
{
    for (const auto& [name, exitCode, output, expected] : kParserCases)
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(Parsed(exitCode, output), expected);
    }
}

TEST(IpmiParserLimits, ALongLineIsNeitherCutNorFatalAndNulIsText)
{
    const std::string name(300'000, 'x');
    EXPECT_TRUE(Parsed(0, name + ",1,RPM,ok") == name + "|1|RPM|ok; complete");
    std::string commas;
    for (int i = 0; i < 100'000; ++i)
    {
        commas += ",1,";
    }
    EXPECT_TRUE(Parsed(0, commas + ",,,") == commas.substr(0, commas.size() - 3) + "|1|,|,; complete");
    EXPECT_EQ(Parsed(0, std::string(300'000, ',')), " incomplete");
    EXPECT_EQ(Parsed(0, std::string("A\0B,1,RPM,ok", 12)), std::string("A\0B", 3) + "|1|RPM|ok; complete");
}

TEST(IpmiSensorLimit, SensorsBeyondItAreIgnored)
{
    CFakeHost host;
    IpmiReport report{.readings = {}, .isComplete = true};
    for (std::size_t i = 0; i < kMaxIpmiSensors - 1; ++i)
    {
        report.readings.push_back({std::to_string(i), "1", "degrees C", "ok"});
    }
    IpmiSensors sensors;
    ApplyReport(sensors, report);
    host.Forget();
    report.readings.push_back({"last", "1", "degrees C", "ok"});
    report.readings.push_back({"one more", "1", "degrees C", "ok"});
    report.readings.push_back({"FAN1", "1", "RPM", "ok"});
    ApplyReport(sensors, report);
    ApplyReport(sensors, report);
    EXPECT_EQ(CountSensors(sensors), kMaxIpmiSensors + 1);
    EXPECT_EQ(sensors.groups[0].sensors.back().identifier, 3000U); // the next one would be FAN1's
    EXPECT_THAT(
        host.LogTexts(LogWarning),
        ElementsAre("IPMI: discovered type[Temperature] id[3000] name[last] value[1] state[ok] alarmed[0]",
                    "IPMI: discovered type[FanSpeed] id[3001] name[FAN1] value[1] state[ok] alarmed[0]"));
}

TEST_F(IpmiMonitoring, DiscoverySendsSavesAndReportsEverySensor)
{
    EXPECT_THAT(m_host.LogTexts(LogWarning), ElementsAre("IPMI: monitoring enabled"));
    Poll("FAN1,5400,RPM,ok\nCPU Temp,45,degrees C,ok\nOdd \"<&>,7,degrees C,cr\n12V,12,Volts,ok\n");

    EXPECT_THAT(m_host.Programs(), ElementsAre(kCommand));
    EXPECT_THAT(
        m_host.LogTexts(),
        ElementsAre(
            "IPMI: discovered type[FanSpeed] id[3001] name[FAN1] value[5400] state[ok] alarmed[0]",
            "IPMI: discovered type[Temperature] id[2001] name[CPU Temp] value[45] state[ok] alarmed[0]",
            "IPMI: discovered type[Temperature] id[2002] name[Odd \"<&>] value[7] state[cr] alarmed[1]"));
    const auto elements = [](const std::string& cpu, const std::string& odd, const std::string& fan,
                             const std::string& before, const std::string& after)
    {
        return before + Element(kCpu, "ok", 45, cpu) + after + before +
               R"(<Temperature ID="2002" Label='Odd &quot;&lt;&amp;&gt; (cr)' Value="7")" + odd + after +
               before + Element(kFan, "ok", 5400, fan) + after;
    };
    const std::string temperature = R"( Type="2" Max="-1" Min="-1" />)";
    const std::string fan = R"( Type="3" Max="-1" Min="-1" />)";
    const std::string sensors = R"(<Sensors ID="3604480" Enabled="1" Status="0">)";
    EXPECT_THAT(Full(), ElementsAre(R"(<?xml ?><zDVR Delta="0">)" + sensors +
                                    elements(temperature, temperature, fan, "", "") + "</Sensors></zDVR>"));
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(elements(kCleared, kRaised, kCleared, "", ""))));
    ASSERT_EQ(m_host.Documents().size(), 2U);
    EXPECT_EQ(m_host.Documents().front().text, Full().front()) << "the host knows a sensor first";
    EXPECT_EQ(m_dir.Read("ipmi.xml"), "<?xml ?>\n<zDVR Delta=\"0\">\n    " + sensors + "\n" +
                                          elements(temperature, temperature, fan, "        ", "\n") +
                                          "    </Sensors>\n</zDVR>\n");
}

TEST_F(IpmiMonitoring, OnlyAChangedValueIsReportedWithoutAlarm)
{
    Poll(kGood);
    Poll(kGood);
    EXPECT_THAT(m_host.Documents(), IsEmpty());
    EXPECT_THAT(m_host.LogTexts(), IsEmpty());
    Poll("CPU Temp,47,degrees C,ok\nFAN1,5400,RPM,ok");
    EXPECT_THAT(Full(), IsEmpty());
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(Element(kCpu, "ok", 47, kNews))));
    EXPECT_THAT(m_host.LogTexts(LogDebug),
                ElementsAre("IPMI: DEBUG UPDATE type[Temperature] id[2001] name[CPU Temp] value[47] "
                            "state[ok] alarmed[0]"));
    EXPECT_THAT(m_host.LogTexts(LogWarning), IsEmpty());
}

TEST_F(IpmiMonitoring, AlarmsComeAndGoWithTheState)
{
    Poll(kGood);
    m_clock.SetUtc(5'000'000'000); // beyond 32 bits
    Poll("CPU Temp,90,degrees C,cr\nFAN1,5400,RPM,ok");
    EXPECT_THAT(m_host.LogTexts(), ElementsAre(kCpuLine + "[90] state[cr] alarmed[1]"));
    EXPECT_THAT(Changes(),
                ElementsAre(ChangeDocument(Element(kCpu, "cr", 90, R"( Alarm="1" Time="5000000000" />)"))));
    // From one bad state to another is no event; "OK" is not the normal state.
    Poll("CPU Temp,90,degrees C,OK\nFAN1,5400,RPM,ok");
    EXPECT_THAT(m_host.LogTexts(LogWarning), IsEmpty());
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(Element(kCpu, "OK", 90, kNews))));
    Poll(kGood);
    EXPECT_THAT(Changes(),
                ElementsAre(ChangeDocument(Element(kCpu, "ok", 45, R"( Alarm="0" Time="5000000000" />)"))));
}

TEST_F(IpmiMonitoring, TwoLinesOfOneNameAreOneSensor)
{
    Poll("CPU Temp,45,degrees C,ok\nCPU Temp,46,degrees C,ok\n");
    // The second line is no event, but what the first one was is still to be told.
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(Element(kCpu, "ok", 46, kCleared))));
    Poll("CPU Temp,91,degrees C,cr\nCPU Temp,91,degrees C,cr\n");
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(Element(kCpu, "cr", 91, kRaised))));
    // The name under the other unit is another sensor.
    Poll("CPU Temp,91,degrees C,cr\nCPU Temp,100,RPM,ok\n");
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(
                               Element(R"(<FanSpeed ID="3001" Label="CPU Temp)", "ok", 100, kCleared))));
}

TEST_F(IpmiMonitoring, ASensorThatIsNotReportedIsMissing)
{
    Poll(kGood);
    // No value in the middle of a good report: the others stay as they are.
    Poll("CPU Temp,,,ns\nFAN1,5400,RPM,ok\nFAN2,100,RPM,ok");
    EXPECT_THAT(
        m_host.LogTexts(),
        ElementsAre("IPMI: discovered type[FanSpeed] id[3002] name[FAN2] value[100] state[ok] alarmed[0]",
                    kCpuLine + "[45] state[missing] alarmed[1]"));
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(
                               Element(kCpu, "missing", 45, kRaised) +
                               Element(R"(<FanSpeed ID="3002" Label="FAN2)", "ok", 100, kCleared))));
    EXPECT_EQ(Full().size(), 1U); // FAN2 is new
    // It keeps its identifier for the day it comes back.
    Poll("CPU Temp,50,degrees C,ok\nFAN1,5400,RPM,ok\nFAN2,100,RPM,ok");
    EXPECT_THAT(Changes(), ElementsAre(ChangeDocument(Element(kCpu, "ok", 50, kCleared))));
    EXPECT_THAT(Full(), IsEmpty());
}

TEST_F(IpmiMonitoring, ADiscreteLastLineMakesEverySensorMissingOnEachPoll)
{
    Poll(kGood);
    const std::string output = "CPU Temp,46,degrees C,ok\nFAN1,5400,RPM,ok\nChassis,0Bh,ok,23.1,\n";
    Poll(output);
    EXPECT_THAT(m_host.LogTexts(LogWarning), ElementsAre(kCpuLine + "[46] state[missing] alarmed[1]",
                                                         kFanLine + "[5400] state[missing] alarmed[1]"));
    const std::string both =
        ChangeDocument(Element(kCpu, "missing", 46, kRaised) + Element(kFan, "missing", 5400, kRaised));
    EXPECT_THAT(Changes(), ElementsAre(both));
    // The good lines are applied first each time, so each poll clears the alarms and raises them again.
    Poll(output);
    EXPECT_EQ(m_host.LogTexts(LogWarning).size(), 4U);
    EXPECT_THAT(Changes(), ElementsAre(both));
}

TEST_F(IpmiMonitoring, AFailingToolIsSaidOnceAndItsSensorsAreMissing)
{
    Poll(kGood);
    PollAnswer({.errorOutput = "Could not open device\n", .exitCode = 1});
    EXPECT_THAT(m_host.LogTexts(LogWarning),
                ElementsAre("IPMI: ipmitool error 1", kCpuLine + "[45] state[missing] alarmed[1]",
                            kFanLine + "[5400] state[missing] alarmed[1]"));
    PollAnswer({.signal = 9});
    EXPECT_THAT(m_host.LogTexts(), IsEmpty());
    EXPECT_THAT(Changes(), IsEmpty());
    Poll(kGood);
    ASSERT_EQ(m_host.LogTexts(LogWarning).size(), 3U);
    EXPECT_EQ(m_host.LogTexts(LogWarning).front(), "IPMI: ipmitool success");
    PollAnswer({.output = "CPU Temp,45,degrees C,ok\nFAN1,5400,RPM,ok", .signal = 9});
    ASSERT_EQ(m_host.LogTexts(LogWarning).size(), 3U); // the lines changed nothing, what follows them does
    EXPECT_EQ(m_host.LogTexts(LogWarning).front(), "IPMI: ipmitool error 2304");
}

TEST_F(IpmiMonitoring, WithoutAnySensorNothingIsSent)
{
    Poll("12V,12,Volts,ok\n");
    PollAnswer({.exitCode = 1});
    EXPECT_THAT(m_host.Documents(), IsEmpty());
    EXPECT_FALSE(m_dir.Exists("ipmi.xml"));
}

TEST_F(IpmiMonitoring, AToolThatCannotBeStartedEndsItForGood)
{
    Poll(kGood);
    PollAnswer({.startError = ENOENT});
    EXPECT_THAT(m_host.LogTexts(), ElementsAre(testing::StartsWith("Failure (No such file or directory) on"),
                                               "IPMI: ipmitool unavailable (No such file or directory)"));
    Poll(kGood);
    EXPECT_THAT(m_host.Programs(), IsEmpty());
    EXPECT_THAT(m_host.Documents(), IsEmpty());
    EXPECT_TRUE(m_monitor.IsEnabled()); // the setting is another matter
}

// File (null: none) and setting.
constexpr auto kEnabledCases = std::to_array<std::tuple<const char*, const char*, bool>>({
    {"NoFile", nullptr, true},
    {"Off", R"(<zDVR><Sensors Enabled="0"/></zDVR>)", false},
    {"On", R"(<zDVR><Sensors Enabled="1"/></zDVR>)", true},
    {"AnyOtherNumberIsOn", R"(<zDVR><Sensors Enabled="-2"/></zDVR>)", true},
    {"NoNumber", R"(<zDVR><Sensors Enabled="off"/></zDVR>)", true},
    {"NoSetting", R"(<zDVR><Sensors/></zDVR>)", true},
    {"NoSensors", R"(<zDVR><Storage Enabled="0"/></zDVR>)", true},
    {"OtherRoot", R"(<DVR><Sensors Enabled="0"/></DVR>)", true},
    {"CutOff", R"(<zDVR><Sensors Enabled="0"/></zD)", true},
});

TEST(IpmiSetting, IsReadFromTheFile)
{
    for (const auto& [name, file, expected] : kEnabledCases)
    {
        SCOPED_TRACE(name);
        CFakeHost host;
        const CTempDir dir;
        if (file != nullptr)
        {
            dir.Write("ipmi.xml", file);
        }
        IpmiMonitor monitor(dir.File("ipmi.xml"));
        EXPECT_EQ(monitor.IsEnabled(), expected);
        EXPECT_THAT(host.LogTexts(LogWarning),
                    ElementsAre(expected ? "IPMI: monitoring enabled" : "IPMI: monitoring disabled"));
        monitor.Poll(CManualClock());
        EXPECT_EQ(host.Programs().size(), expected ? 1U : 0U);
    }
}

TEST_F(IpmiMonitoring, ItsOwnFileIsReadBackAndMayBeSwitchedOff)
{
    Poll("T\xB0\xC3,45,degrees C,\xE2\n"); // not UTF-8, a lead byte before the closing quote
    ASSERT_TRUE(IpmiMonitor(m_file).IsEnabled());
    std::string text = m_dir.Read("ipmi.xml").value_or("");
    const auto at = text.find("Enabled=\"1\"");
    ASSERT_NE(at, std::string::npos);
    EXPECT_NE(text.find("Label=\"T\xB0\xC3 (\xE2)\""), std::string::npos);
    text[at + 9] = '0';
    m_dir.Write("ipmi.xml", text);
    EXPECT_FALSE(IpmiMonitor(m_file).IsEnabled());
}

TEST(IpmiDocuments, TheFullOneTellsThatMonitoringIsOff)
{
    EXPECT_EQ(PrintCompact(BuildFullDocument(IpmiSensors{}, false)),
              "<?xml ?><zDVR Delta=\"0\"><Sensors ID=\"3604480\" Enabled=\"0\" Status=\"2\" /></zDVR>");
}

TEST_F(IpmiMonitoring, AFailedSaveChangesNothingElse)
{
    std::filesystem::remove_all(m_dir.Path());
    Poll(kGood);
    EXPECT_EQ(Full().size(), 1U);
    EXPECT_EQ(Changes().size(), 1U);
    EXPECT_EQ(m_host.LogTexts().size(), 2U); // the two discoveries
    Poll(kGood);
    EXPECT_THAT(m_host.Documents(), IsEmpty());
}

TEST_F(IpmiMonitoring, WithoutAFileNameNothingIsSaved)
{
    const CWorkingDirectory inside(m_dir.Path());
    m_host.OnProgram(kCommand, {.output = kGood});
    IpmiMonitor monitor("");
    EXPECT_TRUE(monitor.IsEnabled());
    monitor.Poll(m_clock);
    EXPECT_EQ(Full().size(), 1U);
    EXPECT_TRUE(std::filesystem::is_empty(m_dir.Path()));
}
