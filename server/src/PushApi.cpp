#include "PushApi.h"

#include "Routes.h"

using namespace Routes;

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS push_devices(
    user_id INTEGER NOT NULL REFERENCES users(id),
    device_token TEXT NOT NULL,
    registration TEXT NOT NULL,
    updated_at TEXT NOT NULL,
    PRIMARY KEY(user_id, device_token));
)sql";

// Bounds one account's rows and one row's size.
constexpr qint64 maxDevices = 50;
constexpr qsizetype maxText = 512;
constexpr qsizetype maxKinds = 32;

std::optional<QString> refusal(const JsonValue& body) {
    const JsonValue* device = body.find(u"device_token");
    if (!device || !device->isString() || device->toString().isEmpty() ||
        device->toString().size() > maxText)
        return QStringLiteral("device_token must be a string of 1 to 512 characters.");
    if (body.find(u"remove"))
        return std::nullopt;
    for (const char* key : {"environment", "tz"}) {
        const JsonValue* value = body.find(QLatin1StringView(key));
        if (!value || !value->isString() || value->toString().size() > maxText)
            return QStringLiteral("%1 must be a string.").arg(QLatin1StringView(key));
    }
    const JsonValue* hour = body.find(u"daily_hour");
    if (!hour || !hour->isInteger() || hour->toInteger() < 0 || hour->toInteger() > 23)
        return QStringLiteral("daily_hour must be an hour from 0 to 23.");
    const JsonValue* kinds = body.find(u"kinds");
    if (!kinds || !kinds->isObject() || kinds->toObject().size() > maxKinds)
        return QStringLiteral("kinds must be an object of at most 32 booleans.");
    for (const auto& kind : kinds->toObject())
        if (!kind.value.isBool() || kind.key.size() > 64)
            return QStringLiteral("kinds must be an object of at most 32 booleans.");
    return std::nullopt;
}

} // namespace

void PushApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    server.Post(
        "/api/push/register",
        userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
            const auto body = JsonValue::parse(bodyOf(req));
            if (!body || !body->isObject())
                return messageReply(400, QStringLiteral("The body must be a JSON object."));
            if (const auto sentence = refusal(*body))
                return messageReply(400, *sentence);
            const QString device = body->find(u"device_token")->toString();
            const bool remove = body->find(u"remove") && body->find(u"remove")->toBool();
            return service.transact(user, [&](UserState&, Storage& storage) {
                if (remove) {
                    Storage::Statement(storage, "DELETE FROM push_devices WHERE user_id = ? "
                                                "AND device_token = ?")
                        .bind(1, user)
                        .bind(2, device)
                        .run();
                    return Reply{200, JsonValue::object({{QStringLiteral("ok"), true}}).toJson()};
                }
                Storage::Statement count(storage,
                                         "SELECT COUNT(*) FROM push_devices WHERE user_id = ? "
                                         "AND device_token != ?");
                count.bind(1, user).bind(2, device);
                if (count.step() && count.integer(0) >= maxDevices)
                    return messageReply(409, QStringLiteral("This account has 50 devices "
                                                            "registered already."));
                Storage::Statement(storage, "INSERT OR REPLACE INTO push_devices(user_id, "
                                            "device_token, registration, updated_at) "
                                            "VALUES(?, ?, ?, ?)")
                    .bind(1, user)
                    .bind(2, device)
                    .bind(3, body->toJson())
                    .bind(4, Service::now())
                    .run();
                return Reply{200, JsonValue::object({{QStringLiteral("ok"), true}}).toJson()};
            });
        }));
}
