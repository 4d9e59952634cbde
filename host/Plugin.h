// The plug-in's shared library and its six functions.
#pragma once

#include "host/PluginAbi.h"

#include <memory>
#include <string>

namespace host
{
// Loaded while the object lives. The calls pass straight through; who may call what and when is the caller's
// matter.
class CPlugin
{
public:
    // Null with `error` set when the library cannot be loaded or lacks one of the functions.
    static std::unique_ptr<CPlugin> Open(const std::string& path, std::string& error);

    ~CPlugin();
    CPlugin(const CPlugin&) = delete;
    CPlugin& operator=(const CPlugin&) = delete;

    std::int32_t Load(HostInfo* info, LoadRecord* record) const { return m_load(info, record); }
    std::int32_t Open() const { return m_open(); }
    std::int32_t Close() const { return m_close(); }
    std::int32_t Write(WriteRequest* request, WriteReply* reply) const { return m_write(request, reply); }
    std::int32_t Ioctl(IoctlRequest* request, IoctlReply* reply) const { return m_ioctl(request, reply); }
    std::int32_t Unload() const { return m_unload(); }

private:
    explicit CPlugin(void* library) : m_library(library) {}

    void* m_library;
    std::int32_t (*m_load)(HostInfo*, LoadRecord*) = nullptr;
    std::int32_t (*m_open)() = nullptr;
    std::int32_t (*m_close)() = nullptr;
    std::int32_t (*m_write)(WriteRequest*, WriteReply*) = nullptr;
    std::int32_t (*m_ioctl)(IoctlRequest*, IoctlReply*) = nullptr;
    std::int32_t (*m_unload)() = nullptr;
};
} // namespace host
