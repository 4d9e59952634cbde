// A library that waits with timers and reads clocks, as a plug-in does.
#pragma once

#include <atomic>
#include <chrono>
#include <ctime>

// Runs a timer that re-arms itself `count` times with a pause of `period`. Each firing stores its time since
// the start in `firedAt` and then counts up `fired`. Returns when all have fired.
void RunTimer(std::chrono::milliseconds period, int count, std::chrono::milliseconds* firedAt,
              std::atomic<int>& fired);

// How long the sleep took by the library's own clock.
std::chrono::milliseconds SleepFor(std::chrono::milliseconds period);

// The same with an absolute time on the real-time clock.
std::chrono::milliseconds SleepUntilRealTime(std::chrono::milliseconds period);

// Seconds of the real-time clock; -1 when the ways to ask for it disagree.
std::time_t AskTime();
