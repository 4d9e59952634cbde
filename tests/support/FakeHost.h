// The host as tests see it: keeps what it is told and answers programs from a list.
#pragma once

#include "frame/HostMessage.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// A frame for the plug-in, as the host sends it.
std::string IpcFrame(std::uint32_t id, std::uint32_t kind, std::uint32_t value,
                     std::string_view payload = {});

// One at a time. All operations from any thread; the threads that call the host must have ended before it is
// destroyed.
class CFakeHost
{
public:
    using Arguments = std::vector<std::string>; // the program first

    struct LogLine
    {
        std::int32_t level = 0;
        std::string text;
    };

    struct Document
    {
        std::uint64_t category = 0;
        std::string text;
    };

    // How one start of a program goes.
    struct Answer
    {
        std::string output{};
        std::string errorOutput{};
        int exitCode = 0;
        int signal = 0;       // died by this signal; `exitCode` then does not count
        int startError = 0;   // errno of a failed start; nothing else counts then
        bool hang = false;    // started and printed, ends at EndHanging
        bool noStart = false; // no frame at all until EndHanging
    };

    // Everything the host was told, in the order of arrival.
    struct Record
    {
        std::vector<LogLine> log;
        std::vector<Document> documents;
        std::vector<std::uint64_t> releases; // pointers of the buffers given back
        std::vector<Arguments> programs;
        int heartbeats = 0;
    };

    using ProgramHook = std::function<std::optional<Answer>(const Arguments&)>;

    // Takes one frame for the plug-in; what it returns is ignored.
    using ReplySink = std::function<bool(const void* frame, std::size_t length)>;

    // Installs itself as the host of the frame library linked into the test and opens the process link; the
    // destructor closes the link and removes itself.
    CFakeHost();

    // For a plug-in loaded as shared object: installs nothing. Give Callback() to its Load; frames go to
    // `sink`.
    explicit CFakeHost(ReplySink sink);

    ~CFakeHost();
    CFakeHost(const CFakeHost&) = delete;
    CFakeHost& operator=(const CFakeHost&) = delete;

    // The function that the plug-in calls; leads to the CFakeHost that exists.
    static HostCallback Callback();

    void SetLogThreshold(std::int32_t threshold) { m_threshold = threshold; }

    // Adds an answer for that argument vector. Answers are used in order, the last one again and again.
    void OnProgram(const Arguments& arguments, const Answer& answer);

    // From now on that vector has this answer and no other.
    void SetAnswer(const Arguments& arguments, const Answer& answer);

    // Asked on the worker thread, without a lock, for vectors that have no answer. Without a hook, or when it
    // has no answer either, the start fails with ENOENT.
    void SetProgramHook(ProgramHook hook);

    // Ends all programs that hang, their end delivered on return. Returns their number.
    int EndHanging(int exitCode = 0);
    [[nodiscard]] int HangingCount() const;

    // Blocks until so many programs hang, their output delivered; false after 20 seconds.
    bool WaitForHanging(int count);

    [[nodiscard]] Record Told() const;
    [[nodiscard]] std::vector<std::string> LogTexts(std::optional<std::int32_t> level = std::nullopt) const;
    [[nodiscard]] std::vector<Arguments> Programs() const { return Told().programs; }
    [[nodiscard]] std::vector<Document> Documents() const { return Told().documents; }

    // Forgets what it was told; the answers stay.
    void Forget();

    // Blocks until the condition holds, which is asked after every message with the lock held; false
    // after 20 seconds.
    bool WaitUntil(const std::function<bool(const Record&)>& condition);

private:
    struct Program
    {
        std::uint32_t id = 0;
        Arguments arguments{};
        Answer answer{};
    };

    struct AnswerQueue
    {
        std::deque<Answer> answers;
        bool frontUsed = false;
    };

    // Changes something under the lock and wakes everyone who waits.
    void Update(const std::function<void()>& change);
    std::int32_t Receive(const HostMessage& message);
    std::int32_t ReceiveFrame(std::string_view frame);
    Answer FindAnswer(const Arguments& arguments);
    void Work();
    void Play(Program program);
    void Begin(const Program& program);
    void Reply(std::uint32_t id, std::uint32_t kind, std::uint32_t value, std::string_view payload = {});

    static std::atomic<CFakeHost*> s_instance;

    bool m_installed = false;
    const ReplySink m_sink;
    std::atomic<std::int32_t> m_threshold{0};

    mutable std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    Record m_record;
    std::map<Arguments, AnswerQueue> m_answers;
    ProgramHook m_hook;
    std::deque<Program> m_queue;
    std::vector<Program> m_hanging;
    bool m_stopping = false;
    std::thread m_worker; // last: it uses all of the above
};
