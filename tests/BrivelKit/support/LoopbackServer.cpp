#include "support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <utility>

namespace brivel::test {

namespace {

constexpr std::size_t kMaxRequestHead = 64 * 1024;
// How long a finished connection waits for the client to close its side before closing ours, so that a
// client still sending (headers we did not read) never turns our close into a reset that loses the body.
constexpr timeval kLinger{2, 0};

// Reads up to the blank line that ends the request's head; empty when the client closed first, sent too
// much, or the server stopped.
std::string readHead(int socket) {
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = head.size() > kMaxRequestHead ? 0 : ::recv(socket, buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return {};
        }
        head.append(buffer, static_cast<std::size_t>(count));
    }
    return head;
}

// Writes `data` and returns how much of it went out: all of it unless the client went away or the server
// stopped.
std::size_t sendAll(int socket, const char* data, std::size_t size) {
    std::size_t sent = 0;
    while (sent < size) {
        const ssize_t written = ::send(socket, data + sent, size - sent, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break;
        }
        sent += static_cast<std::size_t>(written);
    }
    return sent;
}

// Reads and drops whatever comes until the client closes, the server stops or a receive timeout passes.
void drain(int socket) {
    char buffer[4096];
    while (::recv(socket, buffer, sizeof buffer, 0) > 0) {
    }
}

} // namespace

LoopbackServer::LoopbackServer() {
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (m_listener < 0 || ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 64) != 0 ||
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        // A test can't do anything useful without its server, and saying why beats a later timeout.
        std::perror("LoopbackServer: listening on 127.0.0.1");
        std::abort();
    }
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { acceptLoop(); });
}

LoopbackServer::~LoopbackServer() {
    {
        // Shutting a socket down wakes whoever waits on it: the acceptor and every connection's handler.
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        ::shutdown(m_listener, SHUT_RDWR);
        for (const int socket : m_open) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    m_stopped.notify_all();
    m_acceptor.join();
    // The acceptor was the only one adding handlers, so the list no longer changes.
    for (auto& handler : m_handlers) {
        handler.join();
    }
    ::close(m_listener);
}

void LoopbackServer::serve(const std::string& path, Response response) {
    std::lock_guard lock(m_mutex);
    m_routes[path] = std::move(response);
}

LoopbackServer::Response LoopbackServer::ok(std::string body) {
    Response response;
    response.body = std::make_shared<const std::string>(std::move(body));
    return response;
}

LoopbackServer::Response LoopbackServer::status(int status) {
    Response response;
    response.status = status;
    return response;
}

std::string LoopbackServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
    std::lock_guard lock(m_mutex);
    return m_requests;
}

std::size_t LoopbackServer::bytesSent(const std::string& path) const {
    std::lock_guard lock(m_mutex);
    const auto found = m_sent.find(path);
    return found == m_sent.end() ? 0 : found->second;
}

bool LoopbackServer::pauseFor(std::chrono::microseconds pause) {
    std::unique_lock lock(m_mutex);
    return !m_stopped.wait_for(lock, pause, [this] { return m_stopping; });
}

void LoopbackServer::acceptLoop() {
    for (;;) {
        const int socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        std::lock_guard lock(m_mutex);
        if (m_stopping) {
            if (socket >= 0) {
                ::close(socket);
            }
            return;
        }
        if (socket >= 0) {
            m_open.insert(socket);
            m_handlers.emplace_back([this, socket] { handle(socket); });
        }
    }
}

void LoopbackServer::handle(int socket) {
    std::istringstream lines(readHead(socket));
    std::string method;
    Request request;
    lines >> method >> request.path;
    for (std::string line; std::getline(lines, line);) {
        if (::strncasecmp(line.c_str(), "User-Agent:", 11) == 0) {
            const auto first = line.find_first_not_of(" \t", 11);
            const auto last = line.find_last_not_of(" \t\r");
            request.userAgent = first > last ? std::string() : line.substr(first, last + 1 - first);
        }
    }
    const std::string route = request.path.substr(0, request.path.find('?'));
    Response response = status(404);
    {
        std::lock_guard lock(m_mutex);
        if (!request.path.empty()) {
            m_requests.push_back(request);
        }
        const auto found = m_routes.find(route);
        if (method == "GET" && found != m_routes.end()) {
            response = found->second;
        }
    }

    const std::string& body = *response.body;
    // Clients go by the code alone, so one reason phrase serves every status.
    const std::string head = "HTTP/1.1 " + std::to_string(response.status) +
                             " Status\r\nContent-Length: " + std::to_string(body.size()) +
                             "\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n\r\n";
    bool open = !request.path.empty() && sendAll(socket, head.data(), head.size()) == head.size();
    const std::size_t toSend = std::min(body.size(), response.holdAfter.value_or(body.size()));
    const std::size_t chunk = std::max<std::size_t>(response.chunkSize, 1);
    for (std::size_t offset = 0; open && offset < toSend; offset += chunk) {
        const std::size_t size = std::min(chunk, toSend - offset);
        // Counted before it goes out, so that a test that has seen the client react to these bytes finds
        // them counted; taken back if they don't all go out.
        {
            std::lock_guard lock(m_mutex);
            m_sent[route] += size;
        }
        const std::size_t sent = sendAll(socket, body.data() + offset, size);
        if (sent < size) {
            open = false;
            std::lock_guard lock(m_mutex);
            m_sent[route] -= size - sent;
        }
        open = open && (offset + size == toSend || pauseFor(response.pause));
    }

    if (open && !response.holdAfter) {
        ::shutdown(socket, SHUT_WR);
        ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &kLinger, sizeof kLinger);
    }
    if (open) {
        // A held connection sends nothing more until the client gives up or the server stops.
        drain(socket);
    }
    std::lock_guard lock(m_mutex);
    m_open.erase(socket);
    ::close(socket);
}

} // namespace brivel::test
