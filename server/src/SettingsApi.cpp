#include "SettingsApi.h"

#include "BriefingApi.h"
#include "Routes.h"

#include <QRegularExpression>

using namespace Routes;

namespace {

// `last_scheduled_day` is the user's local day of the last scheduled briefing run.
constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS account_settings(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    timezone TEXT,
    schedule_hour INTEGER,
    briefing_enabled INTEGER NOT NULL DEFAULT 0,
    last_scheduled_day TEXT);
)sql";

// Longer than any IANA identifier ("America/Argentina/ComodRivadavia" is 32).
constexpr qsizetype maxZoneLength = 64;

JsonValue toJson(const SettingsApi::Settings& s) {
    return JsonValue::object(
        {{QStringLiteral("timezone"), s.timezone ? JsonValue(*s.timezone) : JsonValue()},
         {QStringLiteral("schedule_hour"),
          s.scheduleHour ? JsonValue(std::int64_t(*s.scheduleHour)) : JsonValue()},
         {QStringLiteral("briefing_enabled"), s.briefingEnabled}});
}

std::optional<QString> lastRunDay(Storage& storage, qint64 user) {
    Storage::Statement s(storage,
                         "SELECT last_scheduled_day FROM account_settings WHERE user_id = ?");
    s.bind(1, user);
    if (s.step() && !s.isNull(0))
        return s.text(0);
    return std::nullopt;
}

void save(Storage& storage, qint64 user, const SettingsApi::Settings& s,
          const std::optional<QString>& lastDay) {
    Storage::Statement write(storage, "INSERT OR REPLACE INTO account_settings(user_id, timezone, "
                                      "schedule_hour, briefing_enabled, last_scheduled_day) "
                                      "VALUES(?, ?, ?, ?, ?)");
    write.bind(1, user).bind(4, qint64(s.briefingEnabled));
    if (s.timezone)
        write.bind(2, *s.timezone);
    if (s.scheduleHour)
        write.bind(3, qint64(*s.scheduleHour));
    if (lastDay)
        write.bind(5, *lastDay);
    write.run();
}

// Applies the body's keys to `s`; a refusal sentence for anything out of range.
std::optional<QString> apply(const JsonValue& body, SettingsApi::Settings& s) {
    if (!body.isObject())
        return QStringLiteral("The body must be a JSON object.");
    if (const JsonValue* hour = body.find(u"schedule_hour")) {
        if (hour->isNull())
            s.scheduleHour.reset();
        else if (hour->isInteger() && hour->toInteger() >= 0 && hour->toInteger() <= 23)
            s.scheduleHour = int(hour->toInteger());
        else
            return QStringLiteral("schedule_hour must be an hour from 0 to 23, or null.");
    }
    if (const JsonValue* on = body.find(u"briefing_enabled")) {
        if (!on->isBool())
            return QStringLiteral("briefing_enabled must be true or false.");
        s.briefingEnabled = on->toBool();
    }
    if (const JsonValue* zone = body.find(u"timezone")) {
        if (!zone->isString() || !SettingsApi::isZone(zone->toString()))
            return QStringLiteral("timezone must be a known time zone identifier.");
        s.timezone = zone->toString();
    }
    return std::nullopt;
}

std::optional<qint64> namedUser(Service& service, const httplib::Request& req,
                                httplib::Response& res) {
    const auto id = service.findUser(userName(req));
    if (!id)
        sendMessage(res, 404, QStringLiteral("There is no such user."));
    return id;
}

} // namespace

namespace SettingsApi {

Settings settingsOf(Storage& storage, qint64 userId) {
    Settings settings;
    // A core without this family installed (a tool, a unit test) has no table: defaults.
    try {
        Storage::Statement probe(storage, "SELECT 1 FROM account_settings LIMIT 0");
    } catch (const StorageError&) {
        return settings;
    }
    Storage::Statement s(storage, "SELECT timezone, schedule_hour, briefing_enabled FROM "
                                  "account_settings WHERE user_id = ?");
    s.bind(1, userId);
    if (s.step()) {
        if (!s.isNull(0))
            settings.timezone = s.text(0);
        if (!s.isNull(1))
            settings.scheduleHour = int(s.integer(1));
        settings.briefingEnabled = s.integer(2) != 0;
    }
    return settings;
}

bool isZone(const QString& identifier) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_+\\-/]+$"));
    return !identifier.isEmpty() && identifier.size() <= maxZoneLength &&
           plain.match(identifier).hasMatch() &&
           QTimeZone::isTimeZoneIdAvailable(identifier.toUtf8());
}

namespace {
QTimeZone zoneFor(const Settings& settings) {
    if (settings.timezone) {
        const QTimeZone zone(settings.timezone->toUtf8());
        if (zone.isValid())
            return zone;
    }
    return QTimeZone::systemTimeZone();
}
} // namespace

QTimeZone zoneOf(Storage& storage, qint64 userId) {
    return zoneFor(settingsOf(storage, userId));
}

