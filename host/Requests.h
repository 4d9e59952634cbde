// Control lines ("threshold /dev/sdc 5 50") and the documents for the plug-in that they become.
#pragma once

#include "host/Picture.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace host
{
// Longest control line, its line feed included.
inline constexpr std::size_t kMaxControlLine = 4096;

// Largest document that is passed on from a file.
inline constexpr std::size_t kMaxRawFile = std::size_t{4} * 1024 * 1024;

enum class ControlKind
{
    Error,       // text: what is wrong
    Request,     // text: document for the plug-in's Write
    Config,      // text: change document for its IOCTL
    RequestFile, // text: path of a file with such a document
    ConfigFile,
    Status,
    Ports, // the trace of port accesses
    Quit,
};

struct ControlCommand
{
    ControlKind kind = ControlKind::Error;
    std::string text;
};

// What a person may write after "send", for the help.
inline constexpr const char* kControlHelp =
    "refresh | threshold DISK MIN MAX | test short|long|stop|report [DISK] | prep NAME | "
    "hotspare DISK on|off | set-schedule short|long DAYS START | sensors | status | ports | "
    "raw-status FILE | raw-config FILE | quit";

// Turns a "set-schedule" start of "+N", N minutes from now, into seconds after midnight. `secondsOfDay` is
// now, in local time. Other words stay.
void ResolveStart(std::vector<std::string>& words, int secondsOfDay);

// `picture` tells disks from volumes; names that it does not know are refused.
ControlCommand ParseControl(const std::vector<std::string>& words, const Picture& picture);

// Words of a control line: separated by blanks; a word in double quotes may hold blanks, and \" and \\ in it
// stand for the character itself. JoinWords is the way back.
std::vector<std::string> SplitControlLine(std::string_view line);
std::string JoinControlWords(const std::vector<std::string>& words);

// As an attribute value between double quotes.
std::string EscapeXml(std::string_view text);
} // namespace host
