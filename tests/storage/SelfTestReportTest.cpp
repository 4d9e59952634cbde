#include "storage/SelfTestReport.h"

#include "frame/Xml.h"

#include <gtest/gtest.h>

namespace
{
using namespace tq::corvanepi;

// "disk:status:percent" and for each entry "[id status hours lba type status text]".
std::string Describe(const std::optional<SelfTestReport>& report)
{
    if (!report)
    {
        return "bad";
    }
    std::string text;
    for (const auto& [name, disk] : *report)
    {
        text +=
            name + ":" + std::to_string(static_cast<int>(disk.status)) + ":" + std::to_string(disk.percent);
        for (const auto& [id, entry] : disk.log)
        {
            text += "[" + std::to_string(id) + " " + std::to_string(static_cast<int>(entry.status)) + " " +
                    std::to_string(entry.timestampHours) + " " + std::to_string(entry.failLba) + " " +
                    entry.type + " " + entry.statusText + "]";
        }
        text += ";";
    }
    return text;
}

struct ReportCase
{
    const char* name;
    std::string text;
    const char* report;
};

std::string Nested(int depth)
{
    std::string text;
    for (int i = 0; i < depth; ++i)
    {
        text = "<a>" + text + "</a>";
    }
    return text;
}

const std::vector<ReportCase> kReportCases{
    {"WholeReportUnderAnyRoot",
     R"(<?xml version="1.0"?><any><Disk Name="b" SelfTestStatus="3"><Report ID="2" StatusCode="3" Timestamp="50")"
     R"( FailLBA="18446744073709551615" Type="Short" Status="read failure"/><Report ID="1" StatusCode="2"/></Disk>)"
     R"(<Disk Name="a" SelfTestStatus="1" PcRemain="30"/></any>)",
     "a:1:70;b:3:-1[1 2 0 0  ][2 3 50 18446744073709551615 Short read failure];"},
    {"IncompleteElementsArePassedOver",
     R"(<r><Disk SelfTestStatus="1"/><Disk Name="a"/><Disk Name="a" SelfTestStatus="x"/><disk Name="a" SelfTestStatus="1"/>)"
     R"(<Disk Name="b" SelfTestStatus="2"><Report ID="1"/><Report StatusCode="3"/><Report ID="x" StatusCode="3"/>)"
     R"(<x><Report ID="1" StatusCode="3"/></x></Disk><x><Disk Name="c" SelfTestStatus="1"/></x></r>)",
     "b:2:-1;"},
    {"ImpossibleNumbers",
     R"(<r><Disk Name="a" SelfTestStatus="77" PcRemain="-2147483648"><Report ID="-1" StatusCode="3" Timestamp="x")"
     R"( FailLBA="99999999999999999999999"/><Report ID="1" StatusCode="3" FailLBA="none"/></Disk>)"
     R"(<Disk Name="b" SelfTestStatus="1" PcRemain="101"/><Disk Name="c" SelfTestStatus="1" PcRemain="much"/></r>)",
     "a:77:100[-1 3 0 18446744073709551615  ][1 3 0 0  ];b:1:0;c:1:-1;"},
    {"OneWithoutResultGivesWay",
     R"(<r><Disk Name="a" SelfTestStatus="0" PcRemain="10"><Report ID="1" StatusCode="3"/></Disk>)"
     R"(<Disk Name="b" SelfTestStatus="0"/><Disk Name="a" SelfTestStatus="2"><Report ID="2" StatusCode="2"/></Disk></r>)",
     "a:2:-1[2 2 0 0  ];b:0:-1;"},
    {"OnlyTheFirstOfThreeGivesWay",
     R"(<r><Disk Name="a" SelfTestStatus="0" PcRemain="1"/><Disk Name="a" SelfTestStatus="0"/>)"
     R"(<Disk Name="a" SelfTestStatus="1" PcRemain="60"/></r>)",
     "a:0:40;"},
    {"OthersAreMergedAndTheFirstEntryStays",
     R"(<r><Disk Name="a" SelfTestStatus="1" PcRemain="50"><Report ID="1" StatusCode="2"/></Disk>)"
     R"(<Disk Name="a" SelfTestStatus="0"><Report ID="1" StatusCode="3"/><Report ID="2" StatusCode="4"/></Disk></r>)",
     "a:1:50[1 2 0 0  ][2 4 0 0  ];"},
    {"NoDisks", "<r/>", ""},
    {"NoXml", "smartctl: not found", "bad"},
    {"Nothing", "", "bad"},
    {"OnlyADeclaration", "<?xml version=\"1.0\"?>", "bad"},
    {"CutOff", R"(<r><Disk Name="a" SelfTestStatus="1"/>)", "bad"},
    {"DeepEnough", Nested(101), ""},
    {"TooDeep", Nested(102), "bad"},
    {"BytesThatAreNoUtf8", "<r><Disk Name=\"a\xE9\" SelfTestStatus=\"1\"/></r>", "a\xE9:1:-1;"},
};

class SelfTestReports : public testing::TestWithParam<ReportCase>
{
};

TEST_P(SelfTestReports, AreRead)
{
    CXmlDocument document;
    EXPECT_EQ(Describe(ParseReport(GetParam().text, document)), GetParam().report);
}

INSTANTIATE_TEST_SUITE_P(Cases, SelfTestReports, testing::ValuesIn(kReportCases),
                         [](const auto& test) { return std::string(test.param.name); });
} // namespace
