// The controller tools: their version queries, and the controllers they drive. Main loop only.
#pragma once

#include "storage/ToolVersion.h"

#include <memory>

class CController;

// Run the tool and block until it has ended.
ToolVersion ExecuteStorcliVersion();
ToolVersion ExecuteArcconfVersion();

// Pure parsers of the two answers.
ToolVersion ParseStorcliVersion(const std::string& output);
ToolVersion ParseArcconfVersion(const std::string& output);

// A fresh controller object; null, because no controller class is part of this version: the appliance then
// behaves as one with the tool but without a card.
std::shared_ptr<CController> CreateLsiController(bool qSeries);
std::shared_ptr<CController> CreateArcController();
