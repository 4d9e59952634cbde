// Lets a plug-in on a simulated appliance use that appliance's I/O ports with the instructions and calls of
// the real ones. The source defines ioperm and pthread_create as exported symbols of the executable (CMake
// target corvanepi_ports), which win over the C library's: link it into the executable itself.
#pragma once

#include "host/PortTrace.h"
#include "sim/IoPorts.h"

#include <chrono>

namespace host
{
// From now on ioperm asks `ports`, and the byte-wide port instructions (in and out, port in DX or in the
// instruction), which trap in a process without the kernel's permission, are answered by `ports` and noted in
// `trace`. As with the kernel a permission belongs to the thread that asked; a thread has from birth what its
// creator held at that moment. An access without permission, and every other fault, has the effect that it
// had before: it ends the process.
//
// `switchedOn` is the appliance's time 0. `ports` and `trace` must outlive every thread that uses ports. One
// caller, before any such thread.
void TrapPorts(sim::CIoPorts& ports, CPortTrace& trace, std::chrono::steady_clock::time_point switchedOn);

// Ports are the kernel's again, as at the start of the process. The caller's own permissions are gone.
void ReleasePorts();
} // namespace host
