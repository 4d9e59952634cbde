// A full ATA report as a disk tool prints it for a consumer SSD: about 38,000 bytes, indented by two blanks.
#pragma once

#include <string>

std::string MakeAtaReport();
