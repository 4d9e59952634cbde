#include "storage/SelfTest.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/Cases.h"
#include "tests/support/ManualClock.h"

#include <array>

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

SmartAttribute Temperature(int degrees)
{
    return {.id = 194, .currentValue = static_cast<std::uint32_t>(degrees)};
}

std::string DiskXml(const std::string& message, const std::string& more = {})
{
    return R"(<Disk Name="/dev/sda" Message=")" + message + "\"" + more + " />";
}

// Of an element that begins or ends an alarm.
const std::string kAlarmed = R"( Time="5000000000" Milliseconds="0" Alarm="1")";

class SmartEvaluation : public testing::Test
{
protected:
    [[nodiscard]] DiskContext Context()
    {
        return {.okDiskStates = m_okStates, .selfTests = m_selfTests, .now = m_now};
    }

    void Refresh() { m_disk.RefreshSmart(Context()); }
    bool Evaluate() { return m_disk.EvaluateWarnings(Context()); }
    std::string Status(bool force = false)
    {
        return Print(m_disk.CreateStatusElement(force, Context()).get());
    }

    // Called again: the next report.
    void Reports(const std::string& output)
    {
        m_host.OnProgram(ReportCommand("/dev/sda"), {.output = output});
    }

    void AttachController()
    {
        m_controller = std::make_shared<CFakeDiskController>(m_disk.m_name); // no target for smartctl
        m_disk.m_controller = m_controller;
    }

    // "id:current:threshold:raw" of each attribute, and "!" when it is advisory
    [[nodiscard]] std::vector<std::string> Attributes() const
    {
        std::vector<std::string> texts;
        for (const auto& [id, a] : m_disk.m_attributes)
        {
            texts.push_back(std::to_string(id) + ":" + std::to_string(a.currentValue) + ":" +
                            std::to_string(static_cast<std::int32_t>(a.thresholdValue)) + ":" +
                            std::to_string(a.rawValue) + (a.advisoryBit ? "!" : ""));
        }
        return texts;
    }

    // "key text time" of each warning
    [[nodiscard]] std::vector<std::string> Warnings() const
    {
        std::vector<std::string> texts;
        for (const auto& [key, warning] : m_disk.m_warnings)
        {
            EXPECT_EQ(warning.key, key);
            texts.push_back(std::to_string(key) + " " + warning.text + " " + std::to_string(warning.time));
        }
        return texts;
    }

    CFakeHost m_host;
    std::set<std::string> m_okStates{"Onln", "Online"};
    CManualClock m_clock;
    tq::corvanepi::SelfTestManager m_selfTests{m_clock, ""};
    std::int64_t m_now = 5'000'000'000;
    std::shared_ptr<CFakeDiskController> m_controller;
    CDisk m_disk{"/dev/sda"};
};

TEST_F(SmartEvaluation, RefreshReadsHealthAndAttributes)
{
    m_disk.m_userRange = ThresholdRange{.min = 5, .max = 55};
    Reports(AtaReport("S1", kSpinUpRow + "," + kTemperatureRow, R"(, "temperature": {"current": 56})", 0x18));
    Refresh();
    EXPECT_THAT(m_host.Programs(), ElementsAre(ReportCommand("/dev/sda")));
    EXPECT_THAT(Attributes(), ElementsAre("3:90:21:7000", "194:56:0:33"));
    EXPECT_FALSE(m_disk.m_attributes[3].changed) << "the full element tells new attributes";
    EXPECT_THAT(Warnings(),
                ElementsAre("194 threshold exceeded 5000000000", "1000 SMART health flag 5000000000"));
    EXPECT_THAT(
        LevelAndText(m_host),
        ElementsAre("50 SMARTCTL: /dev/sda get SMART attr warnings: disk failing, curr SMART attrs <= thresh",
                    "50 /dev/sda SMART attr 194 (value 56) outside user-defined range 5-55",
                    "50 /dev/sda SMART health flag needs attention"));
}

TEST_F(SmartEvaluation, TemperatureRowWithoutATemperatureIsSkipped)
{
    m_disk.m_userRange = ThresholdRange{.min = 5, .max = 55};
    Reports(AtaReport("S1", kTemperatureRow + "," + kSpinUpRow));
    Refresh();
    EXPECT_THAT(Attributes(), ElementsAre("3:90:21:7000"));
    EXPECT_THAT(LevelAndText(m_host), IsEmpty());
    EXPECT_TRUE(m_disk.m_healthKnown && m_disk.m_healthPassed);
}

