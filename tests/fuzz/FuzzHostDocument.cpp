// Documents from the host, one after another, through the handlers of a manager that runs: its main loop on
// this thread, its start with every program refused, its disks those of a saved configuration. Each buffer
// comes back once, and what the manager says stays readable.
//
// Input: documents with NULs between them; the first byte of each tells its way ('C': a configuration
// change).
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "frame/Xml.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/fuzz/FuzzManager.h"

#include <sys/mman.h>
#include <tinyxml.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <vector>

namespace
{
constexpr const char* kSaved =
    R"(<zDVR><Storage TqselftestLogEnabled="1"><Disk SerialNumber="S1"><Thresholds><Threshold Id="194" Min="1" Max="50"/>)"
    R"(</Thresholds></Disk><Disk SerialNumber="S2" ControllerName="/c0" OtherName="/c0/e1/s2" UnitName="/c0/v1"/>)"
    R"(</Storage></zDVR>)";

// More documents than this say nothing new.
constexpr std::size_t kMaxDocuments = 16;

CCorvane* g_manager = nullptr;
std::size_t g_lent = 0;
std::atomic<std::size_t> g_released{0};

void RequireReadable(const std::string& text)
{
    CXmlDocument document;
    Require(document.Parse(text));
    Require(document.Root("zDVR") != nullptr);
}

// The host: reads every document, and closes the plug-in when it has its buffers back.
std::int32_t Receive(const HostMessage* message, void* /*reserved*/)
{
    switch (static_cast<MessageCategory>(message->category))
    {
    case MessageCategory::StatusDocument:
    case MessageCategory::ConfigDocument:
        RequireReadable({reinterpret_cast<const char*>(message->data), message->length});
        break;
    case MessageCategory::BufferRelease:
        // Before its handler has ended nobody else may have had this buffer: its mark is still there.
        Require(*reinterpret_cast<const char*>(message->data) != '\0');
        *reinterpret_cast<char*>(message->data) = '\0';
        if (++g_released == g_lent)
        {
            g_manager->Stop();
        }
        break;
    default:
        break;
    }
    return 0;
}

// A configuration that can be read and not be written, so that a save costs no disk.
std::string SavedConfiguration()
{
    static const int file = memfd_create("configuration", 0);
    if (ftruncate(file, 0) != 0 || pwrite(file, kSaved, std::strlen(kSaved), 0) < 0)
    {
        std::abort();
    }
    return "/proc/self/fd/" + std::to_string(file);
}

std::vector<std::string> Documents(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> documents{""};
    for (std::size_t i = 0; i < size && documents.size() <= kMaxDocuments; ++i)
    {
        if (data[i] == 0)
        {
            documents.emplace_back();
        }
        else
        {
            documents.back() += static_cast<char>(data[i]);
        }
    }
    documents.emplace_back(); // always one, to stop at
    return documents;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    SetHostCallback(Receive);
    tq::ipc::CloseIpc(true);
    const std::vector<std::string> documents = Documents(data, size);

    // A buffer is a mark and the document behind it; what is lent is the whole of it, or all but the mark.
    std::vector<std::string> buffers;
    g_lent = documents.size();
    g_released = 0;
    CCorvane manager(BareEnvironment("/proc/self/none/", SavedConfiguration()));
    g_manager = &manager;
    buffers.reserve(documents.size());
    for (const std::string& document : documents)
    {
        // A blank in front is no part of a document.
        std::string& buffer = buffers.emplace_back(" " + document.substr(document.empty() ? 0 : 1));
        if (document.starts_with('C'))
        {
            Require(manager.PostConfigUpdate(static_cast<std::uint32_t>(buffer.size()), buffer.data()));
        }
        else
        {
            manager.PostStatusUpdate(buffer.data(), static_cast<std::int32_t>(buffer.size()));
        }
    }
    manager.Run();
    Require(g_released == g_lent);
    return 0;
}
