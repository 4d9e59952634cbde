#include "tests/support/FakeHost.h"

#include "frame/Ipc.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace
{
constexpr std::chrono::seconds kLimit{20}; // of waiting
constexpr std::uint32_t kFlagField1 = 0x08;
constexpr std::uint32_t kFlagField2 = 0x10;

std::uint32_t ReadU32(std::string_view bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::string_view TextOf(const HostMessage& message)
{
    return {std::bit_cast<const char*>(message.data), message.length};
}

// Absent when the frame is no well-formed exec request.
std::optional<CFakeHost::Arguments> ArgumentsOf(std::string_view frame)
{
    using namespace tq::ipc;
    if (frame.size() < kFrameHeaderSize || frame.size() > kMaxFrameSize ||
        ReadU32(frame, 0) != frame.size() || ReadU32(frame, 8) != static_cast<std::uint32_t>(FrameKind::Exec))
    {
        return std::nullopt;
    }
    CFakeHost::Arguments fields(1);
    for (const char character : frame.substr(kFrameHeaderSize))
    {
        if (character == '\0')
        {
            fields.emplace_back();
        }
        else
        {
            fields.back() += character;
        }
    }
    const int before = std::popcount(ReadU32(frame, 12) & (kFlagField1 | kFlagField2));
    if (std::ssize(fields) <= before)
    {
        return std::nullopt;
    }
    return CFakeHost::Arguments(fields.begin() + before, fields.end());
}

std::uint32_t WaitStatus(int exitCode, int signal)
{
    return static_cast<std::uint32_t>(signal != 0 ? signal & 0x7F : (exitCode & 0xFF) << 8);
}
} // namespace

std::string IpcFrame(std::uint32_t id, std::uint32_t kind, std::uint32_t value, std::string_view payload)
{
    const std::uint32_t header[4] = {static_cast<std::uint32_t>(sizeof header + payload.size()), id, kind,
                                     value};
    std::string frame(sizeof header, '\0');
    std::memcpy(frame.data(), header, sizeof header);
    return frame.append(payload);
}

std::atomic<CFakeHost*> CFakeHost::s_instance{nullptr};

CFakeHost::CFakeHost(ReplySink sink) : m_sink(std::move(sink))
{
    if (s_instance.exchange(this) != nullptr)
    {
        throw std::logic_error("two fake hosts at once");
    }
    m_worker = std::thread(&CFakeHost::Work, this);
}

CFakeHost::CFakeHost() : CFakeHost(tq::ipc::HandleIpcReply)
{
    m_installed = true;
    SetHostCallback(Callback());
    tq::ipc::InstallSender(kPluginId, SendIpcFrame);
}

CFakeHost::~CFakeHost()
{
    if (m_installed)
    {
        tq::ipc::CloseIpc(true);
    }
    Update([this] { m_stopping = true; });
    m_worker.join();
    if (m_installed)
    {
        tq::ipc::InstallSender(kPluginId, nullptr);
        SetHostCallback(nullptr);
    }
    s_instance = nullptr;
}

HostCallback CFakeHost::Callback()
{
    return [](const HostMessage* message, void* /*reserved*/)
    {
        CFakeHost* const host = s_instance;
        return host != nullptr ? host->Receive(*message) : -1;
    };
}

void CFakeHost::Update(const std::function<void()>& change)
{
    {
        const std::lock_guard lock(m_mutex);
        change();
    }
    m_changed.notify_all();
}

std::int32_t CFakeHost::Receive(const HostMessage& message)
{
    switch (static_cast<MessageCategory>(message.category))
    {
    case MessageCategory::LogMessage:
        if (message.type == kTypeLogQuery)
        {
            return m_threshold;
        }
        Update(
            [&]
            {
                std::int32_t level = 0;
                std::memcpy(&level, message.recordData, sizeof level);
                m_record.log.push_back({level, std::string(TextOf(message))});
            });
        return 0;
    case MessageCategory::IpcFrameMessage:
        return ReceiveFrame(TextOf(message));
    case MessageCategory::StatusDocument:
    case MessageCategory::ConfigDocument:
        Update([&] { m_record.documents.push_back({message.category, std::string(TextOf(message))}); });
        return 0;
    case MessageCategory::Heartbeat:
        Update([&] { ++m_record.heartbeats; });
        return 0;
    case MessageCategory::BufferRelease:
        Update([&] { m_record.releases.push_back(message.data); });
        return 0;
    default:
        return -1;
    }
}

// Called with the plug-in's registry locked: only queues.
std::int32_t CFakeHost::ReceiveFrame(std::string_view frame)
{
    const std::optional<Arguments> arguments = ArgumentsOf(frame);
    if (!arguments)
    {
        return -1;
    }
    Update(
        [&]
        {
            m_record.programs.push_back(*arguments);
            m_queue.push_back({ReadU32(frame, 4), *arguments});
        });
    return 0;
}

void CFakeHost::OnProgram(const Arguments& arguments, const Answer& answer)
{
    const std::lock_guard lock(m_mutex);
    m_answers[arguments].answers.push_back(answer);
}

void CFakeHost::SetAnswer(const Arguments& arguments, const Answer& answer)
{
    const std::lock_guard lock(m_mutex);
    m_answers[arguments] = {.answers = {answer}};
}

void CFakeHost::SetProgramHook(ProgramHook hook)
{
    const std::lock_guard lock(m_mutex);
    m_hook = std::move(hook);
}

int CFakeHost::EndHanging(int exitCode)
{
    std::vector<Program> ended;
    Update([&] { ended.swap(m_hanging); });
    for (const Program& program : ended)
    {
        if (program.answer.noStart)
        {
            Begin(program);
        }
        Reply(program.id, 5, WaitStatus(exitCode, program.answer.signal));
    }
    return static_cast<int>(ended.size());
}

int CFakeHost::HangingCount() const
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_hanging.size());
}

