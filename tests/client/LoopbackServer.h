#pragma once

#include <httplib.h>

#include <QByteArray>
#include <QUrl>

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>

// A scripted HTTP server on 127.0.0.1 for the frame's own tests: every request gets the
// reply set last, and the last request is kept for inspection.
class LoopbackServer {
public:
    struct Reply {
        int status = 200;
        std::string body;
        std::string contentType = "application/json";
        std::chrono::milliseconds delay{0};
        std::string location{}; // sent as the Location header when set
    };
    struct Request {
        std::string method;
        std::string path;
        std::string body;
        httplib::Headers headers;                       // names compared without case
        std::multimap<std::string, std::string> params; // the query, decoded
        bool hasHeader(const std::string& name) const { return headers.count(name) > 0; }
        std::string header(const std::string& name) const {
            const auto it = headers.find(name);
            return it == headers.end() ? std::string() : it->second;
        }
    };

    LoopbackServer() {
        auto handler = [this](const httplib::Request& req, httplib::Response& res) {
            Reply reply;
            {
                std::lock_guard lock(m_mutex);
                m_last = {req.method, req.path, req.body, req.headers, req.params};
                ++m_count;
                reply = m_reply;
            }
            if (reply.delay.count() > 0)
                std::this_thread::sleep_for(reply.delay);
            res.status = reply.status;
            if (!reply.location.empty())
                res.set_header("Location", reply.location);
            if (!reply.body.empty())
                res.set_content(reply.body, reply.contentType);
        };
        // One request per connection: a kept-alive connection would hold stop() for seconds.
        m_server.set_keep_alive_max_count(1);
        m_server.Get(".*", handler);
        m_server.Post(".*", handler);
        m_server.Put(".*", handler);
        m_server.Delete(".*", handler);
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        // The socket already listens; wait for the accept loop so stop() cannot race it.
        for (int i = 0; i < 500 && !m_server.is_running(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ~LoopbackServer() {
        m_server.stop();
        m_thread.join();
    }

    QUrl baseURL() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(m_port)); }
    void reply(Reply reply) {
        std::lock_guard lock(m_mutex);
        m_reply = std::move(reply);
    }
    Request last() const {
        std::lock_guard lock(m_mutex);
        return m_last;
    }
    int count() const {
        std::lock_guard lock(m_mutex);
        return m_count;
    }

private:
    httplib::Server m_server;
    std::thread m_thread;
    int m_port = 0;
    mutable std::mutex m_mutex;
    Reply m_reply;
    Request m_last;
    int m_count = 0;
};