struct FlagCase
{
    const char* name;
    int flags;
    int value;
    int thresh;
    const char* printed; // Flag and the seven bits in the element's order
};

constexpr auto kFlagCases = std::to_array<FlagCase>({
    {"AdvisoryBelowThreshold", 0x00, 49, 50, "0 1000000"},
    {"PreFailBelowThreshold", 0x01, 49, 50, "1 0100000"},
    {"AtThreshold", 0x01, 50, 50, "1 0000000"},
    {"NoThreshold", 0x00, 50, -1, "0 0000000"}, // it is not below every value
    {"AdvisoryAtThreshold", 0x00, 50, 50, "0 0000000"},
    {"OfflineCollection", 0x02, 50, 0, "2 0010000"},
    {"Performance", 0x04, 50, 0, "4 0001000"},
    {"ErrorRate", 0x08, 50, 0, "8 0000100"},
    {"ErrorCount", 0x10, 50, 0, "16 0000010"},
    {"SelfPreserving", 0x20, 50, 0, "32 0000001"},
    {"SixteenBits", 0x18040, 50, 0, "32832 0000000"},
});

using SmartFlags = WithCases<SmartEvaluation, FlagCase>;

TEST_P(SmartFlags, Row)
{
    const std::string numbers = R"("value": )" + std::to_string(GetParam().value) + R"(, "thresh": )" +
                                std::to_string(GetParam().thresh) + R"(, "flags": {"value": )" +
                                std::to_string(GetParam().flags) + "}";
    Reports(AtaReport("S", R"({"id": 7, "name": "n", "worst": 1, "raw": {"value": 1}, )" + numbers + "}"));
    Refresh();
    ASSERT_TRUE(m_disk.m_attributes.contains(7));
    const auto element = CDisk::CreateAttributeElement(m_disk.m_attributes[7]);
    std::string printed = element->Attribute("Flag") + std::string(" ");
    for (const char* bit : {"AdvisoryBit", "PreFailBit", "OfflineCollectionBit", "PerformanceBit",
                            "ErrorRateBit", "ErrorCountBit", "SelfPreserving"})
    {
        printed += element->Attribute(bit);
    }
    EXPECT_EQ(printed, GetParam().printed);
}
INSTANTIATE_TEST_SUITE_P(Cases, SmartFlags, testing::ValuesIn(kFlagCases), kByName);

TEST_F(SmartEvaluation, FailedReportCostsTheAttributes)
{
    m_disk.UpdateAttribute({.id = 5, .currentValue = 1});
    m_host.OnProgram(ReportCommand("/dev/sda"), {.output = "{", .exitCode = 4});
    m_disk.m_status = "Failed";
    Refresh();
    EXPECT_THAT(Attributes(), IsEmpty());
    EXPECT_FALSE(m_disk.m_healthKnown);
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre("75 SMARTCTL: /dev/sda failed to get SMART attrs (smartctl error 4)",
                            "50 /dev/sda non-SMART status Failed"));
    EXPECT_EQ(m_host.Programs().size(), 1U);
}

TEST_F(SmartEvaluation, BrokenReportIsAskedForTenTimes)
{
    const std::string retry = "50 SMARTCTL: /dev/sda get SMART attrs retry on invalid JSON";
    for (int broken = 0; broken < 9; ++broken)
    {
        Reports("");
    }
    Reports(AtaReport("S1", kSpinUpRow));
    Reports(""); // of the second refresh, again and again
    Refresh();
    std::vector<std::string> lines(9, retry);
    EXPECT_THAT(LevelAndText(m_host), ElementsAreArray(lines));
    EXPECT_EQ(Attributes().size(), 1U);

    m_host.Forget();
    Refresh();
    EXPECT_EQ(m_host.Programs().size(), 10U);
    lines.assign(10, retry);
    lines.emplace_back("75 SMARTCTL: /dev/sda failed to get SMART attrs (reached retry limit)");
    EXPECT_THAT(LevelAndText(m_host), ElementsAreArray(lines));
    EXPECT_THAT(Attributes(), IsEmpty());
}

