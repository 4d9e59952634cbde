// One drive of the simulated appliance: what it is, and how its SMART values stand at a moment.
#pragma once

#include "sim/DriveUse.h"
#include "sim/SelfTest.h"
#include "sim/SimTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim
{
enum class DiskKind
{
    HardDisk, // SATA
    Ssd,      // SATA
    Nvme,
    UsbStick, // listed by a scan, but nothing SMART can be read through its bridge
};

// One row of an ATA attribute table.
struct SmartRow
{
    int id = 0;
    const char* name = "";
    std::uint16_t flags = 0; // attribute flag word: bit 0 pre-failure, bit 1 updated online
    int value = 0;           // normalised: 1 to 253, lower is worse
    int worst = 0;           // lowest value so far
    int threshold = 0;       // 0 never fails
    std::int64_t raw = 0;
    std::int64_t rawPerHour = 0; // growth of raw while the appliance runs
};

// What the drive is and how the appliance uses it.
struct DiskSpec
{
    std::string device; // "/dev/sda"
    DiskKind kind = DiskKind::HardDisk;
    std::string model;
    std::string serial;
    std::string firmware;
    std::int64_t bytes = 0;
    int restTemperature = 0; // degrees Celsius
    std::int64_t powerOnHours = 0;
    int slot = 0; // as the system information script numbers it
    int partitions = 0;
    std::string mountPath{}; // "" when not mounted
    std::string fileSystem{};
    bool needsPrep = false;
    std::vector<SelfTestEntry> selfTests{}; // its log when switched on, newest first
};

struct NvmeHealth
{
    int spare = 100; // percent left
    int spareThreshold = 10;
    std::int64_t mediaErrors = 0;
};

// Not locked: the appliance's mutex guards it.
class CSimDisk
{
public:
    explicit CSimDisk(DiskSpec spec);

    [[nodiscard]] const DiskSpec& Spec() const { return m_spec; }
    [[nodiscard]] bool IsPresent() const { return m_isPresent; }
    [[nodiscard]] bool HasSmart() const { return m_spec.kind != DiskKind::UsbStick; }

    // Degrees Celsius. A drive at its rest temperature wanders by one degree; one that the scenario has moved
    // holds exactly what it was given.
    [[nodiscard]] int Temperature(SimTime now) const;
    [[nodiscard]] int HighestTemperature(SimTime now) const;

    // The drive's own verdict. On NVMe also when less spare is left than its threshold.
    [[nodiscard]] bool IsFailing() const;

    // The ATA attribute table in ID order; empty for other drives.
    [[nodiscard]] std::vector<SmartRow> Attributes(SimTime now) const;
    // Every row but the temperature, which follows the temperature itself.
    [[nodiscard]] bool CanSetAttribute(int id) const;

    [[nodiscard]] std::int64_t PowerOnHours(SimTime now) const;
    [[nodiscard]] const NvmeHealth& Nvme() const { return m_nvme; }

    [[nodiscard]] std::int64_t Blocks() const { return m_spec.bytes / 512; }
    [[nodiscard]] const CSelfTest& SelfTest() const { return m_selfTest; }
    CSelfTest& SelfTest() { return m_selfTest; }

    // What the drive is used for at the moment; the DiskSpec tells the moment of switching on.
    [[nodiscard]] DriveUse Use(SimTime now) const { return m_use.At(now); }
    std::vector<PrepStep> StartPrep(const std::string& mountPath, SimTime now)
    {
        return m_use.Prepare(mountPath, now);
    }
    void FailNextPrep(PrepStage stage) { m_use.FailNext(stage); }

    // A drive that is pulled loses the self-test it runs.
    void SetPresent(bool present, SimTime now);
    void SetFailing(bool failing) { m_isFailing = failing; }
    void SetTemperature(int degrees);
    // From the present temperature to `degrees`, evenly over `length`.
    void WarmTo(int degrees, std::chrono::milliseconds length, SimTime now);
    // Pre: CanSetAttribute(id). The worst value follows a lower value down and stays there.
    void SetAttribute(int id, int value, std::optional<std::int64_t> raw, SimTime now);
    void SetSpare(int percent) { m_nvme.spare = percent; }
    void SetMediaErrors(std::int64_t count) { m_nvme.mediaErrors = count; }
    // A new drive of the same model in the same slot: healthy, empty, its hours counted from `now`.
    void Replace(const std::string& serial, SimTime now);

private:
    struct Ramp
    {
        int from = 0;
        int to = 0;
        SimTime start{0};
        std::chrono::milliseconds length{0};
    };

    [[nodiscard]] std::int64_t Growth(const SmartRow& row, SimTime now) const;

    DiskSpec m_spec;
    bool m_isPresent = true;
    bool m_isFailing = false;
    Ramp m_ramp;
    SimTime m_installed{0};
    int m_highestSet; // highest temperature the drive has been sent to
    std::vector<SmartRow> m_rows;
    NvmeHealth m_nvme;
    CSelfTest m_selfTest;
    CDriveUse m_use;
};
} // namespace sim
