#include "HttpServer.h"

#include "Json.h"

#include <QString>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <variant>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// After a refusal the connection closes; what the client still sends is read and thrown
// away for a moment, as closing on unread bytes resets the connection and the client
// would lose the answer.
constexpr std::size_t drainBytes = 2 * 1024 * 1024;
constexpr std::chrono::milliseconds drainTime{2000};
// A chunk-size line: the size in hex and perhaps an extension.
constexpr std::size_t maxChunkLine = 1024;

struct Refusal {
    int status;
    const char* reason;
    const char* message;
};

const Refusal tooLarge{413, "Payload Too Large", "The request body is over 1 MiB."};
const Refusal headTooLarge{431, "Request Header Fields Too Large",
                           "The request line and headers are over 16 KiB."};
const Refusal tooSlow{408, "Request Timeout", "The request took too long to arrive."};
const Refusal badFraming{400, "Bad Request", "The request's framing is malformed."};
const Refusal twoFramings{400, "Bad Request",
                          "A request may carry Content-Length or Transfer-Encoding, not both."};
const Refusal unknownCoding{501, "Not Implemented",
                            "Only the chunked transfer coding is supported."};
const Refusal unknownExpectation{417, "Expectation Failed",
                                 "Only the 100-continue expectation is supported."};
const Refusal busy{503, "Service Unavailable", "The server is busy; try again shortly."};

std::string replyFor(const Refusal& refusal) {
    const QByteArray body =
        JsonValue::object({{QStringLiteral("message"), QString::fromUtf8(refusal.message)}})
            .toJson();
    return "HTTP/1.1 " + std::to_string(refusal.status) + ' ' + refusal.reason +
           "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body.toStdString();
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

// How a request's body is framed, read from its head, and the head as the library gets it:
// without the framing headers and `Expect`, as the body reaches it whole.
struct Head {
    std::string forwarded;
    std::optional<std::size_t> contentLength;
    bool chunked = false;
    bool expectContinue = false;
};

// The head is everything before the blank line, line ends included.
std::variant<Head, const Refusal*> parseHead(std::string_view text, std::size_t maxLines) {
    Head head;
    std::size_t lines = 0;
    bool first = true;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (first) {
            first = false;
            if (line.empty())
                return &badFraming;
            head.forwarded.append(line).append("\r\n");
            continue;
        }
        if (line.empty())
            break; // the blank line that ends the head
        if (++lines > maxLines)
            return &headTooLarge;
        const std::size_t colon = line.find(':');
        // A folded line (leading blank) or a name with blanks could be read two ways.
        if (colon == 0 || colon == std::string_view::npos || line.front() == ' ' ||
            line.front() == '\t' || trimmed(line.substr(0, colon)).size() != colon)
            return &badFraming;
        const std::string_view name = line.substr(0, colon);
        const std::string_view value = trimmed(line.substr(colon + 1));
        if (sameName(name, "Content-Length")) {
            std::size_t length = 0;
            const auto [end, error] =
                std::from_chars(value.data(), value.data() + value.size(), length);
            if (value.empty() || error != std::errc() || end != value.data() + value.size() ||
                (head.contentLength && *head.contentLength != length))
                return error == std::errc::result_out_of_range ? &tooLarge : &badFraming;
            head.contentLength = length;
        } else if (sameName(name, "Transfer-Encoding")) {
            if (head.chunked || !sameName(value, "chunked"))
                return head.chunked ? &badFraming : &unknownCoding;
            head.chunked = true;
        } else if (sameName(name, "Expect")) {
            if (!sameName(value, "100-continue"))
                return &unknownExpectation;
            head.expectContinue = true;
        } else {
            head.forwarded.append(line).append("\r\n");
        }
    }
    if (head.chunked && head.contentLength)
        return &twoFramings;
    return head;
}

