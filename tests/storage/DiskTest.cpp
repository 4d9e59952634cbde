#include "storage/Disk.h"

#include "storage/DiskMerge.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/Cases.h"

#include <array>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;

std::string Print(const CDisk& disk)
{
    return Print(disk.CreateXmlElement().get());
}

TEST(DiskElement, OfAPlainDisk)
{
    CDisk disk("/dev/sdb");
    disk.m_capacity = 4'000'000'000U;
    disk.m_linkSpeed = 1.5;
    disk.m_hotSpare = HotSpareType::GlobalUnstated;
    disk.m_canConfigureHotSpare = true;
    disk.m_selfTestSupport = false;
    disk.m_missedScans = 1;
    disk.m_port = 3;
    disk.m_volumeIndex = 2; // means nothing on a plain disk
    disk.m_supportsPrep = true;
    disk.m_drives = {"/mnt/b", "/mnt/a"};
    disk.m_userRange = ThresholdRange{.min = -10, .max = 45};
    disk.UpdateAttribute({.id = 194, .flag = 34, .currentValue = 30});
    disk.UpdateAttribute({.id = 9, .currentValue = 254});
    disk.UpdateAttribute({.id = 5,
                          .flag = 51,
                          .currentValue = 1,
                          .worstValue = 2,
                          .thresholdValue = 0xFFFFFFFF,
                          .rawValue = 0x80000000});
    EXPECT_EQ(
        Print(disk),
        R"(<Disk Name="/dev/sdb" Model="" SerialNumber="" FirmwareVersion="" DriverVersion="" )"
        R"(Capacity="-294967296" SmartAvailable="1" SmartEnabled="1" ControllerName="" UnitName="" OtherName="" )"
        R"(Speed="-1" LinkSpeed="1.500000" Hotspare="1" CanConfigureHotSpare="1" SelfTestSupport="0" )"
        R"(Attached="0" NonRaidPort="3" SupportsPrep="1">)"
        R"(<Drives><Drive Name="/mnt/a" /><Drive Name="/mnt/b" /></Drives><Attributes>)" +
            AttributeXml(
                R"(Id="5" Flag="51" CurrentValue="1" WorstValue="2" RawValue="-2147483648" ThresholdValue="-1")",
                R"( Threshold="0" MinThreshold="-1" MaxThreshold="-1")") +
            AttributeXml(
                R"(Id="194" Flag="34" CurrentValue="30" WorstValue="0" RawValue="0" ThresholdValue="0")",
                R"( Threshold="1" MinThreshold="-10" MaxThreshold="45")") +
            R"(</Attributes><Thresholds><Threshold Id="194" Min="-10" Max="45" /></Thresholds></Disk>)");
}

TEST(DiskElement, OfADiskBehindAController)
{
    CDisk disk("/c0/e252/s1");
    const auto controller = std::make_shared<CFakeDiskController>(disk.m_name);
    disk.m_controller = controller;
    disk.m_port = 2;
    disk.m_missedScans = 2;
    EXPECT_THAT(Print(disk), HasSubstr(R"( Attached="1" RaidPort="2" DID="" SupportsPrep=)"));
    disk.m_volumeIndex = 0;
    controller->did = "17";
    EXPECT_THAT(Print(disk),
                HasSubstr(R"( Attached="1" RaidPort="2" VolumeIndex="0" DID="17" SupportsPrep=)"));
    disk.m_controller = nullptr;
    for (std::string CDisk::*const name : {&CDisk::m_controllerName, &CDisk::m_unitName, &CDisk::m_otherName})
    {
        disk.*name = "x";
        EXPECT_THAT(Print(disk), HasSubstr(R"( Attached="1" RaidPort="2" VolumeIndex="0" SupportsPrep=)"));
        (disk.*name).clear();
    }
    EXPECT_THAT(Print(disk), HasSubstr(R"( Attached="0" NonRaidPort="2" SupportsPrep=)"));
}

