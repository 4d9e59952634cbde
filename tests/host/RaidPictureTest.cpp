#include "host/RaidPicture.h"

#include "host/PictureMerge.h"
#include "host/PictureText.h"
#include "host/Screen.h"

#include <gmock/gmock.h>

#include <map>

namespace
{
using namespace host;
using testing::Contains;
using testing::HasSubstr;

TEST(VolumeMessage, IsStateAndTask)
{
    struct Row
    {
        const char* message;
        const char* state;
        const char* task = ""; // none
        int percent = 0;
    };
    for (const Row& row :
         {Row{"Optl", "Optl"}, Row{"Dgrd, busy (Rebuild 36% complete)", "Dgrd", "Rebuild", 36},
          Row{"Optl, busy (Background Initialization 4% complete)", "Optl", "Background Initialization", 4},
          Row{"Optl, busy (Check 120% complete)", "Optl", "Check", 100},
          Row{"Optl, busy (Check x% complete)", "Optl, busy (Check x% complete)"},
          Row{"Optl, busy (4% complete)", "Optl, busy (4% complete)"},
          Row{"storcli error Failure", "storcli error Failure"}})
    {
        Picture picture;
        picture.volumes.emplace_back().health.message = row.message;
        const RaidVolume volume = MakeRaidPicture(picture).volumes.at(0);
        EXPECT_EQ(volume.state, row.state);
        EXPECT_EQ(volume.task ? volume.task->name : "", row.task) << row.message;
        EXPECT_EQ(volume.task ? volume.task->percent : 0, row.percent) << row.message;
    }
}

// Disks in every role behind a controller, and one on the board.
Picture Recorder()
{
    const auto disk = [](const std::string& name, const std::string& unit, bool spare)
    {
        return "<Disk Name=\"" + name + "\" OtherName=\"" + name + "\" SerialNumber=\"" + name +
               "\" ControllerName=\"/c0\" Attached=\"1\" UnitName=\"" + unit + "\" Hotspare=\"" +
               (spare ? "1" : "0") + "\"/>";
    };
    Picture picture;
    const std::string config = R"(<zDVR Delta="0"><Storage ID="3604480"><Controller Name="/c0" Model="M"/>)"
                               R"(<Volume Name="/c0/v1" Type="RAID5" Size="90" SupportsPrep="-2"/>)" +
                               disk("/c0/e64/s0", "/c0/v1", false) + disk("/c0/e64/s1", "/c0/v1", false) +
                               disk("/c0/e64/s2", "/c0/v1", true) + disk("/c0/e64/s3", "", true) +
                               disk("/c0/e64/s4", "", false) + disk("/c0/e64/s5", "", false) +
                               disk("/c0/e8/s6", "Foreign", false) +
                               R"(<Disk Name="/dev/sdz" SerialNumber="Z" Attached="1"/></Storage></zDVR>)";
    MergeDocument(picture, DocumentKind::Config, config);
    MergeDocument(picture, DocumentKind::Status,
                  R"(<zDVR><Storage ID="3604480"><Disk Name="/c0/e64/s1" Message="Rbld" Alarm="1"/>)"
                  R"(<Disk Name="/c0/e64/s5" Message="UBad" Alarm="1"/>)"
                  R"(<Disk Name="/c0/e64/s2" Message="Healthy, dedicated hotspare" Alarm="0"/>)"
                  R"x(<Volume Name="/c0/v1" Message="Dgrd, busy (Rebuild 36% complete)" Alarm="1"/>)x"
                  R"(</Storage></zDVR>)");
    return picture;
}

TEST(RaidPicture, EveryDiskHasItsRole)
{
    const Picture picture = Recorder();
    const RaidPicture raid = MakeRaidPicture(picture);
    EXPECT_EQ(DescribeVolume(raid.volumes.at(0)),
              "/c0/v1 RAID5 90 GB, ALARM Dgrd, busy (Rebuild 36% complete), format error, "
              "members 64:0 64:1 (Rbld), spares 64:2");
    EXPECT_EQ(DescribeLooseDisks(raid), "free 64:4, global spares 64:3, unusable 64:5 (UBad) 8:6 (Foreign)");
    EXPECT_EQ(DescribeDisk(picture.disks[2]).state, "Healthy, dedicated hotspare, of /c0/v1");
    EXPECT_THAT(DeviceText(picture), HasSubstr("\ndisks: free 64:4, "));
    const auto lines = ComposeScreen({picture, {}, 1, 1, "simulated lsi", true}, {}, {40, 200});
    EXPECT_THAT(lines, Contains(HasSubstr("[#######-------------]")));
}

// A finished preparation leaves no trace in the next configuration.
TEST(RaidPicture, PreparationEndsWithTheConfiguration)
{
    Picture picture = Recorder();
    MergeDocument(picture, DocumentKind::Status,
                  R"(<zDVR><Storage ID="3604480"><Volume Name="/c0/v1" PrepStatus="3"/></Storage></zDVR>)");
    EXPECT_EQ(picture.volumes.at(0).prepStatus, 3);
    MergeDocument(picture, DocumentKind::Config,
                  R"(<zDVR Delta="0"><Storage ID="3604480"><Volume Name="/c0/v1" Type="RAID5" Size="90" )"
                  R"(SupportsPrep="0"/></Storage></zDVR>)");
    EXPECT_FALSE(picture.volumes.at(0).prepStatus);
    EXPECT_TRUE(picture.volumes.at(0).health.alarm);
}

TEST(BayName, IsEnclosureAndSlotWhereTheNameTells)
{
    for (const auto& [name, bay] : std::map<std::string, std::string>{
             {"/c0/e252/s11", "252:11"}, {"0:9", "0:9"}, {"/dev/sdb", "/dev/sdb"}, {"/c0/s1", "/c0/s1"}})
    {
        DiskPicture disk;
        disk.name = name;
        EXPECT_EQ(BayName(disk), bay);
    }
}
} // namespace
