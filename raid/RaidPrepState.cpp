#include "raid/RaidPrep.h"

const char* PrepStatusText(PrepStatus status)
{
    switch (status)
    {
    case PrepStatus::CreateArrayError:
        return "CreateArrayError";
    case PrepStatus::RaidPrepError:
        return "RaidPrepError";
    case PrepStatus::ErrorPartitioning:
        return "ErrorPartitioning";
    case PrepStatus::ErrorFormatting:
        return "ErrorFormatting";
    case PrepStatus::ErrorMounting:
        return "ErrorMounting";
    case PrepStatus::Ok:
        return "Ok";
    case PrepStatus::NeedsPrep:
        return "NeedsPrep";
    case PrepStatus::Prepping:
        return "Prepping";
    case PrepStatus::PrepComplete:
        return "PrepComplete";
    case PrepStatus::NeedsArray:
        return "NeedsArray";
    case PrepStatus::CreatingArray:
        return "CreatingArray";
    case PrepStatus::Invalid:
        break;
    }
    return "Invalid";
}
