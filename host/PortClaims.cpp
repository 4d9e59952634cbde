#include "host/PortClaims.h"

#include "host/SafeText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace host
{
namespace
{
struct Claim
{
    unsigned first = 0;
    unsigned last = 0;
    std::string_view owner;
};

// Index and data port of the configuration, at the two places where a chip can have them.
constexpr std::array<unsigned, 2> kConfigPorts{0x2E, 0x4E};

// The hardware monitor's index and data port are the ports 5 and 6 of a block of 8.
constexpr unsigned kMonitorBlock = 8;
constexpr unsigned kMonitorOffset = 5;

// How the names of kernel drivers for such chips begin, those of their watchdogs and pins included.
constexpr std::array<std::string_view, 5> kChipDrivers{"nct67", "w836", "it87", "f718", "f719"};

// What reserves a range without using it.
constexpr std::array<std::string_view, 3> kReservations{"PCI ", "pnp ", "ACPI "};

template <std::size_t kCount>
bool BeginsWithAny(std::string_view text, const std::array<std::string_view, kCount>& beginnings)
{
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [text](std::string_view beginning) { return text.starts_with(beginning); });
}

bool TakeHex(std::string_view& text, unsigned& value)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return result.ec == std::errc();
}

bool Take(std::string_view& text, std::string_view word)
{
    if (!text.starts_with(word))
    {
        return false;
    }
    text.remove_prefix(word.size());
    return true;
}

// "  0295-0296 : nct6775.656"; the number behind a device's name is left out.
std::optional<Claim> ParseClaim(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    Claim claim;
    if (!TakeHex(line, claim.first) || !Take(line, "-") || !TakeHex(line, claim.last) || !Take(line, " : "))
    {
        return std::nullopt;
    }
    const std::size_t dot = line.find_last_not_of("0123456789");
    claim.owner = dot != std::string_view::npos && line[dot] == '.' ? line.substr(0, dot) : line;
    return claim;
}

bool IsInTheWay(const Claim& claim)
{
    if (BeginsWithAny(claim.owner, kChipDrivers))
    {
        return true;
    }
    const bool isConfig =
        std::any_of(kConfigPorts.begin(), kConfigPorts.end(),
                    [&claim](unsigned port) { return claim.first <= port + 1 && claim.last >= port; });
    const bool isMonitor = claim.first % kMonitorBlock == kMonitorOffset && claim.last == claim.first + 1;
    return (isConfig || isMonitor) && !BeginsWithAny(claim.owner, kReservations);
}
} // namespace

std::vector<std::string> PortClaimWarnings(const std::string& portList)
{
    std::vector<std::string> warnings;
    std::string_view rest = portList;
    while (!rest.empty())
    {
        const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
        const auto claim = ParseClaim(rest.substr(0, rest[end] == '\n' ? end : end + 1));
        rest.remove_prefix(end + 1);
        if (!claim || !IsInTheWay(*claim))
        {
            continue;
        }
        const std::string range = claim->last != 0
                                      ? fmt::format("0x{:04X}-0x{:04X}", claim->first, claim->last)
                                      : "whose addresses only root may see";
        std::string warning = fmt::format("the kernel's driver {} claims the ports {}: two programs at one "
                                          "chip disturb each other, so unload it first",
                                          SafeText(claim->owner), range);
        // A driver's range stands below the same range of its device.
        if (std::find(warnings.begin(), warnings.end(), warning) == warnings.end())
        {
            warnings.push_back(std::move(warning));
        }
    }
    return warnings;
}

std::vector<std::string> PortClaimWarnings()
{
    std::ifstream file("/proc/ioports", std::ios::binary);
    return PortClaimWarnings({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
}
} // namespace host
