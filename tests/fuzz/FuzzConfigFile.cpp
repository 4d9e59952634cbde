// The three files that the manager reads at its start: corvanepi.xml, tqsysteminfo.xml and hwmconfig.xml, in
// this order with NULs between them. A manager starts on them and saves; another starts on what it saved, and
// a third on what that saved: once trimmed and limited, nothing changes any more.
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "frame/Xml.h"
#include "manager/Corvane.h"
#include "storage/SmartConfig.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace
{
void Require(bool condition)
{
    if (!condition)
    {
        std::abort();
    }
}

CCorvane* g_manager = nullptr;
int g_configurations = 0;
std::string g_saved; // last configuration document

// The host: closes the plug-in with its fourth configuration document, the last one of a start: modules,
// storage pass, start, loop.
std::int32_t Receive(const HostMessage* message, void* /*reserved*/)
{
    if (message->category == static_cast<std::uint64_t>(MessageCategory::ConfigDocument))
    {
        g_saved.assign(reinterpret_cast<const char*>(message->data), message->length);
        if (++g_configurations == 4)
        {
            g_manager->Stop();
        }
    }
    return 0;
}

// In memory where there is such a place, because each run saves with care. Removed at the end of the process.
class CDirectory
{
public:
    CDirectory()
    {
        const std::filesystem::path memory = "/dev/shm";
        const bool there = std::filesystem::is_directory(memory);
        m_name =
            ((there ? memory : std::filesystem::temp_directory_path()) / "corvanepi-fuzz-XXXXXX").string();
        Require(mkdtemp(m_name.data()) != nullptr);
    }
    ~CDirectory()
    {
        std::error_code ignored; // a leftover directory does no harm
        std::filesystem::remove_all(m_name, ignored);
    }
    CDirectory(const CDirectory&) = delete;
    CDirectory& operator=(const CDirectory&) = delete;

    [[nodiscard]] const std::string& Name() const { return m_name; }

private:
    std::string m_name;
};

std::string File(const char* name)
{
    static const CDirectory directory;
    return directory.Name() + "/" + name;
}

void WriteFile(const char* name, const std::string& text)
{
    std::FILE* file = std::fopen(File(name).c_str(), "wb");
    Require(file != nullptr);
    Require(std::fwrite(text.data(), 1, text.size(), file) == text.size());
    Require(std::fclose(file) == 0);
}

Environment FuzzEnvironment()
{
    const auto missing = [] { return ToolVersion{.error = "not there"}; };
    Environment environment = SystemEnvironment();
    environment.paths = {.systemDescription = File("first.xml"),
                         .systemDescriptionFallback = File("tqsysteminfo.xml"),
                         .configuration = File("corvanepi.xml"),
                         .boardFile = File("hwmconfig.xml"),
                         .ipmiFile = File("corvanepi-ipmi.xml"),
                         .bySlot = File("none/")};
    environment.detectSuperIo = [] { return SuperIoInfo{}; };
    environment.createSuperIo = [](const std::string&, const SuperIoInfo&) { return nullptr; };
    environment.lsi = {.version = missing, .create = {}};
    environment.adaptec = {.version = missing, .create = {}};
    return environment;
}

// One life of a manager on the files as they are; its last configuration document.
std::string StartAndSave()
{
    g_configurations = 0;
    CCorvane manager(FuzzEnvironment());
    g_manager = &manager;
    manager.Run();
    Require(g_configurations == 4);
    return g_saved;
}

void CheckDescription(const CXmlDocument& document)
{
    const SystemDescription description = ReadSystemDescription(document);
    Require(!(description.isKSeries && description.isQSeries));
    Require(!description.layout || (description.layout->rows > 0 && description.layout->cols > 0));
    Require(!description.raidLevel ||
            (description.layout && (description.raidLevel == '5' || description.raidLevel == '6')));
}

void CheckBoardFile(const CXmlDocument& document)
{
    SmartConfig config;
    ReadSmartConfig(document, "B1", config);
    Require(std::none_of(config.driveSlots.begin(), config.driveSlots.end(),
                         [](const auto& slot) { return slot.second == 0; }));
    Require(std::none_of(config.ignoreLbas.begin(), config.ignoreLbas.end(),
                         [](const IgnoreLbaRule& rule)
                         { return rule.model.empty() || rule.firstLba == 0 || rule.lastLba == 0; }));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::array<const char*, 3> kFiles = {"corvanepi.xml", "tqsysteminfo.xml", "hwmconfig.xml"};
    std::string rest(reinterpret_cast<const char*>(data), size);
    for (const char* name : kFiles)
    {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        WriteFile(name, rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    CXmlDocument document;
    if (document.LoadFile(File("tqsysteminfo.xml")))
    {
        CheckDescription(document);
    }
    if (document.LoadFile(File("hwmconfig.xml")))
    {
        CheckBoardFile(document);
    }

    SetHostCallback(Receive);
    tq::ipc::CloseIpc(true);
    StartAndSave();
    const std::string second = StartAndSave();
    Require(StartAndSave() == second);
    return 0;
}
