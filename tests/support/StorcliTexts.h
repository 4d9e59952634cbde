// Answers in storcli's shapes, and its command lines.
#pragma once

#include "tests/support/FakeHost.h"

#include <string>
#include <vector>

namespace storcli
{
inline const CFakeHost::Arguments kController{"storcli", "/c0", "show", "all", "J"};
inline const CFakeHost::Arguments kEnclosures{"storcli", "/c0/eall", "show", "all", "J"};
inline const CFakeHost::Arguments kVolumes{"storcli", "/c0/vall", "show", "all", "J"};
inline const CFakeHost::Arguments kDisks{"storcli", "/c0/eall/sall", "show", "all", "J"};
inline const CFakeHost::Arguments kSmart{"storcli", "/c0/eall/sall", "show", "smart", "J"};

// `data`: the members of "Response Data"; none at all when it is empty.
std::string Success(const std::string& data);
std::string Failure();

// One drive. `dg` and the counts are JSON values.
struct Drive
{
    std::string enclosure = "252";
    std::string slot = "0";
    std::string did = "6";
    std::string state = "Onln";
    std::string dg = "0";
    std::string size = "1.818 TB";
    std::string serial = "  S1 ";
    std::string mediaErrors = "0";
    std::string otherErrors = "0";
    std::string predictive = "0";
    std::string alert = "\"No\"";
    std::string temperature = " 34C (93.20 F)";
    std::string row = "0"; // in its drive group
};

std::string Disks(const std::vector<Drive>& drives);

struct Volume
{
    std::string ids = "0/0"; // drive group and number
    std::string type = "RAID1";
    std::string state = "Optl";
    std::string size = "465.25 GB";
    std::string operations = "None";
};

std::string Volumes(const std::vector<Volume>& volumes);

// Topology and list of drives: drive group 0 is a mirror, any other a RAID 5.
std::string Controller(const std::vector<Drive>& drives);
std::string Enclosures();

// SMART data of one drive: attributes 5 and 9 and zeros, `bytes` in all.
std::string Smart(const std::string& path, int bytes = 512);
} // namespace storcli
