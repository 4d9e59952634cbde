#include "hwmon/Sensor.h"

#include "tests/support/HostTexts.h"

#include <gtest/gtest.h>

namespace
{
std::string Printed(SensorDef& sensor, bool full, bool suppressZero)
{
    return Print(CreateSensorElement(sensor, full, suppressZero, 5'000'000'000).get());
}

SensorDef Sensor(int id)
{
    SensorDef sensor;
    sensor.id = id;
    sensor.type = TypeOfSensorId(id);
    sensor.label = "L";
    sensor.max = 8;
    sensor.min = 2;
    return sensor;
}

TEST(Sensor, TypesComeFromTheId)
{
    for (const auto& [id, name] : {std::pair(999, "Unknown"),
                                   {1000, "Voltage"},
                                   {1999, "Voltage"},
                                   {2000, "Temperature"},
                                   {2999, "Temperature"},
                                   {3000, "FanSpeed"},
                                   {3999, "FanSpeed"},
                                   {4000, "Unknown"},
                                   {-1500, "Unknown"},
                                   {0, "Unknown"}})
    {
        EXPECT_STREQ(SensorTypeName(TypeOfSensorId(id)), name) << id;
    }
}

TEST(Sensor, ReadingsAreNewsAndAlarmBitsMakeEventsAtTheirEdges)
{
    SensorDef sensor = Sensor(1000);
    sensor.event = false;
    sensor.changed = false;
    RecordReading(sensor, 0);
    EXPECT_FALSE(sensor.changed) << "it showed 0 before";
    RecordReading(sensor, 5);
    EXPECT_TRUE(sensor.changed);
    RecordReading(sensor, 9);
    sensor.changed = false;
    ApplyAlarmBit(sensor, false);
    EXPECT_FALSE(sensor.alarm || sensor.event || sensor.changed);
    ApplyAlarmBit(sensor, true);
    EXPECT_TRUE(sensor.alarm && sensor.event && sensor.changed);
    sensor.event = false;
    sensor.changed = false;
    ApplyAlarmBit(sensor, true);
    EXPECT_FALSE(sensor.event || sensor.changed);
    EXPECT_EQ(sensor.lowestSeen, 5);
    ApplyAlarmBit(sensor, false);
    EXPECT_TRUE(!sensor.alarm && sensor.event && sensor.changed);
    EXPECT_EQ(sensor.lowestSeen, 9) << "the range starts anew";
    EXPECT_EQ(sensor.highestSeen, 9);
}

TEST(Sensor, FullElementsLeaveTheNewsAlone)
{
    SensorDef fan = Sensor(3000);
    SensorDef temperature = Sensor(2000);
    SensorDef voltage = Sensor(1000);
    EXPECT_EQ(Printed(fan, true, false), R"(<FanSpeed ID="3000" Label="L" Value="0" Type="3" Min="2" />)");
    EXPECT_EQ(Printed(temperature, true, false),
              R"(<Temperature ID="2000" Label="L" Value="0" Type="2" Max="8" />)");
    EXPECT_EQ(Printed(voltage, true, false),
              R"(<Voltage ID="1000" Label="L" Value="0" Type="1" Max="8" Min="2" />)");
    EXPECT_TRUE(fan.changed && fan.event);
}

TEST(Sensor, DeltaElementsTellAnEventOnce)
{
    SensorDef sensor = Sensor(1000);
    EXPECT_EQ(Printed(sensor, false, true), "") << "0 is suppressed";
    EXPECT_TRUE(sensor.event);
    sensor.current = 9;
    sensor.alarm = true;
    EXPECT_EQ(Printed(sensor, false, true),
              R"(<Voltage ID="1000" Label="L" Value="9" Alarm="1" Time="5000000000" )"
              R"(Message="L value exceeds threshold" />)");
    EXPECT_EQ(Printed(sensor, false, true), "");
    sensor.changed = true;
    EXPECT_EQ(Printed(sensor, false, true), R"(<Voltage ID="1000" Label="L" Value="9" />)");
    EXPECT_EQ(Printed(sensor, false, true), R"(<Voltage ID="1000" Label="L" Value="9" />)")
        << "news without an event stays news";
    EXPECT_EQ(Printed(sensor, true, true),
              R"(<Voltage ID="1000" Label="L" Value="9" Type="1" Max="8" Min="2" />)");
}
} // namespace
