// The picture as plain text, and the words that all views share.
#pragma once

#include "host/Picture.h"
#include "host/PictureMerge.h"
#include "host/RaidPicture.h"

#include <string>

namespace host
{
// One row of the disk table; all texts safe.
struct DiskRow
{
    std::string bay;
    std::string name;
    std::string model;
    std::string serial;
    std::string temperature; // "35 C", "35 C (5-55)" is not in it
    std::string state;       // alarm or health message, missing, preparation and self-test
    bool alarm = false;
    bool attached = true;
};

DiskRow DescribeDisk(const DiskPicture& disk);

// "CPU 45 C (max 80)", "Vcore 1012 mV (800 to 1500)", "Fan 0 rpm (min 500), ALARM ... since ..."
std::string DescribeSensor(const SensorPicture& sensor);

// The same without the alarm's words.
std::string DescribeReading(const SensorPicture& sensor);

// The board's chip and watchdog: "NAME, watchdog 40 s: pinged 1 s ago, 39 s left"; empty without a chip.
std::string DescribeChip(const Picture& picture);
std::string DescribeController(const ControllerPicture& controller);

// A volume with its members and spares by bay: "/c0/v1 RAID5 29807 GB, Optl, members 64:0 64:1 64:2".
std::string DescribeVolume(const RaidVolume& row);
// The disks behind the controller that belong to no volume; empty when there are none.
std::string DescribeLooseDisks(const RaidPicture& raid);
// "[######--------]"
std::string ProgressBar(int percent);

// "smartctl 7.4, tqselftest 2.1" of all modules, with the module's own name and version first.
std::string DescribeModules(const Picture& picture);

// One line for one change, without the time: "ALARM /dev/sdc: threshold exceeded (58 C)".
std::string DescribeChange(const Picture& picture, const PictureChange& change);

// Disks, controller, volumes, sensors and the number of alarms; then modules, system and settings. Lines that
// each end in a line feed.
std::string DeviceText(const Picture& picture);
std::string SystemText(const Picture& picture);
} // namespace host
