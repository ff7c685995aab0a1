#include "BriefingApi.h"

#include "BriefingRules.h"
#include "CreditsApi.h"
#include "DismissApi.h"
#include "Routes.h"
#include "SettingsApi.h"

#include <QUuid>

#include <atomic>

using namespace Routes;

namespace {

// `body` is null for a run that could not be read. `doc_version` is the document the run
// read, which tells whether anything changed since. A row in briefing_runs with a
// `due_at` is a run on its way; `fail_next` is the admin's scripted failure.
constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS briefings(
    id TEXT PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users(id),
    created_at TEXT NOT NULL,
    local_day TEXT NOT NULL,
    items_sent INTEGER,
    body TEXT,
    doc_version INTEGER NOT NULL,
    seen INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS briefings_user ON briefings(user_id, created_at);
CREATE TABLE IF NOT EXISTS briefing_runs(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    due_at TEXT,
    trigger_kind TEXT,
    fail_next INTEGER NOT NULL DEFAULT 0);
)sql";

std::atomic<qint64> delayMs{2000};

// The help hint stays on offer for a user's first few briefings.
constexpr qint64 hintForFirst = 3;

// The form the database writes, which the client's reader takes as UTC.
QString stamp(const QDateTime& at) {
    return at.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

Reply refused(int status, const char* reason, const char* message) {
    return Reply{status, JsonValue::object({{QStringLiteral("ok"), false},
                                            {QStringLiteral("reason"), reason},
                                            {QStringLiteral("message"), message}})
                             .toJson()};
}

struct Pending {
    std::optional<QString> dueAt;
    QString trigger;
    bool failNext = false;
};

Pending pending(Storage& storage, qint64 user) {
    Storage::Statement s(
        storage, "SELECT due_at, trigger_kind, fail_next FROM briefing_runs WHERE user_id = ?");
    s.bind(1, user);
    Pending p;
    if (s.step()) {
        if (!s.isNull(0))
            p.dueAt = s.text(0);
        p.trigger = s.text(1);
        p.failNext = s.integer(2) != 0;
    }
    return p;
}

void setPending(Storage& storage, qint64 user, const Pending& p) {
    Storage::Statement s(storage, "INSERT OR REPLACE INTO briefing_runs(user_id, due_at, "
                                  "trigger_kind, fail_next) VALUES(?, ?, ?, ?)");
    s.bind(1, user).bind(4, qint64(p.failNext));
    if (p.dueAt)
        s.bind(2, *p.dueAt).bind(3, p.trigger);
    s.run();
}

// One run, written as the newest briefing. False when there was no credit to pay for it,
// and then nothing is written.
bool runNow(Storage& storage, const UserState& state, qint64 user, const QString& trigger,
            const QDateTime& now) {
    Pending p = pending(storage, user);
    const bool fails = p.failNext;
    if (!CreditLedger::spend(storage, user, QStringLiteral("briefing"), trigger, !fails, now))
        return false;
    p.failNext = false;
    p.dueAt.reset();
    setPending(storage, user, p);

    const QDate today = SettingsApi::userDay(storage, user, now);
    Storage::Statement s(storage, "INSERT INTO briefings(id, user_id, created_at, local_day, "
                                  "items_sent, body, doc_version) VALUES(?, ?, ?, ?, ?, ?, ?)");
    s.bind(1, QUuid::createUuid().toString(QUuid::WithoutBraces)).bind(2, user);
    s.bind(3, stamp(now)).bind(4, today.toString(Qt::ISODate)).bind(7, state.version);
    s.bind(5, qint64(BriefingRules::openItems(state.document).size()));
    if (!fails) {
        const auto body = BriefingRules::generate(state.document, today, now.toUTC(),
                                                  DismissApi::handled(storage, user));
        s.bind(6, BriefingRules::toJson(body).toJson());
    }
    s.run();
    Storage::Statement(storage, "DELETE FROM briefings WHERE user_id = ?1 AND rowid NOT IN "
                                "(SELECT rowid FROM briefings WHERE user_id = ?1 "
                                "ORDER BY created_at DESC, rowid DESC LIMIT ?2)")
        .bind(1, user)
        .bind(2, qint64(BriefingApi::kept))
        .run();
    return true;
}

// Lands a run that is due. One the ledger can no longer pay for is dropped unsaid: the
// refusal was the caller's to hear when it asked.
void settle(Storage& storage, const UserState& state, qint64 user, const QDateTime& now) {
    Pending p = pending(storage, user);
    if (!p.dueAt || *p.dueAt > stamp(now))
        return;
    if (!runNow(storage, state, user, p.trigger, now)) {
        p.dueAt.reset();
        setPending(storage, user, p);
    }
}

constexpr const char* columns =
    "SELECT id, created_at, local_day, items_sent, body, seen FROM briefings ";

JsonValue briefingAt(const Storage::Statement& s) {
    JsonValue body;
    if (!s.isNull(4))
        body = JsonValue::parse(s.text(4).toUtf8()).value_or(JsonValue());
    return JsonValue::object({{QStringLiteral("id"), s.text(0)},
                              {QStringLiteral("created_at"), s.text(1)},
                              {QStringLiteral("local_day"), s.text(2)},
                              {QStringLiteral("items_sent"),
                               s.isNull(3) ? JsonValue() : JsonValue(std::int64_t(s.integer(3)))},
                              {QStringLiteral("body"), std::move(body)}});
}

Reply latest(Storage& storage, qint64 user) {
    Storage::Statement s(storage, (QByteArray(columns) + "WHERE user_id = ? ORDER BY "
                                                         "created_at DESC, rowid DESC LIMIT 1")
                                      .constData());
    s.bind(1, user);
    const bool found = s.step();
    Storage::Statement count(storage, "SELECT count(*) FROM briefings WHERE user_id = ?");
    count.bind(1, user).step();
    return Reply{200,
                 JsonValue::object(
                     {{QStringLiteral("briefing"), found ? briefingAt(s) : nullptr},
                      {QStringLiteral("unread"), found && s.integer(5) == 0},
                      {QStringLiteral("help_hint"), found && count.integer(0) <= hintForFirst}})
                     .toJson()};
}

Reply history(Storage& storage, qint64 user) {
    Storage::Statement s(storage, (QByteArray(columns) + "WHERE user_id = ? ORDER BY "
                                                         "created_at DESC, rowid DESC LIMIT ?")
                                      .constData());
    s.bind(1, user).bind(2, qint64(BriefingApi::kept));
    JsonValue::Array list;
    while (s.step())
        list.push_back(briefingAt(s));
    return Reply{200, JsonValue::object({{QStringLiteral("briefings"), std::move(list)}}).toJson()};
}

Reply ask(Storage& storage, const UserState& state, qint64 user, const QDateTime& now) {
    settle(storage, state, user, now);
    if (pending(storage, user).dueAt)
        return refused(409, "already_running",
                       "A briefing is already on its way. It takes about half a minute.");
    Storage::Statement last(storage, "SELECT doc_version, local_day FROM briefings WHERE "
                                     "user_id = ? AND body IS NOT NULL ORDER BY created_at "
                                     "DESC, rowid DESC LIMIT 1");
    last.bind(1, user);
    // The same list on the same day would read the same; a failed run may be retried.
    if (last.step() && last.integer(0) == state.version &&
        last.text(1) == SettingsApi::userDay(storage, user, now).toString(Qt::ISODate))
        return refused(409, "nothing_to_do", "Nothing has changed since your last briefing.");
    if (!CreditLedger::available(storage, user, now))
        return CreditLedger::refusal();
    const qint64 delay = delayMs.load();
    if (delay <= 0) {
        runNow(storage, state, user, QStringLiteral("on_demand"), now);
    } else {
        Pending p = pending(storage, user);
        p.dueAt = stamp(now.addMSecs(delay));
        p.trigger = QStringLiteral("on_demand");
        setPending(storage, user, p);
    }
    return Reply{202,
                 JsonValue::object({{QStringLiteral("ok"), true}, {QStringLiteral("queued"), true}})
                     .toJson()};
}

std::optional<qint64> namedUser(Service& service, const httplib::Request& req,
                                httplib::Response& res) {
    const auto id = service.findUser(userName(req));
    if (!id)
        sendMessage(res, 404, QStringLiteral("There is no such user."));
    return id;
}

} // namespace

namespace BriefingApi {

bool run(Storage& storage, const UserState& state, qint64 userId, const QString& trigger,
         const QDateTime& now) {
    return runNow(storage, state, userId, trigger, now);
}

JsonValue newest(Storage& storage, qint64 userId) {
    Storage::Statement s(storage, (QByteArray(columns) + "WHERE user_id = ? ORDER BY "
                                                         "created_at DESC, rowid DESC LIMIT 1")
                                      .constData());
    s.bind(1, userId);
    return s.step() ? briefingAt(s) : JsonValue();
}

void setDelay(std::chrono::milliseconds delay) {
    delayMs = delay.count();
}

void markCard(Storage& storage, qint64 userId, const QString& briefingId, const QString& finding,
              const QString& target, const std::optional<QString>& disposition) {
    Storage::Statement read(storage, "SELECT body FROM briefings WHERE user_id = ? AND id = ?");
    read.bind(1, userId).bind(2, briefingId);
    if (!read.step() || read.isNull(0))
        return;
    auto body = JsonValue::parse(read.text(0).toUtf8());
    if (!body || !body->isObject())
        return;
    const bool isObservation = finding == u"observation";
    const QString list = isObservation ? QStringLiteral("observations") : finding;
    const QString key = isObservation ? QStringLiteral("slug") : QStringLiteral("item_id");
    bool changed = false;
    for (JsonValue::Member& member : body->asObject()) {
        if (member.key != list)
            continue;
        for (JsonValue& card : member.value.asArray()) {
            const JsonValue* id = card.find(key);
            if (id && id->toString() == target) {
                card.set(QStringLiteral("disposition"),
                         disposition ? JsonValue(*disposition) : JsonValue());
                changed = true;
            }
        }
    }
    if (changed)
        Storage::Statement(storage, "UPDATE briefings SET body = ? WHERE user_id = ? AND id = ?")
            .bind(1, body->toJson())
            .bind(2, userId)
            .bind(3, briefingId)
            .run();
}

void install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    // Reading may land a run that is due, hence a transaction.
    server.Get("/api/ai/briefing",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                   const bool all = req.get_param_value("history") == "1";
                   return service.transact(user, [&](UserState& state, Storage& storage) {
                       SettingsApi::settleSchedule(storage, state, user,
                                                   QDateTime::currentDateTimeUtc());
                       settle(storage, state, user, QDateTime::currentDateTimeUtc());
                       return all ? history(storage, user) : latest(storage, user);
                   });
               }));
    server.Post("/api/ai/briefing",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                    return service.transact(user, [&](UserState& state, Storage& storage) {
                        return ask(storage, state, user, QDateTime::currentDateTimeUtc());
                    });
                }));
    server.Post(
        "/api/ai/briefing/seen",
        userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
            return service.transact(user, [&](UserState&, Storage& storage) {
                Storage::Statement(storage, "UPDATE briefings SET seen = 1 WHERE user_id = ?")
                    .bind(1, user)
                    .run();
                return Reply{200, JsonValue::object({{QStringLiteral("ok"), true}}).toJson()};
            });
        }));
}

