// Everything that changes in the simulated appliance. Not locked: the appliance's mutex guards it.
#pragma once

#include "sim/Bmc.h"
#include "sim/EmptyPorts.h"
#include "sim/Presets.h"
#include "sim/RaidModel.h"
#include "sim/RaidPrepScript.h"
#include "sim/SimDisk.h"
#include "sim/SimSuperIo.h"
#include "sim/Tools.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
struct Machine
{
    // `chip`: null for a board without one.
    Machine(AppliancePreset built, const SuperIoRows* chip);

    // Brings what happens by itself to `now`.
    void AdvanceTo(SimTime now);

    // Whether it is plugged or not; by device, or by the name of a drive behind the controller. Null when the
    // appliance has no such drive.
    [[nodiscard]] const CSimDisk* FindDisk(std::string_view device) const;
    CSimDisk* FindDisk(std::string_view device);

    // The chip's, or those of a board without one.
    CIoPorts& Ports();
    void RefusePorts(bool refuses);

    // Those whose self-tests can be reached: the plain ones and, by their paths, those behind an LSI
    // controller.
    std::vector<CSimDisk*> SelfTestDisks();

    AppliancePreset preset;
    std::vector<CSimDisk> disks; // in the order of the device names, as a scan lists them
    CSimBmc bmc;
    CRaidModel raid;
    std::deque<PrepFault> prepFaults; // of the next runs of the RAID preparation script
    // Shared by the copies that are made of the machine; no program that the tools stand for touches the
    // ports.
    std::shared_ptr<CEmptyPorts> emptyPorts = std::make_shared<CEmptyPorts>();
    std::shared_ptr<CSimSuperIo> superIo; // null without; has a guard of its own
    std::map<std::string, ToolState> tools;
    std::vector<std::string> requests;         // not yet taken by the host
    std::multimap<SimTime, std::string> notes; // what programs do, to be told when its time has come
    bool returnsHeartbeats = true;
    bool isOver = false;
};
} // namespace sim
