// From register contents to values and back. Integer rules of the chips, each with examples.
#pragma once

#include <cstdint>
#include <limits>

// Toward zero. A number that does not fit, or none at all (a Conversion of 0 divides by it), becomes the
// lowest integer, as the processor's own conversion has it.
constexpr int TruncateToInt(double value)
{
    constexpr double kTooLow = -2147483649.0;
    constexpr double kTooHigh = 2147483648.0;
    return value > kTooLow && value < kTooHigh ? static_cast<int>(value) : std::numeric_limits<int>::min();
}
static_assert(TruncateToInt(1.99) == 1);
static_assert(TruncateToInt(-1.99) == -1);
static_assert(TruncateToInt(2147483647.5) == 2147483647);
static_assert(TruncateToInt(-2147483648.5) == -2147483647 - 1);
static_assert(TruncateToInt(2147483648.0) == -2147483647 - 1);
static_assert(TruncateToInt(std::numeric_limits<double>::quiet_NaN()) == -2147483647 - 1);

constexpr std::uint8_t LowByte(std::int64_t value)
{
    return static_cast<std::uint8_t>(value & 0xFF);
}
static_assert(LowByte(-5) == 0xFB);

constexpr std::uint8_t HighByte(std::uint32_t value)
{
    return static_cast<std::uint8_t>((value >> 8) & 0xFF);
}

// A negative number counts as too large.
constexpr std::uint8_t ClampToByte(int value)
{
    return value < 0 || value > 0xFF ? std::uint8_t{0xFF} : static_cast<std::uint8_t>(value);
}
static_assert(ClampToByte(-1) == 255 && ClampToByte(255) == 255 && ClampToByte(256) == 255);
static_assert(ClampToByte(254) == 254);

// The low eight bits as a signed number; sums of bytes wrap.
constexpr int SignedByte(int value)
{
    return static_cast<std::int8_t>(LowByte(value));
}
static_assert(SignedByte(0xF0 + 0x20) == 16);
static_assert(SignedByte(0x70 + 0x20) == -112);

constexpr int Word(std::uint8_t high, std::uint8_t low)
{
    return (high << 8) | low;
}

// Steps of the voltage converters in millivolts, before the board's divider (Conversion).
inline constexpr int kVoltageStepMv = 8;
inline constexpr int kIteVoltageStepMv = 12;

constexpr int VoltageValue(std::uint8_t raw, int stepMv, double conversion)
{
    return TruncateToInt(raw * stepMv * conversion);
}
static_assert(VoltageValue(0x7D, kVoltageStepMv, 1.0) == 1000);

// A limit in converter steps. Without a Conversion there is no number of steps.
constexpr int VoltageSteps(int limitMv, int stepMv, double conversion)
{
    const double step = stepMv * conversion;
    return step != 0 ? TruncateToInt(limitMv / step) : std::numeric_limits<int>::min();
}
static_assert(VoltageSteps(4000, kIteVoltageStepMv, 1.0) == 333);
static_assert(VoltageSteps(-20, kVoltageStepMv, 1.0) == -2);
static_assert(VoltageSteps(0, kVoltageStepMv, 0.0) == -2147483647 - 1);

// Counting fans: the chip counts a clock of this many ticks per minute during one turn.
inline constexpr int kFanTicksPerMin = 1'350'000;

// `count`: above 0. The divisor is 2 to the power of `exponent`, which is at most 7.
constexpr int FanTicksToSpeed(int count, int exponent)
{
    return static_cast<int>(kFanTicksPerMin / (static_cast<std::int64_t>(count) << exponent));
}
static_assert(FanTicksToSpeed(150, 1) == 4500);
static_assert(FanTicksToSpeed(std::numeric_limits<int>::max(), 7) == 0);
