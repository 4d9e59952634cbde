// How long a program may run. The plug-in waits for its programs without a limit, on its one main loop, so
// the bound that keeps a hung tool from stopping everything is here.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host
{
inline constexpr std::chrono::seconds kDefaultTimeLimit{120};

// Name under which the commands that create an array are limited.
inline constexpr const char* kCreateLimitName = "create";

class CTimeLimits
{
public:
    // "NAME=SECONDS": NAME is a program without its directory, or "create" for the commands that create an
    // array; 0 seconds is no limit. False when it is not of this form.
    bool Set(const std::string& text);

    // None when the command may run for ever: array creation and the preparation scripts, unless set.
    [[nodiscard]] std::optional<std::chrono::seconds> LimitFor(const std::vector<std::string>& argv) const;

private:
    std::map<std::string, std::chrono::seconds> m_limits{
        {"driveprep.sh", std::chrono::seconds(0)},
        {"raidprep.sh", std::chrono::seconds(0)},
        {kCreateLimitName, std::chrono::seconds(0)},
    };
};
} // namespace host
