// hwmconfig.xml, the part about the chip: which channels a board has wired, what they measure, and whether
// the watchdog may be used.
#pragma once

#include "hwmon/Sensor.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class CXmlDocument;
class TiXmlElement;

// As it stands in messages.
inline constexpr const char* kBoardFileName = "hwmconfig.xml";

// A bank has no more registers than this; a larger or negative "Width" counts as absent.
inline constexpr int kMaxSensorWidth = 256;

// The first "Motherboard" of this chip whose "Name" fits the model: as a regular expression for the whole
// model or, failing that, as a list that contains it; letter case does not count. An empty model is in every
// list. Null when nothing fits or the file did not load.
const TiXmlElement* FindBoardElement(const CXmlDocument& boardFile, std::uint32_t chipId,
                                     const std::string& model);

// The sensors in file order. One without Id, Conversion, Max or Min is left out; one without a label has an
// empty one.
std::vector<SensorDef> ReadSensorDefinitions(const TiXmlElement& board);

// Named register values; a later one of the same name wins.
void ReadBoardRegisters(const TiXmlElement& board, BoardRegisterMap& registers);
