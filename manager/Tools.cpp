// CCorvane: which external tools are there, and the module document that tells the host.
#include "frame/Log.h"
#include "frame/Xml.h"
#include "manager/Corvane.h"
#include "storage/Smartctl.h"

#include <tinyxml.h>

namespace
{
constexpr const char* kPluginName = "CorvanePI";
constexpr const char* kPluginVersion = "26.1.7.3";
constexpr const char* kSelfTestTool = "tqselftest";

const char* FoundText(bool found)
{
    return found ? "found - enabling" : "missing - disabling";
}

void AddLibrary(TiXmlElement& module, const std::string& name, const std::string& file,
                const std::string& version)
{
    TiXmlElement& library = AddChild(module, "Library");
    library.SetAttribute("Name", name);
    library.SetAttribute("Filename", file);
    library.SetAttribute("Version", version);
}

void AddLibrary(TiXmlElement& module, const ToolVersion& tool)
{
    AddLibrary(module, tool.toolName, tool.displayName, tool.version);
}
} // namespace

void CCorvane::DetectTools()
{
    CXmlDocument document;
    TiXmlElement& root = StartDocument(document);
    root.SetAttribute("Delta", 0);
    TiXmlElement& module = AddChild(AddChild(root, "Modules"), "Module");
    module.SetAttribute("Name", kPluginName);
    module.SetAttribute("ID", kPluginElementId);
    module.SetAttribute("Version", kPluginVersion);

    const ToolVersion smartctl = ExecuteSmartctlVersion();
    if (!smartctl.error.empty())
    {
        Log(LogError, "SMARTCTL: failed to get version (%s)", smartctl.error.c_str());
    }
    else
    {
        AddLibrary(module, smartctl.toolName, smartctl.displayName,
                   smartctl.version + " " + smartctl.revision + " " + smartctl.build);
        m_features |= kFeatureSmartctl;
    }
    Log(LogWarning, "smartctl %s SMART feature.", FoundText((m_features & kFeatureSmartctl) != 0));

    if (m_description.isQSeries)
    {
        m_selfTests.DisableTool();
    }
    else if (const std::string version = m_selfTests.GetToolVersion(); !version.empty())
    {
        AddLibrary(module, kSelfTestTool, kSelfTestTool, version);
    }
    Log(LogWarning, "tqselftest %s self-test feature.", FoundText(m_selfTests.IsToolAvailable()));

    const ToolVersion storcli = m_environment.lsi.version();
    if (!storcli.error.empty())
    {
        Log(LogError, "STORCLI: failed to get version (%s)", storcli.error.c_str());
    }
    else
    {
        AddLibrary(module, storcli);
        m_features |= kFeatureStorcli;
    }
    Log(LogWarning, "storcli %s LSI RAID feature.", FoundText((m_features & kFeatureStorcli) != 0));

    const ToolVersion arcconf = m_environment.adaptec.version();
    if (!arcconf.error.empty())
    {
        Log(LogError, "ARCCONF: failed to get version (%s)", arcconf.error.c_str());
    }
    else
    {
        AddLibrary(module, arcconf);
        m_features |= kFeatureArcconf;
    }
    Log(LogWarning, "arcconf %s Adaptec RAID feature.", FoundText((m_features & kFeatureArcconf) != 0));
    SendDocument(document, MessageCategory::ConfigDocument);
}
