// Keeps the frames and notes of a launcher, and waits for the end of a program.
#pragma once

#include "host/ExecFrame.h"
#include "tests/host/WaitUntil.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

struct ProgramLog
{
    std::vector<host::FrameKind> kinds; // in order, output frames too
    std::string output[2];
    std::size_t largest = 0; // frame, with its header
    std::uint32_t value = 0; // of the last frame
    bool ended = false;      // or not started
};

class CFrameLog
{
public:
    void Take(std::string_view frame)
    {
        std::uint32_t header[4] = {};
        std::memcpy(header, frame.data(), sizeof header);
        const std::lock_guard lock(m_mutex);
        ProgramLog& program = m_programs[header[1]];
        const auto kind = static_cast<host::FrameKind>(header[2]);
        program.kinds.push_back(kind);
        program.largest = std::max(program.largest, frame.size());
        program.value = header[3];
        if (kind == host::FrameKind::StandardOutput || kind == host::FrameKind::StandardError)
        {
            program.output[header[2] - 1] += frame.substr(sizeof header);
        }
        program.ended = kind == host::FrameKind::Ended || kind == host::FrameKind::StartFailed;
    }

    void TakeNote(const std::string& note)
    {
        const std::lock_guard lock(m_mutex);
        m_notes += note + "\n";
    }

    // The program's log once it has ended; without `ended` when that takes too long.
    ProgramLog WaitForEnd(std::uint32_t id)
    {
        WaitUntil([this, id] { return Now(id).ended; });
        return Now(id);
    }

    bool HasStarted(std::uint32_t id) { return !Now(id).kinds.empty(); }

    ProgramLog Now(std::uint32_t id)
    {
        const std::lock_guard lock(m_mutex);
        return m_programs[id];
    }

    std::string Notes()
    {
        const std::lock_guard lock(m_mutex);
        return m_notes;
    }

private:
    std::mutex m_mutex;
    std::map<std::uint32_t, ProgramLog> m_programs;
    std::string m_notes;
};
