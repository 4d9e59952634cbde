// The register family: chips with register banks that compare the readings with programmed limits
// themselves. The algorithms, and the rows that all of its chips have in common.
#pragma once

#include "hwmon/DeviceChip.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

struct VoltageRow
{
    int id;              // sensor Id of the board file
    std::uint16_t value; // ADC reading, bank in the high byte; one step is 8 mV before Conversion
    std::uint16_t high;  // high limit, same step
    std::uint16_t low;   // low limit, same step
};

struct TemperatureRow
{
    // Chooses the diode or thermistor that the channel reads.
    struct SourceSelect
    {
        std::uint16_t reg;
        std::uint8_t source;
    };

    int id;
    std::optional<SourceSelect> select;  // stored before each reading
    std::uint16_t value;                 // degrees Celsius, signed
    std::optional<std::uint16_t> offset; // added to the reading, taken off the limits
    std::uint16_t high;
    std::uint16_t low;
};

// A fan that counts clock ticks; its divisor is 2 to the power of a three-bit exponent in two registers.
struct DivisorFanRow
{
    struct Field
    {
        std::uint16_t reg;
        std::uint8_t mask;
        int shift;
    };

    int id;
    std::uint16_t count;
    std::uint16_t limit;
    Field lowBits; // bits 0 and 1 of the exponent
    Field highBit; // bit 2
};

// A fan whose speed the chip works out itself.
struct SpeedFanRow
{
    // A count in ticks, divided by 2 to the power of three bits of another register.
    struct DividedLimit
    {
        std::uint16_t reg;
        std::uint16_t exponent;
        int shift;
    };

    // A 13-bit count in ticks.
    struct SplitLimit
    {
        std::uint16_t high; // bits 5 to 12
        std::uint16_t low;  // bits 0 to 4
    };

    int id;
    std::uint16_t high;
    std::uint16_t low;
    std::variant<std::monostate, DividedLimit, SplitLimit> limit{};
};

struct RegisterChipMap
{
    std::span<const VoltageRow> voltages;
    std::span<const TemperatureRow> temperatures;
    std::span<const DivisorFanRow> divisorFans{};
    std::span<const SpeedFanRow> speedFans{};
    std::span<const AlarmRow> alarms;
    DeviceWatchdogMap watchdog;
    bool limitsNeedConversion = true;      // voltage limits wait for a Conversion above 0
    std::optional<int> standingFanSpeed{}; // the speed shown by a fan that stands still
};

// The fans' divisor fields are left out: those of several fans lie in one register.
constexpr bool RowsAreSound(const RegisterChipMap& map)
{
    CRegisterCheck registers;
    for (const VoltageRow& row : map.voltages)
    {
        registers.Add({row.value, row.high, row.low});
    }
    for (const TemperatureRow& row : map.temperatures)
    {
        registers.Add({row.value, row.high, row.low});
        registers.Add(row.offset);
        registers.Add(row.select ? std::optional(row.select->reg) : std::nullopt);
    }
    for (const DivisorFanRow& row : map.divisorFans)
    {
        registers.Add({row.count, row.limit});
    }
    for (const SpeedFanRow& row : map.speedFans)
    {
        registers.Add({row.high, row.low});
        if (const auto* divided = std::get_if<SpeedFanRow::DividedLimit>(&row.limit))
        {
            registers.Add(divided->reg);
        }
        else if (const auto* split = std::get_if<SpeedFanRow::SplitLimit>(&row.limit))
        {
            registers.Add({split->high, split->low});
        }
    }
    return registers.AreUnique() && IdsAscend(map.voltages) && IdsAscend(map.temperatures) &&
           IdsAscend(map.divisorFans) && IdsAscend(map.speedFans) && IdsAscend(map.alarms) &&
           StatusBitsAreUnique(map.alarms);
}

class CRegisterChip : public CDeviceChip
{
protected:
    CRegisterChip(const ChipContext& context, std::string description, const RegisterChipMap& map);

    void DoInitHwMonitoring() override;
    void DoPollSensors() override;