std::pair<std::string, int> addressOf(int fd, bool peer) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    if ((peer ? getpeername(fd, raw, &size) : getsockname(fd, raw, &size)) != 0)
        return {{}, -1};
    char text[INET6_ADDRSTRLEN] = {};
    if (address.ss_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        return {text, ntohs(v4.sin_port)};
    }
    if (address.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
        return {text, ntohs(v6.sin6_port)};
    }
    return {{}, -1};
}

// One complete request held in memory, read by the library; what it writes is collected
// for the event thread to send.
class HeldRequest : public httplib::Stream {
public:
    HeldRequest(int fd, const std::string& request, std::string& reply)
        : m_fd(fd)
        , m_request(request)
        , m_reply(reply) {}

    bool is_readable() const override { return m_read < m_request.size(); }
    bool is_writable() const override { return true; }
    ssize_t read(char* ptr, size_t size) override {
        const std::size_t n = std::min(size, m_request.size() - m_read);
        std::memcpy(ptr, m_request.data() + m_read, n);
        m_read += n;
        return ssize_t(n);
    }
    ssize_t write(const char* ptr, size_t size) override {
        m_reply.append(ptr, size);
        return ssize_t(size);
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        std::tie(ip, port) = addressOf(m_fd, true);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override {
        std::tie(ip, port) = addressOf(m_fd, false);
    }
    socket_t socket() const override { return m_fd; }

private:
    int m_fd;
    const std::string& m_request;
    std::size_t m_read = 0;
    std::string& m_reply;
};

enum class Phase {
    idle,      // waiting for a request's first byte
    head,      // reading the request line and headers
    body,      // reading a body of known length
    chunkSize, // reading a chunk-size line
    chunkData, // reading a chunk
    chunkEnd,  // reading the line end after a chunk
    trailers,  // reading the trailer lines after the last chunk
    busy,      // with a pool thread
    writing,   // sending the reply
    draining,  // closing after a refusal
};

struct Connection {
    int fd;
    Phase phase = Phase::idle;
    Clock::time_point deadline;
    std::string in; // read and not yet taken
    std::size_t scanned = 0;
    std::string request; // the head as forwarded, then the body
    std::size_t bodyStart = 0;
    std::size_t bodyLength = 0;
    std::size_t chunkLeft = 0;
    std::size_t trailerBytes = 0;
    bool expectContinue = false;
    std::string out;
    std::size_t sent = 0;
    bool closeAfterReply = false;
    std::size_t served = 0;
    std::size_t drained = 0;
};

} // namespace

