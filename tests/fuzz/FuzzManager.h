// A manager for fuzz targets.
#pragma once

#include "manager/Corvane.h"

// A machine with these files and nothing else: no chip, no controller, no tool.
inline Environment BareEnvironment(const Paths& paths)
{
    const auto missing = [] { return ToolVersion{.error = "not there"}; };
    Environment environment = SystemEnvironment();
    environment.paths = paths;
    environment.detectSuperIo = [] { return SuperIoInfo{}; };
    environment.createSuperIo = [](const std::string&, const SuperIoInfo&) { return nullptr; };
    environment.lsi = {.version = missing, .create = {}};
    environment.adaptec = {.version = missing, .create = {}};
    return environment;
}