TEST(DiskElement, LeavesOutAttributesWithoutAReading)
{
    for (const auto& [id, current, printed] : {std::tuple(0U, 100U, false),
                                               {1U, 253U, true},
                                               {1U, 254U, false},
                                               {1U, 255U, false},
                                               {1U, 256U, true}})
    {
        EXPECT_EQ(CDisk::CreateAttributeElement({.id = id, .currentValue = current}) != nullptr, printed)
            << id << " " << current;
    }
    CDisk disk("/dev/sda");
    disk.UpdateAttribute({.id = 9, .currentValue = 254});
    EXPECT_THAT(Print(disk), testing::EndsWith(R"( SupportsPrep="0"><Attributes /></Disk>)"));
}

TEST(DiskThresholds, AreReadFromTheElement)
{
    constexpr ThresholdRange kBefore{.min = 1, .max = 2};
    for (const auto& [children, changed, range] :
         {std::tuple(R"(<Thresholds><Threshold Id="194" Min="10" Max="45"/></Thresholds>)", true,
                     ThresholdRange{10, 45}),
          {R"(<Thresholds><Threshold Id="194" Min="1" Max="2"/></Thresholds>)", false, kBefore},
          {R"(<Thresholds><Threshold Id="194" Min="1" Max="3"/></Thresholds>)", true, {1, 3}},
          {R"(<Thresholds><Threshold Id="194" Min="-1" Max="-5"/></Thresholds>)", true, {-1, -5}},
          {R"(<Thresholds><Threshold Id="190" Min="10" Max="45"/></Thresholds>)", false, kBefore},
          {R"(<Thresholds><Threshold Id="194" Max="45"/></Thresholds>)", false, kBefore},
          {R"(<Thresholds><Threshold Id="194" Min="10" Max="x"/></Thresholds>)", false, kBefore},
          {R"(<Thresholds><Threshold Min="10" Max="45"/></Thresholds>)", false, kBefore},
          {R"(<Threshold Id="194" Min="10" Max="45"/>)", false, kBefore},
          {R"(<Thresholds><Threshold Id="190"/><Threshold Id="194" Min="7" Max="8"/></Thresholds>)",
           true,
           {7, 8}},
          // The last of several counts, and one that changes nothing does not hide an earlier change.
          {R"(<Thresholds><Threshold Id="194" Min="7" Max="8"/></Thresholds><Thresholds/>
            <Thresholds><Threshold Id="194" Min="9" Max="9"/><Threshold Id="194" Min="9" Max="9"/></Thresholds>)",
           true,
           {9, 9}}})
    {
        CXmlDocument document;
        ASSERT_TRUE(document.Parse("<Disk>" + std::string(children) + "</Disk>"));
        CDisk disk("/dev/sda");
        disk.m_userRange = kBefore;
        EXPECT_EQ(disk.ReadThresholds(*document.Root()), changed) << children;
        EXPECT_EQ(disk.m_userRange, range) << children;
    }
}

TEST(DiskThresholds, DefaultOnlyFillsAnEmptyPlace)
{
    CDisk disk("/dev/sda");
    EXPECT_TRUE(disk.SetUserRange(std::nullopt));
    EXPECT_EQ(disk.m_userRange, (ThresholdRange{.min = 5, .max = 55}));
    EXPECT_FALSE(disk.SetUserRange(ThresholdRange{.min = 5, .max = 55}));
    EXPECT_TRUE(disk.SetUserRange(ThresholdRange{.min = 5, .max = 75}));
    EXPECT_FALSE(disk.SetUserRange(std::nullopt));
    EXPECT_EQ(disk.m_userRange->max, 75);
}

struct Identity
{
    const char* name;
    const char* serial = "";
    const char* otherName = "";
    const char* unitName = "";
    std::int32_t port = -1;
};

std::shared_ptr<CDisk> MakeDisk(const Identity& identity, DiskSource source = DiskSource::Smartctl)
{
    auto disk = std::make_shared<CDisk>(identity.name);
    disk->m_serialNumber = identity.serial;
    disk->m_otherName = identity.otherName;
    disk->m_unitName = identity.unitName;
    disk->m_port = identity.port;
    disk->m_source = source;
    return disk;
}

