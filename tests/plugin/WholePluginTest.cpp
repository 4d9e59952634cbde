#include "host/SimTime.h"
#include "tests/plugin/LoadedPlugin.h"

namespace
{
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string Report(const std::string& type, const std::string& serial, const std::string& rest)
{
    return R"({"smartctl":{"exit_status":0},"device":{"type":")" + type +
           R"("},"model_name":"EXAMPLE","firmware_version":"F1","serial_number":")" + serial + "\"," + rest +
           "}";
}

std::string AtaReport(int temperature)
{
    const std::string degrees = std::to_string(temperature);
    return Report(
        "sat", "S1",
        R"("temperature":{"current":)" + degrees + R"(},"ata_smart_attributes":{"table":[{"id":194,)" +
            R"("name":"Temperature","flags":{"value":34},"value":60,"worst":50,"thresh":0,"raw":{"value":)" +
            degrees + "}}]}");
}

const CFakeHost::Arguments kAtaReport{"./smartctl", "-j", "-T", "permissive", "-a", "/dev/sda"};

// A SATA and an NVMe disk.
class WholePlugin : public PluginRig
{
protected:
    WholePlugin()
    {
        m_host.OnProgram({"scripts/sysinfo.sh"},
                         {.output = "motherboard-vendor=ACME\r\nmotherboard-model=B1\r\n"});
        m_host.OnProgram({"./smartctl", "-jV"},
                         {.output = R"({"smartctl":{"version":[7,4],"svn_revision":"5530","build_info":"x",)"
                                    R"("exit_status":0}})"});
        m_host.OnProgram({"./smartctl", "-j", "--scan"},
                         {.output =
                              R"({"smartctl":{"exit_status":0},"devices":[{"name":"/dev/sda","type":"sat"},)"
                              R"({"name":"/dev/nvme0","type":"nvme"}]})"});
        m_host.OnProgram(kAtaReport, {.output = AtaReport(30)});
        m_host.OnProgram(
            {"./smartctl", "-j", "-T", "permissive", "-a", "/dev/nvme0"},
            {.output = Report("nvme", "N1", R"("nvme_smart_health_information_log":{"temperature":60})")});
    }

    // The SMART timer, then the housekeeping that tells what it has found.
    std::string StatusAfterAnHour(int temperature)
    {
        m_host.OnProgram(kAtaReport, {.output = AtaReport(temperature)});
        m_host.Forget();
        host::simtime::Advance(std::chrono::hours(1));
        EXPECT_TRUE(
            WaitUntil([](const auto& told)
                      { return std::count(told.programs.begin(), told.programs.end(), kAtaReport) == 1; }));
        Settle();
        host::simtime::Advance(std::chrono::seconds(5));
        EXPECT_TRUE(WaitUntil([](const auto& told) { return !told.documents.empty(); }));
        Settle();
        const std::vector<std::string> status = Documents(MessageCategory::StatusDocument);
        EXPECT_EQ(status.size(), 1U);
        return status.empty() ? "" : status.back();
    }
};

TEST_F(WholePlugin, StartsTellsEverythingOnceAndBeatsEverySecond)
{
    Start();
    m_plugin.Open();
    const std::vector<std::string> configuration = Documents(MessageCategory::ConfigDocument);
    ASSERT_GE(configuration.size(), 3U);
    EXPECT_THAT(configuration.front(),
                HasSubstr(R"(<Library Name="smartctl" Filename="smartctl" Version="7.4 5530 x" />)"));
    EXPECT_THAT(configuration.back(),
                AllOf(HasSubstr(R"(<Disk Name="/dev/sda" Model="EXAMPLE" SerialNumber="S1")"),
                      HasSubstr(R"(<Disk Name="/dev/nvme0")"),
                      HasSubstr(R"(<Motherboard Vendor="ACME" Model="B1" />)")));
    EXPECT_THAT(
        Documents(MessageCategory::StatusDocument),
        ElementsAre(
            R"(<?xml ?><zDVR><Storage ID="3604480"><Disk Name="/dev/sda" Message="Healthy" Time="1700395200")"
            R"( Milliseconds="0" Alarm="0" /><Disk Name="/dev/nvme0" Message="Healthy" Time="1700395200")"
            R"( Milliseconds="0" Alarm="0" /></Storage></zDVR>)"));
    EXPECT_TRUE(m_dir.Exists("corvanepi.xml"));
    for (int beats = 1; beats <= 3; ++beats)
    {
        EXPECT_EQ(m_host.Told().heartbeats, beats - 1);
        host::simtime::Advance(std::chrono::seconds(1));
        EXPECT_TRUE(WaitUntil([beats](const auto& told) { return told.heartbeats == beats; }));
        EXPECT_TRUE(
            WaitUntil([](const auto&) { return host::simtime::NextDeadline() == std::chrono::seconds(1); }));
    }
}

TEST_F(WholePlugin, AHotDiskIsAnAlarmUntilItHasCooled)
{
    Start();
    EXPECT_THAT(StatusAfterAnHour(56),
                AllOf(HasSubstr(R"(<Disk Name="/dev/sda" Message="threshold exceeded" Time="1700398805")"),
                      HasSubstr(R"(Alarm="1"><Attribute Id="194")"), HasSubstr(R"(CurrentValue="56")"),
                      Not(HasSubstr("/dev/nvme0"))));
    EXPECT_THAT(StatusAfterAnHour(55), AllOf(HasSubstr(R"(<Disk Name="/dev/sda" Message="Healthy" Time=)"),
                                             HasSubstr(R"(Alarm="0"><Attribute Id="194")")));
}

// One process loads and unloads the plug-in as often as it likes; nothing of the last time is left.
TEST_F(WholePlugin, LoadedAgainItStartsAfresh)
{
    std::vector<std::string> first;
    for (int round = 0; round < 3; ++round)
    {
        m_host.Forget();
        Start();
        m_plugin.Open();
        const std::vector<std::string> status = Documents(MessageCategory::StatusDocument);
        const std::size_t lines = m_host.LogTexts().size();
        CloseAndUnload();
        if (round == 0)
        {
            first = status;
        }
        EXPECT_EQ(status, first);
        EXPECT_EQ(status.size(), 1U);
        EXPECT_EQ(m_host.LogTexts().size(), lines + 4) << "the four timers' ends";
        EXPECT_THAT(m_host.LogTexts().back(), StartsWith("CORVANEPI: Will not reschedule"));
    }
}

// The library itself, too, may go and come back.
TEST(PluginLibrary, CanBeUnmappedAndMappedAgain)
{
    const CTempDir directory; // the configuration is saved there
    const CWorkingDirectory there(directory.Path());
    for (int round = 0; round < 3; ++round)
    {
        CLoadedPlugin plugin;
        CFakeHost host(
            [&plugin](const void* frame, std::size_t length)
            { return plugin.Ioctl(4, frame, static_cast<std::uint32_t>(length)) == IoctlReply{}; });
        LoadRecord record;
        plugin.Load(record);
        std::thread run([&plugin] { plugin.Ioctl(1, nullptr, 0); });
        EXPECT_TRUE(host.WaitUntil([](const auto& told) { return told.documents.size() >= 3; }));
        plugin.Close();
        run.join();
        plugin.Unload();
    }
}
} // namespace
