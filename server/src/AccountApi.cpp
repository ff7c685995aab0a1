#include "AccountApi.h"

#include "Routes.h"

#include <QSet>

using namespace Routes;

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS provider_links(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    provider TEXT NOT NULL);
)sql";

constexpr qsizetype maxCode = 4096;

bool providerLinked(Storage& storage, qint64 user) {
    Storage::Statement s(storage, "SELECT 1 FROM provider_links WHERE user_id = ?");
    s.bind(1, user);
    return s.step();
}

// Every column of every table that holds a user's id: those named `user_id` and those
// whose foreign key points at users. Found afresh, so a family's table added later is
// erased too.
QList<QPair<QByteArray, QByteArray>> userColumns(Storage& storage) {
    QList<QByteArray> tables;
    Storage::Statement list(storage, "SELECT name FROM sqlite_master WHERE type = 'table' AND "
                                     "name NOT LIKE 'sqlite_%' AND name != 'users'");
    while (list.step())
        tables << list.bytes(0);
    QList<QPair<QByteArray, QByteArray>> columns;
    for (const QByteArray& table : tables) {
        QSet<QByteArray> seen;
        const QByteArray quoted = '"' + QByteArray(table).replace('"', "\"\"") + '"';
        Storage::Statement keys(storage, ("PRAGMA foreign_key_list(" + quoted + ')').constData());
        while (keys.step())
            if (keys.bytes(2) == "users")
                seen.insert(keys.bytes(3));
        Storage::Statement info(storage, ("PRAGMA table_info(" + quoted + ')').constData());
        while (info.step())
            if (info.bytes(1) == "user_id")
                seen.insert("user_id");
        for (const QByteArray& column : seen)
            columns.push_back({quoted, '"' + QByteArray(column).replace('"', "\"\"") + '"'});
    }
    return columns;
}

void erase(Storage& storage, qint64 user) {
    // Rows of one family may point at another's; all of the user's go in this transaction.
    storage.exec("PRAGMA defer_foreign_keys = ON");
    for (const auto& [table, column] : userColumns(storage))
        Storage::Statement(storage,
                           ("DELETE FROM " + table + " WHERE " + column + " = ?").constData())
            .bind(1, user)
            .run();
    Storage::Statement(storage, "DELETE FROM users WHERE id = ?").bind(1, user).run();
}

} // namespace

void AccountApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    server.Post(
        "/api/account/delete",
        userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
            const QByteArray raw = bodyOf(req);
            const auto body = raw.trimmed().isEmpty() ? std::optional(JsonValue::object({}))
                                                      : JsonValue::parse(raw);
            if (!body || !body->isObject())
                return messageReply(400, QStringLiteral("The body must be a JSON object."));
            const JsonValue* force = body->find(u"force");
            if (force && !force->isBool())
                return messageReply(400, QStringLiteral("force must be true or false."));
            const JsonValue* code = body->find(u"apple_code");
            if (code && !code->isNull() &&
                (!code->isString() || code->toString().isEmpty() ||
                 code->toString().size() > maxCode))
                return messageReply(400, QStringLiteral("apple_code must be a string of 1 to "
                                                        "4096 characters."));
            const bool forced = force && force->toBool();
            const bool hasCode = code && code->isString();
            const Reply reply = service.transact(user, [&](UserState&, Storage& storage) {
                const bool linked = providerLinked(storage, user);
                if (linked && !forced && !hasCode)
                    return messageReply(428, QStringLiteral("This account signs in with Apple: "
                                                            "a fresh authorisation code is "
                                                            "needed to revoke it."));
                erase(storage, user);
                // The reference server takes any code as Apple's revocation.
                const JsonValue revoked = linked ? JsonValue(hasCode) : JsonValue();
                return Reply{200, JsonValue::object({{QStringLiteral("deleted"), true},
                                                     {QStringLiteral("revoked"), revoked}})
                                      .toJson()};
            });
            if (reply.status == 200)
                service.forget(user);
            return reply;
        }));
}

void AccountApi::installAdmin(httplib::Server& server, Service& service) {
    // Marks the account as signing in through a provider (`{"provider": "apple"}`), or
    // clears the mark (`{"provider": null}`).
    server.Put(R"(/admin/users/([^/]+)/provider)", [&](const httplib::Request& req,
                                                       httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        const JsonValue* provider = json->find(u"provider");
        if (!provider ||
            !(provider->isNull() || (provider->isString() && !provider->toString().isEmpty() &&
                                     provider->toString().size() <= 32)))
            return sendMessage(res, 400, QStringLiteral("provider must be a short name or null"));
        const auto user = service.findUser(userName(req));
        if (!user)
            return sendMessage(res, 404, QStringLiteral("No such user."));
        send(res, service.transact(*user, [&](UserState&, Storage& storage) {
            Storage::Statement(storage, "DELETE FROM provider_links WHERE user_id = ?")
                .bind(1, *user)
                .run();
            if (provider->isString())
                Storage::Statement(storage, "INSERT INTO provider_links(user_id, "
                                            "provider) VALUES(?, ?)")
                    .bind(1, *user)
                    .bind(2, provider->toString())
                    .run();
            return Reply{200,
                         JsonValue::object({{QStringLiteral("provider"), *provider}}).toJson()};
        }));
    });
}
