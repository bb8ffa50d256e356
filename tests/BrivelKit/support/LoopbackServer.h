#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace brivel::test {

// An HTTP server on 127.0.0.1 only (a free port), serving on threads of its own so the code under test can
// run the main thread's event loop while it serves. One request per connection.
class LoopbackServer {
public:
    struct Response {
        int status = 200;
        std::shared_ptr<const std::string> body = std::make_shared<const std::string>();
        // Send only this many bytes of the body, then keep the connection open (sending nothing) until the
        // server stops.
        std::optional<std::size_t> holdAfter;
        // The body goes out in writes of this size, with `pause` between them.
        std::size_t chunkSize = 64 * 1024;
        std::chrono::microseconds pause{0};
    };

    struct Request {
        std::string path;
        std::string userAgent;
    };

    LoopbackServer();
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    // What a GET of `path` answers; any other path gets 404.
    void serve(const std::string& path, Response response);
    static Response ok(std::string body);
    static Response status(int status);

    // "http://127.0.0.1:<port>" + path.
    std::string url(const std::string& path) const;

    // Every request received so far.
    std::vector<Request> requests() const;
    // The number of body bytes written for `path` so far, over all requests.
    std::size_t bytesSent(const std::string& path) const;

private:
    // Waits for `pause`; false when the server stops meanwhile.
    bool pauseFor(std::chrono::microseconds pause);

    std::unique_ptr<httplib::Server> m_server;
    int m_port = 0;
    mutable std::mutex m_mutex;
    std::condition_variable m_stopped;
    std::map<std::string, Response> m_routes;
    std::vector<Request> m_requests;
    std::map<std::string, std::size_t> m_sent;
    std::thread m_thread;
    bool m_stopping = false;
};

} // namespace brivel::test
