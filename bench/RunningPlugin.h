// A manager that has started up against a bench host and can be asked for storage passes.
#pragma once

#include "bench/BenchHost.h"
#include "manager/Corvane.h"

#include <chrono>
#include <string>
#include <thread>

namespace bench
{
class CRunningPlugin
{
public:
    // Works in a temporary directory of its own; returns when the start-up work is done.
    explicit CRunningPlugin(Answer answer);
    ~CRunningPlugin();
    CRunningPlugin(const CRunningPlugin&) = delete;
    CRunningPlugin& operator=(const CRunningPlugin&) = delete;

    // One full storage pass, from the host's request to the buffer given back.
    void Pass();

    // Processor time that the main loop's thread has used so far.
    [[nodiscard]] std::chrono::nanoseconds MainLoopTime();

    CBenchHost& Host() { return m_host; }
    CCorvane& Manager() { return *m_manager; }

private:
    std::string m_directory;
    CBenchHost m_host;
    std::unique_ptr<CCorvane> m_manager;
    std::thread m_run;
    std::uint64_t m_passes = 0;
};
} // namespace bench
