#include "host/Control.h"

#include "host/Requests.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace host
{
namespace
{
constexpr std::size_t kMaxClients = 8;
constexpr int kMaxDrained = 16; // pieces of a line that is too long
constexpr std::size_t kMaxAnswer = std::size_t{4} * 1024 * 1024;

// A client that does not read its answer may hold the host up this long.
constexpr timeval kSendPatience{1, 0};

// A request is handled between two polls; a host that is ending never answers.
constexpr timeval kAnswerPatience{10, 0};

bool FillAddress(const std::string& path, sockaddr_un& address, std::string& error)
{
    address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
    {
        error =
            "the socket's path must have 1 to " + std::to_string(sizeof address.sun_path - 1) + " characters";
        return false;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return true;
}

const sockaddr* Generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

bool Connect(const CFd& socket, const sockaddr_un& address)
{
    return connect(socket.Get(), Generic(address), sizeof address) == 0;
}

bool SendAll(int socket, std::string_view text)
{
    while (!text.empty())
    {
        const ssize_t sent = send(socket, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR)
        {
            return false;
        }
        text.remove_prefix(sent > 0 ? static_cast<std::size_t>(sent) : 0);
    }
    return true;
}

// Removes a socket file that no process listens on; anything else at the path stays.
void RemoveStale(const std::string& path, const sockaddr_un& address)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
    {
        return;
    }
    const CFd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!Connect(probe, address) && errno == ECONNREFUSED)
    {
        unlink(path.c_str());
    }
}
} // namespace

std::unique_ptr<CControlServer> CControlServer::Listen(const std::string& path, std::string& error)
{
    sockaddr_un address{};
    if (!FillAddress(path, address, error))
    {
        return nullptr;
    }
    CFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    RemoveStale(path, address);
    // The mode of the file is that of the socket at the moment of bind: nobody else can connect, not even for
    // an instant.
    if (!socket.IsOpen() || fchmod(socket.Get(), 0600) != 0 ||
        bind(socket.Get(), Generic(address), sizeof address) != 0 || chmod(path.c_str(), 0600) != 0 ||
        listen(socket.Get(), kMaxClients) != 0)
    {
        error = std::strerror(errno);
        return nullptr;
    }
    return std::unique_ptr<CControlServer>(new CControlServer(path, std::move(socket)));
}

CControlServer::~CControlServer()
{
    unlink(m_path.c_str());
}

void CControlServer::AddTo(std::vector<pollfd>& polled) const
{
    polled.push_back({m_clients.size() < kMaxClients ? m_socket.Get() : -1, POLLIN, 0});
    for (const Client& client : m_clients)
    {
        polled.push_back({client.socket.Get(), POLLIN, 0});
    }
}

void CControlServer::Serve(const ControlHandler& handler)
{
    while (m_clients.size() < kMaxClients)
    {
        CFd socket(accept4(m_socket.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket.IsOpen())
        {
            break;
        }
        setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, &kSendPatience, sizeof kSendPatience);
        m_clients.push_back({std::move(socket), {}});
    }
    m_clients.remove_if([&handler](Client& client) { return !ServeClient(client, handler); });
}

// False when the client is done with.
bool CControlServer::ServeClient(Client& client, const ControlHandler& handler)
{
    std::array<char, kMaxControlLine> buffer{};
    const ssize_t count = recv(client.socket.Get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0)
    {
        return errno == EAGAIN || errno == EINTR;
    }
    client.input.append(buffer.data(), static_cast<std::size_t>(count));
    const std::size_t end = client.input.find('\n');
    if (end == std::string::npos)
    {
        if (client.input.size() < kMaxControlLine)
        {
            return count > 0;
        }
        // A socket closed with bytes unread would take the answer with it.
        for (int i = 0;
             i < kMaxDrained && recv(client.socket.Get(), buffer.data(), buffer.size(), MSG_DONTWAIT) > 0;
             ++i)
        {
        }
        SendAll(client.socket.Get(), "error: the line is too long\n");
        return false;
    }
    SendAll(client.socket.Get(), handler(client.input.substr(0, end)));
    return false; // one line for each connection
}

bool AskHost(const std::string& path, const std::string& line, std::string& answer)
{
    sockaddr_un address{};
    if (!FillAddress(path, address, answer))
    {
        return false;
    }
    const CFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.IsOpen() || !Connect(socket, address) || !SendAll(socket.Get(), line + "\n"))
    {
        answer = path + ": " + std::strerror(errno);
        return false;
    }
    setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &kAnswerPatience, sizeof kAnswerPatience);
    std::array<char, 65536> buffer{};
    for (;;)
    {
        const ssize_t count = recv(socket.Get(), buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count < 0 || answer.size() > kMaxAnswer)
        {
            answer = path + ": " + (count < 0 ? std::strerror(errno) : "the answer is too long");
            return false;
        }
        if (count == 0)
        {
            return !answer.empty();
        }
        answer.append(buffer.data(), static_cast<std::size_t>(count));
    }
}
} // namespace host
