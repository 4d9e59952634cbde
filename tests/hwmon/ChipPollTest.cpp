// Polls of the families that let the chip compare: order of the accesses, and what is kept between polls.
#include "tests/hwmon/ChipRig.h"

#include <utility>

namespace
{
using ChipPoll = ChipRig;

TEST_F(ChipPoll, W83627)
{
    Make(Chip::W83627);
    // Out of order: the groups have theirs.
    Monitor(SensorXml(3000, 500, 0) + SensorXml(2000, 5, 85) + SensorXml(1000, 800, 1500) +
            SensorXml(1007, 3000, 3500, "2") + SensorXml(1500, 0, 0));
    m_ports->Monitor(0x028) = 100;
    m_ports->Monitor(0x454) = 0x20;
    EXPECT_EQ(Poll(), "enter C07=0B B0 M20? B0 M2B=BB B0 M2C=64 B5 M50? B5 M54=DA B5 M55=BB exit "
                      "enter C07=0B B0 M27? B4 M54? B0 M39=35 B0 M3A=E5 exit "
                      "enter C07=0B B0 M28? B0 M5D? B0 M47? B0 M3B=8C exit "
                      "B4 M59? B4 M5A? B4 M5B?");
    EXPECT_EQ(Poll(), "enter C07=0B B0 M20? B5 M50? exit enter C07=0B B0 M27? B4 M54? exit "
                      "enter C07=0B B0 M28? B0 M5D? B0 M47? B0 M3B=8C exit B4 M59? B4 M5A? B4 M5B?")
        << "limits once, but a counting fan's each time";
}

TEST_F(ChipPoll, W83677)
{
    Make(Chip::W83677);
    Monitor(SensorXml(2001, 5, 85) + SensorXml(3003, 600, 0) + SensorXml(3004, 600, 0));
    m_ports->Monitor(0x507) = 0x02;
    EXPECT_EQ(Poll(), "enter C07=0B exit enter C07=0B B6 M22=02 B1 M50? B4 M55? B1 M55=55 B1 M53=05 exit "
                      "enter C07=0B B6 M5A? B6 M5B? B5 M07? B0 M3D=32 B6 M5C? B6 M5D? exit "
                      "B4 M59? B4 M5A? B4 M5B? B0 M41? B0 M42? B4 M50? B0 M45?");
    EXPECT_EQ(Poll(), "enter C07=0B exit enter C07=0B B6 M22=02 B1 M50? B4 M55? exit "
                      "enter C07=0B B6 M5A? B6 M5B? B6 M5C? B6 M5D? exit B4 M59? B4 M5A? B4 M5B?")
        << "nor is the initial status asked again";
}

TEST_F(ChipPoll, Nct6776)
{
    Make(Chip::Nct6776);
    Monitor(SensorXml(2003, 0, 70) + SensorXml(3000, 300, 0));
    EXPECT_EQ(Poll(), "enter C07=0B exit enter C07=0B B6 M24=0C B6 M2B? B6 M72=46 B6 M73=00 exit "
                      "enter C07=0B B6 M56? B6 M57? B6 M3A=8C B6 M3B=14 exit B4 M59? B4 M5A? B4 M5B?");
}

TEST_F(ChipPoll, It8728)
{
    Make(Chip::It8728);
    Monitor(SensorXml(3101, 300, 0) + SensorXml(2100, -3, 60) + SensorXml(1100, 600, 1200) +
            SensorXml(1107, 600, 1200));
    m_ports->Monitor(0x19) = 1;
    m_ports->Monitor(0x00) = 0x92;
    EXPECT_EQ(Poll(), "enter C07=04 M20? M30=64 M31=32 M28? exit enter C07=04 M29? M40=3C M41=FD exit "
                      "enter C07=04 M0E? M19? M11=CA M1C=08 exit "
                      "enter C07=04 M01? M02? M03? M00? M00=D3 exit");
    EXPECT_EQ(Poll(), "enter C07=04 M20? M28? exit enter C07=04 M29? M40=3C M41=FD exit "
                      "enter C07=04 M0E? M19? exit enter C07=04 M01? M02? M03? M00? M00=D3 exit");
}

// Register accesses of polls with every channel of the family wired, so that none comes in unnoticed.
TEST_F(ChipPoll, CountsOfAccessesAreTheChipsOwn)
{
    std::string sensors;
    for (const auto& [first, last] :
         {std::pair{1000, 1008}, {1100, 1107}, {2000, 2004}, {2100, 2103}, {3000, 3005}, {3100, 3102}})
    {
        for (int id = first; id <= last; ++id)
        {
            sensors += SensorXml(id, 100, 5000, "1", R"(Register="0x2A" Width="2")");
        }
    }
    // The first poll writes the limits.
    for (const auto& [chip, first, later] : {std::tuple(Chip::W83627, 133, 85),
                                             {Chip::W83677, 135, 67},
                                             {Chip::Nct6776, 149, 73},
                                             {Chip::It8772, 58, 38},
                                             {Chip::It8728, 60, 40},
                                             {Chip::It8612, 63, 43},
                                             {Chip::Nct6791, 112, 112},
                                             {Chip::Fintek, 73, 73},
                                             {Chip::Nct5525, 108, 108}})
    {
        Make(chip);
        Monitor(sensors);
        for (int reg = 0; reg < 0x700; ++reg)
        {
            const int index = reg & 0xFF;
            const bool isStatus = index == 0x41 || index == 0x42 || (reg >> 8) == 4;
            m_ports->Monitor(reg) = isStatus ? 0x00 : 0x21;
        }
        EXPECT_EQ(CountAccesses(Poll()), first) << std::hex << m_chipId;
        EXPECT_EQ(CountAccesses(Poll()), later) << std::hex << m_chipId;
    }
}

TEST_F(ChipPoll, ARestartProgramsTheLimitsAgain)
{
    Make(Chip::W83627);
    Monitor(SensorXml(1000, 800, 1500));
    const std::string first = Poll();
    m_chip->StopHwMonitoring();
    EXPECT_EQ(Elements(true), "");
    Monitor(SensorXml(1000, 800, 1500));
    EXPECT_EQ(Poll(), first);
}

// Exponents 0, 1, 3, 7: the new bits are ORed in. Count 0 and 255 both mean a divisor too small.
TEST_F(ChipPoll, AFanWithoutCountGetsALargerDivisor)
{
    Make(Chip::W83627);
    Monitor(SensorXml(3001, 0, 0));
    m_ports->Monitor(0x029) = 100;
    EXPECT_EQ(Value(3001), "13500");
    m_ports->Monitor(0x029) = 255;
    m_ports->Monitor(0x047) = 0x11;
    EXPECT_THAT(Poll(),
                testing::HasSubstr("B0 M29? B0 M5D? B0 M47? B0 M47? B0 M47=51 B0 M5D? B0 M5D=00 exit"));
    EXPECT_EQ(Value(3001), "13500"); // polls again: exponent 3
    EXPECT_EQ(m_ports->Monitor(0x047), 0xD1);
    m_ports->Monitor(0x029) = 0;
    Poll();
    EXPECT_EQ(m_ports->Monitor(0x047), 0xD1);
    EXPECT_EQ(m_ports->Monitor(0x05D), 0x40);
    EXPECT_THAT(Poll(), testing::HasSubstr("B0 M47=D1 B0 M5D? B0 M5D=40")) << "7 is the last";
    EXPECT_EQ(Value(3001), "13500");
}

TEST_F(ChipPoll, BothDivisorFieldsInOneRegister)
{
    Make(Chip::W83627);
    Monitor(SensorXml(3004, 0, 0));
    m_ports->Monitor(0x059) = 0x04; // exponent 1
    EXPECT_THAT(Poll(),
                testing::HasSubstr("B5 M53? B0 M59? B0 M59? B0 M59? B0 M59=0C B0 M59? B0 M59=0C exit"));
}

TEST_F(ChipPoll, W83677WaitsForItsFirstMeasurements)
{
    Make(Chip::W83677);
    Monitor(SensorXml(1000, 0, 0));
    m_ports->Monitor(0x020) = 0x7D;
    m_ports->Monitor(0x459) = 0x01;
    m_ports->Monitor(0x041) = 0x10;
    m_ports->Monitor(0x045) = 0x80;
    Poll();
    const std::string told = Logged();
    static bool first = true; // the line comes once in a process; this test may run again in it
    EXPECT_EQ(told, first ? "25 SENSORS: Delaying initial status: 10 00 00 80" : "");
    first = false;
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Value="1000" Alarm="0")"));
    Poll();
    EXPECT_EQ(Logged(), "");

    m_ports->Monitor(0x041) = 0;
    for (const auto& [reg, value] : {std::pair(0x042, 0x20), {0x042, 0x01}, {0x450, 0x02}})
    {
        m_ports->Monitor(0x042) = 0;
        m_ports->Monitor(reg) = static_cast<std::uint8_t>(value);
        Poll();
        EXPECT_EQ(Elements(false), "") << reg << " still delays";
    }
    m_ports->Monitor(0x042) = 0xD0; // bits that do not count
    m_ports->Monitor(0x450) = 0xFC;
    Poll();
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Alarm="1")"));
}
} // namespace
