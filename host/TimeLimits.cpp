#include "host/TimeLimits.h"

#include <algorithm>
#include <charconv>

namespace host
{
namespace
{
constexpr int kLongestLimit = 7 * 24 * 3600;

bool HasWord(const std::vector<std::string>& argv, const char* word)
{
    return std::find(argv.begin(), argv.end(), word) != argv.end();
}

// storcli "/c0 add vd ...", arcconf "create 1 logicaldrive ...".
bool CreatesArray(const std::string& program, const std::vector<std::string>& argv)
{
    if (program == "storcli")
    {
        return HasWord(argv, "add") && HasWord(argv, "vd");
    }
    return program == "arcconf" && (HasWord(argv, "create") || HasWord(argv, "CREATE"));
}
} // namespace

bool CTimeLimits::Set(const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
    {
        return false;
    }
    int seconds = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + equals + 1, end, seconds);
    if (result.ec != std::errc() || result.ptr != end || seconds < 0 || seconds > kLongestLimit)
    {
        return false;
    }
    m_limits[text.substr(0, equals)] = std::chrono::seconds(seconds);
    return true;
}

std::optional<std::chrono::seconds> CTimeLimits::LimitFor(const std::vector<std::string>& argv) const
{
    const std::string& path = argv.front();
    std::string name = path.substr(path.rfind('/') + 1); // npos + 1 is 0
    if (CreatesArray(name, argv))
    {
        name = kCreateLimitName;
    }
    const auto found = m_limits.find(name);
    const std::chrono::seconds limit = found != m_limits.end() ? found->second : kDefaultTimeLimit;
    return limit.count() == 0 ? std::nullopt : std::optional(limit);
}
} // namespace host
