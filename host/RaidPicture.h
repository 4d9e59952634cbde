// The RAID side of a picture, put together from its parts: which disks make up which volume, which are spares
// and which are free. Pure data like the picture itself, which it points into and must not outlive.
#pragma once

#include "host/Picture.h"

#include <optional>
#include <string>
#include <vector>

namespace host
{
// What a volume is busy with.
struct VolumeTask
{
    std::string name; // "Rebuild"
    int percent = 0;  // 0 to 100
};

struct RaidVolume
{
    const VolumePicture* volume = nullptr;
    std::string state; // the controller's word, without the task
    std::optional<VolumeTask> task;
    std::vector<const DiskPicture*> members;
    std::vector<const DiskPicture*> spares; // that serve this volume only
};

struct RaidPicture
{
    std::vector<RaidVolume> volumes;               // in the order of the picture
    std::vector<const DiskPicture*> globalSpares;  // that serve any volume
    std::vector<const DiskPicture*> freeDisks;     // healthy and in no volume
    std::vector<const DiskPicture*> unusableDisks; // behind the controller, but failed, foreign or gone
};

RaidPicture MakeRaidPicture(const Picture& picture);

// "64:3" of "/c0/e64/s3"; any other name as it is.
std::string BayName(const DiskPicture& disk);
} // namespace host
