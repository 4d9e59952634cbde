#include "frame/XmlFile.h"

#include "frame/Xml.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>

namespace
{
// Holds one file name for the length of a scope. Savers of the same file spin: a save is one write, one
// fsync, one rename.
class CFileNameLock
{
public:
    explicit CFileNameLock(const std::string& name) : m_name(name)
    {
        for (;;)
        {
            const std::lock_guard lock(Names().mutex);
            if (Names().busy.insert(m_name).second)
            {
                return;
            }
        }
    }
    ~CFileNameLock()
    {
        const std::lock_guard lock(Names().mutex);
        Names().busy.erase(m_name);
    }
    CFileNameLock(const CFileNameLock&) = delete;
    CFileNameLock& operator=(const CFileNameLock&) = delete;

private:
    struct BusyNames
    {
        std::mutex mutex;
        std::set<std::string> busy;
    };
    static BusyNames& Names()
    {
        static BusyNames names;
        return names;
    }

    const std::string& m_name;
};

std::string ErrnoText(const char* what)
{
    const int error = errno;
    return what + std::to_string(error) + " - " + std::strerror(error);
}

// fsync on a file system that has no notion of it is not a failed save.
bool SyncFailed(std::FILE* file)
{
    return fsync(fileno(file)) != 0 && errno != EINVAL && errno != EROFS;
}

// Empty on success. Only the first error is kept.
std::string WritePending(const std::string& name, const std::string& text)
{
    std::FILE* file = std::fopen(name.c_str(), "wb");
    if (file == nullptr)
    {
        return ErrnoText("create error ");
    }
    std::string error;
    const std::size_t written = std::fwrite(text.data(), 1, text.size(), file);
    if (std::ferror(file) != 0)
    {
        error = ErrnoText("write error ");
    }
    // A full disk often shows only when the buffer is flushed.
    if ((std::fflush(file) != 0 || SyncFailed(file)) && error.empty())
    {
        error = ErrnoText("write error ");
    }
    if (std::fclose(file) != 0 && error.empty())
    {
        error = ErrnoText("close error ");
    }
    if (error.empty() && written != text.size())
    {
        error = "only wrote " + std::to_string(written) + " of " + std::to_string(text.size()) + " bytes";
    }
    return error;
}

bool LoadWithRoot(CXmlDocument& document, const std::string& name)
{
    return document.LoadFile(name) && document.Root() != nullptr;
}
} // namespace

bool SaveXmlFile(CXmlDocument& document, const std::string& name)
{
    const std::string text = PrintIndented(document);
    const std::string pending = name + ".pending";
    const CFileNameLock lock(name);

    const std::string error = WritePending(pending, text);
    if (!error.empty())
    {
        unlink(pending.c_str());
        document.SetError(kXmlErrorOpeningFile, error);
        return false;
    }
    // ENOENT: somebody has completed or removed the pending file; there is nothing left to do here.
    if (std::rename(pending.c_str(), name.c_str()) != 0 && errno != ENOENT)
    {
        document.SetError(kXmlErrorOpeningFile, ErrnoText("Failed to rename .xml.pending to .xml file "));
        return false;
    }
    return true;
}

bool LoadXmlFile(CXmlDocument& document, const std::string& name)
{
    const std::string pending = name + ".pending";
    const CFileNameLock lock(name);
    if (LoadWithRoot(document, pending))
    {
        std::rename(pending.c_str(), name.c_str());
        return true;
    }
    return LoadWithRoot(document, name);
}
