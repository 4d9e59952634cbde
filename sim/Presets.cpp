#include "sim/Presets.h"

#include <array>
#include <string_view>

namespace sim
{
namespace
{
struct PresetRow
{
    std::string_view name;
    AppliancePreset (*make)();
};

constexpr auto kPresets = std::to_array<PresetRow>({
    {"plain", &MakePlainPreset},
    {"ipmi", &MakeIpmiPreset},
    {"lsi", &MakeLsiPreset},
    {"adaptec", &MakeAdaptecPreset},
});
} // namespace

std::optional<AppliancePreset> MakePreset(const std::string& name)
{
    for (const PresetRow& row : kPresets)
    {
        if (row.name == name)
        {
            AppliancePreset preset = row.make();
            preset.name = name;
            return preset;
        }
    }
    return std::nullopt;
}

std::vector<std::string> ListPresets()
{
    std::vector<std::string> names;
    names.reserve(kPresets.size());
    for (const PresetRow& row : kPresets)
    {
        names.emplace_back(row.name);
    }
    return names;
}
} // namespace sim
