// Waiting in tests whose process clock is moved by hand: the kernel's own clock counts.
#pragma once

#include "tests/support/FakeHost.h"

#include <functional>
#include <string>
#include <vector>

// Looks again and again until the condition holds; false after a minute. How long the kernel would wait for a
// moved process clock nobody knows.
bool WaitByKernelClock(const CFakeHost& host, const std::function<bool(const CFakeHost::Record&)>& condition);

// The texts of the documents of that category so far.
std::vector<std::string> DocumentTexts(const CFakeHost& host, MessageCategory category);
