#include "tqselftest/Trace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>

namespace tqselftest
{
namespace
{
constexpr const char* kFile = "logs/tqselftest.log";
constexpr const char* kOldFile = "logs/tqselftest.log.old";
constexpr off_t kLargest = off_t{1} << 20;
constexpr mode_t kMode = 0644;
} // namespace

void Trace(const std::string& line)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 32> time{};
    std::strftime(time.data(), time.size(), "%F %T ", &local);
    const std::string text = time.data() + line + "\n";
    const int file = open(kFile, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode);
    // In one piece: runs that overlap do not mix their lines.
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    {
        std::fputs(text.c_str(), stderr);
    }
    if (file < 0)
    {
        return;
    }
    struct stat status = {};
    if (fstat(file, &status) == 0 && status.st_size > kLargest)
    {
        std::rename(kFile, kOldFile);
    }
    close(file);
}
} // namespace tqselftest
