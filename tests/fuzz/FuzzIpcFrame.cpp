// Sequences of frames from the host against open requests, compared with a model of each client.
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "tests/fuzz/Fuzz.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <thread>
#include <vector>

using namespace tq::ipc;

namespace
{
constexpr std::size_t kRequests = 3;

struct Request
{
    std::uint32_t id = 0;
    std::shared_ptr<client> process;
    // What the client must hold after the frames it was given.
    ClientState state = ClientState::Running;
    std::int32_t status = 0;
    std::string output;
    bool open = true;
};

std::string Frame(std::uint32_t id, std::uint32_t kind, std::uint32_t value, const std::string& payload)
{
    const std::array<std::uint32_t, 4> header = {static_cast<std::uint32_t>(16 + payload.size()), id, kind,
                                                 value};
    std::string frame(16, '\0');
    std::memcpy(frame.data(), header.data(), 16);
    return frame + payload;
}

// Opens the requests; each is answered from a second thread, as the host does.
std::vector<Request> OpenRequests()
{
    std::uint32_t id = 0;
    std::thread answer;
    InstallSender(kPluginId,
                  [&id, &answer](const void* frame, std::size_t)
                  {
                      std::memcpy(&id, static_cast<const char*>(frame) + 4, sizeof id);
                      const std::string started = Frame(id, 3, 0, {});
                      answer = std::thread([started] { HandleIpcReply(started.data(), started.size()); });
                      return true;
                  });
    std::vector<Request> requests(kRequests);
    for (Request& request : requests)
    {
        request.process = StartProcess({"x"}, kOptionField1, {}, {});
        answer.join();
        request.id = id;
    }
    return requests;
}

// What HandleIpcReply must return for a whole frame; brings the model up to date.
bool Expect(Request& request, std::uint32_t kind, std::uint32_t value, const std::string& payload)
{
    if (!request.open || kind < 1 || kind > 5)
    {
        return false;
    }
    if (kind == 1)
    {
        std::copy_if(payload.begin(), payload.end(), std::back_inserter(request.output),
                     [](char c) { return c != '\r'; });
    }
    else if (kind >= 3)
    {
        constexpr ClientState kStates[] = {ClientState::Running, ClientState::Failed, ClientState::Exited};
        request.state = kStates[kind - 3];
        request.status = static_cast<std::int32_t>(value);
        request.open = kind == 3;
    }
    return true;
}

void CheckEnd(Request& request)
{
    if (request.open)
    {
        request.state = ClientState::Exited;
        request.status = 0;
    }
    Require(request.process->State() == request.state);
    Require(request.process->WaitForExit() == request.status);
    Require(request.process->StandardOutput() == request.output);
    std::string lines;
    for (std::string line; request.process->ReadLine(kStandardOutput, line);)
    {
        Require(line.find('\n') == std::string::npos);
        lines += line + "\n";
    }
    if (!request.output.empty() && request.output.back() != '\n')
    {
        request.output += '\n';
    }
    Require(lines == request.output);
}
} // namespace

// For each frame: request (kRequests: unknown), kind, value, length of the payload (with the top bit: the
// frame is cut to so many bytes instead), payload.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<Request> requests = OpenRequests();
    const std::uint8_t* const end = data + size;
    while (end - data >= 4)
    {
        const std::size_t index = data[0] % (kRequests + 1);
        const std::uint32_t kind = data[1] == 0xFF ? 0x80000001U : data[1];
        const std::uint32_t value = data[2] * 0x01010101U;
        const std::size_t length = data[3];
        data += 4;
        const auto payloadSize =
            std::min<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(length & 0x7F), end - data);
        const std::string payload(data, data + payloadSize);
        data += payloadSize;

        const std::string frame = Frame(index < kRequests ? requests[index].id : 1, kind, value, payload);
        const bool cut = (length & 0x80) != 0;
        // An allocation of its own, so that reading beyond a cut frame shows.
        const std::vector<char> given(frame.begin(), cut ? frame.begin() + (length & 0x0F) : frame.end());
        const bool taken = HandleIpcReply(given.data(), given.size());
        Require(taken == (!cut && index < kRequests && Expect(requests[index], kind, value, payload)));
    }
    CloseIpc(true);
    for (Request& request : requests)
    {
        CheckEnd(request);
    }
    return 0;
}