QDate userDay(Storage& storage, qint64 userId, const QDateTime& now) {
    return now.toTimeZone(zoneOf(storage, userId)).date();
}

std::optional<QDate> dueScheduledDay(const Settings& settings,
                                     const std::optional<QString>& lastRunDay,
                                     const QDateTime& now) {
    if (!settings.briefingEnabled || !settings.scheduleHour)
        return std::nullopt;
    // The wall clock in the zone: an hour skipped by a change to summer time counts as
    // come once the clock is past it.
    const QDateTime local = now.toTimeZone(zoneFor(settings));
    if (local.time().hour() < *settings.scheduleHour)
        return std::nullopt;
    const QDate day = local.date();
    if (lastRunDay == day.toString(Qt::ISODate))
        return std::nullopt;
    return day;
}

bool settleSchedule(Storage& storage, const UserState& state, qint64 userId, const QDateTime& now) {
    const Settings settings = settingsOf(storage, userId);
    const auto day = dueScheduledDay(settings, lastRunDay(storage, userId), now);
    if (!day)
        return false;
    save(storage, userId, settings, day->toString(Qt::ISODate));
    return BriefingApi::run(storage, state, userId, QStringLiteral("scheduled"), now);
}

void tickAll(Service& service, const QDateTime& now) {
    QList<qint64> users;
    service.migrate([&](Storage& storage) {
        Storage::Statement s(storage, "SELECT user_id FROM account_settings WHERE "
                                      "briefing_enabled = 1 AND schedule_hour IS NOT NULL");
        while (s.step())
            users << s.integer(0);
    });
    for (const qint64 user : users)
        service.transact(user, [&](UserState& state, Storage& storage) {
            settleSchedule(storage, state, user, now);
            return Reply{200, {}};
        });
}

ScheduleClock::ScheduleClock(Service& service)
    : m_thread([this, &service] {
        std::unique_lock lock(m_mutex);
        while (!m_wake.wait_for(lock, std::chrono::minutes(1), [this] { return m_stopping; })) {
            lock.unlock();
            try {
                tickAll(service, QDateTime::currentDateTimeUtc());
            } catch (...) {
                // A failed pass is tried again at the next minute.
            }
            lock.lock();
        }
    }) {}

ScheduleClock::~ScheduleClock() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });

    server.Get("/api/ai/settings",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                   return service.read(user, [&](const UserState&, Storage& storage) {
                       return Reply{200, toJson(settingsOf(storage, user)).toJson()};
                   });
               }));
    server.Post("/api/ai/settings",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    const auto body = JsonValue::parse(bodyOf(req));
                    if (!body)
                        return messageReply(400, QStringLiteral("The body is not JSON."));
                    return service.transact(user, [&](UserState&, Storage& storage) {
                        Settings next = settingsOf(storage, user);
                        if (const auto refusal = apply(*body, next))
                            return messageReply(400, *refusal);
                        // A schedule set after today's hour starts tomorrow: storing it is
                        // no request for a run now.
                        std::optional<QString> last = lastRunDay(storage, user);
                        if (const auto due =
                                dueScheduledDay(next, last, QDateTime::currentDateTimeUtc()))
                            last = due->toString(Qt::ISODate);
                        save(storage, user, next, last);
                        return Reply{200, toJson(next).toJson()};
                    });
                }));
    // The launch seed of a device: taken only while the account has no zone, so a zone the
    // user chose stays.
    server.Post("/api/timezone",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    const auto body = JsonValue::parse(bodyOf(req));
                    const JsonValue* tz = body ? body->find(u"tz") : nullptr;
                    if (!tz || !tz->isString() || !isZone(tz->toString()))
                        return messageReply(
                            400, QStringLiteral("tz must be a known time zone identifier."));
                    return service.transact(user, [&](UserState&, Storage& storage) {
                        Settings settings = settingsOf(storage, user);
                        if (!settings.timezone) {
                            settings.timezone = tz->toString();
                            save(storage, user, settings, lastRunDay(storage, user));
                        }
                        return Reply{200, toJson(settings).toJson()};
                    });
                }));
}

void installAdmin(httplib::Server& server, Service& service) {
    // The scheduler's clock for tests: runs the user's scheduled briefing if it is due at
    // the given instant. `{"ran": bool}`.
    server.Post(R"(/admin/users/([^/]+)/schedule/tick)", [&](const httplib::Request& req,
                                                             httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        const JsonValue* at = json->find(u"now");
        const QDateTime now =
            at && at->isString() ? QDateTime::fromString(at->toString(), Qt::ISODate) : QDateTime();
        if (!now.isValid())
            return sendMessage(res, 400, QStringLiteral("now must be an ISO 8601 instant."));
        const auto user = namedUser(service, req, res);
        if (!user)
            return;
        send(res, service.transact(*user, [&](UserState& state, Storage& storage) {
            const bool ran = settleSchedule(storage, state, *user, now);
            return Reply{200, JsonValue::object({{QStringLiteral("ran"), ran}}).toJson()};
        }));
    });
}

} // namespace SettingsApi
