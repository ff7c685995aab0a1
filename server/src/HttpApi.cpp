#include "HttpApi.h"

#include "Faults.h"
#include "Methods.h"
#include "Service.h"
#include "WireJson.h"

#include <QSet>
#include <QString>
#include <QUrl>

#include <httplib.h>

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

constexpr const char* jsonType = "application/json";

void send(httplib::Response& res, int status, const QByteArray& body) {
    res.status = status;
    res.set_content(body.constData(), std::size_t(body.size()), jsonType);
}

void sendMessage(httplib::Response& res, int status, const QString& text) {
    send(res, status, messageBody(text));
}

QByteArray bodyOf(const httplib::Request& req) {
    return QByteArray(req.body.data(), qsizetype(req.body.size()));
}

// The token of "Authorization: Bearer <token>"; empty when there is none.
QByteArray bearer(const httplib::Request& req) {
    const QByteArray header = QByteArray::fromStdString(req.get_header_value("Authorization"));
    if (!header.toLower().startsWith("bearer "))
        return {};
    return header.mid(7).trimmed();
}

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

// The remote method named in an `api/store` body, for matching faults; empty if none.
QString rpcName(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    const JsonValue* method = json ? json->find(u"method") : nullptr;
    return method && method->isString() ? method->toString() : QString();
}

// Runs the scripted fault for this request, if any. True when the fault has answered.
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

std::optional<Fault> takeFault(FaultPlan& faults, const httplib::Request& req,
                               const QString& rpc = {}) {
    if (faults.pending() == 0)
        return std::nullopt;
    return faults.take(QString::fromStdString(req.method), QString::fromStdString(req.path), rpc);
}

std::optional<qint64> authorise(Service& service, const httplib::Request& req,
                                httplib::Response& res) {
    const auto user = service.authenticate(bearer(req));
    if (!user)
        sendMessage(res, 401, QStringLiteral("A valid bearer token is required."));
    return user;
}

QString userName(const httplib::Request& req) {
    return QUrl::fromPercentEncoding(QByteArray::fromStdString(req.matches[1].str()));
}

std::optional<JsonValue> jsonBody(const httplib::Request& req, httplib::Response& res) {
    QString error;
    auto json = JsonValue::parse(bodyOf(req), &error);
    if (!json)
        sendMessage(res, 400, QStringLiteral("The body is not JSON: %1.").arg(error));
    return json;
}

QByteArray versionBody(qint64 version) {
    return JsonValue::object({{QStringLiteral("version"), std::int64_t(version)}}).toJson();
}

} // namespace

namespace HttpApi {

HttpServer::Limits limits(std::size_t threads) {
    HttpServer::Limits limits;
    limits.workers = threads;
    limits.maxBody = maxBodyBytes;
    return limits;
}

void configure(httplib::Server& server) {
    server.set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request&, httplib::Response& res) {
            if (!res.body.empty())
                return httplib::Server::HandlerResponse::Unhandled;
            QString text;
            switch (res.status) {
            case 404:
                text = QStringLiteral("Not found.");
                break;
            case 413:
                text = QStringLiteral("The request body is over 1 MiB.");
                break;
            default:
                text = QStringLiteral("HTTP status %1.").arg(res.status);
            }
            sendMessage(res, res.status, text);
            return httplib::Server::HandlerResponse::Handled;
        }));
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
            sendMessage(res, 500, QStringLiteral("Internal error."));
        });
}

void installApi(httplib::Server& server, Service& service, FaultPlan& faults) {
    server.Post("/api/store", [&](const httplib::Request& req, httplib::Response& res) {
        const QByteArray body = bodyOf(req);
        const auto fault = takeFault(faults, req, faults.pending() ? rpcName(body) : QString());
        if (applyFault(fault, res))
            return;
        const auto user = authorise(service, req, res);
        if (!user)
            return;
        std::optional<QString> key;
        if (req.has_header("Idempotency-Key")) {
            key = QString::fromStdString(req.get_header_value("Idempotency-Key")).trimmed();
            if (key->isEmpty() || key->size() > 200)
                return sendMessage(res, 400,
                                   QStringLiteral("Idempotency-Key must hold 1 to 200 "
                                                  "characters."));
        }
        const Reply reply = service.call(*user, body, key);
        send(res, reply.status, reply.body);
        if (fault && fault->closeAfterWrite)
            dropConnection(req);
    });

    server.Get("/api/store/version", [&](const httplib::Request& req, httplib::Response& res) {
        const auto fault = takeFault(faults, req);
        if (applyFault(fault, res))
            return;
        const auto user = authorise(service, req, res);
        if (!user)
            return;
        const Reply reply = service.version(*user);
        send(res, reply.status, reply.body);
        if (fault && fault->closeAfterWrite)
            dropConnection(req);
    });

    server.Post("/api/ai/smart-insert", [&](const httplib::Request& req, httplib::Response& res) {
        const auto fault = takeFault(faults, req);
        if (applyFault(fault, res))
            return;
        const auto user = authorise(service, req, res);
        if (!user)
            return;
        const Reply reply = service.smartInsert(*user, bodyOf(req));
        send(res, reply.status, reply.body);
        if (fault && fault->closeAfterWrite)
            dropConnection(req);
    });
}