    // Whether the alarm status of this poll is to be believed. Called after its registers are read.
    virtual bool IsAlarmStatusValid() { return true; }

private:
    void ReadVoltages();
    void ReadTemperatures();
    void ReadFans();
    void ReadVoltage(SensorDef& sensor, const VoltageRow& row);
    void ReadTemperature(SensorDef& sensor, const TemperatureRow& row);
    void ReadDivisorFan(SensorDef& sensor, const DivisorFanRow& row);
    void ReadSpeedFan(SensorDef& sensor, const SpeedFanRow& row);
    void SetBits(const DivisorFanRow::Field& field, int bits);
    void WriteFanLimit(SensorDef& sensor, const SpeedFanRow::DividedLimit& limit);
    void WriteFanLimit(SensorDef& sensor, const SpeedFanRow::SplitLimit& limit);

    const RegisterChipMap m_map;
};

// --- Rows common to the chips of the family

inline constexpr auto kRegisterVoltages = std::to_array<VoltageRow>({
    {1000, 0x020, 0x02B, 0x02C},
    {1001, 0x021, 0x02D, 0x02E},
    {1002, 0x022, 0x02F, 0x030},
    {1003, 0x023, 0x031, 0x032},
    {1004, 0x024, 0x033, 0x034},
    {1005, 0x025, 0x035, 0x036},
    {1006, 0x026, 0x037, 0x038},
    {1007, 0x550, 0x554, 0x555}, // bank 5
    {1008, 0x551, 0x556, 0x557},
});

// W83627DHG and W83677HG; the latter has no status bit for fan 3004.
inline constexpr auto kW83Alarms = std::to_array<AlarmRow>({
    {1000, AlarmSource::A, 0},
    {1001, AlarmSource::A, 1},
    {1002, AlarmSource::A, 2},
    {1003, AlarmSource::A, 3},
    {1004, AlarmSource::B, 0},
    {1005, AlarmSource::C, 5},
    {1006, AlarmSource::C, 4},
    {1007, AlarmSource::C, 0},
    {1008, AlarmSource::C, 1},
    {2000, AlarmSource::A, 4},
    {2001, AlarmSource::A, 5},
    {2002, AlarmSource::B, 5},
    {3000, AlarmSource::A, 6},
    {3001, AlarmSource::A, 7},
    {3003, AlarmSource::B, 3},
    {3004, AlarmSource::C, 7},
});
static_assert(kW83Alarms.back().id == 3004);
inline constexpr std::span<const AlarmRow> kW83AlarmsWithout3004{kW83Alarms.data(), kW83Alarms.size() - 1};

// Power-management events on, then the watchdog's among them.
inline constexpr auto kRegisterEnablePme = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x30, 0x01},
    {Bank::Config, StepKind::SetBits, 0xF7, 0x04},
});

// Writing the status back clears it.
inline constexpr RebootStatusRow kRegisterRebootStatus{.reg = 0xF4, .bit = 0x04};

inline constexpr auto kRegisterConfigureWatchdog = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0x30, 0x01},  // device on
    {Bank::Config, StepKind::SetBits, 0xF5, 0x02},  // mode
    {Bank::Config, StepKind::KeepBits, 0xF7, 0x0F}, // no other event reloads it
    {Bank::Config, StepKind::WriteTimeout, 0xF6},   // counts down from here
});

inline constexpr auto kRegisterPingWatchdog = std::to_array<Step>({
    {Bank::Config, StepKind::Read, 0x30},
    {Bank::Config, StepKind::WriteTimeout, 0xF6},
});

inline constexpr auto kRegisterStopWatchdog = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0xF6, 0x00},
});
inline constexpr StopLoop kRegisterStopLoop{.write = 0xFE, .reg = 0x30}; // device off

inline constexpr DeviceWatchdogMap kRegisterWatchdog{
    .enablePme = kRegisterEnablePme,
    .rebootStatus = kRegisterRebootStatus,
    .configure = kRegisterConfigureWatchdog,
    .ping = kRegisterPingWatchdog,
    .stop = kRegisterStopWatchdog,
    .stopLoop = kRegisterStopLoop,
};
