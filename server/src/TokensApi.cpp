#include "TokensApi.h"

#include "AuthApi.h"
#include "Connections.h"
#include "Routes.h"

using namespace Routes;

namespace {

Reply list(Service& service, qint64 userId, const QByteArray& currentPrint) {
    return service.read(userId, [&](const UserState&, Storage& storage) {
        Storage::Statement s(storage, "SELECT fingerprint, name, created_at, last_used_at, kind "
                                      "FROM tokens WHERE user_id = ? ORDER BY created_at, rowid");
        s.bind(1, userId);
        JsonValue::Array tokens;
        while (s.step()) {
            TokenInfo token;
            token.hash = QString::fromLatin1(s.bytes(0));
            if (!s.isNull(1))
                token.name = s.text(1);
            token.createdAt = s.text(2);
            if (!s.isNull(3))
                token.lastUsedAt = s.text(3);
            token.current = s.bytes(0) == currentPrint;
            token.kind = s.text(4);
            tokens.push_back(ConnectionsFormat::tokenJson(token));
        }
        const JsonValue body = JsonValue::object(
            {{QStringLiteral("tokens"), std::move(tokens)},
             {QStringLiteral("max"), std::int64_t(AuthApi::deviceCap)},
             {QStringLiteral("caps"),
              JsonValue::object({{QStringLiteral("device"), std::int64_t(AuthApi::deviceCap)},
                                 {QStringLiteral("mcp"), std::int64_t(AuthApi::mcpCap)}})}});
        return Reply{200, body.toJson()};
    });
}

Reply create(Service& service, qint64 userId, const httplib::Request& req) {
    const auto json = JsonValue::parse(bodyOf(req));
    const JsonValue* name = json ? json->find(u"name") : nullptr;
    if (!name || !name->isString() || name->toString().trimmed().isEmpty())
        return messageReply(400, QStringLiteral("The body needs a non-blank \"name\"."));
    const QString trimmed = name->toString().trimmed();
    if (trimmed.size() > TokensApi::maxNameLength)
        return messageReply(
            400, QStringLiteral("name is over %1 characters").arg(TokensApi::maxNameLength));
    return service.transact(userId, [&](UserState&, Storage& storage) {
        const QString token = AuthApi::mintToken(storage, userId, trimmed, QStringLiteral("mcp"));
        const CreatedToken created{token, QString::fromLatin1(Service::fingerprint(token)),
                                   trimmed};
        return Reply{200, JsonValue::object({{QStringLiteral("token"), created.token},
                                             {QStringLiteral("hash"), created.hash},
                                             {QStringLiteral("name"), created.name}})
                              .toJson()};
    });
}

Reply revoke(Service& service, qint64 userId, const httplib::Request& req) {
    const auto json = JsonValue::parse(bodyOf(req));
    const JsonValue* hash = json ? json->find(u"hash") : nullptr;
    if (!hash || !hash->isString())
        return messageReply(400, QStringLiteral("The body needs a \"hash\" string."));
    return service.transact(userId, [&](UserState&, Storage& storage) {
        Storage::Statement s(storage, "DELETE FROM tokens WHERE user_id = ? AND fingerprint = ?");
        s.bind(1, userId).bind(2, hash->toString()).run();
        Storage::Statement changed(storage, "SELECT changes()");
        if (!changed.step() || changed.integer(0) == 0)
            return messageReply(404, QStringLiteral("No such connection."));
        return Reply{200, QByteArrayLiteral("{}")};
    });
}

std::string plainPage(const char* title, const char* body) {
    return std::string("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
                       "<meta name=\"color-scheme\" content=\"light dark\"><title>") +
           title +
           " · Velmora</title><style>body{font-family:system-ui,sans-serif;max-width:34rem;"
           "margin:4rem auto;padding:0 1.5rem;line-height:1.5}h1{font-size:1.5rem}</style>"
           "</head><body><main><h1>" +
           title + "</h1>" + body + "</main></body></html>\n";
}

} // namespace

void TokensApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    server.Get("/api/tokens",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                   return list(service, user, Service::fingerprint(QString::fromUtf8(bearer(req))));
               }));
    server.Post("/api/tokens",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    return create(service, user, req);
                }));
    server.Delete("/api/tokens",
                  userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                      return revoke(service, user, req);
                  }));
    server.Get("/connections", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(plainPage("Connections",
                                  "<p>This server keeps no website: make and revoke "
                                  "connections in the Velmora app, under Connections.</p>"),
                        "text/html; charset=utf-8");
    });
    server.Get("/account/delete", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(plainPage("Delete account",
                                  "<p>This server keeps no website: to delete an account, ask "
                                  "whoever runs the server.</p>"),
                        "text/html; charset=utf-8");
    });
}
