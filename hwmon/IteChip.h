// The ITE family: no register banks, 12 mV steps, counting fans of 16 bits. The algorithms, and the rows that
// its chips have in common.
#pragma once

#include "hwmon/DeviceChip.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

struct IteVoltageRow
{
    struct Limits
    {
        std::uint16_t high;
        std::uint16_t low;
    };

    int id;
    std::uint16_t value; // one step is 12 mV before Conversion
    std::optional<Limits> limits;
};

struct IteTemperatureRow
{
    int id;
    std::uint16_t value; // degrees Celsius, signed
    std::uint16_t high;
    std::uint16_t low;
};

struct IteFanRow
{
    int id;
    std::uint16_t countLow; // ticks of half a turn
    std::uint16_t countHigh;
    std::uint16_t limitLow;
    std::uint16_t limitHigh;
};

struct IteChipMap
{
    std::span<const IteVoltageRow> voltages;
    std::span<const IteTemperatureRow> temperatures;
    std::span<const IteFanRow> fans;
    std::span<const AlarmRow> alarms;
    std::span<const Step> start;
    std::uint8_t startBits; // of the configuration register; set again after each poll
    DeviceWatchdogMap watchdog;
};

constexpr bool RowsAreSound(const IteChipMap& map)
{
    CRegisterCheck registers;
    for (const IteVoltageRow& row : map.voltages)
    {
        registers.Add(row.value);
        if (row.limits)
        {
            registers.Add({row.limits->high, row.limits->low});
        }
    }
    for (const IteTemperatureRow& row : map.temperatures)
    {
        registers.Add({row.value, row.high, row.low});
    }
    for (const IteFanRow& row : map.fans)
    {
        registers.Add({row.countLow, row.countHigh, row.limitLow, row.limitHigh});
    }
    return registers.AreUnique() && IdsAscend(map.voltages) && IdsAscend(map.temperatures) &&
           IdsAscend(map.fans) && IdsAscend(map.alarms) && StatusBitsAreUnique(map.alarms);
}

class CIteChip : public CDeviceChip
{
protected:
    CIteChip(const ChipContext& context, std::string description, const IteChipMap& map);

    void DoInitHwMonitoring() override;
    void DoPollSensors() override;

private:
    void ReadVoltages();
    void ReadTemperatures();
    void ReadFans();
    void ReadAlarms();
    void ReadVoltage(SensorDef& sensor, const IteVoltageRow& row);
    void ReadTemperature(SensorDef& sensor, const IteTemperatureRow& row);
    void ReadFan(SensorDef& sensor, const IteFanRow& row);

    const IteChipMap m_map;
};

// --- Rows common to the chips of the family

inline constexpr auto kIteTemperatures = std::to_array<IteTemperatureRow>({
    {2100, 0x29, 0x40, 0x41},
    {2101, 0x2A, 0x42, 0x43},
    {2102, 0x2B, 0x44, 0x45},
    {2103, 0x2C, 0x46, 0x47}, // IT8612E only
});
inline constexpr std::span<const IteTemperatureRow> kIteThreeTemperatures{kIteTemperatures.data(), 3};

// IT8728E and IT8612E.
inline constexpr auto kIteThreeFans = std::to_array<IteFanRow>({
    {3100, 0x0D, 0x18, 0x10, 0x1B},
    {3101, 0x0E, 0x19, 0x11, 0x1C},
    {3102, 0x0F, 0x1A, 0x12, 0x1D},
});

// A is the fans' status register, B the voltages', C the temperatures'. Channel 1107 of these two chips has
// no limit registers.
inline constexpr auto kIteThreeFansAlarms = std::to_array<AlarmRow>({
    {1100, AlarmSource::B, 0},
    {1101, AlarmSource::B, 1},
    {1102, AlarmSource::B, 2},
    {1103, AlarmSource::B, 3},
    {1104, AlarmSource::B, 4},
    {1105, AlarmSource::B, 5},
    {1106, AlarmSource::B, 6},
    {1107, AlarmSource::OutsideMinMax},
    {2100, AlarmSource::C, 0},
    {2101, AlarmSource::C, 1},
    {2102, AlarmSource::C, 2},
    {3100, AlarmSource::A, 0},
    {3101, AlarmSource::A, 1},
    {3102, AlarmSource::A, 2},
});

// Seconds in 0x73, its high byte in 0x74. 0x72 holds unit and output: IT8772E has one output less.
inline constexpr auto kIteConfigureWatchdog = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x71, 0x00},
    {Bank::Config, StepKind::Write, 0x72, 0xD0},
    {Bank::Config, StepKind::WriteTimeout, 0x73},
    {Bank::Config, StepKind::Write, 0x74, 0x00},
});

inline constexpr auto kItePingWatchdog = std::to_array<Step>({
    {Bank::Config, StepKind::WriteTimeout, 0x73},
    {Bank::Config, StepKind::Write, 0x74, 0x00},
});

inline constexpr auto kIteStopWatchdog = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x73, 0x00},
    {Bank::Config, StepKind::Write, 0x74, 0x00},
});
inline constexpr StopLoop kIteStopLoop{.write = {}, .reg = 0x71};

inline constexpr DeviceWatchdogMap kIteWatchdog{
    .configure = kIteConfigureWatchdog,
    .ping = kItePingWatchdog,
    .stop = kIteStopWatchdog,
    .stopLoop = kIteStopLoop,
};
