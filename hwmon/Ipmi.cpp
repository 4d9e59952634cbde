#include "hwmon/Ipmi.h"

IpmiMonitor::IpmiMonitor(std::string file) : m_file(std::move(file)) {}

void IpmiMonitor::Poll() {}
