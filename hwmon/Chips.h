// The supported chips: finding out which one the board has, and making its object. A further chip is a source
// of its own, its function here, and its row in Chips.cpp.
#pragma once

#include "hwmon/SuperIo.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

class CClock;
class CPortIo;

struct ChipRow
{
    std::uint32_t id;             // normalised chip ID
    std::uint8_t hwMonitorDevice; // logical device with the monitor's base address
    std::unique_ptr<CSuperIo> (*create)(const ChipContext& context, const std::string& motherboardVendor);
};

std::span<const ChipRow> SupportedChips();

// Tries both configuration ports with both enter sequences. Takes port permissions for the calling thread and
// keeps them when it finds a chip; gives all back when it finds none.
SuperIoInfo DetectSuperIo(CPortIo& ports);

// Null for an ID without a chip class. Ports and clock outlive the chip.
std::unique_ptr<CSuperIo> CreateSuperIo(const std::string& motherboardVendor, const SuperIoInfo& info,
                                        CPortIo& ports, const CClock& clock);

std::unique_ptr<CSuperIo> CreateW83627(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateW83677(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateNct6776(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateIt8612(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateIt8728(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateIt8772e(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateNct6791(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateNct5525d(const ChipContext& context, const std::string& motherboardVendor);
std::unique_ptr<CSuperIo> CreateFintek81966a(const ChipContext& context,
                                             const std::string& motherboardVendor);
