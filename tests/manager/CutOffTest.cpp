// What a program had printed when the plug-in's end cut it off is believed, told and kept by nobody.
#include "frame/Log.h"
#include "host/SimTime.h"
#include "tests/manager/ManagerRig.h"
#include "tests/support/CaseName.h"

#include <sys/resource.h>

namespace
{
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

enum class StartedBy
{
    Clock,
    Request,
    Change,
};

struct CutOffCase
{
    const char* name;
    CFakeHost::Arguments program;
    const char* printed; // until the end came
    StartedBy startedBy;
    std::string document{};
    int seconds = 0; // of the clock
    bool hasChip = true;
};

const CFakeHost::Arguments kReport{"./smartctl", "-j", "-T", "permissive", "-a", "/dev/sda"};

const auto kCutOffCases = std::to_array<CutOffCase>({
    {"Sensors",
     {"ipmitool", "-c", "sdr"},
     "FAN1,5400,RPM,ok\nCPU Temp,45,degrees C,o",
     StartedBy::Clock,
     {},
     5,
     false},
    {"Smart", kReport, R"({"smartctl":{"exit_status":0},"device":{"na)", StartedBy::Clock, {}, 3600},
    {"FullScan", kReport, R"({"smartctl":)", StartedBy::Change, StorageDocument(kRefresh)},
    {"SystemInformation",
     {"scripts/sysinfo.sh"},
     "motherboard-vendor=AC",
     StartedBy::Change,
     StorageDocument(kRefresh)},
    {"SelfTestStart",
     {"./tqselftest", "-c", "startshort", "-d", "/dev/sda"},
     "",
     StartedBy::Request,
     R"(<zDVR><Storage ID="3604480" SelfTest="0"/></zDVR>)"},
    {"SelfTestReport",
     {"./tqselftest", "-c", "report"},
     "<tqselftest><di",
     StartedBy::Request,
     R"(<zDVR><Storage ID="3604480" SelfTest="3"/></zDVR>)"},
    {"PreparationAndAnotherRequest",
     {"scripts/driveprep.sh", "prep", "S1"},
     "",
     StartedBy::Request,
     R"(<zDVR><Storage ID="3604480"><Disk Name="/dev/sda" StartPrep="1"/></Storage>)"
     R"(<Storage ID="3604480" SelfTest="0"/></zDVR>)"},
    {"CoreDumps", {"scripts/config_core_pattern.sh", "enable"}, "", StartedBy::Clock, {}, 1},
});

class CutOff : public ManagerRig, public testing::WithParamInterface<CutOffCase>
{
protected:
    CutOff()
    {
        m_hasChip = GetParam().hasChip;
        AnswerSysInfo("motherboard-vendor=ACME\nmotherboard-model=B1\ndrive-index=0\ndrive-serial=S1\n"
                      "drive-needs-prep=1\ndrive-index=1\n");
        AnswerScan({"/dev/sda"});
        AnswerReport("/dev/sda", "S1", 30);
        Answer({"./tqselftest", "-v"}, {.output = "tqselftest version: 1.2\n"});
        Answer({"./tqselftest", "-c", "report"}, {.output = "<SelfTests></SelfTests>"});
        Answer({"ipmitool", "-c", "sdr"}, {.output = "FAN1,5400,RPM,ok\nCPU Temp,45,degrees C,ok\n"});
        getrlimit(RLIMIT_CORE, &m_coreLimit);
    }
    ~CutOff() override { setrlimit(RLIMIT_CORE, &m_coreLimit); }

    void StartProgram()
    {
        const std::string& document = GetParam().document;
        const auto size = static_cast<std::uint32_t>(document.size());
        switch (GetParam().startedBy)
        {
        case StartedBy::Clock:
            host::simtime::Advance(std::chrono::seconds(GetParam().seconds));
            return;
        case StartedBy::Request:
            m_manager->PostStatusUpdate(document.data(), static_cast<std::int32_t>(size));
            return;
        case StartedBy::Change:
            EXPECT_TRUE(m_manager->PostConfigUpdate(size, document.data()));
            return;
        }
    }

    rlimit m_coreLimit{};
};

TEST_P(CutOff, ByCloseItSaysNothing)
{
    Start();
    Settle();
    m_host.Forget();
    const std::string config = m_dir.Read(kConfigurationFile).value();
    Answer(GetParam().program, {.output = GetParam().printed, .hang = true});
    if (GetParam().program.back() == "enable")
    {
        m_dir.Write("enabledumps", "");
    }
    StartProgram();
    AwaitHanging();
    Close();
    Join();

    EXPECT_THAT(m_host.LogTexts(LogWarning), IsEmpty());
    EXPECT_THAT(m_host.LogTexts(LogError), IsEmpty());
    for (const std::string& line : m_host.LogTexts())
    {
        EXPECT_THAT(line, Not(HasSubstr("START_SHORT"))) << "nobody knows whether a test has started";
        EXPECT_THAT(line, Not(HasSubstr("completed")));
    }
    for (const std::string& text : Statuses())
    {
        EXPECT_THAT(text, HasSubstr(R"(PrepStatus="2")")) << "in preparation, told when it began";
    }
    EXPECT_EQ(m_dir.Read(kConfigurationFile).value(), config);
    EXPECT_FALSE(m_dir.Exists("logs/tqselftest_bad_report.xml"));
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    EXPECT_EQ(limit.rlim_cur, m_coreLimit.rlim_cur);
    Unload();
}

INSTANTIATE_TEST_SUITE_P(Cases, CutOff, testing::ValuesIn(kCutOffCases), kByName);
} // namespace