class HttpServer::Front : public httplib::TaskQueue {
public:
    Front(HttpServer& server, const Limits& limits)
        : m_server(server)
        , m_limits(limits)
        , m_epoll(epoll_create1(EPOLL_CLOEXEC))
        , m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (m_epoll < 0 || m_wake < 0)
            throw std::runtime_error("cannot create the connection poller");
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = m_wake;
        epoll_ctl(m_epoll, EPOLL_CTL_ADD, m_wake, &event);
        for (std::size_t i = 0; i < std::max<std::size_t>(1, limits.workers); ++i)
            m_workers.emplace_back([this] { work(); });
        m_loop = std::thread([this] { loop(); });
    }

    ~Front() override {
        shutdown();
        ::close(m_epoll);
        ::close(m_wake);
    }

    // The library's accept loop hands each connection over here; it is queued for the
    // event thread at once, so accepting never waits.
    void enqueue(std::function<void()> fn) override { fn(); }

    // Finishes the requests in flight and sends their replies, then closes everything.
    void shutdown() override {
        {
            std::lock_guard lock(m_mutex);
            if (m_stopping)
                return;
            m_stopping = true;
        }
        m_jobReady.notify_all();
        for (std::thread& worker : m_workers)
            worker.join();
        {
            std::lock_guard lock(m_mutex);
            m_workersDone = true;
        }
        wake();
        m_loop.join();
    }

    void admit(int fd) {
        {
            std::lock_guard lock(m_mutex);
            if (!m_stopping && m_open < m_limits.maxConnections) {
                ++m_open;
                m_admitted.push_back(fd);
                fd = -1;
            }
        }
        if (fd < 0)
            return wake();
        // Full: a short answer fits the fresh socket's buffer, so this does not block.
        const std::string reply = replyFor(busy);
        [[maybe_unused]] const auto n =
            ::send(fd, reply.data(), reply.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        ::shutdown(fd, SHUT_RDWR);
        ::close(fd);
    }

private:
    void wake() {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto n = ::write(m_wake, &one, sizeof one);
    }

    // --- the pool ------------------------------------------------------------------------

    void work() {
        for (;;) {
            Connection* connection = nullptr;
            {
                std::unique_lock lock(m_mutex);
                m_jobReady.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
                if (m_jobs.empty())
                    return;
                connection = m_jobs.front();
                m_jobs.pop_front();
            }
            serve(*connection);
            {
                std::lock_guard lock(m_mutex);
                m_done.push_back(connection);
            }
            wake();
        }
    }

    void serve(Connection& connection) {
        bool closing = false;
        {
            std::lock_guard lock(m_mutex);
            closing = m_stopping;
        }
        ++connection.served;
        const bool last = closing || connection.served >= m_limits.maxRequestsPerConnection;
        bool closed = false;
        HeldRequest stream(connection.fd, connection.request, connection.out);
        const bool ok = m_server.handle(stream, last, closed);
        connection.closeAfterReply = last || closed || !ok;
        std::string().swap(connection.request);
    }

    // --- the event thread ----------------------------------------------------------------

    void loop() {
        std::vector<epoll_event> events(64);
        auto lastSweep = Clock::now();
        for (;;) {
            const int n = epoll_wait(m_epoll, events.data(), int(events.size()), 100);
            for (int i = 0; i < n; ++i) {
                if (events[i].data.fd == m_wake) {
                    std::uint64_t count;
                    [[maybe_unused]] const auto r = ::read(m_wake, &count, sizeof count);
                    continue;
                }
                const auto found = m_connections.find(events[i].data.fd);
                if (found != m_connections.end())
                    onEvent(*found->second, events[i].events);
            }
            std::deque<int> admitted;
            std::deque<Connection*> done;
            bool stopping = false, workersDone = false;
            {
                std::lock_guard lock(m_mutex);
                admitted.swap(m_admitted);
                done.swap(m_done);
                stopping = m_stopping;
                workersDone = m_workersDone;
            }
            for (const int fd : admitted)
                open(fd);
            for (Connection* connection : done)
                replyReady(*connection);
            const auto now = Clock::now();
            if (stopping)
                closeIdle();
            if (now - lastSweep >= std::chrono::milliseconds(100)) {
                lastSweep = now;
                expire(now);
            }
            if (stopping && m_stopDeadline == Clock::time_point())
                m_stopDeadline = now + std::chrono::seconds(2);
            if (workersDone && (m_connections.empty() || now >= m_stopDeadline))
                break;
        }
        for (auto& [fd, connection] : m_connections)
            ::close(fd);
        m_connections.clear();
    }

    void open(int fd) {
        const int flags = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &flags, sizeof flags);
        auto connection = std::make_unique<Connection>();
        connection->fd = fd;
        connection->deadline = Clock::now() + m_limits.idle;
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        if (::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK) != 0 ||
            epoll_ctl(m_epoll, EPOLL_CTL_ADD, fd, &event) != 0) {
            ::close(fd);
            release();
            return;
        }
        m_connections.emplace(fd, std::move(connection));
    }

    void release() {
        std::lock_guard lock(m_mutex);
        --m_open;
    }

    void close(Connection& connection) {
        const int fd = connection.fd;
        epoll_ctl(m_epoll, EPOLL_CTL_DEL, fd, nullptr);
        ::close(fd);
        m_connections.erase(fd); // destroys `connection`
        release();
    }

    void watch(Connection& connection, std::uint32_t events) {
        epoll_event event{};
        event.events = events;
        event.data.fd = connection.fd;
        epoll_ctl(m_epoll, EPOLL_CTL_MOD, connection.fd, &event);
    }

    void onEvent(Connection& connection, std::uint32_t events) {
        if (connection.phase == Phase::writing) {
            if (events & (EPOLLERR | EPOLLHUP))
                return close(connection);
            return send(connection);
        }
        if (connection.phase == Phase::draining)
            return drain(connection);
        receive(connection);
    }

    void receive(Connection& connection) {
        char buffer[16 * 1024];
        for (;;) {
            const ssize_t n = ::recv(connection.fd, buffer, sizeof buffer, 0);
            if (n > 0) {
                connection.in.append(buffer, std::size_t(n));
                if (!advance(connection))
                    return; // refused, handed to the pool or closed
                continue;
            }
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
                return;
            // The peer hung up (or failed) before a whole request came.
            return close(connection);
        }
    }

    void drain(Connection& connection) {
        char buffer[16 * 1024];
        for (;;) {
            const ssize_t n = ::recv(connection.fd, buffer, sizeof buffer, 0);
            if (n > 0) {
                connection.drained += std::size_t(n);
                if (connection.drained > drainBytes)
                    return close(connection);
                continue;
            }
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
                return;
            return close(connection);
        }
    }

    // Moves the request on with the bytes in `in`. False when the connection left the
    // reading phases (handed over, refused or closed).
    bool advance(Connection& connection) {
        const auto now = Clock::now();
        for (;;) {
            switch (connection.phase) {
            case Phase::idle: {
                // Blank lines before a request are allowed, and some clients send one.
                const std::size_t start = connection.in.find_first_not_of("\r\n");
                connection.in.erase(0, std::min(start, connection.in.size()));
                if (connection.in.empty())
                    return true;
                connection.phase = Phase::head;
                connection.scanned = 0;
                connection.deadline = now + m_limits.head;
                continue;
            }
            case Phase::head: {
                const std::size_t from = connection.scanned > 2 ? connection.scanned - 2 : 0;
                std::size_t end = connection.in.find("\n\r\n", from);
                std::size_t blank = connection.in.find("\n\n", from);
                std::size_t headEnd = std::string::npos;
                if (end != std::string::npos && (blank == std::string::npos || end < blank))
                    headEnd = end + 3;
                else if (blank != std::string::npos)
                    headEnd = blank + 2;
                if (headEnd == std::string::npos || headEnd > m_limits.maxHead) {
                    if (connection.in.size() > m_limits.maxHead)
                        return refuse(connection, headTooLarge);
                    connection.scanned = connection.in.size();
                    return true;
                }
                auto parsed = parseHead(std::string_view(connection.in).substr(0, headEnd),
                                        m_limits.maxHeaderLines);
                connection.in.erase(0, headEnd);
                if (const auto* refusal = std::get_if<const Refusal*>(&parsed))
                    return refuse(connection, **refusal);
                Head& head = std::get<Head>(parsed);
                if (head.contentLength && *head.contentLength > m_limits.maxBody)
                    return refuse(connection, tooLarge);
                connection.request = std::move(head.forwarded);
                connection.bodyStart = connection.request.size();
                connection.bodyLength = head.contentLength.value_or(0);
                connection.expectContinue = head.expectContinue;
                connection.trailerBytes = 0;
                connection.phase = head.chunked ? Phase::chunkSize : Phase::body;
                connection.deadline = now + m_limits.body;
                continue;
            }
            case Phase::body: {
                // The body waits in `in` until it is whole.
                if (connection.in.size() < connection.bodyLength) {
                    askForBody(connection);
                    return true;
                }
                connection.request.append("Content-Length: ")
                    .append(std::to_string(connection.bodyLength))
                    .append("\r\n\r\n")
                    .append(connection.in, 0, connection.bodyLength);
                connection.in.erase(0, connection.bodyLength);
                return dispatch(connection);
            }
            case Phase::chunkSize: {
                const std::size_t end = connection.in.find('\n');
                if (end == std::string::npos) {
                    if (connection.in.size() > maxChunkLine)
                        return refuse(connection, badFraming);
                    askForBody(connection);
                    return true;
                }
                std::string_view line = trimmed(std::string_view(connection.in).substr(0, end));
                line = trimmed(line.substr(0, line.find(';')));
                std::size_t size = 0;
                const auto [stop, error] =
                    std::from_chars(line.data(), line.data() + line.size(), size, 16);
                if (line.empty() || stop != line.data() + line.size() || error != std::errc())
                    return refuse(connection,
                                  error == std::errc::result_out_of_range ? tooLarge : badFraming);
                connection.in.erase(0, end + 1);
                const std::size_t taken = connection.request.size() - connection.bodyStart;
                if (size > m_limits.maxBody - taken)
                    return refuse(connection, tooLarge);
                connection.chunkLeft = size;
                connection.phase = size == 0 ? Phase::trailers : Phase::chunkData;
                continue;
            }
            case Phase::chunkData: {
                const std::size_t n = std::min(connection.chunkLeft, connection.in.size());
                connection.request.append(connection.in, 0, n);
                connection.in.erase(0, n);
                connection.chunkLeft -= n;
                if (connection.chunkLeft > 0) {
                    askForBody(connection);
                    return true;
                }
                connection.phase = Phase::chunkEnd;
                continue;
            }
            case Phase::chunkEnd: {
                if (connection.in.empty() || (connection.in[0] == '\r' && connection.in.size() < 2))
                    return true;
                const std::size_t skip = connection.in[0] == '\r' ? 2 : 1;
                if (connection.in[skip - 1] != '\n')
                    return refuse(connection, badFraming);
                connection.in.erase(0, skip);
                connection.phase = Phase::chunkSize;
                continue;
            }
            case Phase::trailers: {
                const std::size_t end = connection.in.find('\n');
                if (end == std::string::npos) {
                    if (connection.trailerBytes + connection.in.size() > m_limits.maxHead)
                        return refuse(connection, headTooLarge);
                    return true;
                }
                const bool blank = trimmed(std::string_view(connection.in).substr(0, end)).empty();
                connection.trailerBytes += end + 1;
                connection.in.erase(0, end + 1);
                if (connection.trailerBytes > m_limits.maxHead)
                    return refuse(connection, headTooLarge);
                if (!blank)
                    continue; // trailer fields are not passed on
                std::string body = connection.request.substr(connection.bodyStart);
                connection.request.resize(connection.bodyStart);
                connection.request.append("Content-Length: ")
                    .append(std::to_string(body.size()))
                    .append("\r\n\r\n")
                    .append(body);
                return dispatch(connection);
            }
            default:
                return false;
            }
        }
    }

    // A client that sent `Expect: 100-continue` waits for this before the body.
    void askForBody(Connection& connection) {
        if (!connection.expectContinue)
            return;
        connection.expectContinue = false;
        static constexpr std::string_view go = "HTTP/1.1 100 Continue\r\n\r\n";
        [[maybe_unused]] const auto n =
            ::send(connection.fd, go.data(), go.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }

    bool dispatch(Connection& connection) {
        connection.phase = Phase::busy;
        epoll_ctl(m_epoll, EPOLL_CTL_DEL, connection.fd, nullptr);
        {
            std::lock_guard lock(m_mutex);
            m_jobs.push_back(&connection);
        }
        m_jobReady.notify_one();
        return false;
    }

    bool refuse(Connection& connection, const Refusal& refusal) {
        connection.request.clear();
        connection.in.clear();
        connection.out = replyFor(refusal);
        connection.sent = 0;
        connection.closeAfterReply = true;
        startWriting(connection);
        return false;
    }

    void replyReady(Connection& connection) {
        epoll_event event{};
        event.events = EPOLLOUT;
        event.data.fd = connection.fd;
        epoll_ctl(m_epoll, EPOLL_CTL_ADD, connection.fd, &event);
        connection.sent = 0;
        startWriting(connection);
    }

    void startWriting(Connection& connection) {
        connection.phase = Phase::writing;
        connection.deadline = Clock::now() + m_limits.write;
        send(connection);
    }

    void send(Connection& connection) {
        while (connection.sent < connection.out.size()) {
            const ssize_t n = ::send(connection.fd, connection.out.data() + connection.sent,
                                     connection.out.size() - connection.sent, MSG_NOSIGNAL);
            if (n > 0) {
                connection.sent += std::size_t(n);
                continue;
            }
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
                return watch(connection, EPOLLOUT);
            return close(connection);
        }
        std::string().swap(connection.out);
        connection.sent = 0;
        if (connection.closeAfterReply) {
            ::shutdown(connection.fd, SHUT_WR);
            connection.phase = Phase::draining;
            connection.deadline = Clock::now() + drainTime;
            watch(connection, EPOLLIN);
            return drain(connection);
        }
        connection.phase = Phase::idle;
        connection.deadline = Clock::now() + m_limits.idle;
        watch(connection, EPOLLIN);
        // A pipelined request may already be here.
        if (advance(connection))
            receive(connection);
    }

    void expire(Clock::time_point now) {
        std::vector<Connection*> late;
        for (auto& [fd, connection] : m_connections)
            if (connection->phase != Phase::busy && now >= connection->deadline)
                late.push_back(connection.get());
        for (Connection* connection : late) {
            switch (connection->phase) {
            case Phase::head:
            case Phase::body:
            case Phase::chunkSize:
            case Phase::chunkData:
            case Phase::chunkEnd:
            case Phase::trailers:
                refuse(*connection, tooSlow);
                break;
            default:
                close(*connection);
            }
        }
    }

    // On the way out: what waits for a request is closed; replies still go out.
    void closeIdle() {
        std::vector<Connection*> idle;
        for (auto& [fd, connection] : m_connections)
            if (connection->phase != Phase::busy && connection->phase != Phase::writing)
                idle.push_back(connection.get());
        for (Connection* connection : idle)
            close(*connection);
    }

    HttpServer& m_server;
    const Limits m_limits;
    const int m_epoll;
    const int m_wake;

    std::mutex m_mutex; // guards what follows, up to the event thread's own state
    std::condition_variable m_jobReady;
    std::deque<int> m_admitted;
    std::deque<Connection*> m_jobs;
    std::deque<Connection*> m_done;
    std::size_t m_open = 0;
    bool m_stopping = false;
    bool m_workersDone = false;

    // The event thread's own.
    std::unordered_map<int, std::unique_ptr<Connection>> m_connections;
    Clock::time_point m_stopDeadline;

    std::vector<std::thread> m_workers;
    std::thread m_loop;
};

