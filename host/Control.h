// The control socket: one line in, lines out, the last of them "ok" or "error: ...".
#pragma once

#include "host/Fd.h"

#include <poll.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace host
{
// Answers a request line: text lines that each end in a line feed, then the line "ok" or "error: ...".
using ControlHandler = std::function<std::string(const std::string& line)>;

// Used by one thread, inside its poll loop. The socket file is private to its owner and goes with the object.
class CControlServer
{
public:
    // Null with `error` set when the path is too long or cannot be bound. A socket that nobody serves any
    // more is replaced.
    static std::unique_ptr<CControlServer> Listen(const std::string& path, std::string& error);

    ~CControlServer();
    CControlServer(const CControlServer&) = delete;
    CControlServer& operator=(const CControlServer&) = delete;

    void AddTo(std::vector<pollfd>& polled) const;

    // Takes connections and requests that are there. Never waits for a client.
    void Serve(const ControlHandler& handler);

private:
    struct Client
    {
        CFd socket;
        std::string input;
    };

    CControlServer(std::string path, CFd socket) : m_path(std::move(path)), m_socket(std::move(socket)) {}
    static bool ServeClient(Client& client, const ControlHandler& handler);

    const std::string m_path;
    CFd m_socket;
    std::list<Client> m_clients;
};

// Sends one line to the host at `path` and gives its answer; false with the reason in `answer` when nobody is
// there.
bool AskHost(const std::string& path, const std::string& line, std::string& answer);
} // namespace host