struct MatchCase
{
    const char* name;
    Identity known;
    Identity scanned;
    bool matches;
    const char* status = "before";
};

constexpr auto kMatchCases = std::to_array<MatchCase>({
    {"NameTakesOverTheStatus", {"/dev/sda", "A"}, {"/dev/sda", "B"}, true, "scanned"},
    {"Serial", {"/dev/sda", "A"}, {"/dev/sdb", "A"}, true},
    {"TwoEmptySerials", {"/dev/sda"}, {"/dev/sdb"}, true},
    {"OtherName", {"/dev/sda", "A", "/c0/e1/s1"}, {"/dev/sdb", "B", "/c0/e1/s1", "", 4}, true},
    {"EmptyOtherNames", {"/dev/sda", "A"}, {"/dev/sdb", "B"}, false},
    {"PortOfAnAttachedDisk", {"1", "A", "", "U", 3}, {"2", "B", "", "", 3}, true},
    {"OtherPortOfAnAttachedDisk", {"1", "A", "", "U", 3}, {"2", "B", "", "U", 4}, false},
    {"NoPortsOfAnAttachedDisk", {"1", "A", "", "U"}, {"2", "B"}, true},
    {"PortOfAPlainDisk", {"1", "A", "", "", 3}, {"2", "B", "", "U", 3}, false},
});

using DiskMatch = testing::TestWithParam<MatchCase>;

TEST_P(DiskMatch, Row)
{
    const auto known = MakeDisk(GetParam().known);
    const auto scanned = MakeDisk(GetParam().scanned);
    known->m_status = "before";
    scanned->m_status = "scanned";
    EXPECT_EQ(known->Matches(*scanned), GetParam().matches);
    EXPECT_EQ(known->m_status, GetParam().status);
}
INSTANTIATE_TEST_SUITE_P(Cases, DiskMatch, testing::ValuesIn(kMatchCases), kByName);

TEST(DiskUpdate, OnlyTheCreatingPathUpdates)
{
    using enum DiskSource;
    for (const auto& [own, scannedSource, taken] : {std::tuple(Config, Controller, true),
                                                    {Config, Smartctl, true},
                                                    {Controller, Controller, true},
                                                    {Smartctl, Smartctl, true},
                                                    {Controller, Smartctl, false},
                                                    {Smartctl, Controller, false},
                                                    {Unset, Smartctl, false}})
    {
        const auto disk = MakeDisk({"/dev/sda", "A"}, own);
        disk->UpdateFrom(*MakeDisk({"/dev/sdb", "B", "O"}, scannedSource));
        EXPECT_EQ(disk->m_name + disk->m_serialNumber + disk->m_otherName,
                  taken ? "/dev/sdbBO" : "/dev/sdaA");
        EXPECT_EQ(disk->m_source, taken ? scannedSource : own);
    }
}