HttpServer::HttpServer(const Limits& limits)
    : m_limits(limits) {
    new_task_queue = [this] {
        auto* front = new Front(*this, m_limits);
        m_front = front;
        return front;
    };
    set_payload_max_length(limits.maxBody);
    set_keep_alive_max_count(limits.maxRequestsPerConnection);
    set_keep_alive_timeout(std::chrono::duration_cast<std::chrono::seconds>(limits.idle).count());
    // Two servers must never share a port: no SO_REUSEPORT, which the library would set.
    set_socket_options([this](socket_t sock) {
        const int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        m_listener = sock;
    });
}

int HttpServer::bindTo(const std::string& host, int port) {
    errno = 0;
    const int bound = port == 0 ? bind_to_any_port(host) : bind_to_port(host, port) ? port : -1;
    // The library listens with a backlog of 5: a burst of connections would wait for SYN
    // retries (a second each) before the event thread even saw them.
    if (bound >= 0)
        ::listen(m_listener, SOMAXCONN);
    return bound;
}

HttpServer::~HttpServer() = default;

bool HttpServer::process_and_close_socket(socket_t sock) {
    m_front->admit(sock);
    return true;
}

bool HttpServer::handle(httplib::Stream& stream, bool closeConnection, bool& connectionClosed) {
    return process_request(stream, closeConnection, connectionClosed, nullptr);
}
