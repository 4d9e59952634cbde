#include "hwmon/SuperIo.h"

#include "frame/Log.h"

CSuperIo::~CSuperIo() = default;

SuperIoInfo DetectSuperIo()
{
    Log(LogWarning, "SENSORS: No supported super I/O detected.");
    return {};
}

std::unique_ptr<CSuperIo> CreateSuperIo(const std::string& /*motherboardVendor*/, const SuperIoInfo& /*info*/)
{
    return nullptr;
}
