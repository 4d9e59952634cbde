#include "hwmon/Chips.h"

#include <array>

namespace
{
constexpr auto kChips = std::to_array<ChipRow>({
    {0x1500, 0x04, CreateFintek81966a},
    {0x8610, 0x04, CreateIt8612},
    {0x8728, 0x04, CreateIt8728},
    {0x8770, 0x04, CreateIt8772e},
    {0xA020, 0x0B, CreateW83627},
    {0xB470, 0x0B, CreateW83677},
    {0xC330, 0x0B, CreateNct6776},
    {0xC800, 0x0B, CreateNct6791},
    {0xD2B0, 0x0B, CreateNct5525d},
});
static_assert(IdsAscend<ChipRow>(kChips));
} // namespace

std::span<const ChipRow> SupportedChips()
{
    return kChips;
}

std::unique_ptr<CSuperIo> CreateSuperIo(const std::string& motherboardVendor, const SuperIoInfo& info,
                                        CPortIo& ports, const CClock& clock)
{
    for (const ChipRow& chip : kChips)
    {
        if (chip.id == info.chipId)
        {
            return chip.create({.info = info, .ports = ports, .clock = clock}, motherboardVendor);
        }
    }
    return nullptr;
}
