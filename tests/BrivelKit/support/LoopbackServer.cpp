#include "support/LoopbackServer.h"

#include <httplib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace brivel::test {

LoopbackServer::LoopbackServer() : m_server(std::make_unique<httplib::Server>()) {
    // One request per connection, as the updater's transfers are.
    m_server->set_keep_alive_max_count(1);
    m_server->Get(".*", [this](const httplib::Request& request, httplib::Response& answer) {
        Response response = status(404);
        {
            std::lock_guard lock(m_mutex);
            m_requests.push_back({request.path, request.get_header_value("User-Agent")});
            if (const auto found = m_routes.find(request.path); found != m_routes.end()) {
                response = found->second;
            }
        }
        answer.status = response.status;
        const auto body = response.body;
        if (body->empty()) {
            answer.set_content(std::string(), "application/octet-stream");
            return;
        }
        const std::size_t toSend = std::min(body->size(), response.holdAfter.value_or(body->size()));
        answer.set_content_provider(
            body->size(), "application/octet-stream",
            [this, body, toSend, response, path = request.path](std::size_t offset, std::size_t,
                                                                httplib::DataSink& sink) {
                if (offset >= toSend) {
                    // A held connection sends nothing more until the client gives up or the server stops.
                    return pauseFor(std::chrono::hours(1));
                }
                const std::size_t size = std::min({std::max<std::size_t>(response.chunkSize, 1), toSend - offset});
                // Counted before it goes out, so that a test that has seen the client react to these bytes
                // finds them counted.
                {
                    std::lock_guard lock(m_mutex);
                    m_sent[path] += size;
                }
                if (!sink.write(body->data() + offset, size)) {
                    return false;
                }
                return offset + size == toSend || pauseFor(response.pause);
            });
    });
    m_port = m_server->bind_to_any_port("127.0.0.1");
    if (m_port <= 0) {
        // A test can't do anything useful without its server, and saying why beats a later timeout.
        std::fputs("LoopbackServer: can't listen on 127.0.0.1\n", stderr);
        std::abort();
    }
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    // A stop that comes before the loop has started would be missed, and the loop would never end.
    while (!m_server->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

LoopbackServer::~LoopbackServer() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_stopped.notify_all();
    m_server->stop();
    m_thread.join();
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

} // namespace brivel::test
