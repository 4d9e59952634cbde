#include "tests/hwmon/ChipRig.h"

#include "frame/Text.h"
#include "tests/support/HostTexts.h"

#include <tinyxml.h>

#include <map>

FakeChipWiring WiringOf(Chip chip)
{
    static const FakeChipWiring kIte{
        .enter = {0x87, 0x01, 0x55, 0x55}, .exit = {0x02, 0x02}, .monitorDevice = 0x04, .bankSelect = 0};
    const bool isIte = chip == Chip::It8612 || chip == Chip::It8728 || chip == Chip::It8772;
    FakeChipWiring wiring = isIte ? kIte : FakeChipWiring{};
    static const std::map<Chip, std::uint16_t> kIds{
        {Chip::Fintek, 0x1502},  {Chip::It8612, 0x8613},  {Chip::It8728, 0x8728},  {Chip::It8772, 0x8772},
        {Chip::W83627, 0xA023},  {Chip::W83677, 0xB473},  {Chip::Nct6776, 0xC334}, {Chip::Nct5573, 0xC334},
        {Chip::Nct6791, 0xC803}, {Chip::Nct5525, 0xD2B1},
    };
    wiring.rawId = kIds.at(chip);
    if (chip == Chip::Fintek)
    {
        wiring.monitorDevice = 0x04;
        wiring.bankSelect = 0;
    }
    return wiring;
}

void ChipRig::Make(Chip chip)
{
    m_ports = std::make_unique<CFakePorts>(WiringOf(chip));
    const std::string vendor = chip == Chip::Nct5573 ? "ASRock" : "ACME";
    const SuperIoInfo info = DetectSuperIo(*m_ports);
    m_chipId = info.chipId;
    m_chip = CreateSuperIo(vendor, info, *m_ports, m_clock);
    ASSERT_NE(m_chip, nullptr);
    m_chip->SetMotherboard(vendor, "B1");
    m_ports->TakeRegisters();
    m_ports->TakeBytes();
    m_host.Forget();
}

CXmlDocument ChipRig::BoardFile(const std::string& children, const std::string& attributes) const
{
    CXmlDocument document;
    EXPECT_TRUE(document.Parse("<HwMon><Motherboard Chip=\"" + std::to_string(m_chipId) + "\" Name=\"B1\" " +
                               attributes + ">" + children + "</Motherboard></HwMon>"));
    return document;
}

void ChipRig::Monitor(const std::string& sensors)
{
    ASSERT_TRUE(m_chip->InitHwMonitoring(BoardFile(sensors)));
    m_ports->TakeRegisters();
    m_host.Forget();
}

std::string ChipRig::Poll()
{
    m_ports->TakeRegisters();
    m_chip->PollSensors();
    return m_ports->TakeRegisters();
}

std::string ChipRig::Elements(bool full)
{
    CXmlDocument document;
    TiXmlElement& root = AddChild(StartDocument(document), "S");
    const bool alarmed = m_chip->AddSensorElements(root, full);
    std::string text = PrintCompact(document);
    EXPECT_EQ(alarmed, text.find(" Alarm=") != std::string::npos);
    const auto begin = text.find("<S>");
    return begin == std::string::npos ? "" : text.substr(begin + 3, text.find("</S>") - begin - 3);
}

std::string ChipRig::Value(int id)
{
    CXmlDocument document;
    TiXmlElement& root = AddChild(StartDocument(document), "S");
    m_chip->AddSensorElements(root, true);
    for (const TiXmlElement* element = root.FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement())
    {
        if (IntAttribute(*element, "ID") == id)
        {
            return TextAttribute(*element, "Value").value_or("");
        }
    }
    return "none";
}

std::string ChipRig::Logged()
{
    std::string lines = Join(LevelAndText(m_host), "\n");
    m_host.Forget();
    return lines;
}

std::string SensorXml(int id, int min, int max, const std::string& conversion, const std::string& more)
{
    return "<Sensor Id=\"" + std::to_string(id) + "\" Conversion=\"" + conversion + "\" Max=\"" +
           std::to_string(max) + "\" Min=\"" + std::to_string(min) + "\" Label=\"L" + std::to_string(id) +
           "\" " + more + "/>";
}
