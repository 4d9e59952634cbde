// One chip, found and made the production way over fake ports, on a board of our own.
#pragma once

#include "frame/Xml.h"
#include "hwmon/Chips.h"
#include "tests/support/Cases.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakePorts.h"
#include "tests/support/ManualClock.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>

enum class Chip
{
    Fintek,
    It8612,
    It8728,
    It8772,
    W83627,
    W83677,
    Nct6776,
    Nct5573, // NCT6776 on the board that has the other chip
    Nct6791,
    Nct5525,
};

FakeChipWiring WiringOf(Chip chip);

class ChipRig : public testing::Test
{
protected:
    // Detects and creates the chip; what that did to the ports and the log is forgotten.
    void Make(Chip chip);

    // The board's element with these children; its attributes besides Chip and Name in `attributes`.
    CXmlDocument BoardFile(const std::string& children, const std::string& attributes = {}) const;

    // Starts monitoring these sensors; forgets accesses and log.
    void Monitor(const std::string& sensors);

    // One poll; the accesses it made.
    std::string Poll();

    // Of what Poll and the ports' TakeRegisters return.
    static std::ptrdiff_t CountAccesses(const std::string& accesses)
    {
        return std::count(accesses.begin(), accesses.end(), ' ') + 1;
    }

    // Documents as text, without the parent element.
    std::string Elements(bool full);

    // Of the sensor in a full document; "none" when it has no element.
    std::string Value(int id);

    std::string Logged(); // the lines since the last call, "level text" each, joined by line feeds

    CFakeHost m_host;
    CManualClock m_clock;
    std::unique_ptr<CFakePorts> m_ports;
    std::unique_ptr<CSuperIo> m_chip;
    std::uint32_t m_chipId = 0;
};

// "Sensor" element; `more` holds further attributes.
std::string SensorXml(int id, int min, int max, const std::string& conversion = "1",
                      const std::string& more = {});
