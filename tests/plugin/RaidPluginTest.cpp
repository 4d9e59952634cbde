// The plug-in through the whole life of the simulated appliances with a RAID controller: their own scenarios,
// the host's requests and picture, the clock moved by seconds.
#include "host/PictureMerge.h"
#include "host/PictureText.h"
#include "host/Requests.h"
#include "tests/plugin/ApplianceRig.h"

#include <algorithm>

namespace
{
using namespace std::chrono_literals;
using testing::HasSubstr;

struct LifeCase
{
    const char* preset;
    std::vector<const char*> changes; // beginnings of what the host tells, in this order, others between
    std::vector<const char*> lines;   // of the devices at the end
};

class RaidPlugin : public ApplianceRig, public testing::WithParamInterface<LifeCase>
{
protected:
    // One second of the appliance's life.
    void Step()
    {
        host::simtime::Advance(1s);
        m_appliance->Advance(Now());
        for (const std::string& line : m_appliance->TakeRequests())
        {
            Send(line);
        }
        Settle();
        Settle();
        TakeDocuments();
    }

    void TakeDocuments()
    {
        for (const auto& [category, kind] :
             {std::pair(MessageCategory::ConfigDocument, host::DocumentKind::Config),
              std::pair(MessageCategory::StatusDocument, host::DocumentKind::Status)})
        {
            for (const std::string& text : Documents(category))
            {
                for (const host::PictureChange& change : MergeDocument(m_picture, kind, text))
                {
                    m_changes.push_back(DescribeChange(m_picture, change));
                }
            }
        }
        m_host.Forget();
    }

    host::Picture m_picture;
    std::vector<std::string> m_changes;

private:
    void Send(const std::string& line)
    {
        const host::ControlCommand command = host::ParseControl(host::SplitControlLine(line), m_picture);
        const std::string& text = Lend(command.text);
        if (command.kind == host::ControlKind::Config)
        {
            m_plugin.Ioctl(2, text.data(), static_cast<std::uint32_t>(text.size()));
            return;
        }
        EXPECT_EQ(command.kind, host::ControlKind::Request) << line << ": " << text;
        m_plugin.Write(kForeignSource, 4, text.data(), static_cast<std::int32_t>(text.size()));
    }
};

const LifeCase kLsi{"lsi",
                    {"preparation New Data Array: creating array",
                     "preparation New Data Array: array error",
                     "preparation New Data Array: creating array",
                     "preparation /c0/v1: preparing",
                     "preparation /c0/v1: partition error",
                     "ALARM /c0/e64/s5: unsupported global hotspare",
                     "preparation /c0/v1: preparing",
                     "preparation /c0/v1: format error",
                     "preparation /c0/v1: preparing",
                     "preparation /c0/v1: mount error",
                     "preparation /c0/v1: preparing",
                     "preparation /c0/v1: prepared",
                     "alarm cleared /c0/e64/s5: Healthy",
                     "ALARM /c0/e64/s1: UBad",
                     "ALARM /c0/e64/s5: Rbld",
                     "ALARM /c0/v1: Dgrd, busy (Rebuild ",
                     "alarm cleared /c0/e64/s5: Healthy",
                     "alarm cleared /c0/v1: Optl",
                     "ALARM /c0/v1: storcli invalid json",
                     "alarm cleared /c0/e64/s1: Healthy, dedicated hotspare",
                     "alarm cleared /c0/v1: Optl",
                     "volume /c0/v1: Optl, busy (Consistency Check "},
                    {"volume: /c0/v0 RAID1 447 GB, Optl, members 65:12 65:13\n",
                     "members 64:0 64:2 64:3 64:4 64:5\n", "disks: free 64:1, unusable 64:6 (Foreign)\n",
                     "alarms: 0\n"}};

const LifeCase kAdaptec{"adaptec",
                        {"preparation New Data Array: array error",
                         "preparation New Data Array: creating array",
                         "preparation 1: needs prep",
                         "preparation 1: prep error",
                         "preparation 1: preparing",
                         "preparation 1: format error",
                         "preparation 1: preparing",
                         "preparation 1: prepared",
                         "ALARM 0:9: Failed",
                         "ALARM 1: Degraded",
                         "disk 0:13: found",
                         "ALARM 0:13: Rebuilding",
                         "ALARM 1: Degraded, busy (Rebuild ",
                         "alarm cleared 0:13: Healthy",
                         "alarm cleared 1: Optimal",
                         "ALARM 0:9: Rebuilding",
                         "ALARM 0:11: Offline",
                         "ALARM 1: Degraded, busy (Rebuild ",
                         "alarm cleared 1: Optimal",
                         "ALARM 0:11: Raw",
                         "ALARM 1: arcconf ",
                         "alarm cleared 1: Optimal"},
                        {"volume: 1 RAID6 33528 GB, Optimal, members 0:8 0:9 0:10 0:12 0:13\n",
                         "disks: free 0:11\n", "alarms: 0\n"}};
} // namespace

TEST_P(RaidPlugin, LivesAWholeLife)
{
    SwitchOn(std::make_unique<sim::CAppliance>(GetParam().preset, std::nullopt));
    Start();
    TakeDocuments();
    for (int second = 0; second < 900 && !m_appliance->IsOver(); ++second)
    {
        Step();
    }
    EXPECT_TRUE(m_appliance->IsOver());
    EXPECT_EQ(m_picture.documents.rejected, 0U);
    auto at = m_changes.begin();
    for (const char* beginning : GetParam().changes)
    {
        at = std::find_if(at, m_changes.end(),
                          [beginning](const std::string& change) { return change.starts_with(beginning); });
        ASSERT_NE(at, m_changes.end()) << beginning << "\n" << testing::PrintToString(m_changes);
        ++at;
    }
    for (const char* line : GetParam().lines)
    {
        EXPECT_THAT(DeviceText(m_picture), HasSubstr(line));
    }
}

INSTANTIATE_TEST_SUITE_P(Appliances, RaidPlugin, testing::Values(kLsi, kAdaptec),
                         [](const auto& test) { return std::string(test.param.preset); });
