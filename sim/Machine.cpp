#include "sim/Machine.h"

#include <algorithm>
#include <utility>

namespace sim
{
Machine::Machine(AppliancePreset built, const SuperIoRows* chip)
    : preset(std::move(built)),
      disks(preset.disks.begin(), preset.disks.end()),
      bmc(preset.bmcSensors),
      raid(preset.raid),
      superIo(chip != nullptr ? std::make_shared<CSimSuperIo>(*chip) : nullptr)
{
}

CIoPorts& Machine::Ports()
{
    if (superIo)
    {
        return *superIo;
    }
    return *emptyPorts;
}

void Machine::RefusePorts(bool refuses)
{
    emptyPorts->SetRefusal(refuses);
    if (superIo)
    {
        superIo->SetRefusal(refuses);
    }
}

void Machine::AdvanceTo(SimTime now)
{
    raid.Advance(now);
}

const CSimDisk* Machine::FindDisk(std::string_view device) const
{
    const auto disk =
        std::find_if(disks.begin(), disks.end(),
                     [device](const CSimDisk& candidate) { return candidate.Spec().device == device; });
    if (disk != disks.end())
    {
        return &*disk;
    }
    const RaidDrive* const drive = raid.FindDrive(device);
    return drive != nullptr ? &drive->disk : nullptr;
}

CSimDisk* Machine::FindDisk(std::string_view device)
{
    return const_cast<CSimDisk*>(std::as_const(*this).FindDisk(device));
}

std::vector<CSimDisk*> Machine::SelfTestDisks()
{
    std::vector<CSimDisk*> found;
    for (CSimDisk& disk : disks)
    {
        found.push_back(&disk);
    }
    if (raid.Spec().kind == RaidKind::Lsi)
    {
        for (const RaidDrive& drive : raid.Drives())
        {
            found.push_back(&raid.FindDrive(drive.spec.name)->disk);
        }
    }
    return found;
}
} // namespace sim
