#include "host/Requests.h"

#include "host/PluginAbi.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace host
{
namespace
{
using Words = std::vector<std::string>;

constexpr int kTestShort = 0;
constexpr int kTestLong = 1;
constexpr int kTestStop = 2;
constexpr int kTestReport = 3;

ControlCommand Error(std::string text)
{
    return {ControlKind::Error, std::move(text)};
}

std::string Storage(std::string_view attributes, std::string_view children, bool change)
{
    return fmt::format(R"(<?xml ?><zDVR{}><Storage ID="{}"{}>{}</Storage></zDVR>)",
                       change ? R"( Delta="1")" : "", kPluginId, attributes, children);
}

ControlCommand Request(std::string_view attributes, std::string_view children)
{
    return {ControlKind::Request, Storage(attributes, children, false)};
}

ControlCommand Config(std::string_view children)
{
    return {ControlKind::Config, Storage("", children, true)};
}

std::optional<int> Number(const std::string& text)
{
    int value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

std::optional<int> TestKind(const std::string& word)
{
    if (word == "short")
    {
        return kTestShort;
    }
    if (word == "long")
    {
        return kTestLong;
    }
    if (word == "stop")
    {
        return kTestStop;
    }
    return word == "report" ? std::optional(kTestReport) : std::nullopt;
}

// "mon,wed", "daily", "none", or the bit mask itself (bit 0 is Sunday).
std::optional<int> Days(const std::string& text)
{
    constexpr int kEveryDay = 127;
    if (text == "daily")
    {
        return kEveryDay;
    }
    if (text == "none")
    {
        return 0;
    }
    if (const auto mask = Number(text))
    {
        return *mask >= 0 && *mask <= kEveryDay ? mask : std::nullopt;
    }
    static constexpr std::array<std::string_view, 7> kNames{"sun", "mon", "tue", "wed", "thu", "fri", "sat"};
    int mask = 0;
    for (std::size_t from = 0; from <= text.size();)
    {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        const auto name = std::find(kNames.begin(), kNames.end(), text.substr(from, comma - from));
        if (name == kNames.end())
        {
            return std::nullopt;
        }
        mask |= 1 << (name - kNames.begin());
        from = comma + 1;
    }
    return mask;
}

constexpr int kDay = 24 * 3600;

// "HH:MM" or seconds after local midnight.
std::optional<int> StartOfTest(const std::string& text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
    {
        const auto seconds = Number(text);
        return seconds && *seconds >= 0 && *seconds < kDay ? seconds : std::nullopt;
    }
    const auto hour = Number(text.substr(0, colon));
    const auto minute = Number(text.substr(colon + 1));
    if (!hour || !minute || *hour < 0 || *hour > 23 || *minute < 0 || *minute > 59)
    {
        return std::nullopt;
    }
    return *hour * 3600 + *minute * 60;
}

std::string DiskElement(const std::string& name, std::string_view attributes, std::string_view children = {})
{
    return fmt::format(R"(<Disk Name="{}"{}>{}</Disk>)", EscapeXml(name), attributes, children);
}

ControlCommand UnknownDisk(const std::string& name)
{
    return Error("there is no disk " + name);
}

ControlCommand Threshold(const Words& words, const Picture& picture)
{
    const auto min = Number(words[2]);
    const auto max = Number(words[3]);
    if (!min || !max || *min > *max)
    {
        return Error("the range wants two whole numbers, the smaller one first");
    }
    if (picture.FindDisk(words[1]) == nullptr)
    {
        return UnknownDisk(words[1]);
    }
    return Config(
        DiskElement(words[1], "",
                    fmt::format(R"(<Thresholds><Threshold Id="{}" Min="{}" Max="{}"/></Thresholds>)",
                                kTemperatureId, *min, *max)));
}

ControlCommand Test(const Words& words, const Picture& picture)
{
    const auto test = TestKind(words[1]);
    if (!test)
    {
        return Error("test wants short, long, stop or report");
    }
    const std::string attribute = fmt::format(R"( SelfTest="{}")", *test);
    if (words.size() == 2)
    {
        return Request(attribute, "");
    }
    return picture.FindDisk(words[2]) != nullptr ? Request("", DiskElement(words[2], attribute))
                                                 : UnknownDisk(words[2]);
}

ControlCommand Prep(const Words& words, const Picture& picture)
{
    if (picture.FindVolume(words[1]) != nullptr)
    {
        return Request("", fmt::format(R"(<Volume Name="{}" StartPrep="1"/>)", EscapeXml(words[1])));
    }
    return picture.FindDisk(words[1]) != nullptr ? Request("", DiskElement(words[1], R"( StartPrep="1")"))
                                                 : Error("there is no disk or volume " + words[1]);
}

// What the plug-in would refuse is refused here: a refused request keeps it from scanning until the next
// change.
ControlCommand HotSpare(const Words& words, const Picture& picture)
{
    const bool on = words[2] == "on";
    if (!on && words[2] != "off")
    {
        return Error("hotspare wants on or off");
    }
    const DiskPicture* const disk = picture.FindDisk(words[1]);
    if (disk == nullptr)
    {
        return UnknownDisk(words[1]);
    }
    if (disk->hotSpare == on)
    {
        return Error(words[1] + (on ? " is a hot spare already" : " is no hot spare"));
    }
    if (!disk->canConfigureHotSpare)
    {
        return Error(words[1] + " cannot be made a hot spare or released: it is no free disk, or there is no "
                                "data volume");
    }
    return Config(DiskElement(words[1], on ? R"( Hotspare="1")" : R"( Hotspare="0")"));
}

ControlCommand Schedule(const Words& words, const Picture& /*picture*/)
{
    const auto test = TestKind(words[1]);
    const auto days = Days(words[2]);
    const auto start = StartOfTest(words[3]);
    if (!test || *test > kTestLong || !days || !start)
    {
        return Error("set-schedule wants short or long, days such as mon,thu or daily or none, and a time "
                     "such as 01:30");
    }
    return Config(
        fmt::format(R"(<SelfTestSchedule SelfTest="{}" Days="{}" Start="{}"/>)", *test, *days, *start));
}

struct Verb
{
    std::string_view name;
    std::size_t fewest; // words, the verb included
    std::size_t most;
    ControlCommand (*make)(const Words&, const Picture&);
};

constexpr auto kVerbs = std::to_array<Verb>({
    {"refresh", 1, 1, [](const Words&, const Picture&) { return Config(R"(<Refresh Controllers="all"/>)"); }},
    {"threshold", 4, 4, Threshold},
    {"test", 2, 3, Test},
    {"prep", 2, 2, Prep},
    {"hotspare", 3, 3, HotSpare},
    {"set-schedule", 4, 4, Schedule},
    {"sensors", 1, 1,
     [](const Words&, const Picture&)
     {
         return ControlCommand{
             ControlKind::Request,
             fmt::format(R"(<?xml ?><zDVR><Sensors ID="{}" Refresh="1"/></zDVR>)", kPluginId)};
     }},
    {"status", 1, 1,
     [](const Words&, const Picture&) {
         return ControlCommand{ControlKind::Status, {}};
     }},
    {"ports", 1, 1,
     [](const Words&, const Picture&) {
         return ControlCommand{ControlKind::Ports, {}};
     }},
    {"raw-status", 2, 2,
     [](const Words& w, const Picture&) {
         return ControlCommand{ControlKind::RequestFile, w[1]};
     }},
    {"raw-config", 2, 2,
     [](const Words& w, const Picture&) {
         return ControlCommand{ControlKind::ConfigFile, w[1]};
     }},
    {"quit", 1, 1,
     [](const Words&, const Picture&) {
         return ControlCommand{ControlKind::Quit, {}};
     }},
});
} // namespace

void ResolveStart(std::vector<std::string>& words, int secondsOfDay)
{
    if (words.size() == 4 && words[0] == "set-schedule" && words[3].starts_with('+'))
    {
        const auto minutes = Number(words[3].substr(1));
        if (minutes && *minutes >= 0 && *minutes < kDay / 60)
        {
            words[3] = std::to_string((secondsOfDay + *minutes * 60) % kDay);
        }
    }
}

ControlCommand ParseControl(const std::vector<std::string>& words, const Picture& picture)
{
    const std::string_view name = words.empty() ? std::string_view() : std::string_view(words.front());
    const auto verb =
        std::find_if(kVerbs.begin(), kVerbs.end(), [name](const Verb& v) { return v.name == name; });
    if (verb == kVerbs.end())
    {
        return Error(std::string("requests are: ") + kControlHelp);
    }
    if (words.size() < verb->fewest || words.size() > verb->most)
    {
        return Error(std::string(name) + " has too few or too many words; requests are: " + kControlHelp);
    }
    return verb->make(words, picture);
}

std::vector<std::string> SplitControlLine(std::string_view line)
{
    Words words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i)
    {
        const char c = line[i];
        if (quoted && c == '\\' && i + 1 < line.size())
        {
            word += line[++i];
        }
        else if (c == '"')
        {
            quoted = !quoted;
            inWord = true;
        }
        else if (!quoted && (c == ' ' || c == '\t' || c == '\r'))
        {
            if (inWord)
            {
                words.push_back(std::move(word));
                word.clear();
            }
            inWord = false;
        }
        else
        {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
    {
        words.push_back(std::move(word));
    }
    return words;
}

std::string JoinControlWords(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words)
    {
        line += line.empty() ? "\"" : " \"";
        for (const char c : word)
        {
            line += c == '"' || c == '\\' ? "\\" : "";
            line += c;
        }
        line += '"';
    }
    return line;
}

std::string EscapeXml(std::string_view text)
{
    std::string escaped;
    for (const char c : text)
    {
        switch (c)
        {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&apos;";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
            {
                escaped += fmt::format("&#x{:02X};", static_cast<unsigned>(c));
            }
            else
            {
                escaped += c;
            }
        }
    }
    return escaped;
}
} // namespace host
