#include "sim/SimDisk.h"

#include <algorithm>
#include <array>
#include <utility>

namespace sim
{
namespace
{
constexpr int kTemperatureId = 194;
constexpr int kPowerOnHoursId = 9;
constexpr int kLowestTemperature = 19; // seen once in the life of every drive here

// Attribute flag words: bit 0 pre-failure, 1 updated online, 2 performance, 3 error rate, 4 event count, 5
// self-preserving.
constexpr auto kHardDiskRows = std::to_array<SmartRow>({
    {1, "Raw_Read_Error_Rate", 0x0B, 100, 100, 16, 0, 0},
    {2, "Throughput_Performance", 0x05, 132, 132, 54, 96, 0},
    {3, "Spin_Up_Time", 0x07, 151, 151, 24, 434, 0},
    {4, "Start_Stop_Count", 0x12, 100, 100, 0, 41, 0},
    {5, "Reallocated_Sector_Ct", 0x33, 100, 100, 10, 0, 0},
    {7, "Seek_Error_Rate", 0x0B, 100, 100, 67, 0, 0},
    {9, "Power_On_Hours", 0x12, 98, 98, 0, 0, 1},
    {10, "Spin_Retry_Count", 0x13, 100, 100, 60, 0, 0},
    {12, "Power_Cycle_Count", 0x32, 100, 100, 0, 41, 0},
    {192, "Power-Off_Retract_Count", 0x32, 100, 100, 0, 58, 0},
    {193, "Load_Cycle_Count", 0x12, 100, 100, 0, 1'210, 6},
    {194, "Temperature_Celsius", 0x02, 0, 0, 0, 0, 0},
    {196, "Reallocated_Event_Count", 0x32, 100, 100, 0, 0, 0},
    {197, "Current_Pending_Sector", 0x22, 100, 100, 0, 0, 0},
    {198, "Offline_Uncorrectable", 0x08, 100, 100, 0, 0, 0},
    {199, "UDMA_CRC_Error_Count", 0x0A, 200, 200, 0, 0, 0},
});

constexpr auto kSsdRows = std::to_array<SmartRow>({
    {5, "Reallocated_Sector_Ct", 0x33, 100, 100, 10, 0, 0},
    {9, "Power_On_Hours", 0x32, 98, 98, 0, 0, 1},
    {12, "Power_Cycle_Count", 0x32, 99, 99, 0, 47, 0},
    {177, "Wear_Leveling_Count", 0x13, 97, 97, 5, 61, 0},
    {179, "Used_Rsvd_Blk_Cnt_Tot", 0x13, 100, 100, 10, 0, 0},
    {187, "Reported_Uncorrect", 0x32, 100, 100, 0, 0, 0},
    {194, "Temperature_Celsius", 0x22, 0, 0, 0, 0, 0},
    {199, "UDMA_CRC_Error_Count", 0x3E, 100, 100, 0, 0, 0},
    {241, "Total_LBAs_Written", 0x32, 99, 99, 0, 6'120'448'512,
     7'200'000}, // beyond 32 bits, as real drives soon are
});

std::vector<SmartRow> InitialRows(DiskKind kind)
{
    switch (kind)
    {
    case DiskKind::HardDisk:
        return {kHardDiskRows.begin(), kHardDiskRows.end()};
    case DiskKind::Ssd:
        return {kSsdRows.begin(), kSsdRows.end()};
    case DiskKind::Nvme:
    case DiskKind::UsbStick:
        break;
    }
    return {};
}

// As long as drives of these sizes say that it takes.
std::chrono::minutes LongSelfTest(DiskKind kind)
{
    return kind == DiskKind::HardDisk ? std::chrono::minutes{828} : std::chrono::minutes{15};
}

std::int64_t WholeHours(SimTime span)
{
    return std::chrono::duration_cast<std::chrono::hours>(span).count();
}
} // namespace

CSimDisk::CSimDisk(DiskSpec spec)
    : m_spec(std::move(spec)),
      m_ramp{m_spec.restTemperature, m_spec.restTemperature, SimTime{0}, SimTime{0}},
      m_highestSet(m_spec.restTemperature),
      m_rows(InitialRows(m_spec.kind)),
      m_selfTest(m_spec.selfTests, LongSelfTest(m_spec.kind), Blocks()),
      m_use({m_spec.partitions, m_spec.mountPath, m_spec.fileSystem, m_spec.needsPrep})
{
    m_selfTest.SetSupported(m_spec.kind == DiskKind::HardDisk || m_spec.kind == DiskKind::Ssd);
}

int CSimDisk::Temperature(SimTime now) const
{
    const auto sinceStart = std::max(now - m_ramp.start, SimTime{0});
    if (sinceStart < m_ramp.length)
    {
        const auto way = (m_ramp.to - m_ramp.from) * sinceStart.count() / m_ramp.length.count();
        return m_ramp.from + static_cast<int>(way);
    }
    if (m_ramp.to != m_spec.restTemperature)
    {
        return m_ramp.to;
    }
    // A change every 20 s; the slot keeps the drives from moving in step.
    constexpr auto kWander = std::to_array<int>({0, 1, 0, 0, -1, 0});
    const auto step = now / std::chrono::seconds{20} + m_spec.slot;
    return m_ramp.to + kWander[static_cast<std::size_t>(step) % kWander.size()];
}

int CSimDisk::HighestTemperature(SimTime now) const
{
    constexpr int kSummerDay = 6;
    return std::max({m_highestSet, m_spec.restTemperature + kSummerDay, Temperature(now)});
}

bool CSimDisk::IsFailing() const
{
    return m_isFailing || (m_spec.kind == DiskKind::Nvme && m_nvme.spare < m_nvme.spareThreshold);
}

std::int64_t CSimDisk::Growth(const SmartRow& row, SimTime now) const
{
    // In seconds, so that fast counters do not stand still for an hour.
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - m_installed).count();
    return row.rawPerHour * seconds / 3'600;
}

std::vector<SmartRow> CSimDisk::Attributes(SimTime now) const
{
    std::vector<SmartRow> rows = m_rows;
    for (SmartRow& row : rows)
    {
        row.raw += Growth(row, now);
        if (row.id == kPowerOnHoursId)
        {
            row.raw += m_spec.powerOnHours;
        }
        if (row.id == kTemperatureId)
        {
            // Raw packs three 16-bit numbers: now, lowest, highest. The normalised value counts down from
            // 100.
            const std::int64_t highest = HighestTemperature(now);
            row.raw = Temperature(now) | (kLowestTemperature << 16) | (highest << 32);
            row.value = std::max(1, 100 - Temperature(now));
            row.worst = std::max(1, 100 - static_cast<int>(highest));
        }
    }
    return rows;
}

bool CSimDisk::CanSetAttribute(int id) const
{
    const auto hasId = [id](const SmartRow& row) { return row.id == id; };
    return id != kTemperatureId && std::any_of(m_rows.begin(), m_rows.end(), hasId);
}

std::int64_t CSimDisk::PowerOnHours(SimTime now) const
{
    return m_spec.powerOnHours + WholeHours(now - m_installed);
}

void CSimDisk::SetPresent(bool present, SimTime now)
{
    m_isPresent = present;
    if (!present)
    {
        m_selfTest.Stop(SelfTestEnd::Interrupted, now);
    }
}

void CSimDisk::SetTemperature(int degrees)
{
    m_ramp = {.from = degrees, .to = degrees};
    m_highestSet = std::max(m_highestSet, degrees);
}

void CSimDisk::WarmTo(int degrees, std::chrono::milliseconds length, SimTime now)
{
    m_ramp = {.from = Temperature(now), .to = degrees, .start = now, .length = length};
}

void CSimDisk::SetAttribute(int id, int value, std::optional<std::int64_t> raw, SimTime now)
{
    for (SmartRow& row : m_rows)
    {
        if (row.id != id)
        {
            continue;
        }
        row.value = value;
        row.worst = std::min(row.worst, value);
        if (raw)
        {
            row.raw = *raw - Growth(row, now) - (id == kPowerOnHoursId ? m_spec.powerOnHours : 0);
        }
    }
}

void CSimDisk::Replace(const std::string& serial, SimTime now)
{
    DiskSpec spec = m_spec;
    spec.serial = serial;
    spec.powerOnHours = 0;
    spec.partitions = 0;
    spec.mountPath.clear();
    spec.fileSystem.clear();
    spec.selfTests.clear();
    // Only drives in the bays are prepared for recording.
    spec.needsPrep = spec.kind == DiskKind::HardDisk;
    *this = CSimDisk(std::move(spec));
    m_installed = now;
}
} // namespace sim
