#include "host/PictureMerge.h"

#include <gmock/gmock.h>

namespace
{
using namespace host;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Document(const std::string& storage, const std::string& rest = {})
{
    return R"(<?xml ?><zDVR Delta="0"><Storage ID="3604480" RefreshIntervalSec="60">)" + storage +
           "</Storage>" + rest + "</zDVR>";
}

std::string Disk(const std::string& name, const std::string& serial, const std::string& rest = {})
{
    return R"(<Disk Name=")" + name + R"(" Model="M1" SerialNumber=")" + serial +
           R"(" NonRaidPort="3" Attached="1">)" + rest + "</Disk>";
}

std::vector<ChangeKind> Kinds(const std::vector<PictureChange>& changes)
{
    std::vector<ChangeKind> kinds;
    kinds.reserve(changes.size());
    for (const PictureChange& change : changes)
    {
        kinds.push_back(change.kind);
    }
    return kinds;
}

class PictureMerge : public testing::Test
{
protected:
    std::vector<PictureChange> Config(const std::string& text)
    {
        return MergeDocument(m_picture, DocumentKind::Config, text);
    }
    std::vector<PictureChange> Status(const std::string& elements)
    {
        return MergeDocument(m_picture, DocumentKind::Status,
                             R"(<?xml ?><zDVR><Storage ID="3604480">)" + elements + "</Storage></zDVR>");
    }

    Picture m_picture;
};

TEST_F(PictureMerge, ReadsAConfigurationDocument)
{
    const std::string attributes =
        R"(<Drives><Drive Name="/mnt/a"/></Drives><Attributes><Attribute Id="194" CurrentValue="35" RawValue="35"/>)"
        R"(<Attribute Id="5" CurrentValue="100" ThresholdValue="10"/></Attributes>)"
        R"(<Thresholds><Threshold Id="194" Min="5" Max="55"/></Thresholds>)";
    Config(Document(
        Disk("/dev/sda", "S1", attributes) + R"(<SelfTestSchedule SelfTest="0" Start="3600" Days="126"/>)",
        R"(<Watchdogs ID="3604480"><Watchdog Source="chip" Enabled="1" Timeout="40"/></Watchdogs>)"
        R"(<Sensors ID="3604480" Status="0"><Voltage ID="1000" Label="Vcore" Value="1012" Max="1500"/></Sensors>)"
        R"(<SystemInfo ID="3604480"><Motherboard Vendor="V" Model="B"/></SystemInfo>)"));
    ASSERT_EQ(m_picture.disks.size(), 1U);
    const DiskPicture& disk = m_picture.disks[0];
    EXPECT_EQ(disk.bay, 3);
    EXPECT_EQ(disk.Temperature(), 35);
    EXPECT_EQ(disk.attributes.at(5).threshold, 10);
    EXPECT_EQ(disk.range.value().max, 55);
    EXPECT_THAT(disk.drives, ElementsAre("/mnt/a"));
    EXPECT_EQ(m_picture.settings.refreshIntervalSec, 60);
    EXPECT_EQ(m_picture.settings.schedule.at(0).days, 126);
    EXPECT_EQ(m_picture.settings.watchdog.value().timeoutSec, 40);
    EXPECT_EQ(m_picture.sensors.at(0).kind, "Voltage");
    EXPECT_EQ(m_picture.system.board, "V B");

    // The next one replaces each section that it has; the sections it lacks stay.
    Config(Document(""));
    EXPECT_THAT(m_picture.disks, IsEmpty());
    EXPECT_THAT(m_picture.settings.schedule, IsEmpty());
    EXPECT_EQ(m_picture.sensors.size(), 1U);
}

TEST_F(PictureMerge, AlarmsComeAndGoWithStatusDocuments)
{
    Config(Document(Disk("/dev/sda", "S1")));
    EXPECT_THAT(Status(R"(<Disk Name="/dev/sda" Message="Healthy" Time="10" Milliseconds="0" Alarm="0"/>)"),
                IsEmpty());
    EXPECT_EQ(m_picture.disks[0].health.sinceSec, 10);
    const auto raised = Status(R"(<Disk Name="/dev/sda" Message="threshold exceeded" Time="20" Alarm="1">)"
                               R"(<Attribute Id="194" CurrentValue="58" RawValue="58"/></Disk>)");
    ASSERT_THAT(Kinds(raised), ElementsAre(ChangeKind::AlarmRaised));
    EXPECT_EQ(raised[0].text, "threshold exceeded");
    EXPECT_EQ(raised[0].utcSec, 20);
    EXPECT_EQ(m_picture.disks[0].Temperature(), 58);
    EXPECT_EQ(m_picture.AlarmCount(), 1U);

    // Another text, no word on the alarm: it stands since 20.
    EXPECT_THAT(Kinds(Status(R"(<Disk Name="/dev/sda" Message="Offline"/>)")),
                ElementsAre(ChangeKind::AlarmText));
    // A value alone leaves message and alarm as they are.
    EXPECT_THAT(Status(R"(<Disk Name="/dev/sda"><Attribute Id="194" CurrentValue="40"/></Disk>)"), IsEmpty());
    EXPECT_EQ(m_picture.disks[0].health.message, "Offline");
    EXPECT_EQ(m_picture.disks[0].health.sinceSec, 20);
    EXPECT_THAT(Kinds(Status(R"(<Disk Name="/dev/sda" Message="Healthy" Time="30" Alarm="0"/>)")),
                ElementsAre(ChangeKind::AlarmCleared));
    EXPECT_EQ(m_picture.disks[0].health.sinceSec, 30);
}

