#include "sim/SuperIoChips.h"

#include <array>

namespace sim
{
namespace
{
constexpr auto kChips = std::to_array<const SuperIoRows*>({
    &kNct6791Rows,
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
