#include "SmartInsertApi.h"

#include "Routes.h"
#include "SettingsApi.h"
#include "SmartReading.h"

#include <QDate>
#include <QDateTime>

using namespace Routes;

namespace {

// Smart Adds counted per user and calendar month (`yyyy-MM`).
constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS smart_inserts(
    user_id INTEGER NOT NULL REFERENCES users(id),
    month TEXT NOT NULL,
    used INTEGER NOT NULL,
    PRIMARY KEY(user_id, month));
)sql";

qint64 used(Storage& storage, qint64 userId, const QString& month) {
    Storage::Statement s(storage, "SELECT used FROM smart_inserts WHERE user_id = ? AND month = ?");
    s.bind(1, userId).bind(2, month);
    return s.step() ? s.integer(0) : 0;
}

void count(Storage& storage, qint64 userId, const QString& month) {
    Storage::Statement s(storage,
                         "INSERT INTO smart_inserts(user_id, month, used) VALUES(?1, ?2, 1) "
                         "ON CONFLICT(user_id, month) DO UPDATE SET used = used + 1");
    s.bind(1, userId).bind(2, month).run();
}

Reply insert(Service& service, qint64 userId, const QByteArray& body) {
    QString error;
    const auto json = JsonValue::parse(body, &error);
    if (!json)
        return messageReply(400, QStringLiteral("The body is not JSON: %1.").arg(error));
    const JsonValue* text = json->find(u"text");
    if (!text || !text->isString())
        return messageReply(400, QStringLiteral("The body needs a \"text\" string."));
    const QString month = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM"));
    const qint64 cap = service.smartInsertCap();

    return service.transact(userId, [&](UserState&, Storage& storage) {
        const qint64 before = used(storage, userId, month);
        const auto answer = [&](JsonValue reply, qint64 count) {
            reply.set(QStringLiteral("used"), count);
            reply.set(QStringLiteral("cap"), cap);
            return Reply{200, reply.toJson()};
        };
        const auto refusal = [&](const char* reason) {
            return answer(JsonValue::object(
                              {{QStringLiteral("ok"), false}, {QStringLiteral("reason"), reason}}),
                          before);
        };
        // "tomorrow" and weekdays count from the user's day, in the account's zone.
        auto reading = SmartReading::read(
            text->toString(),
            SettingsApi::userDay(storage, userId, QDateTime::currentDateTimeUtc()));
        if (!reading)
            return refusal("failed");
        if (before >= cap)
            return refusal("no_allowance");
        count(storage, userId, month);
        return answer(JsonValue::object({{QStringLiteral("ok"), true},
                                         {QStringLiteral("draft"), std::move(reading->draft)},
                                         {QStringLiteral("truncated"), reading->truncated}}),
                      before + 1);
    });
}

QString thisMonth() {
    return QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM"));
}

} // namespace

qint64 SmartInsertApi::usedThisMonth(Storage& storage, qint64 userId) {
    return used(storage, userId, thisMonth());
}

void SmartInsertApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    server.Post("/api/ai/smart-insert",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    return insert(service, user, bodyOf(req));
                }));
}

void SmartInsertApi::installAdmin(httplib::Server& server, Service& service) {
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
}
