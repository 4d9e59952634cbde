#include "sim/SuperIoChips.h"

#include <array>

namespace sim
{
namespace
{
constexpr auto kChips = std::to_array<const SuperIoRows*>({
    &kF81966Rows,
    &kIt8612Rows,
    &kIt8728Rows,
    &kIt8772Rows,
    &kNct5525Rows,
    &kNct6776Rows,
    &kNct6791Rows,
    &kW83627Rows,
    &kW83677Rows,
});
} // namespace

const SuperIoRows* FindChip(std::string_view name)
{
    for (const SuperIoRows* rows : kChips)
    {
        if (rows->name == name)
        {
            return rows;
        }
    }
    return nullptr;
}

std::vector<std::string> ListChips()
{
    std::vector<std::string> names;
    names.reserve(kChips.size());
    for (const SuperIoRows* rows : kChips)
    {
        names.emplace_back(rows->name);
    }
    return names;
}
} // namespace sim
