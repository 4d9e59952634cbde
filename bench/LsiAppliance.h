// An appliance whose disks hang on a MegaRAID controller: a mirror of two, a data volume on the rest.
#pragma once

#include "bench/BenchHost.h"

#include <string>

namespace bench
{
// What "storcli /c0/eall/sall show all J" prints for so many drives; 94 KB for 29.
std::string MakeDisksListing(int drives);

// How the drives answer smartctl through the controller's bus device.
enum class SmartThrough
{
    Smartctl,   // with a report
    Controller, // not at all: storcli's table of SMART data serves
};

// The answers to every command line that the plug-in uses on it.
Answer LsiAppliance(int drives, SmartThrough smart);
} // namespace bench
