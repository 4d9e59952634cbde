#include "frame/Text.h"
#include "raid/RaidPrep.h"

#include <algorithm>
#include <array>

namespace
{
// Statuses that have the same way out.
enum class PrepPhase
{
    CanCreate,  // an array, for the first time or again
    Creating,   // step 1 runs
    CanPrepare, // partition, format and mount, for the first time or from a failed stage on
    Preparing,  // step 2 runs
    Complete,   // until it is reported
    Quiet,
};

PrepPhase PhaseOf(PrepStatus status)
{
    switch (status)
    {
    case PrepStatus::NeedsArray:
    case PrepStatus::CreateArrayError:
        return PrepPhase::CanCreate;
    case PrepStatus::CreatingArray:
        return PrepPhase::Creating;
    case PrepStatus::NeedsPrep:
    case PrepStatus::RaidPrepError:
    case PrepStatus::ErrorPartitioning:
    case PrepStatus::ErrorFormatting:
    case PrepStatus::ErrorMounting:
        return PrepPhase::CanPrepare;
    case PrepStatus::Prepping:
        return PrepPhase::Preparing;
    case PrepStatus::PrepComplete:
        return PrepPhase::Complete;
    case PrepStatus::Ok:
    case PrepStatus::Invalid:
        break;
    }
    return PrepPhase::Quiet;
}

struct PrepTransition
{
    PrepPhase from;
    PrepEvent event;
    PrepStatus to;
};

constexpr auto kTransitions = std::to_array<PrepTransition>({
    {PrepPhase::CanCreate, PrepEvent::ArrayStarted, PrepStatus::CreatingArray},
    {PrepPhase::CanCreate, PrepEvent::ArrayNotStarted, PrepStatus::CreateArrayError},

    {PrepPhase::Creating, PrepEvent::ArrayCreated, PrepStatus::NeedsPrep},
    {PrepPhase::Creating, PrepEvent::ArrayFailed, PrepStatus::CreateArrayError},

    {PrepPhase::CanPrepare, PrepEvent::ScriptStarted, PrepStatus::Prepping},
    {PrepPhase::CanPrepare, PrepEvent::ScriptNotStarted, PrepStatus::RaidPrepError},

    {PrepPhase::Preparing, PrepEvent::ScriptDone, PrepStatus::PrepComplete},
    {PrepPhase::Preparing, PrepEvent::MountingFailed, PrepStatus::ErrorMounting},
    {PrepPhase::Preparing, PrepEvent::FormattingFailed, PrepStatus::ErrorFormatting},
    {PrepPhase::Preparing, PrepEvent::PartitioningFailed, PrepStatus::ErrorPartitioning},
    {PrepPhase::Preparing, PrepEvent::ScriptFailed, PrepStatus::RaidPrepError},

    {PrepPhase::Complete, PrepEvent::CompletionReported, PrepStatus::Ok},
});

// A look at the units and drives decides anew, whatever was before, unless a step runs.
struct LookResult
{
    PrepEvent event;
    PrepStatus to;
};

constexpr auto kLookResults = std::to_array<LookResult>({
    {PrepEvent::NothingToDo, PrepStatus::Ok},
    {PrepEvent::TooFewDisks, PrepStatus::Invalid},
    {PrepEvent::EnoughDisks, PrepStatus::NeedsArray},
    {PrepEvent::UnmountedVolume, PrepStatus::NeedsPrep},
});

// What raidprep.sh prints, in the order in which it counts.
struct FailureWord
{
    std::string_view word;
    PrepEvent event;
};

constexpr auto kFailureWords = std::to_array<FailureWord>({
    {"mount_part_error", PrepEvent::MountingFailed},
    {"format_error", PrepEvent::FormattingFailed},
    {"partitioning_error", PrepEvent::PartitioningFailed},
});
} // namespace

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

std::optional<PrepStatus> NextPrepStatus(PrepStatus status, PrepEvent event)
{
    const PrepPhase phase = PhaseOf(status);
    for (const PrepTransition& row : kTransitions)
    {
        if (row.from == phase && row.event == event)
        {
            return row.to;
        }
    }
    if (phase != PrepPhase::Creating && phase != PrepPhase::Preparing)
    {
        for (const LookResult& row : kLookResults)
        {
            if (row.event == event)
            {
                return row.to;
            }
        }
    }
    return std::nullopt;
}

PrepEvent ScriptFailure(std::string_view output)
{
    const auto* found =
        std::find_if(kFailureWords.begin(), kFailureWords.end(),
                     [&output](const FailureWord& row) { return Contains(output, row.word); });
    return found != kFailureWords.end() ? found->event : PrepEvent::ScriptFailed;
}