TEST_F(PictureMerge, ADriveKeepsItsStateUnderAnotherName)
{
    Config(Document(Disk("/dev/sda", "S1") + Disk("/dev/sdb", "S2")));
    Status(R"(<Disk Name="/dev/sdb" Message="SMART health flag" Time="5" Alarm="1" PrepStatus="1"/>)");
    // S2 has moved to /dev/sda, S1 is gone, S3 sits at /dev/sdb: S3 must not inherit the alarm.
    const auto changes = Config(Document(Disk("/dev/sda", "S2") + Disk("/dev/sdb", "S3")));
    EXPECT_THAT(Kinds(changes), ElementsAre(ChangeKind::DiskGone, ChangeKind::DiskAdded));
    EXPECT_TRUE(m_picture.disks[0].health.alarm);
    EXPECT_EQ(m_picture.disks[0].prepStatus, 1);
    EXPECT_FALSE(m_picture.disks[1].health.alarm);
    EXPECT_FALSE(m_picture.disks[1].hasStatus);
}

TEST_F(PictureMerge, JobsAndVolumesAreFollowed)
{
    Config(Document(Disk("/dev/sda", "S1") +
                    R"(<Controller Name="/c0" Model="R"/><Volume Name="DATA" Type="RAID5" Size="9" )"
                    R"(SupportsPrep="4"/>)"));
    EXPECT_EQ(m_picture.FindVolume("DATA")->prepStatus, 4);
    EXPECT_THAT(
        Kinds(Status(
            R"(<Disk Name="/dev/sda" Message="Healthy" SelfTestStatus="1" SelfTestTime="7" Percent="30"/>)")),
        ElementsAre(ChangeKind::SelfTest));
    EXPECT_THAT(Status(R"(<Disk Name="/dev/sda" SelfTestStatus="1" Percent="40"/>)"), IsEmpty())
        << "only further on";
    EXPECT_EQ(m_picture.disks[0].selfTestPercent, 40);
    EXPECT_THAT(Kinds(Status(R"(<Volume Name="/c0/v1" OldName="DATA" PrepStatus="2"/>)")),
                ElementsAre(ChangeKind::Prep));
    ASSERT_EQ(m_picture.volumes.size(), 1U) << "the array took the candidate's place";
    EXPECT_THAT(
        Kinds(Status(
            R"(<Volume Name="/c0/v1" Message="Dgrd" Alarm="1" Time="3"/><Controller Name="/c0" Alarm="0"/>)")),
        ElementsAre(ChangeKind::AlarmRaised));
}

TEST_F(PictureMerge, ForeignAndUnknownElementsAreLeftOut)
{
    EXPECT_THAT(MergeDocument(m_picture, DocumentKind::Status,
                              R"(<zDVR><Storage ID="1"><Disk Name="x" Alarm="1"/></Storage><Other/></zDVR>)"),
                IsEmpty());
    EXPECT_THAT(m_picture.disks, IsEmpty());
    EXPECT_EQ(m_picture.documents.rejected, 0U);
}

TEST_F(PictureMerge, OddBytesInANameDoNotSwallowWhatFollows)
{
    Config(Document(Disk("/dev/sd\xC3", "S\xFF") + Disk("/dev/sdb", "S2")));
    ASSERT_EQ(m_picture.disks.size(), 2U);
    EXPECT_EQ(m_picture.disks[0].name, "/dev/sd\xC3");
}

TEST_F(PictureMerge, KeepsItsBounds)
{
    std::string disks;
    for (int i = 0; i < 600; ++i)
    {
        disks += Disk("d" + std::to_string(i), "s" + std::to_string(i));
    }
    Config(Document(disks + R"(<Disk Name=")" + std::string(5000, 'n') + R"("/>)"));
    EXPECT_EQ(m_picture.disks.size(), kMaxDisks);
    Status(R"(<Disk Name="one more" Alarm="1"/><Disk Name="d0" Message=")" + std::string(5000, 'm') +
           R"("/>)");
    EXPECT_EQ(m_picture.disks.size(), kMaxDisks);
    EXPECT_EQ(m_picture.disks[0].health.message.size(), kMaxText);
}

TEST_F(PictureMerge, RejectsWhatItCannotReadAndChangesNothing)
{
    std::string nested = R"(<zDVR Delta="0">)";
    for (int i = 0; i < 100000; ++i)
    {
        nested += "<a>";
    }
    std::size_t rejected = 0;
    for (const std::string& text :
         {std::string(), std::string(R"(<zDVR Delta="0"><Storage ID=)"), std::string("<a/>"),
          std::string(R"(<zDVR Delta="1"><Storage ID="3604480"/></zDVR>)"), nested})
    {
        EXPECT_THAT(Config(text), IsEmpty());
        EXPECT_EQ(m_picture.documents.rejected, ++rejected) << text.substr(0, 50);
    }
    EXPECT_EQ(m_picture.documents.config, 0U);
}
} // namespace