TEST(DiskUpdate, TakesWhatTheScanFound)
{
    CDisk disk("/dev/sda");
    disk.m_source = DiskSource::Config;
    disk.m_serialNumber = " own ";
    disk.m_port = 9;
    disk.m_userRange = ThresholdRange{.min = 1, .max = 2};

    CDisk scanned("/c0/e1/s1");
    const auto controller = std::make_shared<CFakeDiskController>(scanned.m_name);
    controller->did = "8";
    scanned.m_source = DiskSource::Controller;
    scanned.m_model = "M";
    scanned.m_firmwareVersion = "F";
    scanned.m_driverVersion = "D";
    scanned.m_serialNumber = "  S 1 ";
    scanned.m_capacity = 0;
    scanned.m_selfTestSupport = false;
    scanned.m_controllerName = "/c0";
    scanned.m_controller = controller;
    scanned.m_unitName = "U";
    scanned.m_otherName = "O";
    scanned.m_speed = 10;
    scanned.m_linkSpeed = 6;
    scanned.m_status = "Onln";
    scanned.m_port = 2;
    scanned.m_volumeIndex = 1;
    scanned.m_hotSpare = HotSpareType::Dedicated;
    disk.UpdateFrom(scanned);
    EXPECT_EQ(
        Print(disk),
        R"(<Disk Name="/c0/e1/s1" Model="M" SerialNumber="S 1" FirmwareVersion="F" DriverVersion="D" )"
        R"(Capacity="0" SmartAvailable="1" SmartEnabled="1" ControllerName="/c0" UnitName="U" OtherName="O" )"
        R"(Speed="10" LinkSpeed="6.000000" Hotspare="1" CanConfigureHotSpare="0" SelfTestSupport="0" )"
        R"(Attached="1" RaidPort="2" VolumeIndex="1" DID="8" SupportsPrep="0">)"
        R"(<Thresholds><Threshold Id="194" Min="1" Max="2" /></Thresholds></Disk>)");
    EXPECT_EQ(disk.m_status, "Onln");
    EXPECT_EQ(disk.m_source, DiskSource::Controller);
    EXPECT_EQ(disk.m_hotSpare, HotSpareType::Dedicated);

    // An empty record keeps the identity and the capacity, and clears what is taken unconditionally.
    CDisk empty("");
    empty.m_source = DiskSource::Controller;
    disk.m_serialNumber = " S 1 ";
    disk.UpdateFrom(empty);
    EXPECT_EQ(
        Print(disk),
        R"(<Disk Name="/c0/e1/s1" Model="M" SerialNumber="S 1" FirmwareVersion="F" DriverVersion="D" )"
        R"(Capacity="0" SmartAvailable="1" SmartEnabled="1" ControllerName="" UnitName="" OtherName="" )"
        R"(Speed="-1" LinkSpeed="-1.000000" Hotspare="0" CanConfigureHotSpare="0" SelfTestSupport="1" )"
        R"(Attached="1" NonRaidPort="-1" SupportsPrep="0">)"
        R"(<Thresholds><Threshold Id="194" Min="1" Max="2" /></Thresholds></Disk>)");
    EXPECT_EQ(disk.m_status, "");
}

// Quick scans do not know whether a drive can test itself; the full scan's answer has to survive them.
TEST(DiskUpdate, SmartctlDiskKeepsItsSelfTestSupport)
{
    const auto disk = MakeDisk({"/dev/nvme0"}, DiskSource::Smartctl);
    disk->m_selfTestSupport = false;
    disk->UpdateFrom(*MakeDisk({"/dev/nvme0"}));
    EXPECT_FALSE(disk->m_selfTestSupport);
}

TEST(DiskMerge, CountsNewReturningAndRenamedDisks)
{
    DiskList known;
    const auto merge = [&known](const char* name, const char* serial) {
        return MergeDisks({MakeDisk({name, serial})}, known);
    };
    EXPECT_EQ(merge("/dev/sda", "A"), 1);
    EXPECT_EQ(merge("/dev/sda", "A"), 0);

    for (const int missed : {1, 2, 2})
    {
        EXPECT_EQ(MergeDisks({}, known), 0);
        EXPECT_EQ(known[0]->m_missedScans, missed);
    }
    EXPECT_EQ(merge("/dev/sda", "A"), 1) << "returned";
    EXPECT_EQ(known[0]->m_missedScans, 0);
    EXPECT_EQ(merge("/dev/sda", "A"), 0);

    MergeDisks({}, known);
    EXPECT_EQ(merge("/dev/sda", "A"), 1) << "returned after a single miss";
    EXPECT_EQ(merge("/dev/sdb", "A"), 1) << "renamed";
    EXPECT_EQ(known[0]->m_name, "/dev/sdb");
    MergeDisks({}, known);
    EXPECT_EQ(merge("/dev/sdc", "A"), 2) << "returned and renamed";
    EXPECT_EQ(known.size(), 1U);
}

