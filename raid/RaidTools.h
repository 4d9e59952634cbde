// The controller tools: their version queries, and the controllers they drive. Main loop only.
#pragma once

#include "storage/ToolVersion.h"

#include <memory>

class CClock;
class CController;

// Run the tool and block until it has ended.
ToolVersion ExecuteStorcliVersion();
ToolVersion ExecuteArcconfVersion();

// Pure parsers of the two answers.
ToolVersion ParseStorcliVersion(const std::string& output);
ToolVersion ParseArcconfVersion(const std::string& output);

// A fresh controller object, never null. On the Q series the drives' SMART data comes from smartctl.
std::shared_ptr<CController> CreateLsiController(bool qSeries, std::shared_ptr<const CClock> clock);
std::shared_ptr<CController> CreateArcController(std::shared_ptr<const CClock> clock);
