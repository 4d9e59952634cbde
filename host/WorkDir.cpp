#include "host/WorkDir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace host
{
namespace
{
namespace fs = std::filesystem;

constexpr const char* kPluginName = "libcorvanepi.so";

// Private to the user: the runtime directory of the session, else a directory in /tmp with the user's number.
fs::path BaseDir()
{
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime == '/' && access(runtime, W_OK) == 0)
    {
        return fs::path(runtime) / "corvanehost";
    }
    return "/tmp/corvanehost-" + std::to_string(getuid());
}

// Anybody may create names in /tmp: only a real directory of ours that is closed to others will do.
bool MakePrivate(const fs::path& path, std::string& error)
{
    struct stat status = {};
    if ((mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) || lstat(path.c_str(), &status) != 0)
    {
        error = path.string() + ": " + std::strerror(errno);
        return false;
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != getuid() || (status.st_mode & 077U) != 0)
    {
        error = path.string() + " is not a private directory of this user";
        return false;
    }
    return true;
}
} // namespace

std::string MakeFreshWorkDir(std::string& error)
{
    const fs::path base = BaseDir();
    if (!MakePrivate(base, error))
    {
        return {};
    }
    std::string path = base / "run-XXXXXX";
    if (mkdtemp(path.data()) == nullptr)
    {
        error = path + ": " + std::strerror(errno);
        return {};
    }
    // Replaced in one step, so that a request never finds it missing.
    const fs::path link = base / "latest";
    const fs::path next = path + ".link";
    std::error_code ignored; // the link is a convenience
    fs::create_symlink(path, next, ignored);
    fs::rename(next, link, ignored);
    return path;
}

bool EnterWorkDir(const std::string& path, std::string& error)
{
    std::error_code code;
    const bool created = fs::create_directories(path, code);
    if (!code && created)
    {
        fs::permissions(path, fs::perms::owner_all, code);
    }
    if (!code)
    {
        fs::current_path(path, code);
    }
    if (code)
    {
        error = path + ": " + code.message();
        return false;
    }
    return true;
}

bool WriteMissingFiles(const std::map<std::string, std::string>& files, std::string& error)
{
    for (const auto& [name, content] : files)
    {
        const fs::path path(name);
        std::error_code code;
        if (fs::exists(path, code))
        {
            continue;
        }
        if (path.has_parent_path())
        {
            fs::create_directories(path.parent_path(), code);
        }
        std::ofstream file(path, std::ios::binary);
        file << content;
        file.close();
        if (!file)
        {
            error = name + " cannot be written";
            return false;
        }
    }
    return true;
}

std::string FindSocket()
{
    std::error_code code;
    if (fs::exists(kSocketName, code))
    {
        return kSocketName;
    }
    return BaseDir() / "latest" / kSocketName;
}

std::string FindPlugin()
{
    std::error_code code;
    const fs::path program = fs::read_symlink("/proc/self/exe", code).parent_path();
    constexpr std::array<const char*, 7> kPlaces{".",         "..",         "../lib",  "../lib/corvanepi",
                                                 "../plugin", "../manager", "../frame"};
    for (const char* place : kPlaces)
    {
        const fs::path path = program / place / kPluginName;
        if (fs::exists(path, code))
        {
            return fs::weakly_canonical(path, code);
        }
    }
    return {};
}
} // namespace host