void installAdmin(httplib::Server& server, Service& service, FaultPlan& faults,
                  const QByteArray& secret) {
    server.set_pre_routing_handler([secret](const httplib::Request& req, httplib::Response& res) {
        const QByteArray given = bearer(req);
        // Compare in constant time: the secret is all that guards this listener.
        unsigned char diff = given.size() == secret.size() ? 0 : 1;
        for (qsizetype i = 0; i < given.size() && i < secret.size(); ++i)
            diff |= static_cast<unsigned char>(given[i] ^ secret[i]);
        if (diff == 0)
            return httplib::Server::HandlerResponse::Unhandled;
        sendMessage(res, 401, QStringLiteral("The admin secret is required."));
        return httplib::Server::HandlerResponse::Handled;
    });

    server.Post("/admin/faults", [&](const httplib::Request& req, httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        try {
            faults.add(Fault::fromJson(*json));
        } catch (const std::invalid_argument& error) {
            return sendMessage(res, 400, QString::fromUtf8(error.what()));
        }
        send(res, 200, JsonValue::object({{QStringLiteral("pending"), faults.pending()}}).toJson());
    });
    server.Get("/admin/faults", [&](const httplib::Request&, httplib::Response& res) {
        send(res, 200, JsonValue::object({{QStringLiteral("pending"), faults.pending()}}).toJson());
    });
    server.Delete("/admin/faults", [&](const httplib::Request&, httplib::Response& res) {
        faults.clear();
        send(res, 200, JsonValue::object({{QStringLiteral("pending"), 0}}).toJson());
    });

    server.Post("/admin/users", [&](const httplib::Request& req, httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        const JsonValue* name = json->find(u"name");
        if (!name || !name->isString() || name->toString().trimmed().isEmpty())
            return sendMessage(res, 400, QStringLiteral("name must be a non-empty string"));
        const auto issued = service.issueToken(name->toString().trimmed());
        if (const JsonValue* cap = json->find(u"cap"); cap && cap->isInteger())
            service.setOpenCap(issued.user, cap->toInteger());
        send(res, 200,
             JsonValue::object(
                 {{QStringLiteral("name"), issued.user}, {QStringLiteral("token"), issued.token}})
                 .toJson());
    });

    server.Put(R"(/admin/users/([^/]+)/cap)",
               [&](const httplib::Request& req, httplib::Response& res) {
                   const auto json = jsonBody(req, res);
                   if (!json)
                       return;
                   const JsonValue* cap = json->find(u"cap");
                   if (!cap || !(cap->isNull() || (cap->isInteger() && cap->toInteger() >= 0)))
                       return sendMessage(res, 400, QStringLiteral("cap must be a count or null"));
                   std::optional<qint64> value;
                   if (cap->isInteger())
                       value = cap->toInteger();
                   if (!service.setOpenCap(userName(req), value))
                       return sendMessage(res, 404, QStringLiteral("No such user."));
                   send(res, 200, JsonValue::object({{QStringLiteral("cap"), *cap}}).toJson());
               });

    server.Put("/admin/smart-insert/cap", [&](const httplib::Request& req, httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        const JsonValue* cap = json->find(u"cap");
        if (!cap || !cap->isInteger() || cap->toInteger() < 0)
            return sendMessage(res, 400, QStringLiteral("cap must be a count"));
        service.setSmartInsertCap(cap->toInteger());
        send(res, 200, JsonValue::object({{QStringLiteral("cap"), *cap}}).toJson());
    });

    server.Get(R"(/admin/users/([^/]+)/document)",
               [&](const httplib::Request& req, httplib::Response& res) {
                   const auto state = service.state(userName(req));
                   if (!state)
                       return sendMessage(res, 404, QStringLiteral("No such user."));
                   send(res, 200,
                        "{\"document\":" + WireJson::encode(state->document) +
                            ",\"version\":" + QByteArray::number(state->version) + '}');
               });

    server.Put(R"(/admin/users/([^/]+)/document)", [&](const httplib::Request& req,
                                                       httplib::Response& res) {
        WireDocument document;
        try {
            document = WireJson::decode<WireDocument>(bodyOf(req));
        } catch (const DecodingError& error) {
            return sendMessage(res, 400, error.message());
        }
        // Ids are row keys: a duplicate would not survive a restart.
        QSet<QString> itemIds, ruleIds;
        for (const WireItem& item : document.items)
            itemIds.insert(item.id);
        for (const WireRule& rule : document.rules)
            ruleIds.insert(rule.id);
        if (itemIds.size() != document.items.size() || ruleIds.size() != document.rules.size())
            return sendMessage(res, 400, QStringLiteral("item and rule ids must be unique"));
        const auto version = service.replaceDocument(userName(req), document);
        if (!version)
            return sendMessage(res, 404, QStringLiteral("No such user."));
        send(res, 200, versionBody(*version));
    });

    server.Put(R"(/admin/users/([^/]+)/proposal)", [&](const httplib::Request& req,
                                                       httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        std::optional<Service::FiledProposal> filed;
        try {
            filed = service.setProposal(userName(req), *json);
        } catch (const RpcError& refusal) {
            return sendMessage(res, refusal.status(), refusal.message());
        }
        if (!filed)
            return sendMessage(res, 404, QStringLiteral("No such user."));
        send(res, 200,
             JsonValue::object({{QStringLiteral("proposal"), filed->proposal},
                                {QStringLiteral("version"), std::int64_t(filed->version)}})
                 .toJson());
    });

    server.Delete(R"(/admin/users/([^/]+)/proposal)",
                  [&](const httplib::Request& req, httplib::Response& res) {
                      const auto filed = service.setProposal(userName(req), std::nullopt);
                      if (!filed)
                          return sendMessage(res, 404, QStringLiteral("No such user."));
                      send(res, 200, versionBody(filed->version));
                  });
}

} // namespace HttpApi
