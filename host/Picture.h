// The picture of the appliance as the plug-in's documents draw it. Pure data: what it looks like is the
// views' business. All texts are bytes from outside, bounded but not cleaned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host
{
// Bounds of a picture. What a document has beyond them is left out.
inline constexpr std::size_t kMaxDisks = 512;
inline constexpr std::size_t kMaxVolumes = 64;
inline constexpr std::size_t kMaxSensors = 256;
inline constexpr std::size_t kMaxModules = 64;
inline constexpr std::size_t kMaxAttributes = 256; // of a disk
inline constexpr std::size_t kMaxEntries = 64;     // of any shorter list
inline constexpr std::size_t kMaxText = 512;       // bytes of a text

// The state that disks, volumes, controllers and sensors have alike.
struct HealthPicture
{
    std::string message;
    bool alarm = false;
    std::int64_t sinceSec = 0; // UTC time that came with the present alarm state, 0 before the first
};

struct AttributePicture
{
    int flag = 0;
    int current = 0;
    int worst = 0;
    int raw = 0;
    int threshold = 0;
};

struct RangePicture
{
    int min = 0;
    int max = 0;
};

inline constexpr int kTemperatureId = 194;

struct DiskPicture
{
    std::string name;
    std::string otherName; // the controller's name for the drive
    std::string model;
    std::string serial;
    std::string firmware;
    std::string controllerName;
    std::string unitName;
    std::vector<std::string> drives; // data drives on it
    int bay = -1;                    // slot or port
    bool attached = true;
    bool hotSpare = false;
    bool canConfigureHotSpare = false;
    bool selfTestSupport = false;
    bool supportsPrep = false;
    std::optional<int> prepStatus;
    std::optional<int> selfTestStatus;
    int selfTestPercent = -1;
    std::int64_t selfTestSec = 0;
    std::optional<RangePicture> range; // of the temperature
    std::map<int, AttributePicture> attributes;
    HealthPicture health;
    bool hasStatus = false; // a status document has spoken of it

    // Degrees Celsius.
    [[nodiscard]] std::optional<int> Temperature() const;

    // The name in use, or the controller's when there is none.
    [[nodiscard]] const std::string& DisplayName() const { return name.empty() ? otherName : name; }
};

struct VolumePicture
{
    std::string name;
    std::string type;
    int sizeGB = 0;
    std::optional<int> prepStatus;
    HealthPicture health;
};

struct ControllerPicture
{
    std::string name;
    std::string model;
    std::string serial;
    std::string firmware;
    std::string driver;
    int drives = 0;
    HealthPicture health;
};

struct SensorPicture
{
    int id = 0;
    std::string kind; // element name: Voltage, Temperature, FanSpeed
    std::string label;
    int value = 0;
    std::optional<int> min;
    std::optional<int> max;
    HealthPicture health;
};

struct LibraryPicture
{
    std::string name;
    std::string file;
    std::string version;
};

struct ModulePicture
{
    std::string name;
    std::string version;
    std::vector<LibraryPicture> libraries;
};

struct SchedulePicture
{
    int days = 0;     // bit 0 is Sunday
    int startSec = 0; // after local midnight
};

struct WatchdogPicture
{
    std::string source;
    bool enabled = false;
    int timeoutSec = 0;
};

// The board's Super I/O chip, as the plug-in's log tells of it.
struct ChipPicture
{
    std::string name; // empty: none found, or not yet
    bool watchdogStarted = false;
};

// The hardware watchdog at one moment.
struct WatchdogState
{
    bool isArmed = false;
    int timeoutSec = 0;
    std::optional<std::int64_t> sincePingSec;
    std::optional<std::int64_t> leftSec; // until it resets the machine
    unsigned resets = 0;                 // those seen from outside: of a simulated appliance

    // Half of the time has passed without a ping, although one comes every second.
    [[nodiscard]] bool IsLate() const { return isArmed && leftSec && *leftSec * 2 <= timeoutSec; }
};

struct SettingsPicture
{
    int refreshIntervalSec = 0;
    int smartIntervalSec = 0;
    int selfTestTimeoutSec = 0;
    std::string dailyLogTime;
    bool selfTestSupport = false;
    bool logCommandLine = false;
    std::map<int, SchedulePicture> schedule; // 0 short test, 1 long test
    std::optional<WatchdogPicture> watchdog;
    std::optional<int> sensorStatus;
};

struct SystemPicture
{
    std::string board;
    std::string bios;
    std::string memory;
    std::string operatingSystem;
    std::vector<std::string> processors;
};

// Which documents have been seen, and how many.
struct DocumentCount
{
    std::uint64_t status = 0;
    std::uint64_t config = 0;
    std::uint64_t rejected = 0; // not well-formed, or not for this host
    bool modulesSeen = false;
    bool storageSeen = false; // a configuration document with the storage section
};

struct Picture
{
    std::vector<ModulePicture> modules;
    SettingsPicture settings;
    SystemPicture system;
    std::vector<DiskPicture> disks; // in the order of the configuration document
    std::optional<ControllerPicture> controller;
    std::vector<VolumePicture> volumes;
    std::vector<SensorPicture> sensors;
    ChipPicture chip;
    std::optional<WatchdogState> watchdog; // as it is now; none without a chip
    DocumentCount documents;

    [[nodiscard]] const DiskPicture* FindDisk(const std::string& name) const;
    [[nodiscard]] const VolumePicture* FindVolume(const std::string& name) const;
    [[nodiscard]] std::size_t AlarmCount() const;
};

// Word for a preparation state, or for a self-test result; empty for a number without one.
std::string PrepText(int status);
std::string SelfTestText(int status);
} // namespace host
