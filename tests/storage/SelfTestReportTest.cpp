#include "storage/SelfTestReport.h"

#include "frame/Xml.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
using namespace tq::corvanepi;

// "disk:status:percent", for each entry "[id status hours lba type status text]", and a ";".
std::string Read(const std::string& text)
{
    CXmlDocument document;
    const auto report = ParseReport(text, document);
    std::ostringstream out;
    for (const auto& [name, disk] : report.value_or(SelfTestReport{{"bad", {}}}))
    {
        out << name << ":" << static_cast<int>(disk.status) << ":" << disk.percent;
        for (const auto& [id, entry] : disk.log)
        {
            out << "[" << id << " " << static_cast<int>(entry.status) << " " << entry.timestampHours << " "
                << entry.failLba << " " << entry.type << " " << entry.statusText << "]";
        }
        out << ";";
    }
    return out.str();
}

const std::vector<std::tuple<const char*, std::string, const char*>> kReportCases{
    {"WholeReportUnderAnyRoot",
     R"(<?xml version="1.0"?><any><Disk Name="b" SelfTestStatus="3"><Report ID="2" StatusCode="3" Timestamp="50" FailLBA="18446744073709551615" Type="Short" Status="read failure"/><Report ID="1" StatusCode="2"/></Disk><Disk Name="a" SelfTestStatus="1" PcRemain="30"/></any>)",
     "a:1:70;b:3:-1[1 2 0 0  ][2 3 50 18446744073709551615 Short read failure];"},
    {"IncompleteElementsArePassedOver",
     R"(<r><Disk SelfTestStatus="1"/><Disk Name="a"/><Disk Name="a" SelfTestStatus="x"/><disk Name="a" SelfTestStatus="1"/><Disk Name="b" SelfTestStatus="2"><Report ID="1"/><Report StatusCode="3"/><x><Report ID="1" StatusCode="3"/></x></Disk></r>)",
     "b:2:-1;"},
    {"ImpossibleNumbers",
     R"(<r><Disk Name="a" SelfTestStatus="77" PcRemain="-2147483648"><Report ID="-1" StatusCode="3" Timestamp="x" FailLBA="99999999999999999999999"/><Report ID="1" StatusCode="3" FailLBA="none"/></Disk><Disk Name="b" SelfTestStatus="1" PcRemain="101"/></r>)",
     "a:77:100[-1 3 0 18446744073709551615  ][1 3 0 0  ];b:1:0;"},
    {"OneWithoutResultGivesWay",
     R"(<r><Disk Name="a" SelfTestStatus="0" PcRemain="10"><Report ID="1" StatusCode="3"/></Disk><Disk Name="b" SelfTestStatus="0"/><Disk Name="a" SelfTestStatus="2"><Report ID="2" StatusCode="2"/></Disk></r>)",
     "a:2:-1[2 2 0 0  ];b:0:-1;"},
    {"OnlyTheFirstOfThreeGivesWay",
     R"(<r><Disk Name="a" SelfTestStatus="0" PcRemain="1"/><Disk Name="a" SelfTestStatus="0"/><Disk Name="a" SelfTestStatus="1" PcRemain="60"/></r>)",
     "a:0:40;"},
    {"OthersAreMergedAndTheFirstEntryStays",
     R"(<r><Disk Name="a" SelfTestStatus="1" PcRemain="50"><Report ID="1" StatusCode="2"/></Disk><Disk Name="a" SelfTestStatus="0"><Report ID="1" StatusCode="3"/><Report ID="2" StatusCode="4"/></Disk></r>)",
     "a:1:50[1 2 0 0  ][2 4 0 0  ];"},
    {"NoDisks", "<r/>", ""},
    {"NoXml", "smartctl: not found", "bad:-1:-1;"},
    {"Nothing", "", "bad:-1:-1;"},
    {"OnlyADeclaration", "<?xml version=\"1.0\"?>", "bad:-1:-1;"},
    {"CutOff", R"(<r><Disk Name="a" SelfTestStatus="1"/>)", "bad:-1:-1;"},
    {"BytesThatAreNoUtf8", "<r><Disk Name=\"a\xE9\" SelfTestStatus=\"1\"/></r>", "a\xE9:1:-1;"},
};

TEST(SelfTestReport, IsReadAsFarAsItIsOne)
{
    for (const auto& [name, text, report] : kReportCases)
    {
        EXPECT_EQ(Read(text), report) << name;
    }
}

TEST(SelfTestReport, MayBeNestedToTheLimit)
{
    std::string starts;
    std::string ends;
    for (int depth = 1; depth <= 100; ++depth)
    {
        starts += "<a>";
        ends += "</a>";
    }
    EXPECT_EQ(Read(starts + "<a/>" + ends), "");
    EXPECT_EQ(Read(starts + "<a><a/></a>" + ends), "bad:-1:-1;");
}
} // namespace
