// What the manager is given of the world, filled in once by Load.
#pragma once

#include "frame/Clock.h"
#include "hwmon/SuperIo.h"
#include "storage/ToolVersion.h"

#include <functional>
#include <memory>
#include <string>

class CController;

// Relative paths are relative to the host's working directory.
struct Paths
{
    std::string systemDescription = "/boot/efi/delmo/tqsysteminfo.xml";
    std::string systemDescriptionFallback = "tqsysteminfo.xml";
    std::string configuration = "corvanepi.xml";
    std::string boardFile = "hwmconfig.xml";
    std::string ipmiFile = "corvanepi-ipmi.xml";
    std::string badSelfTestReport = "logs/tqselftest_bad_report.xml";
    std::string bySlot = "/dev/disk/by-slot/";
};

// One kind of RAID controller: how to ask for its tool and how to make the object.
struct ControllerKind
{
    std::function<ToolVersion()> version;
    std::function<std::shared_ptr<CController>(bool qSeries)> create; // may give null: no such controller
};

struct Environment
{
    Paths paths;
    std::shared_ptr<const CClock> clock;
    std::function<SuperIoInfo()> detectSuperIo;
    std::function<std::unique_ptr<CSuperIo>(const std::string& motherboardVendor, const SuperIoInfo&)>
        createSuperIo;
    ControllerKind lsi;
    ControllerKind adaptec;
};

// The real one.
Environment SystemEnvironment();
