// What a register content becomes, over all families: values, limits, alarms. One row for each shape.
#include "tests/hwmon/ChipRig.h"

#include <array>

namespace
{
struct Content
{
    int reg;
    int value;
};

struct ValueCase
{
    const char* name;
    Chip chip;
    int id;
    const char* conversion;
    std::array<Content, 3> registers;
    const char* value; // in a full document
};

const std::string kTwoRegisters = R"(Register="20" Width="2")";
constexpr Content kNone{0x7F0, 0}; // a register nobody reads

using Values = WithCases<ChipRig, ValueCase>;

TEST_P(Values, OfRegisters)
{
    Make(GetParam().chip);
    Monitor(SensorXml(GetParam().id, 0, 0, GetParam().conversion, kTwoRegisters));
    for (const Content& content : GetParam().registers)
    {
        m_ports->Monitor(content.reg) = static_cast<std::uint8_t>(content.value);
    }
    EXPECT_EQ(Value(GetParam().id), GetParam().value);
}

// Fans that count: "none" is a sensor still at 0, which stays out of documents.
constexpr auto kValueCases = std::to_array<ValueCase>({
    {"VoltageStep", Chip::W83627, 1000, "1", {{{0x020, 0x7D}, kNone, kNone}}, "1000"},
    {"VoltageTruncated", Chip::W83627, 1007, "0.333", {{{0x550, 0x7D}, kNone, kNone}}, "333"},
    {"VoltageBeyondAnInt", Chip::W83677, 1000, "1e9", {{{0x020, 0xFF}, kNone, kNone}}, "-2147483648"},
    {"OffsetWrapsUp", Chip::W83627, 2000, "1", {{{0x027, 0xF0}, {0x454, 0x20}, kNone}}, "16"},
    {"OffsetWrapsDown", Chip::W83677, 2002, "1", {{{0x250, 0x70}, {0x456, 0x20}, kNone}}, "-112"},
    {"NoOffset", Chip::Nct6776, 2000, "1", {{{0x027, 0xF0}, {0x454, 0x20}, kNone}}, "-16"},
    {"FirstCount", Chip::W83627, 3000, "1", {{{0x028, 1}, kNone, kNone}}, "1350000"},
    {"LastCount", Chip::W83627, 3001, "1", {{{0x029, 254}, kNone, kNone}}, "5314"},
    {"CountOverflow", Chip::W83627, 3001, "1", {{{0x029, 255}, kNone, kNone}}, "none"},
    {"NoCount", Chip::W83627, 3001, "1", {{kNone, kNone, kNone}}, "none"},
    {"Divisor64", Chip::W83627, 3000, "1", {{{0x028, 10}, {0x047, 0x20}, {0x05D, 0x20}}}, "2109"},
    {"DivisorInOneRegister", Chip::W83627, 3004, "1", {{{0x553, 100}, {0x059, 0x8C}, kNone}}, "105"},
    {"DivisorsOfOthers", Chip::W83627, 3003, "1", {{{0x02A, 100}, {0x04B, 0x3F}, {0x05D, 0x7F}}}, "13500"},
    {"FanSpeed", Chip::W83677, 3003, "1", {{{0x65A, 0x03}, {0x65B, 0xA0}, kNone}}, "928"},
    {"FanSpeedAlways", Chip::W83677, 3000, "1", {{{0x657, 164}, kNone, kNone}}, "164"},
    {"NoSuchFan", Chip::W83677, 3002, "1", {{{0x65A, 1}, {0x03F, 1}, kNone}}, "none"},
    {"StandingFan", Chip::Nct6776, 3005, "1", {{{0x65F, 164}, kNone, kNone}}, "none"},
    {"SlowFan", Chip::Nct6776, 3005, "1", {{{0x65F, 165}, kNone, kNone}}, "165"},
    {"ItVoltage", Chip::It8728, 1100, "1.5", {{{0x20, 0x55}, kNone, kNone}}, "1530"},
    {"It8772Voltage6", Chip::It8772, 1106, "1", {{{0x27, 1}, kNone, kNone}}, "12"},
    {"It8728Voltage7", Chip::It8728, 1107, "1", {{{0x28, 2}, kNone, kNone}}, "24"},
    {"It8612Voltage7", Chip::It8612, 1107, "1", {{{0x2F, 3}, kNone, kNone}}, "36"},
    {"ItTemperature", Chip::It8612, 2103, "1", {{{0x2C, 0x80}, kNone, kNone}}, "-128"},
    {"ItThreeTemperatures", Chip::It8728, 2103, "1", {{{0x2C, 0x40}, kNone, kNone}}, "none"},
    {"ItFan", Chip::It8728, 3100, "1", {{{0x0D, 0xFF}, {0x18, 0x00}, kNone}}, "2647"},
    {"ItSlowestFan", Chip::It8612, 3102, "1", {{{0x0F, 0xFE}, {0x1A, 0xFF}, kNone}}, "10"},
    {"ItCountOverflow", Chip::It8612, 3102, "1", {{{0x0F, 0xFF}, {0x1A, 0xFF}, kNone}}, "none"},
    {"ItNoCount", Chip::It8728, 3101, "1", {{kNone, kNone, kNone}}, "none"},
    {"It8772Fan", Chip::It8772, 3100, "1", {{{0x0E, 0x00}, {0x19, 0x01}, kNone}}, "2636"},
    {"It8772HasTwo", Chip::It8772, 3102, "1", {{{0x0F, 0x01}, kNone, kNone}}, "none"},
    {"FintekFan", Chip::Fintek, 3000, "7", {{{0x20, 0x05}, {0x21, 0xDC}, kNone}}, "1000"},
    {"FintekFanWithoutCount", Chip::Fintek, 3000, "1", {{kNone, kNone, kNone}}, "none"},
    {"FintekVoltage", Chip::Fintek, 1000, "0.5", {{{0x20, 0x01}, {0x21, 0xF5}, kNone}}, "250"},
    {"Nct5525IsRaw", Chip::Nct5525, 1000, "0.5", {{{0x20, 0x01}, {0x21, 0xF5}, kNone}}, "501"},
    {"Nct6791Fan", Chip::Nct6791, 3000, "2", {{{0x20, 0x01}, {0x21, 0xF5}, kNone}}, "1002"},
    {"Nct6791StandingFan", Chip::Nct6791, 3000, "1", {{{0x21, 164}, kNone, kNone}}, "0"},
    {"Nct6791Voltage164", Chip::Nct6791, 1000, "1", {{{0x21, 164}, kNone, kNone}}, "164"},
});
INSTANTIATE_TEST_SUITE_P(Cases, Values, testing::ValuesIn(kValueCases), kByName);

struct LimitCase
{
    const char* name;
    Chip chip;
    int id;
    int min;
    int max;
    const char* conversion;
    Content first; // a register content beforehand
    int limit;     // a limit register that holds 0x77 beforehand
    int expected;
};

constexpr int kUntouched = 0x77;

using Limits = WithCases<ChipRig, LimitCase>;

TEST_P(Limits, InTheChip)
{
    const LimitCase& test = GetParam();
    Make(test.chip);
    Monitor(SensorXml(test.id, test.min, test.max, test.conversion));
    m_ports->Monitor(test.first.reg) = static_cast<std::uint8_t>(test.first.value);
    m_ports->Monitor(test.limit) = kUntouched;
    Poll();
    EXPECT_EQ(m_ports->Monitor(test.limit), test.expected);
}

constexpr auto kLimitCases = std::to_array<LimitCase>({
    {"VoltageHigh", Chip::Nct6776, 1007, 3000, 3500, "2", kNone, 0x554, 218},
    {"VoltageLow", Chip::Nct6776, 1007, 3000, 3500, "2", kNone, 0x555, 187},
    {"VoltageTooHighIsCut", Chip::W83627, 1000, 0, 2400, "1", kNone, 0x02B, 300 & 0xFF},
    {"ConversionZeroStillWrites", Chip::W83627, 1000, 0, 1500, "0", kNone, 0x02B, 0},
    {"ConversionZeroWaits", Chip::W83677, 1000, 0, 1500, "0", kNone, 0x02B, kUntouched},
    {"NegativeConversionWaits", Chip::Nct6776, 1000, 0, 1500, "-1", kNone, 0x02B, kUntouched},
    {"TemperatureLessOffset", Chip::W83627, 2001, -5, 85, "1", {0x455, 0xF6}, 0x153, (-5 - 0xF6) & 0xFF},
    {"TemperatureWithout", Chip::Nct6776, 2004, -5, 85, "1", kNone, 0x678, 0xFB},
    {"DivisorFan", Chip::W83627, 3000, 2000, 0, "1", {0x028, 100}, 0x03B, 675 & 0xFF},
    {"DivisorFanWithoutMin", Chip::W83627, 3000, 0, 0, "1", {0x028, 100}, 0x03B, kUntouched},
    {"DivisorFanBeyondAnInt", Chip::W83627, 3004, 1 << 30, 0, "1", {0x553, 100}, 0x55C, 0},
    {"DivisorFanWithoutCount", Chip::W83627, 3000, 2000, 0, "1", {0x028, 255}, 0x03B, kUntouched},
    {"LowerExponent", Chip::W83677, 3000, 600, 0, "1", {0x506, 0x35}, 0x03B, 1350000 / (600 << 5) & 0xFF},
    {"UpperExponent", Chip::W83677, 3001, 600, 0, "1", {0x506, 0x35}, 0x03C, 1350000 / (600 << 3) & 0xFF},
    {"NoFanMin", Chip::W83677, 3001, 0, 0, "1", kNone, 0x03C, kUntouched},
    {"SplitHigh", Chip::Nct6776, 3005, 300, 0, "1", kNone, 0x642, 140},
    {"SplitLow", Chip::Nct6776, 3005, 300, 0, "1", kNone, 0x643, 20},
    {"SplitWithoutMin", Chip::Nct6776, 3005, 0, 0, "1", kNone, 0x642, 0},
    {"ItVoltage", Chip::It8728, 1100, 0, 3059, "1", kNone, 0x30, 254},
    {"ItVoltageAtTheTop", Chip::It8728, 1100, 0, 3060, "1", kNone, 0x30, 255},
    {"ItVoltageClamped", Chip::It8728, 1100, 0, 4000, "1", kNone, 0x30, 255},
    {"ItNegativeIsTooLarge", Chip::It8728, 1106, -12, 4000, "1", kNone, 0x3D, 255},
    {"ItBelowOneStep", Chip::It8728, 1106, -11, 4000, "1", kNone, 0x3D, 0},
    {"It8772Voltage7", Chip::It8772, 1107, 0, 1200, "1", kNone, 0x3E, 100},
    {"It8728Voltage7HasNone", Chip::It8728, 1107, 0, 1200, "1", kNone, 0x3E, kUntouched},
    {"ItTemperature", Chip::It8612, 2103, -3, 60, "1", kNone, 0x47, 0xFD},
    {"ItFanLow", Chip::It8728, 3100, 300, 0, "1", {0x0D, 1}, 0x10, 0xCA},
    {"ItFanHigh", Chip::It8772, 3101, 300, 0, "1", {0x0F, 1}, 0x1D, 0x08},
    {"ItFanWithoutMin", Chip::It8728, 3100, 0, 0, "1", {0x0D, 1}, 0x10, kUntouched},
    {"ItFanWithoutCount", Chip::It8728, 3100, 300, 0, "1", kNone, 0x10, kUntouched},
});
INSTANTIATE_TEST_SUITE_P(Cases, Limits, testing::ValuesIn(kLimitCases), kByName);

struct AlarmCase
{
    const char* name;
    Chip chip;
    int id;
    const char* conversion; // Min 2800, Max 3500 for voltages; Min 0, Max 50 for the others
    Content value;
    Content status;
    bool alarmed;
};

using Alarms = WithCases<ChipRig, AlarmCase>;

TEST_P(Alarms, OfOneSensor)
{
    const AlarmCase& test = GetParam();
    Make(test.chip);
    Monitor(test.id < 2000 ? SensorXml(test.id, 2800, 3500, test.conversion) : SensorXml(test.id, 0, 50));
    m_ports->Monitor(test.value.reg) = static_cast<std::uint8_t>(test.value.value);
    m_ports->Monitor(test.status.reg) = static_cast<std::uint8_t>(test.status.value);
    Poll();
    EXPECT_THAT(Elements(false), testing::HasSubstr(test.alarmed ? R"(Alarm="1")" : R"(Alarm="0")"));
}

constexpr auto kAlarmCases = std::to_array<AlarmCase>({
    {"A", Chip::W83627, 1003, "1", {0x023, 1}, {0x459, 0x08}, true},
    {"OtherBitsOfA", Chip::W83627, 1003, "1", {0x023, 1}, {0x459, 0xF7}, false},
    {"B", Chip::W83677, 1004, "1", {0x024, 1}, {0x45A, 0x01}, true},
    {"C", Chip::Nct6776, 1005, "1", {0x025, 1}, {0x45B, 0x20}, true},
    {"CCrossed", Chip::Nct6776, 1006, "1", {0x026, 1}, {0x45B, 0x10}, true},
    {"TemperatureInB", Chip::W83627, 2002, "1", {0x250, 1}, {0x45A, 0x20}, true},
    {"W83627Fan4", Chip::W83627, 3004, "1", {0x553, 1}, {0x45B, 0x80}, true},
    {"W83627Fan2HasNone", Chip::W83627, 3002, "1", {0x03F, 1}, {0x459, 0xFF}, false},
    {"W83677Fan4HasNone", Chip::W83677, 3004, "1", {0x65D, 1}, {0x45B, 0xFF}, false},
    {"Nct6776Fan4", Chip::Nct6776, 3004, "1", {0x65D, 1}, {0x45A, 0x04}, true},
    {"Nct6776Fan5", Chip::Nct6776, 3005, "1", {0x65F, 1}, {0x45B, 0x80}, true},
    {"AtMax", Chip::Nct6776, 2003, "1", {0x62B, 50}, kNone, true},
    {"BelowMax", Chip::Nct6776, 2004, "1", {0x62C, 49}, {0x45B, 0xFF}, false},
    {"It8772Voltage7", Chip::It8772, 1107, "1", {0x28, 1}, {0x02, 0x80}, true},
    {"It8728At2799", Chip::It8728, 1107, "233.25", {0x28, 1}, kNone, true},
    {"It8728At2800", Chip::It8728, 1107, "233.33334", {0x28, 1}, {0x02, 0xFF}, false},
    {"It8728At3500", Chip::It8728, 1107, "291.66667", {0x28, 1}, {0x02, 0xFF}, false},
    {"It8612At3501", Chip::It8612, 1107, "291.75", {0x2F, 1}, kNone, true},
    {"ItTemperature", Chip::It8728, 2102, "1", {0x2B, 1}, {0x03, 0x04}, true},
    {"It8612Temperature3HasNone", Chip::It8612, 2103, "1", {0x2C, 99}, {0x03, 0xFF}, false},
    {"It8772Fan0", Chip::It8772, 3100, "1", {0x0E, 1}, {0x01, 0x02}, true},
    {"It8728Fan0", Chip::It8728, 3100, "1", {0x0D, 1}, {0x01, 0x01}, true},
    {"It8728Fan2", Chip::It8728, 3102, "1", {0x0F, 1}, {0x01, 0x04}, true},
});
INSTANTIATE_TEST_SUITE_P(Cases, Alarms, testing::ValuesIn(kAlarmCases), kByName);
} // namespace
