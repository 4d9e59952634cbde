#include "tqselftest/ReportXml.h"

#include <string_view>

namespace tqselftest
{
namespace
{
void AppendEscaped(std::string& xml, std::string_view text)
{
    for (const char c : text)
    {
        switch (c)
        {
        case '&':
            xml += "&amp;";
            break;
        case '<':
            xml += "&lt;";
            break;
        case '>':
            xml += "&gt;";
            break;
        case '"':
            xml += "&quot;";
            break;
        default:
            // Bytes beyond ASCII might be half a character, which swallows the closing quote.
            xml += c >= ' ' && c < '\x7F' ? c : '?';
        }
    }
}

void AppendAttribute(std::string& xml, std::string_view name, std::string_view value)
{
    xml.append(" ").append(name).append("=\"");
    AppendEscaped(xml, value);
    xml += '"';
}

template <typename Integer>
void AppendNumber(std::string& xml, std::string_view name, Integer value)
{
    AppendAttribute(xml, name, std::to_string(value));
}

void AppendEntry(std::string& xml, const LogEntry& entry)
{
    xml += "        <Report";
    AppendNumber(xml, "ID", entry.id);
    AppendNumber(xml, "StatusCode", static_cast<int>(entry.result));
    AppendNumber(xml, "Timestamp", entry.hours);
    if (entry.failedLba)
    {
        AppendNumber(xml, "FailLBA", *entry.failedLba);
    }
    AppendAttribute(xml, "Type", entry.type);
    AppendAttribute(xml, "Status", entry.status);
    xml += "/>\n";
}
} // namespace

std::string FormatReport(const std::vector<NamedDrive>& drives)
{
    std::string xml = "<?xml version=\"1.0\"?>\n<SelfTests>\n";
    for (const auto& [name, state] : drives)
    {
        xml += "    <Disk";
        AppendAttribute(xml, "Name", name);
        AppendNumber(xml, "SelfTestStatus",
                     static_cast<int>(state.isRunning ? Result::InProgress : state.last));
        if (state.isRunning && state.remaining)
        {
            AppendNumber(xml, "PcRemain", *state.remaining);
        }
        xml += ">\n";
        for (const LogEntry& entry : state.log)
        {
            AppendEntry(xml, entry);
        }
        xml += "    </Disk>\n";
    }
    return xml + "</SelfTests>\n";
}
} // namespace tqselftest
