// Who else uses the ports that the plug-in is about to use on a real machine.
#pragma once

#include <string>
#include <vector>

namespace host
{
// What to warn of, given the kernel's list of port ranges (/proc/ioports): one line for each driver that
// claims a configuration port of a Super I/O chip or what looks like its hardware monitor, naming driver and
// range. Firmware's and buses' reservations are no claims. Without root's rights the kernel shows every
// address as 0; a driver is then known by its name only. Lines in another form are skipped.
std::vector<std::string> PortClaimWarnings(const std::string& portList);

// The same for this machine; nothing when the list cannot be read.
std::vector<std::string> PortClaimWarnings();
} // namespace host
