// The family whose sensors name their registers and are compared here.
#include "tests/hwmon/ChipRig.h"

namespace
{
class SoftwareChip : public ChipRig
{
protected:
    // One sensor of one register 0x20; what its first poll logged is forgotten.
    void MonitorOne(Chip chip, int id, int min, int max, int raw, const std::string& more = {})
    {
        Make(chip);
        Monitor(SensorXml(id, min, max, "1", R"(Register="0x20" Width="1" )" + more));
        Read(raw);
        m_host.Forget();
    }

    void Read(int raw)
    {
        m_ports->Monitor(0x20) = static_cast<std::uint8_t>(raw);
        Poll();
    }
};

TEST_F(SoftwareChip, Nct6791Accesses)
{
    Make(Chip::Nct6791);
    Monitor(SensorXml(2001, 0, 0, "1", R"(Register="4FE" Width="3")") +
            SensorXml(2000, 0, 0, "1", R"(Register="0x73" Width="1")") +
            SensorXml(2002, 0, 0, "1", R"(Register="0x75" Width="0")"));
    m_ports->Monitor(0x4FE) = 0x01;
    m_ports->Monitor(0x4FF) = 0x02;
    m_ports->Monitor(0x400) = 0x03;
    EXPECT_EQ(Poll(), "enter C07=0B B6 M22=02 B4 MFE? MFF? M00? B6 M21=01 B0 M73? B0 exit");
    EXPECT_EQ(Value(2001), std::to_string(0x010203));
    EXPECT_EQ(Value(2002), "0");
}

TEST_F(SoftwareChip, FintekAndNct5525Accesses)
{
    const std::string sensor = SensorXml(2000, 0, 0, "1", R"(Register="0x172" Width="2")");
    Make(Chip::Fintek);
    Monitor(sensor);
    EXPECT_EQ(Poll(), "enter C07=04 M72? M73? exit");
    Make(Chip::Nct5525);
    Monitor(sensor);
    EXPECT_EQ(Poll(), "enter C07=0B B1 M72? M73? exit");
}

TEST_F(SoftwareChip, AlarmsComeAndGo)
{
    MonitorOne(Chip::Fintek, 2000, 10, 50, 50);
    EXPECT_EQ(Elements(false),
              R"(<Temperature ID="2000" Label="L2000" Value="50" Alarm="0" Time="1700000000" )"
              R"(Message="L2000 value is in normal range" />)");
    Read(51);
    EXPECT_EQ(Logged(),
              "0 SENSORS: Temperature 'L2000' new range 50 <-> 51 - reg [0x20] read [0x33] => [0x33]\n"
              "50 SENSORS: Temperature 'L2000' min 10 curr 51 max 50 - alarmed");
    m_clock.Advance(std::chrono::seconds(3));
    EXPECT_EQ(Elements(false),
              R"(<Temperature ID="2000" Label="L2000" Value="51" Alarm="1" Time="1700000003" )"
              R"(Message="L2000 value exceeds threshold" />)");
    Read(51);
    EXPECT_EQ(Elements(false), "") << "nothing new";
    Read(60);
    EXPECT_EQ(Elements(false), R"(<Temperature ID="2000" Label="L2000" Value="60" />)");
    m_host.Forget();
    Read(10);
    EXPECT_EQ(Logged(),
              "0 SENSORS: Temperature 'L2000' new range 10 <-> 60 - reg [0x20] read [0x0a] => [0xa]\n"
              "50 SENSORS: Temperature 'L2000' min 10 curr 10 max 50 - ok\n"
              "0 SENSORS: Temperature 'L2000' reset range 10 <-> 10 - reg [0x20] read [0x0a] => [0xa]");
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Value="10" Alarm="0")"));
    Read(9);
    EXPECT_THAT(Logged(), testing::StartsWith("0 SENSORS: Temperature 'L2000' new range 9 <-> 10 - "));
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Value="9" Alarm="1")"));
}

TEST_F(SoftwareChip, LimitsOfZeroAreNone)
{
    MonitorOne(Chip::Nct5525, 1000, 0, 0, 255);
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Value="255" Alarm="0")"));
    Read(0);
    EXPECT_EQ(Elements(false), R"(<Voltage ID="1000" Label="L1000" Value="0" />)")
        << "0 is told by this chip";
}

TEST_F(SoftwareChip, SensorsWithoutRegistersLeaveTheList)
{
    const std::string sensors = SensorXml(1000, 0, 0, "1", R"(Register="zz" Width="1")") +
                                SensorXml(3001, 0, 0, "1", R"(Register="0x20")") +
                                SensorXml(2000, 0, 0, "1", R"(Register="0x20" Width="1")");
    for (const Chip chip : {Chip::Fintek, Chip::Nct5525, Chip::Nct6791})
    {
        Make(chip);
        Monitor(sensors);
        m_ports->Monitor(0x20) = 30;
        Poll();
        const std::string told = Logged();
        EXPECT_EQ(Value(1000) + Value(3001) + Value(2000), "nonenone30");
        const bool silent = chip == Chip::Nct6791;
        EXPECT_THAT(told,
                    testing::StartsWith(silent ? "0 SENSORS: Temperature 'L2000' new range 30 <-> 30"
                                               : "50 SENSORS: Omit unconfigured Voltage 'L1000'.\n"
                                                 "50 SENSORS: Omit unconfigured FanSpeed 'L3001'.\n"
                                                 "0 SENSORS: Temperature 'L2000' new range 30 <-> 30 - "));
        EXPECT_EQ(told.find(" - reg") == std::string::npos, silent);
    }
}

