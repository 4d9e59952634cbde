// The hardware monitor: what a poll of a fully equipped chip costs beside its port instructions, whether
// memory grows over many polls, and how long a watchdog ping waits while polls follow each other without a
// pause. Argument: polls for the memory figure, 100,000 by default.
#include "frame/Clock.h"
#include "frame/HostMessage.h"
#include "frame/Xml.h"
#include "hwmon/Chips.h"
#include "hwmon/PortIo.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

constexpr const char* kVendor = "ACME";
constexpr const char* kModel = "B1";

double Microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

double Percentile(std::vector<double> values, std::size_t percent)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, values.size() * percent / 100)];
}

// Every monitor register reads as a value that no limit objects to. With `accessTime` an access takes as
// long as on a real bus.
class CConstantPorts final : public CPortIo
{
public:
    explicit CConstantPorts(std::chrono::nanoseconds accessTime) : m_accessTime(accessTime) {}

    std::uint8_t In(std::uint16_t /*port*/) override
    {
        Take();
        return 0x40;
    }
    void Out(std::uint16_t /*port*/, std::uint8_t /*value*/) override { Take(); }
    int SetPermission(std::uint16_t /*first*/, int /*count*/, bool /*on*/) override { return 0; }

private:
    void Take() const
    {
        if (m_accessTime.count() == 0)
        {
            return;
        }
        const auto end = Clock::now() + m_accessTime;
        while (Clock::now() < end)
        {
        }
    }

    const std::chrono::nanoseconds m_accessTime;
};

std::int32_t QuietHost(const HostMessage* /*message*/, void* /*reserved*/)
{
    return 1000; // takes no log line
}

void AddSensors(std::string& xml, int first, int last)
{
    for (int id = first; id <= last; ++id)
    {
        xml += "<Sensor Id=\"" + std::to_string(id) + "\" Label=\"sensor " + std::to_string(id) +
               "\" Conversion=\"1\" Min=\"1\" Max=\"30000\" Register=\"0x2A\" Width=\"2\"/>";
    }
}

// A board that has every channel of every family wired; a chip uses those it knows.
CXmlDocument FullBoard(std::uint32_t chipId)
{
    std::string xml = "<HwMon><Motherboard Chip=\"" + std::to_string(chipId) + "\" Name=\"B1\">";
    AddSensors(xml, 1000, 1008);
    AddSensors(xml, 1100, 1107);
    AddSensors(xml, 2000, 2004);
    AddSensors(xml, 2100, 2103);
    AddSensors(xml, 3000, 3005);
    AddSensors(xml, 3100, 3102);
    CXmlDocument document;
    document.Parse(xml + "</Motherboard></HwMon>");
    return document;
}

std::unique_ptr<CSuperIo> MonitoredChip(std::uint32_t chipId, CPortIo& ports, const CClock& clock)
{
    const SuperIoInfo info{.chipId = chipId,
                           .configIndexPort = 0x2E,
                           .monitorIndexPort = 0x295,
                           .enterSequence = {0x87, 0x87},
                           .exitSequence = {0xAA}};
    auto chip = CreateSuperIo(kVendor, info, ports, clock);
    chip->SetMotherboard(kVendor, kModel);
    if (!chip->InitHwMonitoring(FullBoard(chipId)) || !chip->StartWatchdog(40, FullBoard(chipId)))
    {
        std::fprintf(stderr, "chip %04X did not start\n", chipId);
        std::exit(1);
    }
    return chip;
}

// The dearest chip of all.
void MeasurePolls(const CClock& clock, int polls)
{
    double worst = 0;
    std::uint32_t worstChip = 0;
    long grown = 0;
    for (const ChipRow& row : SupportedChips())
    {
        CConstantPorts ports(std::chrono::nanoseconds(0));
        const auto chip = MonitoredChip(row.id, ports, clock);
        std::vector<double> times;
        for (int poll = 0; poll < 2000; ++poll)
        {
            const auto begin = Clock::now();
            chip->PollSensors();
            times.push_back(Microseconds(Clock::now() - begin));
        }
        if (const double median = Percentile(times, 50); median > worst)
        {
            worst = median;
            worstChip = row.id;
        }
        const auto before = mallinfo2().uordblks;
        for (int poll = 0; poll < polls; ++poll)
        {
            chip->PollSensors();
        }
        grown = std::max(grown, static_cast<long>(mallinfo2().uordblks) - static_cast<long>(before));
    }
    std::printf("poll of a fully equipped chip beside its port accesses, dearest of nine (%04X): %.1f us "
                "(limit 20)\n",
                worstChip, worst);
    std::printf("heap growth over %d polls, worst of nine chips: %ld bytes (limit 0)\n", polls, grown);
}

// On ports as slow as real ones. One thread polls without a pause, the other pings now and then.
void MeasurePings(const CClock& clock, int pings)
{
    CConstantPorts ports(std::chrono::nanoseconds(500));
    const auto chip = MonitoredChip(SupportedChips().front().id, ports, clock);
    std::vector<double> pollTimes;
    std::atomic<bool> done = false;
    std::thread poller(
        [&]
        {
            while (!done)
            {
                const auto begin = Clock::now();
                chip->PollSensors();
                pollTimes.push_back(Microseconds(Clock::now() - begin));
            }
        });
    std::vector<double> late;
    for (int ping = 0; ping < pings; ++ping)
    {
        // Comes at any moment of a poll; nothing is waited for.
        std::this_thread::sleep_for(std::chrono::microseconds(1500 + 37 * (ping % 41)));
        const auto begin = Clock::now();
        chip->PingWatchdog();
        late.push_back(Microseconds(Clock::now() - begin));
    }
    done = true;
    poller.join();
    const double poll = Percentile(pollTimes, 50);
    std::printf("ping with polls back to back: poll %.0f us, ping median %.0f us, 99th percentile %.0f us, "
                "over a poll's length %.2f (limit 2)\n",
                poll, Percentile(late, 50), Percentile(late, 99), Percentile(late, 99) / poll);
}
} // namespace

int main(int argc, char** argv)
{
    const int polls = argc > 1 ? std::atoi(argv[1]) : 100000;
    SetHostCallback(QuietHost);
    const CSystemClock clock;
    MeasurePolls(clock, polls);
    MeasurePings(clock, std::min(1000, polls));
    return 0;
}
