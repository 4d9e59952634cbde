// hwmconfig.xml against each chip: the first byte chooses the chip, the second the length of the register
// contents that follow it, the rest is the file. Monitoring starts, polls three times, tells documents, and
// the watchdog runs through its life.
#include "frame/Clock.h"
#include "frame/HostMessage.h"
#include "frame/Xml.h"
#include "hwmon/BoardFile.h"
#include "hwmon/Chips.h"
#include "hwmon/PortIo.h"
#include "tests/fuzz/Fuzz.h"

#include <tinyxml.h>

#include <algorithm>

namespace
{
constexpr std::size_t kMaxSensorsPolled = 256;
constexpr const char* kModel = "B1";
constexpr const char* kVendor = "ACME";

// Every read takes the next byte of the contents, over and over.
class CBytesAsPorts final : public CPortIo
{
public:
    CBytesAsPorts(const std::uint8_t* contents, std::size_t size) : m_contents(contents), m_size(size) {}

    std::uint8_t In(std::uint16_t /*port*/) override
    {
        return m_size == 0 ? std::uint8_t{0} : m_contents[m_next++ % m_size];
    }
    void Out(std::uint16_t /*port*/, std::uint8_t /*value*/) override {}
    int SetPermission(std::uint16_t /*first*/, int /*count*/, bool /*on*/) override { return 0; }

private:
    const std::uint8_t* const m_contents;
    const std::size_t m_size;
    std::size_t m_next = 0;
};

// Stands still: a stop that waits costs nothing.
class CStandingClock final : public CClock
{
public:
    [[nodiscard]] std::int64_t UtcSeconds() const override { return 1; }
    [[nodiscard]] std::int64_t MonotonicMs() const override { return 1; }
    void Sleep(std::chrono::milliseconds /*duration*/) const override {}
};

std::int32_t Listen(const HostMessage* /*message*/, void* /*reserved*/)
{
    return 0; // takes every log line
}

std::size_t CountSensorElements(const CXmlDocument& boardFile)
{
    std::size_t count = 0;
    const TiXmlElement* root = boardFile.Root();
    for (const TiXmlElement* board = root == nullptr ? nullptr : root->FirstChildElement("Motherboard");
         board != nullptr; board = board->NextSiblingElement("Motherboard"))
    {
        for (const TiXmlElement* sensor = board->FirstChildElement("Sensor"); sensor != nullptr;
             sensor = sensor->NextSiblingElement("Sensor"))
        {
            ++count;
        }
    }
    return count;
}

// The elements can be read again and have numbers.
std::size_t CheckElements(CSuperIo& chip, bool full)
{
    CXmlDocument document;
    TiXmlElement& parent = AddChild(StartDocument(document), "Sensors");
    const bool alarmed = chip.AddSensorElements(parent, full);
    CXmlDocument again;
    Require(again.Parse(PrintCompact(document)));
    std::size_t count = 0;
    bool carriesAlarm = false;
    for (const TiXmlElement* element = parent.FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement())
    {
        ++count;
        carriesAlarm |= element->Attribute("Alarm") != nullptr;
        Require(IntAttribute(*element, "ID") && IntAttribute(*element, "Value"));
        Require(element->Attribute("Label") != nullptr);
    }
    Require(alarmed == carriesAlarm);
    return count;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
    {
        return 0;
    }
    const std::size_t contents = std::min<std::size_t>(data[1], size - 2);
    CXmlDocument boardFile;
    boardFile.Parse(std::string(reinterpret_cast<const char*>(data + 2 + contents), size - 2 - contents));
    const std::size_t inFile = CountSensorElements(boardFile);
    if (inFile > kMaxSensorsPolled)
    {
        return 0; // only slower
    }

    SetHostCallback(Listen);
    CBytesAsPorts ports(data + 2, contents);
    const CStandingClock clock;
    const auto chips = SupportedChips();
    const SuperIoInfo info{.chipId = chips[data[0] % chips.size()].id,
                           .configIndexPort = 0x2E,
                           .monitorIndexPort = 0x295,
                           .enterSequence = {0x87, 0x87},
                           .exitSequence = {0xAA}};
    const auto chip = CreateSuperIo(kVendor, info, ports, clock);
    Require(chip != nullptr);
    chip->SetMotherboard(kVendor, kModel);

    if (chip->InitHwMonitoring(boardFile))
    {
        Require(inFile > 0);
        for (int poll = 0; poll < 3; ++poll)
        {
            chip->PollSensors();
            Require(CheckElements(*chip, false) <= inFile);
        }
        Require(CheckElements(*chip, true) <= inFile);
        chip->StopHwMonitoring();
        Require(CheckElements(*chip, true) == 0);
    }
    if (chip->StartWatchdog(40, boardFile))
    {
        Require(chip->IsWatchdogAllowed());
        chip->PingWatchdog();
        chip->StopWatchdog();
    }
    return 0;
}
