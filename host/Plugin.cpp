#include "host/Plugin.h"

#include <dlfcn.h>

namespace host
{
namespace
{
template <typename Function>
bool Find(void* library, const char* name, Function& function, std::string& error)
{
    void* symbol = dlsym(library, name);
    if (symbol == nullptr)
    {
        error = std::string("it has no function ") + name;
        return false;
    }
    function = reinterpret_cast<Function>(symbol);
    return true;
}
} // namespace

std::unique_ptr<CPlugin> CPlugin::Open(const std::string& path, std::string& error)
{
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
    {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "unknown reason";
        return nullptr;
    }
    std::unique_ptr<CPlugin> plugin(new CPlugin(library));
    if (!Find(library, "Load", plugin->m_load, error) || !Find(library, "Open", plugin->m_open, error) ||
        !Find(library, "Close", plugin->m_close, error) || !Find(library, "Write", plugin->m_write, error) ||
        !Find(library, "IOCTL", plugin->m_ioctl, error) || !Find(library, "Unload", plugin->m_unload, error))
    {
        return nullptr;
    }
    return plugin;
}

CPlugin::~CPlugin()
{
    dlclose(m_library);
}
} // namespace host
