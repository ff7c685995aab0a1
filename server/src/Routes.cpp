#include "Routes.h"

#include <QUrl>

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr const char* jsonType = "application/json";

int portOf(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return -1;
}

// Closes the request's connection under the library's feet, so that the client gets no
// reply at all. The library does not hand out its socket, so find it by its two ports.
void dropConnection(const httplib::Request& req) {
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return;
    while (const dirent* entry = readdir(dir)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0')
            continue;
        sockaddr_storage local{}, peer{};
        socklen_t localSize = sizeof local, peerSize = sizeof peer;
        if (getsockname(int(fd), reinterpret_cast<sockaddr*>(&local), &localSize) != 0 ||
            getpeername(int(fd), reinterpret_cast<sockaddr*>(&peer), &peerSize) != 0)
            continue;
        if (portOf(local) == req.local_port && portOf(peer) == req.remote_port) {
            shutdown(int(fd), SHUT_RDWR);
            break;
        }
    }
    closedir(dir);
}

// The body of a reply `send` made, read back from its provider.
std::string sentBody(httplib::Response& res) {
    if (!res.content_provider_)
        return std::move(res.body);
    std::string out;
    httplib::DataSink sink;
    sink.write = [&out](const char* data, std::size_t size) {
        out.append(data, size);
        return true;
    };
    sink.is_writable = [] { return true; };
    while (out.size() < res.content_length_) {
        const std::size_t before = out.size();
        if (!res.content_provider_(before, res.content_length_ - before, sink) ||
            out.size() == before)
            break;
    }
    return out;
}

// Sends the headers, with the full length, and only half the body; the library then
// closes the connection, as a network that fails in the middle of a reply would.
void cutAfterHeaders(httplib::Response& res) {
    auto body = std::make_shared<std::string>(sentBody(res));
    const std::string type = res.get_header_value("Content-Type");
    res.body.clear();
    res.set_content_provider(body->size(), type,
                             [body](std::size_t, std::size_t, httplib::DataSink& sink) {
                                 sink.write(body->data(), body->size() / 2);
                                 return false;
                             });
}

} // namespace

namespace Routes {

void send(httplib::Response& res, int status, const QByteArray& body, const char* contentEncoding) {
    res.status = status;
    if (contentEncoding && *contentEncoding)
        res.set_header("Content-Encoding", contentEncoding);
    // A provider of known length goes out as it is. A plain body the library would compress
    // at its highest Brotli quality whenever the client offers `br`, which costs milliseconds
    // even for a reply of a few bytes; the one large reply, the whole document, is encoded by
    // its route at a level of its own.
    res.set_content_provider(
        std::size_t(body.size()), jsonType,
        [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            return sink.write(body.constData() + offset, length);
        });
}

void send(httplib::Response& res, int status, const QByteArray& body) {
    send(res, status, body, nullptr);
}

void send(httplib::Response& res, const Reply& reply) {
    send(res, reply.status, reply.body);
}

void sendMessage(httplib::Response& res, int status, const QString& text) {
    send(res, status, messageBody(text));
}

QByteArray bodyOf(const httplib::Request& req) {
    return QByteArray(req.body.data(), qsizetype(req.body.size()));
}

QByteArray bearer(const httplib::Request& req) {
    const QByteArray header = QByteArray::fromStdString(req.get_header_value("Authorization"));
    if (!header.toLower().startsWith("bearer "))
        return {};
    return header.mid(7).trimmed();
}

std::optional<JsonValue> jsonBody(const httplib::Request& req, httplib::Response& res) {
    QString error;
    auto json = JsonValue::parse(bodyOf(req), &error);
    if (!json)
        sendMessage(res, 400, QStringLiteral("The body is not JSON: %1.").arg(error));
    return json;
}

QString userName(const httplib::Request& req) {
    return QUrl::fromPercentEncoding(QByteArray::fromStdString(req.matches[1].str()));
}

std::optional<Fault> takeFault(FaultPlan& faults, const httplib::Request& req, const QString& rpc) {
    if (faults.pending() == 0)
        return std::nullopt;
    return faults.take(QString::fromStdString(req.method), QString::fromStdString(req.path), rpc);
}

bool applyFault(const std::optional<Fault>& fault, httplib::Response& res) {
    if (!fault)
        return false;
    if (fault->delayMs > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(fault->delayMs));
    if (!fault->status)
        return false;
    res.status = *fault->status;
    if (fault->body.isEmpty())
        res.set_content(messageBody(QStringLiteral("Injected failure")).toStdString(), jsonType);
    else
        res.set_content(fault->body.toStdString(),
                        JsonValue::parse(fault->body) ? jsonType : "text/plain; charset=utf-8");
    return true;
}

void dropIfAsked(const std::optional<Fault>& fault, const httplib::Request& req,
                 httplib::Response& res) {
    if (fault && fault->closeAfterWrite)
        dropConnection(req);
    if (fault && fault->cutAfterHeaders)
        cutAfterHeaders(res);
}

std::optional<qint64> authorise(Service& service, const httplib::Request& req,
                                httplib::Response& res) {
    const auto user = service.authenticate(bearer(req));
    if (!user)
        sendMessage(res, 401, QStringLiteral("A valid bearer token is required."));
    return user;
}

httplib::Server::Handler userRoute(Service& service, FaultPlan& faults, UserHandler handler) {
    return [&service, &faults, handler = std::move(handler)](const httplib::Request& req,
                                                             httplib::Response& res) {
        const auto fault = takeFault(faults, req);
        if (applyFault(fault, res))
            return;
        const auto user = authorise(service, req, res);
        if (!user)
            return;
        send(res, handler(*user, req));
        dropIfAsked(fault, req, res);
    };
}

} // namespace Routes