TEST_F(SmartEvaluation, DriveBehindAControllerIsReadThroughIt)
{
    AttachController();
    m_controller->target = {.device = "/dev/bus/0", .deviceType = "sat+megaraid,7"};
    m_controller->temperature = 99;
    CFakeHost::Arguments command = ReportCommand("/dev/bus/0");
    command.insert(command.end() - 2, {"-d", "sat+megaraid,7"});
    m_host.OnProgram(command, {.output = AtaReport("S1", kSpinUpRow)});
    Refresh();
    EXPECT_THAT(m_host.Programs(), ElementsAre(command));
    EXPECT_THAT(Attributes(), ElementsAre("3:90:21:7000")) << "the controller's own data is second choice";
}

struct FallbackCase
{
    const char* name;
    bool reachable; // through smartctl, whose report fails
    std::optional<int> temperature;
    std::vector<std::uint32_t> attributes; // of the controller
    std::vector<std::string> after;        // attribute 9 was known before
    std::vector<std::string> log;
};

const std::string kFailed = "75 SMARTCTL: /dev/sda failed to get SMART attrs (smartctl error 1)";

const std::vector<FallbackCase> kFallbackCases{
    {"Nothing", true, {}, {}, {}, {kFailed}},
    {"TemperatureOnly", true, 40, {}, {"9:1:0:0", "194:40:0:0"}, {}},
    {"AttributesOnlyWithoutTheirTemperature", true, {}, {5, 194}, {"5:60:0:0", "9:1:0:0"}, {}},
    {"TemperatureReplacesTheRow", true, 41, {5, 194}, {"5:60:0:0", "9:1:0:0", "194:41:0:0"}, {}},
    {"UnreachableWithData", false, 42, {9}, {"9:60:0:0", "194:42:0:0"}, {}},
    {"UnreachableAtZero", false, 0, {}, {"9:1:0:0", "194:0:0:0"}, {}},
    {"UnreachableBelowZero", false, -1, {}, {"9:1:0:0", "194:4294967295:0:0!"}, {}},
    {"UnreachableWithoutData", false, {}, {}, {"9:1:0:0"}, {}},
};

using SmartFallback = WithCases<SmartEvaluation, FallbackCase>;

TEST_P(SmartFallback, Row)
{
    m_disk.UpdateAttribute({.id = 9, .currentValue = 1});
    AttachController();
    m_controller->temperature = GetParam().temperature;
    for (const std::uint32_t id : GetParam().attributes)
    {
        m_controller->attributes[static_cast<int>(id)] = {.id = id, .currentValue = 60};
    }
    m_controller->target.device = GetParam().reachable ? "/dev/sda" : "";
    m_host.OnProgram(ReportCommand("/dev/sda"), {.exitCode = 1});
    Refresh();
    EXPECT_EQ(m_host.Programs().size(), GetParam().reachable ? 1U : 0U);
    EXPECT_THAT(Attributes(), ElementsAreArray(GetParam().after));
    EXPECT_THAT(LevelAndText(m_host), ElementsAreArray(GetParam().log));
}
INSTANTIATE_TEST_SUITE_P(Cases, SmartFallback, testing::ValuesIn(kFallbackCases), kByName);

TEST_F(SmartEvaluation, MissingDiskIsNotAsked)
{
    m_disk.m_userRange = ThresholdRange{.min = 5, .max = 55};
    m_disk.UpdateAttribute(Temperature(60));
    Evaluate();
    m_host.Forget();
    m_disk.m_missedScans = 1;
    m_disk.m_status = "OK";
    Refresh();
    EXPECT_THAT(m_host.Programs(), IsEmpty());
    EXPECT_THAT(Attributes(), IsEmpty());
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 /dev/sda non-SMART status Offline"));
    // The attribute's warning is hidden, but stands.
    EXPECT_THAT(Warnings(), ElementsAre("194 threshold exceeded 5000000000", "1001 Offline 5000000000"));
    EXPECT_EQ(Status(), DiskXml("Offline", kAlarmed));
}

TEST_F(SmartEvaluation, TemperatureIsJudgedAtItsBoundsWithoutHysteresis)
{
    m_disk.UpdateAttribute(Temperature(99));
    EXPECT_FALSE(Evaluate()) << "no range yet";
    m_disk.m_userRange = ThresholdRange{.min = -5, .max = 55};
    std::string changes;
    for (const int degrees : {55, 56, 90, 55, -5, -6, -5})
    {
        m_disk.UpdateAttribute(Temperature(degrees));
        changes += Evaluate() ? "!" : ".";
    }
    EXPECT_EQ(changes, ".!.!.!!");
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre("50 /dev/sda SMART attr 194 (value 56) outside user-defined range -5-55",
                            "50 /dev/sda SMART attr 194 (value 55) ok",
                            "50 /dev/sda SMART attr 194 (value -6) outside user-defined range -5-55",
                            "50 /dev/sda SMART attr 194 (value -5) ok"));
}

