#include "storage/DrivePrep.h"

#include "frame/Ipc.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/Cases.h"
#include "tests/support/KernelWait.h"

#include <array>
#include <cerrno>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const CFakeHost::Arguments kScript{"scripts/driveprep.sh", "prep", "S1"};

std::string StatusDocument(int status)
{
    return R"(<?xml ?><zDVR><Storage ID="3604480"><Disk Name="/dev/sdb" PrepStatus=")" +
           std::to_string(status) + R"(" /></Storage></zDVR>)";
}

std::vector<std::string> StatusDocuments(const CFakeHost& host)
{
    auto texts = DocumentTexts(host, MessageCategory::StatusDocument);
    EXPECT_EQ(texts.size(), host.Documents().size()) << "another kind";
    return texts;
}

class DrivePrep : public testing::Test
{
protected:
    DrivePrep()
    {
        m_disk.m_serialNumber = "S1";
        m_disk.m_prepStatus = PrepStatus::NeedsPrep;
    }

    CFakeHost m_host;
    CDisk m_disk{"/dev/sdb"};
};

TEST_F(DrivePrep, MarksTheDisksThatHaveAReason)
{
    const auto needing = std::make_shared<CDisk>("/dev/sdb");
    needing->m_serialNumber = "S1";
    needing->m_prepStatus = PrepStatus::ErrorFormatting;
    const auto without = std::make_shared<CDisk>("/dev/sdc");
    without->m_serialNumber = "S2";
    without->m_prepStatus = PrepStatus::PrepComplete;
    without->m_supportsPrep = true;
    const auto emptyReason = std::make_shared<CDisk>("/dev/sdd");
    FindDrivesNeedingPrep({needing, without, emptyReason},
                          {{"S1", "FS type [] mountpt [] numparts [0]"}, {"", ""}});
    EXPECT_THAT(
        LevelAndText(m_host),
        ElementsAre("50 DRIVEPREP: S1 (device /dev/sdb) needs prep (FS type [] mountpt [] numparts [0]).",
                    "25 DRIVEPREP: S2 (device /dev/sdc) DOES NOT need prep.",
                    "25 DRIVEPREP:  (device /dev/sdd) DOES NOT need prep."));
    EXPECT_TRUE(needing->m_supportsPrep);
    EXPECT_EQ(needing->m_prepStatus, PrepStatus::NeedsPrep);
    EXPECT_TRUE(without->m_supportsPrep);
    EXPECT_EQ(without->m_prepStatus, PrepStatus::PrepComplete);
    EXPECT_FALSE(emptyReason->m_supportsPrep);
}

TEST_F(DrivePrep, StartsInEveryStateButIdleAndDone)
{
    m_host.OnProgram(kScript, {});
    for (int status = -4; status <= 3; ++status)
    {
        const bool starts = status != 0 && status != 3;
        m_host.Forget();
        m_disk.m_prepStatus = static_cast<PrepStatus>(status);
        StartDrivePrep(m_disk);
        EXPECT_EQ(m_host.Programs().size(), starts ? 1U : 0U) << status;
        EXPECT_EQ(m_disk.m_prepStatus, starts ? PrepStatus::Prepping : static_cast<PrepStatus>(status));
    }
}

struct EndCase
{
    const char* name;
    const char* output;
    int exitCode;
    int signal;
    int status;
    const char* line; // before the disk's name
};

constexpr auto kEndCases = std::to_array<EndCase>({
    {"Done", "no format\n", 0, 0, 3, "25 DRIVEPREP: completed"},
    {"Mount", "partition ok\nformat ok\nmount: no\n", 1, 0, -1, "50 DRIVEPREP: error 1"},
    {"Format", "partition ok\nreformatting\n", 2, 0, -2, "50 DRIVEPREP: error 2"},
    {"Partition", "partition", 255, 0, -3, "50 DRIVEPREP: error 255"},
    {"OtherAndErrorOutputDoesNotCount", "Mount FORMAT", 1, 0, -4, "50 DRIVEPREP: error 1"},
    {"KilledWhileFormatting", "format", 0, 9, -2, "50 DRIVEPREP: error 2304"},
});

using DrivePrepEnd = WithCases<DrivePrep, EndCase>;

TEST_P(DrivePrepEnd, IsReported)
{
    m_host.OnProgram(kScript, {.output = GetParam().output,
                               .errorOutput = "mount",
                               .exitCode = GetParam().exitCode,
                               .signal = GetParam().signal});
    StartDrivePrep(m_disk);
    EXPECT_THAT(m_host.LogTexts(25), ElementsAre("DRIVEPREP: starting on disk [/dev/sdb] serial [S1]"));
    EXPECT_THAT(StatusDocuments(m_host), ElementsAre(StatusDocument(2)));
    EXPECT_THAT(m_host.Programs(), ElementsAre(kScript));
    if (GetParam().status != 3)
    {
        // The label makes the start wait for the end, and the failure is logged under it.
        EXPECT_THAT(m_host.LogTexts(50), ElementsAre(HasSubstr(" on 'start disk prep'")));
    }

    m_host.Forget();
    EXPECT_EQ(CheckDrivePrep(m_disk), GetParam().status == 3);
    EXPECT_EQ(static_cast<int>(m_disk.m_prepStatus), GetParam().status);
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre(GetParam().line + std::string(" on disk [/dev/sdb] serial [S1]")));
    EXPECT_THAT(StatusDocuments(m_host), ElementsAre(StatusDocument(GetParam().status)));

    m_host.Forget();
    EXPECT_FALSE(CheckDrivePrep(m_disk)) << "an end is reported once";
    EXPECT_THAT(LevelAndText(m_host), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(Cases, DrivePrepEnd, testing::ValuesIn(kEndCases), kByName);

TEST_F(DrivePrep, ScriptThatDoesNotStartLeavesTheDiskBusyWithoutAJob)
{
    m_host.OnProgram(kScript, {.startError = EACCES});
    StartDrivePrep(m_disk);
    EXPECT_EQ(m_disk.m_prepJob, nullptr);
    EXPECT_EQ(m_disk.m_prepStatus, PrepStatus::Prepping);
    EXPECT_FALSE(CheckDrivePrep(m_disk));
    EXPECT_THAT(StatusDocuments(m_host), ElementsAre(StatusDocument(2)));
}

TEST_F(DrivePrep, RunningScriptIsLeftAlone)
{
    m_host.OnProgram(kScript, {.hang = true});
    m_disk.m_prepJob = tq::ipc::RunCommand(kScript[0].c_str(), {"prep", "S1"}, nullptr);
    EXPECT_FALSE(CheckDrivePrep(m_disk));
    EXPECT_NE(m_disk.m_prepJob, nullptr);
    EXPECT_THAT(m_host.Documents(), IsEmpty());
}
} // namespace
