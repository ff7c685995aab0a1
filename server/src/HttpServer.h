#pragma once

#include <httplib.h>

#include <chrono>
#include <cstddef>
#include <string>

// cpp-httplib reads each connection on a pool thread with blocking reads, and bounds neither
// the time a request takes to arrive, nor the length of a header line, nor a chunked or
// unframed body. So this server reads requests itself: one event thread takes every
// connection's bytes as they come, holds them to the limits below, and hands only complete
// requests (head and body) to the pool, which runs the library's routing on them. A client
// that trickles its bytes costs a buffer and a slot, never a pool thread. Replies are
// written back by the event thread too, so a client that does not read cannot hold one.
class HttpServer : public httplib::Server {
public:
    struct Limits {
        std::size_t workers = 16;
        std::size_t maxBody = 1024 * 1024;
        std::size_t maxHead = 16 * 1024; // request line and headers, trailers too
        std::size_t maxHeaderLines = 100;
        std::size_t maxConnections = 256;
        std::size_t maxRequestsPerConnection = 1000;
        std::chrono::milliseconds idle{5000};   // keep-alive: until a request's first byte
        std::chrono::milliseconds head{10000};  // from the first byte to the end of the head
        std::chrono::milliseconds body{30000};  // from the end of the head
        std::chrono::milliseconds write{30000}; // for the whole reply
    };

    explicit HttpServer(const Limits& limits);
    ~HttpServer() override;

    // Binds to `port` (0: a free one) and gives the port, or -1 with errno set. A port that
    // another socket listens on is refused (EADDRINUSE), never shared.
    int bindTo(const std::string& host, int port);

private:
    class Front;
    friend class Front;

    bool process_and_close_socket(socket_t sock) override;
    // Runs the library's parsing and routing on one complete request held in memory.
    bool handle(httplib::Stream& stream, bool closeConnection, bool& connectionClosed);

    Limits m_limits;
    socket_t m_listener = -1;
    Front* m_front = nullptr; // owned by the library while it listens
};
