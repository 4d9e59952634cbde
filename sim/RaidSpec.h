// What a RAID controller and its drives are when the appliance is switched on.
#pragma once

#include "sim/SimDisk.h"

#include <string>
#include <vector>

namespace sim
{
enum class RaidKind
{
    None,
    Lsi,     // driven by storcli
    Adaptec, // driven by arcconf
};

// A backplane. On an Adaptec controller one hangs on each connector, "CN0" and "CN1".
struct EnclosureSpec
{
    int id = 0; // enclosure ID, or number of the connector
    int slots = 0;
    std::string product;
};

struct RaidDriveSpec
{
    std::string name; // as scenarios and create commands name it: "64:3" enclosure and slot, "0:11" channel
                      // and device
    int enclosure = 0;
    int slot = 0;
    int deviceId = 0; // unique behind the controller
    DiskSpec disk{};  // its device and its use are not looked at
    bool isPlugged = true;
    bool isGlobalSpare = false;
};

// A drive group with the one volume on it.
struct ArraySpec
{
    int group = 0;
    int volume = 0;
    int level = 1;
    std::string label;
    std::vector<std::string> drives; // names, row by row
    std::string osDevice;            // "/dev/sda"
    std::vector<std::string> mountPaths;
};

struct RaidSpec
{
    RaidKind kind = RaidKind::None;
    std::string model;
    std::string serial;
    std::string firmware;
    std::string driver;
    std::vector<EnclosureSpec> enclosures{};
    std::vector<RaidDriveSpec> drives{}; // by enclosure and slot
    std::vector<ArraySpec> arrays{};
    std::string dataMountPath{}; // where the preparation script mounts the data volume
};
} // namespace sim