TEST(DiskMerge, EachKnownDiskIsFoundOnceInTheirOrder)
{
    // Without serial numbers every disk matches every other one.
    DiskList known;
    EXPECT_EQ(MergeDisks({MakeDisk({"/dev/sda"}), MakeDisk({"/dev/sdb"})}, known), 2);
    EXPECT_EQ(MergeDisks({MakeDisk({"/dev/sdx"}), MakeDisk({"/dev/sdy"}), MakeDisk({"/dev/sdz"})}, known), 3);
    ASSERT_EQ(known.size(), 3U);
    EXPECT_EQ(known[0]->m_name + known[1]->m_name + known[2]->m_name, "/dev/sdx/dev/sdy/dev/sdz");
}

// The scan list is itself the result of a merge, in which one of the disks may have found no match.
TEST(DiskMerge, NewDiskIsPresentWhateverItsListSays)
{
    DiskList known;
    const auto scanned = MakeDisk({"/c0/s1", "A"}, DiskSource::Controller);
    scanned->m_missedScans = 1;
    EXPECT_EQ(MergeDisks({scanned}, known), 1);
    EXPECT_THAT(known, ElementsAre(scanned));
    EXPECT_TRUE(scanned->IsPresent());
}

TEST(DiskMerge, DiskOfTheOtherPathIsPresentButUnchanged)
{
    DiskList known{MakeDisk({"/c0/s1", "A"}, DiskSource::Controller), MakeDisk({"/c0/s2", "B"})};
    EXPECT_EQ(MergeDisks({MakeDisk({"/dev/sda", "A", "", "", 5})}, known), 1);
    EXPECT_EQ(known[0]->m_name, "/c0/s1");
    EXPECT_EQ(known[0]->m_port, -1);
    EXPECT_TRUE(known[0]->IsPresent());
    EXPECT_FALSE(known[1]->IsPresent());
}

TEST(DiskHotSpare, CapabilityFollowsTheUnits)
{
    using enum HotSpareType;
    for (const auto& [raid56, raid1, type, unit, can, error] : {std::tuple(true, false, None, "", true, 1U),
                                                                {true, true, None, "U", false, 1},
                                                                {true, false, Global, "U", true, 1},
                                                                {true, true, Global, "", true, 3},
                                                                {true, true, GlobalUnstated, "", true, 3},
                                                                {true, true, Dedicated, "", true, 1},
                                                                {false, true, Global, "", false, 1}})
    {
        CDisk disk("d");
        const auto controller = std::make_shared<CFakeDiskController>("d");
        controller->hasRaid56 = raid56;
        controller->hasRaid1 = raid1;
        disk.m_controller = controller;
        disk.m_hotSpare = type;
        disk.m_unitName = unit;
        disk.m_hotSpareError = 1;
        disk.m_canConfigureHotSpare = !can;
        disk.UpdateHotSpareCapability();
        EXPECT_EQ(disk.m_canConfigureHotSpare, can) << raid56 << raid1 << static_cast<int>(type) << unit;
        EXPECT_EQ(disk.m_hotSpareError, error) << raid56 << raid1 << static_cast<int>(type) << unit;
    }
    const auto plain = std::make_shared<CDisk>("d");
    plain->m_canConfigureHotSpare = true;
    plain->UpdateHotSpareCapability();
    EXPECT_FALSE(plain->m_canConfigureHotSpare);
    EXPECT_EQ(plain->SetHotSpare(true), 0);
}

TEST(DiskUnit, BusyWhileItsControllerNamesATask)
{
    const CFakeHost host;
    CDisk disk("d");
    EXPECT_FALSE(disk.IsRaidBgRunning());
    const auto controller = std::make_shared<CFakeDiskController>("d");
    controller->unitName = "/c0/v1";
    disk.m_unitName = "/c0/v1";
    disk.m_controller = controller;
    EXPECT_FALSE(disk.IsRaidBgRunning());
    controller->taskText = "busy (Rebuild 7% complete)";
    EXPECT_TRUE(disk.IsRaidBgRunning());
    EXPECT_THAT(LevelAndText(host),
                ElementsAre("0 IsRaidBgRunning(): disk d in vol /c0/v1 busy - busy (Rebuild 7% complete)"));
}
} // namespace
