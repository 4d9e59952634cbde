// Keeps a plug-in on a simulated appliance away from this machine's I/O ports. The source defines ioperm as
// an exported symbol of the executable (CMake target corvanepi_portguard), which wins over the C library's.
#pragma once

namespace host
{
// From now on every request for port access is refused (EPERM), as on a machine where the process has no
// right to it. Without this call requests go to the kernel. Before the plug-in runs: a port it has been
// granted stays granted.
void RefusePorts();
} // namespace host
