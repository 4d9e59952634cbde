// State of a preparation, of a single disk or of a RAID data volume.
#pragma once

#include <cstdint>

enum class PrepStatus : std::int32_t
{
    Invalid = -99, // nothing decided yet; RAID only
    CreateArrayError = -5,
    RaidPrepError = -4,
    ErrorPartitioning = -3,
    ErrorFormatting = -2,
    ErrorMounting = -1,
    Ok = 0,
    NeedsPrep = 1,
    Prepping = 2,
    PrepComplete = 3,
    NeedsArray = 4,
    CreatingArray = 5,
};