void installAdmin(httplib::Server& server, Service& service) {
    // A scheduled run, at once and whatever changed: `{"briefing"...}` as GET reads it, or
    // the ledger's refusal.
    server.Post(R"(/admin/users/([^/]+)/briefing)",
                [&](const httplib::Request& req, httplib::Response& res) {
                    const auto user = namedUser(service, req, res);
                    if (!user)
                        return;
                    send(res, service.transact(*user, [&](UserState& state, Storage& storage) {
                        if (!runNow(storage, state, *user, QStringLiteral("scheduled"),
                                    QDateTime::currentDateTimeUtc()))
                            return CreditLedger::refusal();
                        return latest(storage, *user);
                    }));
                });
    // The user's next run fails: it is kept with no body and spends nothing.
    server.Post(R"(/admin/users/([^/]+)/briefing/fail)", [&](const httplib::Request& req,
                                                             httplib::Response& res) {
        const auto user = namedUser(service, req, res);
        if (!user)
            return;
        send(res, service.transact(*user, [&](UserState&, Storage& storage) {
            Pending p = pending(storage, *user);
            p.failNext = true;
            setPending(storage, *user, p);
            return Reply{200, JsonValue::object({{QStringLiteral("ok"), true}}).toJson()};
        }));
    });
}

} // namespace BriefingApi
