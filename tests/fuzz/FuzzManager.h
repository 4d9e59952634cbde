// A manager for fuzz targets.
#pragma once

#include "manager/Corvane.h"

// A machine with files in one folder, whose name ends with a slash, and nothing else: no chip, no controller,
// no tool.
inline Environment BareEnvironment(const std::string& folder, const std::string& configuration)
{
    const auto missing = [] { return ToolVersion{.error = "not there"}; };
    Environment environment = SystemEnvironment();
    environment.paths = {.systemDescription = folder + "first.xml",
                         .systemDescriptionFallback = folder + "tqsysteminfo.xml",
                         .configuration = configuration,
                         .boardFile = folder + "hwmconfig.xml",
                         .ipmiFile = folder + "corvanepi-ipmi.xml",
                         .bySlot = folder + "none/"};
    environment.detectSuperIo = [] { return SuperIoInfo{}; };
    environment.createSuperIo = [](const std::string&, const SuperIoInfo&) { return nullptr; };
    environment.lsi = {.version = missing, .create = {}};
    environment.adaptec = {.version = missing, .create = {}};
    return environment;
}
