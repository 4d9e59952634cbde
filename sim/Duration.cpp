#include "sim/Duration.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace sim
{
namespace
{
struct Unit
{
    std::string_view name;
    std::int64_t milliseconds;
};

constexpr auto kUnits = std::to_array<Unit>({{"h", 3'600'000}, {"m", 60'000}, {"s", 1'000}, {"ms", 1}});
constexpr std::int64_t kLongest = std::int64_t{365} * 24 * 3'600'000;

std::size_t UnitIndex(std::string_view name)
{
    std::size_t index = 0;
    while (index < kUnits.size() && kUnits[index].name != name)
    {
        ++index;
    }
    return index;
}
} // namespace

std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text)
{
    std::int64_t total = 0;
    std::size_t nextUnit = 0; // units before this one have been used or passed
    do
    {
        std::int64_t count = 0;
        const auto number = std::from_chars(text.data(), text.data() + text.size(), count);
        if (number.ec != std::errc{} || count < 0 || count > kLongest)
        {
            return std::nullopt;
        }
        text.remove_prefix(static_cast<std::size_t>(number.ptr - text.data()));
        const std::string_view name = text.substr(0, text.find_first_of("0123456789"));
        const std::size_t unit = UnitIndex(name);
        if (unit == kUnits.size() || unit < nextUnit || count > kLongest / kUnits[unit].milliseconds)
        {
            return std::nullopt;
        }
        total += count * kUnits[unit].milliseconds;
        nextUnit = unit + 1;
        text.remove_prefix(name.size());
    } while (!text.empty());
    if (total > kLongest)
    {
        return std::nullopt;
    }
    return std::chrono::milliseconds{total};
}
} // namespace sim
