#include "bench/BenchHost.h"

#include "frame/HostMessage.h"
#include "frame/Ipc.h"

#include <cstring>
#include <ctime>
#include <map>

namespace bench
{
namespace
{
std::atomic<CBenchHost*> g_host{nullptr};

std::int64_t NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

std::uint32_t Word(const std::string& frame, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, frame.data() + offset, sizeof value);
    return value;
}

void Reply(std::uint32_t requestId, tq::ipc::FrameKind kind, std::uint32_t value, std::string_view payload)
{
    const std::uint32_t header[4] = {static_cast<std::uint32_t>(tq::ipc::kFrameHeaderSize + payload.size()),
                                     requestId, static_cast<std::uint32_t>(kind), value};
    std::string frame(reinterpret_cast<const char*>(header), sizeof header);
    frame += payload;
    tq::ipc::HandleIpcReply(frame.data(), frame.size());
}

// Behind the header: an empty first field with its NUL, then the arguments with single NULs between them.
std::vector<std::string> Arguments(const std::string& frame)
{
    std::vector<std::string> argv;
    std::size_t position = tq::ipc::kFrameHeaderSize + 1;
    for (;;)
    {
        const std::size_t end = frame.find('\0', position);
        argv.push_back(frame.substr(position, end - position));
        if (end == std::string::npos)
        {
            return argv;
        }
        position = end + 1;
    }
}
} // namespace

CBenchHost::CBenchHost(Answer answer) : m_answer(std::move(answer))
{
    g_host = this;
    SetHostCallback(&CBenchHost::Callback);
    tq::ipc::InstallSender(kPluginId, SendIpcFrame);
    m_deliverer = std::thread([this] { Deliver(); });
}

CBenchHost::~CBenchHost()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    m_deliverer.join();
    SetHostCallback(nullptr);
    g_host = nullptr;
}

std::int32_t CBenchHost::Callback(const HostMessage* message, void* /*reserved*/)
{
    CBenchHost* host = g_host;
    return host != nullptr ? host->Handle(*message) : 0;
}

std::int32_t CBenchHost::Handle(const HostMessage& message)
{
    constexpr std::int32_t kThreshold = 50;
    switch (static_cast<MessageCategory>(message.category))
    {
    case MessageCategory::LogMessage:
        return message.type == kTypeLogQuery ? kThreshold : 0;
    case MessageCategory::Heartbeat:
    {
        const std::int64_t now = NowNs();
        const std::lock_guard lock(m_mutex);
        m_heartbeats.push_back(now);
        return 0;
    }
    case MessageCategory::BufferRelease:
    {
        const std::lock_guard lock(m_mutex);
        ++m_releases;
        m_changed.notify_all();
        return 0;
    }
    case MessageCategory::IpcFrameMessage:
    {
        const std::lock_guard lock(m_mutex);
        // The interface carries pointers as numbers. NOLINTNEXTLINE(performance-no-int-to-ptr)
        m_requests.emplace_back(reinterpret_cast<const char*>(message.data), message.length);
        m_changed.notify_all();
        return 0;
    }
    default:
        return 0;
    }
}

void CBenchHost::Deliver()
{
    std::unique_lock lock(m_mutex);
    while (!m_stop)
    {
        if (m_requests.empty())
        {
            m_changed.wait(lock);
            continue;
        }
        const std::string frame = std::move(m_requests.front());
        m_requests.pop_front();
        lock.unlock();
        const std::uint32_t id = Word(frame, 4);
        const std::string* output = m_answer(Arguments(frame));
        ++m_programs;
        Reply(id, tq::ipc::FrameKind::Started, 0, {});
        if (output != nullptr)
        {
            Reply(id, tq::ipc::FrameKind::StandardOutput, 0, *output);
            Reply(id, tq::ipc::FrameKind::Ended, 0, {});
        }
        else
        {
            m_hanging = true;
        }
        lock.lock();
    }
}

void CBenchHost::WaitForReleases(std::uint64_t count)
{
    std::unique_lock lock(m_mutex);
    while (m_releases < count)
    {
        m_changed.wait(lock);
    }
}

std::vector<std::int64_t> CBenchHost::HeartbeatTimes()
{
    const std::lock_guard lock(m_mutex);
    return m_heartbeats;
}

namespace
{
std::string Replaced(std::string text, const std::string& mark, const std::string& value)
{
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size()))
    {
        text.replace(at, mark.size(), value);
    }
    return text;
}
} // namespace

std::string SmallAtaReport(const std::string& device, const std::string& serial)
{
    constexpr int kRows = 24;
    const std::string row = R"json(
      {
        "id": NUMBER,
        "name": "Attribute_Number_NUMBER",
        "value": 100,
        "worst": 99,
        "thresh": 10,
        "when_failed": "",
        "flags": {
          "value": 50,
          "string": "-O--CK ",
          "prefailure": false,
          "updated_online": true,
          "performance": false,
          "error_rate": false,
          "event_count": true,
          "auto_keep": true
        },
        "raw": {
          "value": RAW,
          "string": "RAW"
        }
      })json";
    std::string text = R"json({"json_format_version":[1,0],"smartctl":{"version":[7,3],"svn_revision":"5338",
"platform_info":"x86_64-linux","build_info":"(local build)","argv":["smartctl"],"exit_status":0},
"device":{"name":"DEVICE","info_name":"DEVICE [SAT]","type":"sat","protocol":"ATA"},
"model_name":"Bench Disk 8T","serial_number":"SERIAL","firmware_version":"B100",
"user_capacity":{"blocks":15628053168,"bytes":8001563222016},"smart_status":{"passed":true},
"ata_smart_attributes":{"revision":16,"table":[)json";
    for (int i = 1; i <= kRows; ++i)
    {
        text += i > 1 ? "," : "";
        text += Replaced(Replaced(row, "NUMBER", std::to_string(i == kRows ? 194 : i)), "RAW",
                         std::to_string(1000 + i));
    }
    text += R"json(]},"power_on_time":{"hours":1234},"temperature":{"current":36}})json";
    return Replaced(Replaced(text, "DEVICE", device), "SERIAL", serial);
}

Answer ApplianceWithDisks(int disks)
{
    auto texts = std::make_shared<std::map<std::string, std::string>>();
    std::string scan = R"({"smartctl":{"exit_status":0},"devices":[)";
    std::string sysinfo = "motherboard-model=Bench\n";
    for (int i = 0; i < disks; ++i)
    {
        const std::string device = "/dev/sd" + std::to_string(i);
        const std::string serial = "BENCH" + std::to_string(100000 + i);
        scan.append(i > 0 ? "," : "").append(R"({"name":")").append(device).append(R"(","type":"sat"})");
        sysinfo.append("drive-index=")
            .append(std::to_string(i))
            .append("\ndrive-serial=")
            .append(serial)
            .append("\n");
        (*texts)[device] = SmallAtaReport(device, serial);
    }
    (*texts)["--scan"] = scan + "]}";
    (*texts)["-jV"] =
        R"json({"smartctl":{"version":[7,3],"svn_revision":"5338","build_info":"(x)","exit_status":0}})json";
    (*texts)["scripts/sysinfo.sh"] = sysinfo;
    static const std::string empty;
    return [texts](const std::vector<std::string>& argv)
    {
        const auto found = texts->find(argv.back());
        return found != texts->end() ? &found->second : &empty;
    };
}
} // namespace bench
