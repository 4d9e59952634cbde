// The three files that the manager reads at its start: corvanepi.xml, tqsysteminfo.xml and hwmconfig.xml, in
// this order with NULs between them. A manager starts on them and saves; another starts on what it saved, and
// a third on what that saved: once trimmed and limited, nothing changes any more.
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "frame/Xml.h"
#include "storage/SmartConfig.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/fuzz/FuzzManager.h"
#include "tests/support/TempDir.h"

#include <algorithm>
#include <array>

namespace
{
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

const CTempDir& Directory()
{
    static const CTempDir directory;
    return directory;
}

// One life of a manager on the files as they are; its last configuration document.
std::string StartAndSave()
{
    g_configurations = 0;
    CCorvane manager(BareEnvironment(Directory().File(""), Directory().File("corvanepi.xml")));
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
    std::string rest = Text(data, size);
    for (const char* name : kFiles)
    {
        const auto [text, after] = Cut(rest);
        Directory().Write(name, text);
        rest = after;
    }
    CXmlDocument document;
    if (document.LoadFile(Directory().File("tqsysteminfo.xml")))
    {
        CheckDescription(document);
    }
    if (document.LoadFile(Directory().File("hwmconfig.xml")))
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