bool CFakeHost::WaitForHanging(int count)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, kLimit, [this, count] { return std::ssize(m_hanging) >= count; });
}

CFakeHost::Record CFakeHost::Told() const
{
    const std::lock_guard lock(m_mutex);
    return m_record;
}

std::vector<std::string> CFakeHost::LogTexts(std::optional<std::int32_t> level) const
{
    std::vector<std::string> texts;
    for (const LogLine& line : Told().log)
    {
        if (line.level == level.value_or(line.level))
        {
            texts.push_back(line.text);
        }
    }
    return texts;
}

void CFakeHost::Forget()
{
    const std::lock_guard lock(m_mutex);
    m_record = {};
}

bool CFakeHost::WaitUntil(const std::function<bool(const Record&)>& condition)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, kLimit, [this, &condition] { return condition(m_record); });
}

CFakeHost::Answer CFakeHost::FindAnswer(const Arguments& arguments)
{
    ProgramHook hook;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_answers.find(arguments);
        if (found != m_answers.end())
        {
            AnswerQueue& queue = found->second;
            if (queue.frontUsed && queue.answers.size() > 1)
            {
                queue.answers.pop_front();
            }
            queue.frontUsed = true;
            return queue.answers.front();
        }
        hook = m_hook;
    }
    const std::optional<Answer> answer = hook ? hook(arguments) : std::nullopt;
    return answer.value_or(Answer{.startError = ENOENT});
}

void CFakeHost::Work()
{
    std::unique_lock lock(m_mutex);
    for (;;)
    {
        m_changed.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
        if (m_stopping)
        {
            return;
        }
        Program program = std::move(m_queue.front());
        m_queue.pop_front();
        lock.unlock();
        Play(std::move(program));
        lock.lock();
    }
}

// Delivers what is due before the end; a program that hangs waits for EndHanging.
void CFakeHost::Play(Program program)
{
    program.answer = FindAnswer(program.arguments);
    const Answer& answer = program.answer;
    if (answer.startError != 0)
    {
        Reply(program.id, 4, static_cast<std::uint32_t>(answer.startError));
        return;
    }
    if (!answer.noStart)
    {
        Begin(program);
    }
    if (answer.hang || answer.noStart)
    {
        Update([&] { m_hanging.push_back(std::move(program)); });
        return;
    }
    Reply(program.id, 5, WaitStatus(answer.exitCode, answer.signal));
}

// The start and all output.
void CFakeHost::Begin(const Program& program)
{
    constexpr std::size_t kPiece = tq::ipc::kMaxFrameSize - tq::ipc::kFrameHeaderSize;
    const std::string_view output = program.answer.output;
    Reply(program.id, 3, 0);
    for (std::size_t at = 0; at < output.size(); at += kPiece)
    {
        Reply(program.id, 1, 0, output.substr(at, kPiece));
    }
    if (!program.answer.errorOutput.empty())
    {
        Reply(program.id, 2, 0, program.answer.errorOutput);
    }
}

void CFakeHost::Reply(std::uint32_t id, std::uint32_t kind, std::uint32_t value, std::string_view payload)
{
    const std::string frame = IpcFrame(id, kind, value, payload);
    m_sink(frame.data(), frame.size());
}
