#include "SimTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

std::unique_ptr<sim::CAppliance> Play(const std::string& scenario, sim::SimTime now,
                                      const std::string& preset, const std::string& chip)
{
    std::string error;
    const auto parsed = sim::ParseScenario(scenario, error);
    EXPECT_TRUE(parsed) << error;
    auto appliance = std::make_unique<sim::CAppliance>(preset, parsed.value_or(sim::Scenario{}), chip);
    appliance->Advance(now);
    return appliance;
}

std::string ErrorOf(const std::string& scenario, const std::string& preset)
{
    std::string error;
    const auto parsed = sim::ParseScenario(scenario, error);
    try
    {
        return parsed ? (sim::CAppliance(preset, parsed), "(accepted)") : error;
    }
    catch (const std::invalid_argument& problem)
    {
        return problem.what();
    }
}

std::vector<std::string> Split(const std::string& command)
{
    std::istringstream text(command);
    return {std::istream_iterator<std::string>(text), {}};
}

sim::ProgramRun Call(sim::CAppliance& appliance, const std::string& command, sim::SimTime now)
{
    return appliance.Run(Split(command), now);
}

std::string ReportCommand(const std::string& device)
{
    return "./smartctl -j -T permissive -a " + device;
}

nlohmann::json Json(const sim::ProgramRun& run)
{
    return nlohmann::json::parse(run.standardOutput, nullptr, false);
}

nlohmann::json Report(sim::CAppliance& appliance, const std::string& device, sim::SimTime now)
{
    return Json(Call(appliance, ReportCommand(device), now));
}

nlohmann::json Find(const nlohmann::json& rows, const char* member, int value)
{
    const auto isIt = [&](const nlohmann::json& row) { return row.at(member) == value; };
    const auto found = std::find_if(rows.begin(), rows.end(), isIt);
    return found == rows.end() ? nlohmann::json() : *found;
}

nlohmann::json Attribute(const nlohmann::json& report, int id)
{
    return Find(report.at("ata_smart_attributes").at("table"), "id", id);
}

std::vector<std::string> ScannedDevices(sim::CAppliance& appliance, sim::SimTime now)
{
    std::vector<std::string> names;
    const auto scan = Json(Call(appliance, "./smartctl -j --scan", now));
    for (const auto& device : scan.at("devices"))
    {
        names.push_back(device.at("name"));
    }
    return names;
}
