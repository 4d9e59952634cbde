#include "frame/Log.h"
#include "tests/hwmon/ChipRig.h"

#include <array>
#include <cerrno>

namespace
{
using Bytes = std::vector<std::uint8_t>;

class Detection : public ChipRig
{
protected:
    SuperIoInfo Detect(const FakeChipWiring& wiring)
    {
        m_ports = std::make_unique<CFakePorts>(wiring);
        return DetectSuperIo(*m_ports);
    }
};

TEST_F(Detection, EveryByteOfAFirstHit)
{
    const SuperIoInfo info = Detect({.rawId = 0xA023});
    EXPECT_EQ(m_ports->TakeBytes(), "+80,1 +2E,2 2E=87 80=87 2E=87 80=87 "             // enter
                                    "2E=20 80=20 2F?A0 80=A0 2E=21 80=21 2F?23 80=23 " // ID
                                    "2E=07 80=07 2F=0B 80=0B "                         // monitor device
                                    "2E=60 80=60 2F?02 80=02 2E=61 80=61 2F?90 80=90 " // base address
                                    "+295,2 2E=AA 80=AA");
    EXPECT_EQ(info.chipId, 0xA020U);
    EXPECT_EQ(info.configIndexPort, 0x2E);
    EXPECT_EQ(info.monitorIndexPort, 0x295);
    EXPECT_EQ(info.enterSequence, (Bytes{0x87, 0x87}));
    EXPECT_EQ(info.exitSequence, Bytes{0xAA});
    EXPECT_EQ(Logged(), "0 SENSORS: Did acquire general port [0x0080].\n"
                        "0 SENSORS: Did acquire EFIR port [0x002E].\n"
                        "0 SENSORS: Did acquire HWmgmt port [0x0295].\n"
                        "25 SENSORS: Detected super I/O chip ID [0xA020] efir [0x002E] hwmir [0x0295]");
}

TEST_F(Detection, SecondPortSecondMethod)
{
    FakeChipWiring wiring = WiringOf(Chip::It8728);
    wiring.configIndex = 0x4E;
    const SuperIoInfo info = Detect(wiring);
    EXPECT_EQ(info.chipId, 0x8728U);
    EXPECT_EQ(info.configIndexPort, 0x4E);
    EXPECT_EQ(info.enterSequence, (Bytes{0x87, 0x01, 0x55, 0x55}));
    EXPECT_EQ(info.exitSequence, (Bytes{0x02, 0x02}));
    EXPECT_EQ(m_ports->Granted(), (std::set<int>{0x4E, 0x4F, 0x80, 0x295, 0x296}));
    EXPECT_EQ(Logged(), "0 SENSORS: Did acquire general port [0x0080].\n"
                        "0 SENSORS: Did acquire EFIR port [0x002E].\n"
                        "0 SENSORS: Read invalid chip ID [0xFFFF] from EFIR [0x002E]\n"
                        "0 SENSORS: Read invalid chip ID [0xFFFF] from EFIR [0x002E]\n"
                        "0 SENSORS: Did release EFIR port [0x002E].\n"
                        "0 SENSORS: Did acquire EFIR port [0x004E].\n"
                        "0 SENSORS: Read invalid chip ID [0xFFFF] from EFIR [0x004E]\n"
                        "0 SENSORS: Did acquire HWmgmt port [0x0295].\n"
                        "25 SENSORS: Detected super I/O chip ID [0x8728] efir [0x004E] hwmir [0x0295]");
}

TEST_F(Detection, NothingFoundGivesEverythingBack)
{
    const SuperIoInfo info = Detect({.rawId = 0x872B});
    EXPECT_EQ(info.chipId, kNoChipId);
    EXPECT_EQ(info.configIndexPort, 0);
    EXPECT_TRUE(info.enterSequence.empty());
    EXPECT_TRUE(m_ports->Granted().empty());
    EXPECT_THAT(m_host.LogTexts(),
                testing::Contains("SENSORS: Read invalid chip ID [0x872B] from EFIR [0x002E]"));
    EXPECT_THAT(m_host.LogTexts(LogWarning),
                testing::ElementsAre("SENSORS: No supported super I/O detected."));
    EXPECT_EQ(CreateSuperIo("ACME", info, *m_ports, m_clock), nullptr);
}

TEST_F(Detection, RefusedPortsAreTold)
{
    m_ports = std::make_unique<CFakePorts>();
    m_ports->Refuse(0x80, EPERM);
    EXPECT_EQ(DetectSuperIo(*m_ports).chipId, kNoChipId);
    EXPECT_EQ(m_ports->TakeBytes(), "+80,1") << "the delay port is needed first";
    EXPECT_EQ(Logged(), "50 SENSORS: Can't acquire general port [0x0080] (error 1).");

    m_ports = std::make_unique<CFakePorts>(FakeChipWiring{.configIndex = 0x4E});
    m_ports->Refuse(0x2E, EINVAL);
    EXPECT_EQ(DetectSuperIo(*m_ports).configIndexPort, 0x4E);
    EXPECT_THAT(m_ports->TakeBytes(), testing::StartsWith("+80,1 +2E,2 +4E,2 4E=87"));
    EXPECT_THAT(Logged(), testing::HasSubstr("50 SENSORS: Can't acquire EFIR port [0x002E] (error 22)."));

    m_ports = std::make_unique<CFakePorts>();
    m_ports->Refuse(0x295, EPERM);
    EXPECT_EQ(DetectSuperIo(*m_ports).chipId, kNoChipId);
    EXPECT_TRUE(m_ports->Granted().empty());
    EXPECT_THAT(m_ports->TakeRegisters(), testing::StartsWith("enter C20? C21? C07=0B C60? C61? exit"));
    // No invalid ID; the one that is told comes from the other method.
    EXPECT_THAT(Logged(), testing::StartsWith("0 SENSORS: Did acquire general port [0x0080].\n"
                                              "0 SENSORS: Did acquire EFIR port [0x002E].\n"
                                              "50 SENSORS: Can't acquire HWmgmt port [0x0295] (error 1).\n"
                                              "0 SENSORS: Read invalid chip ID [0xFFFF] from EFIR [0x002E]\n"
                                              "0 SENSORS: Did release EFIR port [0x002E].\n"));
}

// Wiring, ID, vendor; ID without revision (kNoChipId: not supported), description.
constexpr auto kIdCases =
    std::to_array<std::tuple<const char*, Chip, std::uint16_t, const char*, std::uint32_t, const char*>>({
        {"Fintek", Chip::Fintek, 0x150F, "", 0x1500, "Fintek F81966/A"},
        {"It8612", Chip::It8612, 0x8612, "", 0x8610, "ITE Tech IT8612E EC-LPC I/O"},
        {"It8728Whole", Chip::It8728, 0x8728, "", 0x8728, "ITE Tech IT8728 EC-LPC I/O"},
        {"It8728OtherRevision", Chip::It8728, 0x8729, "", kNoChipId, ""},
        {"It8728Lower", Chip::It8728, 0x8727, "", kNoChipId, ""},
        {"It8772", Chip::It8772, 0x8772, "", 0x8770, "ITE Tech IT8772E EC-LPC I/O"},
        {"W83627", Chip::W83627, 0xA020, "", 0xA020, "Winbond LPC I/O W83627DHG"},
        {"W83677", Chip::W83677, 0xB470, "", 0xB470, "Nuvoton LPC I/O W83676HG-I / W83677HG"},
        {"Nct6776", Chip::Nct6776, 0xC334, "asrock", 0xC330, "Nuvoton LPC I/O NCT6776F / NCT6776D"},
        {"Nct5573", Chip::Nct6776, 0xC33F, "The ASRock Co", 0xC330, "NCT5573D Nuvoton LPC I/O"},
        {"Nct6791", Chip::Nct6791, 0xC803, "ASRock", 0xC800, "Nuvoton LPC I/O NCT6791D"},
        {"Nct5525", Chip::Nct5525, 0xD2B0, "", 0xD2B0, "Nuvoton NCT5525D"},
        {"BelowAnId", Chip::W83627, 0xA01F, "", kNoChipId, ""},
        {"AboveItsRevisions", Chip::W83627, 0xA030, "", kNoChipId, ""},
    });

TEST_F(Detection, IdsGiveAClass)
{
    for (const auto& [name, like, rawId, vendor, id, description] : kIdCases)
    {
        SCOPED_TRACE(name);
        FakeChipWiring wiring = WiringOf(like);
        wiring.rawId = rawId;
        const SuperIoInfo info = Detect(wiring);
        EXPECT_EQ(info.chipId, id);
        const auto chip = CreateSuperIo(vendor, info, *m_ports, m_clock);
        EXPECT_EQ(chip != nullptr ? chip->Description() : "", description);
    }
}
} // namespace
