// Short ways to run a simulated appliance in tests.
#pragma once

#include "sim/Appliance.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

// The preset with this scenario, played to `now`. A scenario that does not parse fails the test.
std::unique_ptr<sim::CAppliance> Play(const std::string& scenario, sim::SimTime now = sim::SimTime{0},
                                      const std::string& preset = "plain", const std::string& chip = "");

// Why the preset cannot play a scenario; "(accepted)" when it can.
std::string ErrorOf(const std::string& scenario, const std::string& preset = "plain");

// Runs a command, its words separated by blanks.
std::vector<std::string> Split(const std::string& command);
sim::ProgramRun Call(sim::CAppliance& appliance, const std::string& command,
                     sim::SimTime now = sim::SimTime{0});

// The report command of a device, as the plug-in gives it.
std::string ReportCommand(const std::string& device);

// The answer to a command; a discarded value, which fails every comparison, when it is no JSON.
nlohmann::json Json(const sim::ProgramRun& run);
nlohmann::json Report(sim::CAppliance& appliance, const std::string& device,
                      sim::SimTime now = sim::SimTime{0});

// The row with this value of a member, and that of an ATA attribute in a report; null when there is none.
nlohmann::json Find(const nlohmann::json& rows, const char* member, int value);
nlohmann::json Attribute(const nlohmann::json& report, int id);
std::vector<std::string> ScannedDevices(sim::CAppliance& appliance, sim::SimTime now);

// A JSON value that has these members, whatever else it has; null stands for a member that is not there.
MATCHER_P(Includes, members, "")
{
    nlohmann::json patched = arg;
    patched.merge_patch(members);
    return patched == arg;
}