TEST_F(SmartEvaluation, OnlyHealthyStatusWordsRaiseNothing)
{
    for (const std::string status :
         {"", "OK", "Onln", "Completed without error", "Self test in progress", "ok", "Failed"})
    {
        const bool healthy = status != "ok" && status != "Failed";
        m_disk.m_status = status;
        m_disk.m_warnings.clear();
        m_host.Forget();
        EXPECT_EQ(Evaluate(), !healthy) << status;
        EXPECT_EQ(m_host.LogTexts(50).size(), healthy ? 0U : 1U);
    }
    m_disk.m_status = "OK";
    m_host.Forget();
    EXPECT_TRUE(Evaluate());
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 /dev/sda non-SMART status ok"));
}

TEST_F(SmartEvaluation, HealthFlagCountsOnceItIsKnown)
{
    EXPECT_FALSE(Evaluate());
    m_disk.m_healthKnown = true;
    EXPECT_TRUE(Evaluate());
    EXPECT_FALSE(Evaluate());
    m_disk.m_healthPassed = true;
    EXPECT_TRUE(Evaluate());
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 /dev/sda SMART health flag needs attention",
                                                  "50 /dev/sda SMART health flag ok"));
}

TEST_F(SmartEvaluation, HotSpareErrorsCountBehindAController)
{
    m_disk.m_hotSpareError = 3;
    EXPECT_FALSE(Evaluate());
    m_disk.m_controllerName = "/c0";
    EXPECT_TRUE(Evaluate());
    // A standing warning keeps its first text.
    m_disk.m_hotSpareError = 4;
    EXPECT_FALSE(Evaluate());
    EXPECT_THAT(Warnings(), ElementsAre("1002 unsupported global hotspare 5000000000"));
    m_disk.m_hotSpareError = 0;
    EXPECT_TRUE(Evaluate());
    m_disk.m_hotSpareError = 1;
    EXPECT_TRUE(Evaluate());
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 /dev/sda hotspare status - unsupported global hotspare",
                                                  "50 /dev/sda hotspare status - ok",
                                                  "50 /dev/sda hotspare status - hotspare config error"));
}

TEST_F(SmartEvaluation, MessageJoinsTheReasonsInByteOrder)
{
    const auto warn = [this](int key, const char* text)
    { m_disk.m_warnings[key] = {.key = key, .text = text}; };
    const auto message = [this]
    {
        const auto element = m_disk.CreateStatusElement(false, Context());
        return std::string(element == nullptr ? "unchanged" : element->Attribute("Message"));
    };
    m_disk.m_hotSpare = HotSpareType::Dedicated;
    EXPECT_EQ(message(), "Healthy, dedicated hotspare");
    m_disk.m_hotSpare = HotSpareType::Global;
    EXPECT_EQ(message(), "Healthy, global hotspare");
    m_disk.m_hotSpare = HotSpareType::GlobalUnstated;
    EXPECT_EQ(message(), "unchanged");
    m_disk.m_pollError = true;
    EXPECT_EQ(message(), "poll error");
    warn(1, "threshold exceeded");
    warn(252, "threshold exceeded");
    warn(1000, "SMART health flag");
    warn(1001, "stored");
    warn(1002, "hotspare config error");
    m_disk.m_status = "Failed";
    EXPECT_EQ(message(), "Failed, SMART health flag, hotspare config error, poll error, threshold exceeded");
    m_disk.m_missedScans = 1; // attribute warnings are hidden, keys beyond them are not
    warn(253, "not an attribute");
    EXPECT_EQ(message(), "Failed, SMART health flag, hotspare config error, not an attribute, poll error");
}