TEST_F(SoftwareChip, OnlyTheFirstPollIgnores)
{
    Make(Chip::Fintek);
    Monitor(SensorXml(1000, 0, 0, "1", R"(Register="20" Width="2" Ignore="0xff00")") +
            SensorXml(1001, 0, 0, "1", R"(Register="22" Width="1" Ignore="7f")"));
    m_ports->Monitor(0x20) = 0xFF;
    m_ports->Monitor(0x22) = 0x7E;
    Poll();
    EXPECT_THAT(Logged(), testing::StartsWith("50 SENSORS: Omit ignored Voltage 'L1000' (read [0xFF00]).\n"
                                              "0 SENSORS: Voltage 'L1001' new range"));
    EXPECT_EQ(Value(1000), "none");
    m_ports->Monitor(0x22) = 0x7F;
    EXPECT_EQ(Value(1001), "127");

    m_chip->StopHwMonitoring(); // the chip object remembers that its first poll is done
    Monitor(SensorXml(1001, 0, 0, "1", R"(Register="22" Width="1" Ignore="7f")"));
    EXPECT_EQ(Value(1001), "127");
    MonitorOne(Chip::Nct6791, 1000, 0, 0, 0x7F, R"(Ignore="7f")");
    EXPECT_EQ(Value(1000), "127") << "this chip does not ignore";
}

TEST_F(SoftwareChip, Nct6791OmitsFansThatStandAtFirst)
{
    Make(Chip::Nct6791);
    Monitor(SensorXml(3000, 0, 0, "1", R"(Register="20" Width="1")") +
            SensorXml(3001, 0, 0, "1", R"(Register="21" Width="1")") +
            SensorXml(1000, 0, 0, "1", R"(Register="20" Width="1")"));
    m_ports->Monitor(0x21) = 164;
    Poll();
    EXPECT_EQ(Logged(), "50 SENSORS: FanSpeed 'L3000' not installed.\n"
                        "0 SENSORS: FanSpeed 'L3001' read special val 164.");
    m_ports->Monitor(0x21) = 0;
    EXPECT_EQ(Value(3000) + Value(3001) + Value(1000), "none00") << "later it has just stopped";
}

TEST_F(SoftwareChip, Nct6791SkipsInvalidReads)
{
    MonitorOne(Chip::Nct6791, 2000, 0, 50, 60);
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Alarm="1")"));
    Read(0xFF);
    EXPECT_EQ(Logged(),
              "75 SENSORS: invalid read from L2000 - ignore until valid again.\n"
              "50 SENSORS: Temperature 'L2000' min 0 curr 60 max 50 - ok\n"
              "0 SENSORS: Temperature 'L2000' reset range 60 <-> 60 - reg [0x20] read [0xff] => [0xff]");
    EXPECT_THAT(Elements(false), testing::HasSubstr(R"(Value="60" Alarm="0")"));
    Read(0xFF);
    EXPECT_EQ(Logged(), "");
    Read(0xFE);
    EXPECT_THAT(Logged(), testing::StartsWith("50 SENSORS: valid read from L2000 - resume monitoring.\n"
                                              "0 SENSORS: Temperature 'L2000' new range 60 <-> 254\n"));
    Read(30);
    Read(0xFF);
    EXPECT_THAT(Logged(),
                testing::EndsWith("75 SENSORS: invalid read from L2000 - ignore until valid again."));
}

TEST_F(SoftwareChip, Nct6791InvalidIsAByteOrAWord)
{
    Make(Chip::Nct6791);
    Monitor(SensorXml(1000, 0, 0, "1", R"(Register="20" Width="2")"));
    m_ports->Monitor(0x21) = 0xFF;
    EXPECT_EQ(Value(1000), "0") << "0x00FF";
    m_ports->Monitor(0x20) = 0xFF;
    EXPECT_EQ(Value(1000), "0") << "0xFFFF";
    m_ports->Monitor(0x21) = 0xFE;
    EXPECT_EQ(Value(1000), "65534");
    MonitorOne(Chip::Nct5525, 1000, 0, 0, 0xFF);
    EXPECT_EQ(Value(1000), "255") << "other chips take it";
}

TEST_F(SoftwareChip, FintekCountsItsPolls)
{
    MonitorOne(Chip::Fintek, 2000, 0, 0, 30); // starts at 0 ms, which counts as not started
    m_clock.Advance(std::chrono::milliseconds(1000));
    Read(30);
    m_clock.Advance(std::chrono::milliseconds(60000));
    Read(30);
    EXPECT_EQ(Logged(), "");
    m_clock.Advance(std::chrono::milliseconds(1));
    Read(30);
    EXPECT_EQ(Logged(), "0 SENSORS: Polled sensors 3 times in 60 secs.");
    m_clock.Advance(std::chrono::milliseconds(60001));
    Read(30);
    EXPECT_EQ(Logged(), "0 SENSORS: Polled sensors 1 times in 60 secs.");
}

TEST_F(SoftwareChip, FintekPeriodSurvivesTheWrapOfItsClock)
{
    m_clock.Advance(std::chrono::milliseconds((std::int64_t{1} << 32) - 1000));
    MonitorOne(Chip::Fintek, 2000, 0, 0, 30);
    m_clock.Advance(std::chrono::milliseconds(60000));
    Read(30);
    EXPECT_EQ(Logged(), "");
    m_clock.Advance(std::chrono::milliseconds(1));
    Read(30);
    EXPECT_EQ(Logged(), "0 SENSORS: Polled sensors 2 times in 60 secs.");
}
} // namespace
