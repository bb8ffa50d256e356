#include "support/LoopbackServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace brivel::test {

namespace {

constexpr std::size_t kMaxRequestHead = 64 * 1024;
// How long a finished connection waits for the client to close its side before closing ours, so that a
// client still sending (headers we did not read) never turns our close into a reset that loses the body.
constexpr int kLingerMilliseconds = 2000;

void closeQuietly(int& descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

// Waits until `descriptor` is ready for `events`, the server is stopping (the wake pipe became readable) or
// `timeout` passed (negative: no limit). True only when the descriptor is ready.
bool waitFor(int descriptor, short events, int wake, const timespec* timeout) {
    pollfd fds[2] = {{descriptor, events, 0}, {wake, POLLIN, 0}};
    for (;;) {
        const int count = ::ppoll(fds, 2, timeout, nullptr);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || (fds[1].revents & POLLIN) != 0) {
            return false;
        }
        return true;
    }
}

// Sleeps for `pause`, ending early when the server stops; false when it stopped.
bool pauseFor(std::chrono::microseconds pause, int wake) {
    if (pause.count() <= 0) {
        return true;
    }
    const timespec timeout{static_cast<time_t>(pause.count() / 1'000'000),
                           static_cast<long>(pause.count() % 1'000'000) * 1000};
    pollfd fd{wake, POLLIN, 0};
    return ::ppoll(&fd, 1, &timeout, nullptr) == 0;
}

// Writes `data` and returns how much of it went out: all of it unless the client went away or the server
// stopped. The socket is written without blocking so a client that stops reading can't keep the server
// from stopping.
std::size_t sendAll(int socket, const char* data, std::size_t size, int wake) {
    std::size_t sent = 0;
    while (sent < size) {
        if (!waitFor(socket, POLLOUT, wake, nullptr)) {
            break;
        }
        const ssize_t written = ::send(socket, data + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (written < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) {
                continue;
            }
            break;
        }
        sent += static_cast<std::size_t>(written);
    }
    return sent;
}

// Reads up to the blank line that ends the request's head; empty when the client closed first, sent too
// much, or the server stopped.
std::string readHead(int socket, int wake) {
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos) {
        if (head.size() > kMaxRequestHead || !waitFor(socket, POLLIN, wake, nullptr)) {
            return {};
        }
        const ssize_t count = ::recv(socket, buffer, sizeof buffer, 0);
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

std::string trimmed(const std::string& text) {
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::string lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The request line and the headers; the method is empty when the request line is malformed.
LoopbackServer::Request parseHead(const std::string& head) {
    LoopbackServer::Request request;
    std::size_t lineStart = 0;
    bool first = true;
    for (;;) {
        const auto lineEnd = head.find("\r\n", lineStart);
        if (lineEnd == std::string::npos || lineEnd == lineStart) {
            break;
        }
        const std::string line = head.substr(lineStart, lineEnd - lineStart);
        lineStart = lineEnd + 2;
        if (first) {
            first = false;
            const auto methodEnd = line.find(' ');
            if (methodEnd == std::string::npos) {
                return {};
            }
            const auto targetEnd = line.find(' ', methodEnd + 1);
            if (targetEnd == std::string::npos) {
                return {};
            }
            request.method = line.substr(0, methodEnd);
            request.path = line.substr(methodEnd + 1, targetEnd - methodEnd - 1);
            continue;
        }
        const auto colon = line.find(':');
        if (colon != std::string::npos) {
            request.headers[lowercase(trimmed(line.substr(0, colon)))] = trimmed(line.substr(colon + 1));
        }
    }
    return request;
}

} // namespace

LoopbackServer::LoopbackServer() {
    if (::pipe2(m_wakePipe, O_CLOEXEC) != 0) {
        std::perror("LoopbackServer: pipe2");
        std::abort();
    }
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
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    // Never read, so the pipe stays readable and wakes every wait of every connection at once.
    const char byte = 1;
    while (::write(m_wakePipe[1], &byte, 1) < 0 && errno == EINTR) {
    }
    m_acceptor.join();
    // The acceptor was the only one adding handlers, so the list no longer changes.
    for (auto& handler : m_handlers) {
        handler.join();
    }
    closeQuietly(m_listener);
    closeQuietly(m_wakePipe[0]);
    closeQuietly(m_wakePipe[1]);
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

void LoopbackServer::acceptLoop() {
    for (;;) {
        if (!waitFor(m_listener, POLLIN, m_wakePipe[0], nullptr)) {
            return;
        }
        const int socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            continue;
        }
        std::lock_guard lock(m_mutex);
        if (m_stopping) {
            ::close(socket);
            return;
        }
        m_handlers.emplace_back([this, socket] { handle(socket); });
    }
}

void LoopbackServer::handle(int socket) {
    const int wake = m_wakePipe[0];
    const std::string head = readHead(socket, wake);
    const Request request = parseHead(head);
    if (request.method.empty()) {
        ::close(socket);
        return;
    }
    const std::string route = request.path.substr(0, request.path.find('?'));
    Response response = status(404);
    {
        std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        const auto found = m_routes.find(route);
        if (request.method == "GET" && found != m_routes.end()) {
            response = found->second;
        }
    }

    const std::string& body = *response.body;
    // Clients go by the code alone, so one reason phrase serves every status.
    const std::string responseHead =
        "HTTP/1.1 " + std::to_string(response.status) +
        " Status\r\nContent-Length: " + std::to_string(body.size()) +
        "\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n\r\n";
    bool open = sendAll(socket, responseHead.data(), responseHead.size(), wake) == responseHead.size();

    const std::size_t toSend = std::min(body.size(), response.holdAfter.value_or(body.size()));
    const std::size_t chunk = std::max<std::size_t>(response.chunkSize, 1);
    for (std::size_t offset = 0; open && offset < toSend;) {
        const std::size_t size = std::min(chunk, toSend - offset);
        // Counted before it goes out, so that a test that has seen the client react to these bytes finds
        // them counted; taken back if they don't all go out.
        {
            std::lock_guard lock(m_mutex);
            m_sent[route] += size;
        }
        const std::size_t sent = sendAll(socket, body.data() + offset, size, wake);
        offset += sent;
        if (sent < size) {
            open = false;
            std::lock_guard lock(m_mutex);
            m_sent[route] -= size - sent;
        }
        if (open && offset < toSend) {
            open = pauseFor(response.pause, wake);
        }
    }

    if (open && response.holdAfter) {
        // Hold the connection, sending nothing, until the client gives up or the server stops.
        char buffer[4096];
        while (waitFor(socket, POLLIN, wake, nullptr) && ::recv(socket, buffer, sizeof buffer, 0) > 0) {
        }
    } else if (open) {
        ::shutdown(socket, SHUT_WR);
        const timespec linger{kLingerMilliseconds / 1000, (kLingerMilliseconds % 1000) * 1'000'000L};
        char buffer[4096];
        while (waitFor(socket, POLLIN, wake, &linger) && ::recv(socket, buffer, sizeof buffer, 0) > 0) {
        }
    }
    ::close(socket);
}

} // namespace brivel::test
