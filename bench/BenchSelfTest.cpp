// Reading and taking up a self-test report against TinyXML's bare parse of the same text: 60 drives whose
// logs are full, all of them just seen running, so that every entry becomes a log line.
#include "bench/BenchHost.h"
#include "frame/Clock.h"
#include "frame/HostMessage.h"
#include "frame/Xml.h"
#include "storage/SelfTest.h"

#include <benchmark/benchmark.h>
#include <tinyxml.h>

#include <memory>
#include <string>

namespace
{
using namespace tq::corvanepi;

constexpr int kDrives = 60;
constexpr int kEntries = 21; // what an ATA drive keeps
constexpr std::int64_t kNow = 1'700'000'000;

std::string DriveName(int drive)
{
    return "/dev/sd" + std::to_string(drive);
}

std::string Entry(int id)
{
    const bool failed = id % 7 == 0;
    const std::string result = failed
                                   ? R"(StatusCode="3" FailLBA="1234567890" Status="Completed: read failure")"
                                   : R"(StatusCode="2" FailLBA="-" Status="Completed without error")";
    return "    <Report ID=\"" + std::to_string(id) + R"(" Type="Short offline" Timestamp=")" +
           std::to_string(20000 - 24 * id) + "\" " + result + " />\n";
}

std::string MakeReport()
{
    std::string text = "<?xml version=\"1.0\"?>\n<SelfTests>\n";
    for (int drive = 0; drive < kDrives; ++drive)
    {
        text += "  <Disk Name=\"" + DriveName(drive) + "\" SelfTestStatus=\"2\">\n";
        for (int id = 1; id <= kEntries; ++id)
        {
            text += Entry(id);
        }
        text += "  </Disk>\n";
    }
    return text + "</SelfTests>\n";
}

const std::string kText = MakeReport();
std::unique_ptr<SelfTestManager> g_tests;
SelfTestReport g_running;

// Gives every drive a record: half of them have entries with times.
void MakeRecords(const CClock& clock)
{
    const std::string version = "tqselftest version: 1.0\n";
    const std::string nothing = "<SelfTests/>";
    const bench::CBenchHost host([&](const std::vector<std::string>& argv)
                                 { return argv.back() == "-v" ? &version : &nothing; });
    DiskList disks;
    for (int drive = 0; drive < kDrives; ++drive)
    {
        disks.push_back(std::make_shared<CDisk>(DriveName(drive)));
        disks.back()->m_model = drive % 2 == 0 ? "WDC Bench" : "Bench";
        disks.back()->m_attributes[9].rawValue = 20000;
        g_running[DriveName(drive)] = {.status = SelfTestResult::InProgress, .percent = 50};
    }
    g_tests = std::make_unique<SelfTestManager>(clock, "");
    g_tests->GetToolVersion();
    g_tests->ExecuteCommand(static_cast<int>(SelfTestCommand::InternalReport), disks, kNow, {});
}

// Wants every line.
std::int32_t TakeEverything(const HostMessage* message, void* /*reserved*/)
{
    benchmark::DoNotOptimize(message->data);
    return 0;
}

void ReportWhole(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        g_tests->ApplyReport(g_running, kNow);
        CXmlDocument document;
        const auto report = ParseReport(kText, document);
        g_tests->ApplyReport(report.value(), kNow);
        if (report->size() != kDrives || !g_tests->HasFailed(DriveName(kDrives - 1)))
        {
            state.SkipWithError("the report was not taken up");
        }
    }
}

void TinyXmlTree(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        TiXmlDocument document;
        document.Parse(kText.c_str());
        benchmark::DoNotOptimize(document.Error());
    }
}
} // namespace

BENCHMARK(ReportWhole);
BENCHMARK(TinyXmlTree);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const CSystemClock clock;
    MakeRecords(clock);
    SetHostCallback(TakeEverything);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