TEST_F(SmartEvaluation, StatusElementIsADelta)
{
    m_disk.m_status = "OK";
    EXPECT_EQ(Status(true), DiskXml("Healthy", R"( Time="5000000000" Milliseconds="0" Alarm="0")"));
    EXPECT_EQ(Status(), "");
    EXPECT_EQ(Status(true), "") << "only with a new message";

    m_disk.m_pollError = true;
    EXPECT_EQ(Status(), DiskXml("poll error")) << "no alarm";
    m_disk.m_pollError = false;
    m_disk.m_status = "Failed";
    m_disk.m_supportsPrep = true;
    m_disk.m_prepStatus = PrepStatus::ErrorMounting;
    Evaluate();
    EXPECT_EQ(Status(), DiskXml("Failed", R"( PrepStatus="-1")" + kAlarmed));
    m_disk.m_status = "Offline";
    Evaluate();
    EXPECT_EQ(Status(), DiskXml("Offline", R"( PrepStatus="-1")")) << "the alarm stands";
    m_disk.m_status = "OK";
    m_disk.m_supportsPrep = false;
    Evaluate();
    ++m_now;
    EXPECT_EQ(Status(), DiskXml("Healthy", R"( Time="5000000001" Milliseconds="0" Alarm="0")"));
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("25 /dev/sda is ok", "50 /dev/sda non-SMART status Failed",
                                                  "50 /dev/sda alarmed - Failed",
                                                  "50 /dev/sda non-SMART status ok", "25 /dev/sda is ok"));
}

TEST_F(SmartEvaluation, StatusElementUsesTheOtherNameWhenThereIsNoName)
{
    m_disk.m_name.clear();
    m_disk.m_otherName = "/c0/e1/s1";
    EXPECT_EQ(Status(), R"(<Disk Name="/c0/e1/s1" Message="Healthy" />)");
    m_disk.m_lastMessage.clear();
    m_disk.m_otherName.clear();
    EXPECT_EQ(Status(), R"(<Disk Message="Healthy" />)");
}

// A further warning found by a refresh makes the standing alarm be told again.
TEST_F(SmartEvaluation, RefreshWithANewWarningReportsTheAlarmAgain)
{
    m_disk.m_status = "Failed";
    Reports(AtaReport("S1", kSpinUpRow));
    Reports(AtaReport("S1", kSpinUpRow, "", 8));
    Refresh();
    EXPECT_THAT(Status(), HasSubstr(R"(Message="Failed")" + kAlarmed));
    Refresh();
    EXPECT_THAT(Status(), HasSubstr(R"(Message="Failed, SMART health flag")" + kAlarmed));
    Refresh(); // nothing new
    m_disk.m_status = "Offline";
    EXPECT_EQ(Status(), DiskXml("Offline, SMART health flag"));
}

TEST_F(SmartEvaluation, ChangedAttributesAreSentOnce)
{
    m_disk.UpdateAttribute(
        {.id = 9, .flag = 50, .currentValue = 1, .worstValue = 2, .thresholdValue = 3, .rawValue = 4});
    m_disk.UpdateAttribute({.id = 5, .currentValue = 253});
    EXPECT_EQ(Status(), DiskXml("Healthy")) << "new ones are no change";

    m_disk.UpdateAttribute({.id = 9, .currentValue = 1, .rawValue = 4});
    EXPECT_EQ(Status(), "");
    m_disk.UpdateAttribute({.id = 9,
                            .flag = 7,
                            .currentValue = 1,
                            .worstValue = 7,
                            .thresholdValue = 7,
                            .rawValue = 5,
                            .advisoryBit = true});
    EXPECT_EQ(Status(),
              R"(<Disk Name="/dev/sda">)" +
                  AttributeXml(
                      R"(Id="9" Flag="50" CurrentValue="1" WorstValue="2" RawValue="5" ThresholdValue="3")") +
                  "</Disk>");
    EXPECT_EQ(Status(), "");

    // A value without a reading is not sent, and its change is used up.
    m_disk.UpdateAttribute({.id = 5, .currentValue = 254});
    EXPECT_EQ(Status(), "");
    m_disk.UpdateAttribute({.id = 5, .currentValue = 100, .rawValue = 6});
    m_disk.UpdateAttribute({.id = 9, .currentValue = 2, .rawValue = 8});
    m_disk.m_pollError = true;
    EXPECT_EQ(
        Status(),
        R"(<Disk Name="/dev/sda" Message="poll error">)" +
            AttributeXml(
                R"(Id="5" Flag="0" CurrentValue="100" WorstValue="0" RawValue="6" ThresholdValue="0")") +
            AttributeXml(
                R"(Id="9" Flag="50" CurrentValue="2" WorstValue="2" RawValue="8" ThresholdValue="3")") +
            "</Disk>");
}
} // namespace
