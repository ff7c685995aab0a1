#include "CreditsApi.h"

#include "Routes.h"

#include <QUuid>

using namespace Routes;

namespace {

// A row in credit_accounts means the account's free credit was given, so it is given once.
constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS credit_accounts(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    per_month INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS credit_lots(
    id TEXT PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users(id),
    kind TEXT NOT NULL,
    amount INTEGER NOT NULL,
    used INTEGER NOT NULL DEFAULT 0,
    period TEXT,
    expires_at TEXT,
    created_at TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS credit_lots_user ON credit_lots(user_id, created_at);
CREATE TABLE IF NOT EXISTS credit_runs(
    id TEXT PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users(id),
    lot_id TEXT NOT NULL,
    capability TEXT NOT NULL,
    trigger_kind TEXT NOT NULL,
    status TEXT NOT NULL,
    started_at TEXT NOT NULL,
    finished_at TEXT);
CREATE INDEX IF NOT EXISTS credit_runs_lot ON credit_runs(user_id, lot_id, started_at);
)sql";

// What one reply lists at most; older rows stay in the ledger.
constexpr int maxLotsListed = 100;
constexpr int maxRunsListed = 200;
constexpr qint64 maxGrant = 10000;
constexpr qsizetype maxLotIdLength = 64;

QString stamp(const QDateTime& at) {
    return at.toUTC().toString(Qt::ISODateWithMs);
}

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

// The month's plan lot ends at the first instant of the next month, UTC.
QDateTime monthEnd(const QDateTime& now) {
    const QDate day = now.toUTC().date();
    return QDateTime(QDate(day.year(), day.month(), 1).addMonths(1), QTime(0, 0), Qt::UTC);
}

void insertLot(Storage& storage, qint64 userId, const QString& kind, qint64 amount,
               const std::optional<QString>& period, const std::optional<QDateTime>& expiresAt,
               const QDateTime& now) {
    Storage::Statement s(storage, "INSERT INTO credit_lots(id, user_id, kind, amount, period, "
                                  "expires_at, created_at) VALUES(?, ?, ?, ?, ?, ?, ?)");
    s.bind(1, newId()).bind(2, userId).bind(3, kind).bind(4, amount).bind(7, stamp(now));
    if (period)
        s.bind(5, *period);
    if (expiresAt)
        s.bind(6, stamp(*expiresAt));
    s.run();
}

// Gives a new account its free credit and the current month its plan lot, once each.
qint64 settle(Storage& storage, qint64 userId, const QDateTime& now) {
    std::optional<qint64> perMonth;
    {
        Storage::Statement s(storage, "SELECT per_month FROM credit_accounts WHERE user_id = ?");
        s.bind(1, userId);
        if (s.step())
            perMonth = s.integer(0);
    }
    if (!perMonth) {
        Storage::Statement(storage, "INSERT INTO credit_accounts(user_id) VALUES(?)")
            .bind(1, userId)
            .run();
        insertLot(storage, userId, QStringLiteral("welcome"), 1, std::nullopt, std::nullopt, now);
        perMonth = 0;
    }
    if (*perMonth > 0) {
        const QString period = now.toUTC().toString(QStringLiteral("yyyy-MM"));
        Storage::Statement s(storage, "SELECT 1 FROM credit_lots WHERE user_id = ? AND "
                                      "kind = 'plan' AND period = ?");
        s.bind(1, userId).bind(2, period);
        if (!s.step())
            insertLot(storage, userId, QStringLiteral("plan"), *perMonth, period, monthEnd(now),
                      now);
    }
    return *perMonth;
}

struct Lot {
    QString id;
    QString kind;
    qint64 amount = 0;
    qint64 used = 0;
    std::optional<QString> period;
    std::optional<QString> expiresAt;
    QString createdAt;

    bool expired(const QString& now) const { return expiresAt && *expiresAt <= now; }
    qint64 remaining(const QString& now) const { return expired(now) ? 0 : amount - used; }
    qint64 lost(const QString& now) const { return expired(now) ? amount - used : 0; }
};

constexpr const char* lotColumns =
    "SELECT id, kind, amount, used, period, expires_at, created_at FROM credit_lots ";

Lot lotAt(const Storage::Statement& s) {
    Lot lot{s.text(0),    s.text(1),    s.integer(2), s.integer(3),
            std::nullopt, std::nullopt, s.text(6)};
    if (!s.isNull(4))
        lot.period = s.text(4);
    if (!s.isNull(5))
        lot.expiresAt = s.text(5);
    return lot;
}

// The lot the next run pays from: the one that expires soonest, then the oldest.
std::optional<Lot> nextLot(Storage& storage, qint64 userId, const QString& now) {
    Storage::Statement s(storage, (QByteArray(lotColumns) +
                                   "WHERE user_id = ?1 AND used < amount AND "
                                   "(expires_at IS NULL OR expires_at > ?2) ORDER BY "
                                   "expires_at IS NULL, expires_at, created_at, rowid LIMIT 1")
                                      .constData());
    s.bind(1, userId).bind(2, now);
    if (!s.step())
        return std::nullopt;
    return lotAt(s);
}

JsonValue nullable(const std::optional<QString>& text) {
    return text ? JsonValue(*text) : JsonValue();
}

JsonValue lotJson(const Lot& lot, const QString& now) {
    const qint64 remaining = lot.remaining(now);
    const qint64 lost = lot.lost(now);
    const char* status = lost > 0 ? "expired" : remaining < 1 ? "used" : "active";
    return JsonValue::object({{QStringLiteral("id"), lot.id},
                              {QStringLiteral("kind"), lot.kind},
                              {QStringLiteral("amount"), std::int64_t(lot.amount)},
                              {QStringLiteral("used"), std::int64_t(lot.used)},
                              {QStringLiteral("remaining"), std::int64_t(remaining)},
                              {QStringLiteral("lost"), std::int64_t(lost)},
                              {QStringLiteral("period"), nullable(lot.period)},
                              {QStringLiteral("expires_at"), nullable(lot.expiresAt)},
                              {QStringLiteral("created_at"), lot.createdAt},
                              {QStringLiteral("status"), status}});
}

JsonValue::Array runs(Storage& storage, qint64 userId, const std::optional<QString>& lotId) {
    Storage::Statement s(storage,
                         lotId ? "SELECT id, lot_id, capability, trigger_kind, status, started_at, "
                                 "finished_at FROM credit_runs WHERE user_id = ?1 AND lot_id = ?2 "
                                 "ORDER BY started_at DESC, rowid DESC LIMIT ?3"
                               : "SELECT id, lot_id, capability, trigger_kind, status, started_at, "
                                 "finished_at FROM credit_runs WHERE user_id = ?1 "
                                 "ORDER BY started_at DESC, rowid DESC LIMIT ?3");
    s.bind(1, userId).bind(3, qint64(maxRunsListed));
    if (lotId)
        s.bind(2, *lotId);
    JsonValue::Array out;
    while (s.step()) {
        out.push_back(JsonValue::object(
            {{QStringLiteral("id"), s.text(0)},
             {QStringLiteral("lot_id"), s.text(1)},
             {QStringLiteral("capability"), s.text(2)},
             {QStringLiteral("trigger_kind"), s.text(3)},
             {QStringLiteral("status"), s.text(4)},
             {QStringLiteral("started_at"), s.text(5)},
             {QStringLiteral("finished_at"), s.isNull(6) ? JsonValue() : JsonValue(s.text(6))}}));
    }
    return out;
}

} // namespace

// The balance is summed over every lot, not only the ones listed.
Reply CreditLedger::snapshot(Storage& storage, qint64 userId, const std::optional<QString>& lotId,
                             const QDateTime& at) {
    const qint64 perMonth = settle(storage, userId, at);
    const QString now = stamp(at);
    qint64 included = 0;
    qint64 extra = 0;
    std::optional<QString> includedExpiresAt;
    JsonValue::Array lots;
    bool lotFound = false;
    Storage::Statement s(
        storage, (QByteArray(lotColumns) + "WHERE user_id = ? ORDER BY created_at DESC, rowid DESC")
                     .constData());
    s.bind(1, userId);
    while (s.step()) {
        const Lot lot = lotAt(s);
        if (lot.kind == u"plan") {
            if (!lot.expired(now)) {
                included += lot.remaining(now);
                if (!includedExpiresAt || lot.expiresAt < includedExpiresAt)
                    includedExpiresAt = lot.expiresAt;
            }
        } else {
            extra += lot.remaining(now);
        }
        lotFound = lotFound || (lotId && lot.id == *lotId);
        if (lots.size() < maxLotsListed)
            lots.push_back(lotJson(lot, now));
    }
    if (lotId && !lotFound)
        return messageReply(404, QStringLiteral("There is no such lot of credits."));
    const JsonValue credits =
        JsonValue::object({{QStringLiteral("included"), std::int64_t(included)},
                           {QStringLiteral("includedExpiresAt"), nullable(includedExpiresAt)},
                           {QStringLiteral("extra"), std::int64_t(extra)},
                           {QStringLiteral("creditsPerMonth"), std::int64_t(perMonth)}});
    return Reply{200, JsonValue::object({{QStringLiteral("credits"), credits},
                                         {QStringLiteral("lots"), std::move(lots)},
                                         {QStringLiteral("runs"), runs(storage, userId, lotId)}})
                          .toJson()};
}

namespace {

// The admin's routes name a user; its id, or a 404 sent.
std::optional<qint64> namedUser(Service& service, const httplib::Request& req,
                                httplib::Response& res) {
    const auto id = service.findUser(userName(req));
    if (!id)
        sendMessage(res, 404, QStringLiteral("There is no such user."));
    return id;
}

std::optional<qint64> count(const JsonValue& json, const char* key, qint64 low,
                            httplib::Response& res) {
    const JsonValue* value = json.find(QLatin1StringView(key));
    if (!value || !value->isInteger() || value->toInteger() < low ||
        value->toInteger() > maxGrant) {
        sendMessage(res, 400,
                    QStringLiteral("%1 must be a whole number from %2 to %3")
                        .arg(QLatin1StringView(key))
                        .arg(low)
                        .arg(maxGrant));
        return std::nullopt;
    }
    return value->toInteger();
}

QString stringOr(const JsonValue& json, const char* key, const QString& fallback) {
    const JsonValue* value = json.find(QLatin1StringView(key));
    if (!value || !value->isString() || value->toString().isEmpty())
        return fallback;
    return value->toString().left(40);
}

} // namespace

namespace CreditLedger {

void createTables(Storage& storage) {
    storage.exec(schema);
}

void setMonthly(Storage& storage, qint64 userId, qint64 perMonth) {
    Storage::Statement(storage, "INSERT INTO credit_accounts(user_id, per_month) VALUES(?1, ?2) "
                                "ON CONFLICT(user_id) DO UPDATE SET per_month = ?2")
        .bind(1, userId)
        .bind(2, perMonth)
        .run();
}

bool available(Storage& storage, qint64 userId, const QDateTime& now) {
    settle(storage, userId, now);
    return nextLot(storage, userId, stamp(now)).has_value();
}

std::optional<QString> spend(Storage& storage, qint64 userId, const QString& capability,
                             const QString& triggerKind, bool succeeded, const QDateTime& now) {
    settle(storage, userId, now);
    const auto lot = nextLot(storage, userId, stamp(now));
    if (!lot)
        return std::nullopt;
    if (succeeded)
        Storage::Statement(storage, "UPDATE credit_lots SET used = used + 1 WHERE id = ?")
            .bind(1, lot->id)
            .run();
    const QString id = newId();
    Storage::Statement s(storage, "INSERT INTO credit_runs(id, user_id, lot_id, capability, "
                                  "trigger_kind, status, started_at, finished_at) "
                                  "VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
    s.bind(1, id).bind(2, userId).bind(3, lot->id).bind(4, capability).bind(5, triggerKind);
    s.bind(6, QString::fromLatin1(succeeded ? "succeeded" : "failed"));
    s.bind(7, stamp(now)).bind(8, stamp(now)).run();
    return id;
}

Reply refusal() {
    return Reply{402, JsonValue::object({{QStringLiteral("ok"), false},
                                         {QStringLiteral("reason"), "no_credits"},
                                         {QStringLiteral("message"),
                                          "You're out of AI credits. They come back with "
                                          "next month's allowance."}})
                          .toJson()};
}

} // namespace CreditLedger

void CreditsApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate(CreditLedger::createTables);
    server.Get("/api/ai/credits",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                   std::optional<QString> lot;
                   if (req.has_param("lot")) {
                       lot = QString::fromStdString(req.get_param_value("lot"));
                       if (lot->isEmpty() || lot->size() > maxLotIdLength)
                           return messageReply(400, QStringLiteral("lot must name a lot."));
                   }
                   // Settling the ledger may write the month's lot, hence a transaction.
                   return service.transact(user, [&](UserState&, Storage& storage) {
                       return CreditLedger::snapshot(storage, user, lot,
                                                     QDateTime::currentDateTimeUtc());
                   });
               }));
}

void CreditsApi::installAdmin(httplib::Server& server, Service& service) {
    // A purchase (or a refund): credits that never expire.
    server.Post(R"(/admin/users/([^/]+)/credits)",
                [&](const httplib::Request& req, httplib::Response& res) {
                    const auto json = jsonBody(req, res);
                    const auto user = json ? namedUser(service, req, res) : std::nullopt;
                    const auto amount = user ? count(*json, "amount", 1, res) : std::nullopt;
                    if (!amount)
                        return;
                    const QString kind = stringOr(*json, "kind", QStringLiteral("purchase"));
                    send(res, service.transact(*user, [&](UserState&, Storage& storage) {
                        const QDateTime now = QDateTime::currentDateTimeUtc();
                        settle(storage, *user, now);
                        insertLot(storage, *user, kind, *amount, std::nullopt, std::nullopt, now);
                        return CreditLedger::snapshot(storage, *user, std::nullopt, now);
                    }));
                });
    // The plan's monthly allowance; a new size shows from the next month's lot.
    server.Put(R"(/admin/users/([^/]+)/credits/plan)",
               [&](const httplib::Request& req, httplib::Response& res) {
                   const auto json = jsonBody(req, res);
                   const auto user = json ? namedUser(service, req, res) : std::nullopt;
                   const auto perMonth = user ? count(*json, "per_month", 0, res) : std::nullopt;
                   if (!perMonth)
                       return;
                   send(res, service.transact(*user, [&](UserState&, Storage& storage) {
                       CreditLedger::setMonthly(storage, *user, *perMonth);
                       return CreditLedger::snapshot(storage, *user, std::nullopt,
                                                     QDateTime::currentDateTimeUtc());
                   }));
               });
    // A run recorded as an AI feature would: what tests use until a feature spends.
    server.Post(R"(/admin/users/([^/]+)/credits/runs)", [&](const httplib::Request& req,
                                                            httplib::Response& res) {
        const auto json = jsonBody(req, res);
        const auto user = json ? namedUser(service, req, res) : std::nullopt;
        if (!user)
            return;
        const JsonValue* succeeded = json->find(u"succeeded");
        send(res, service.transact(*user, [&](UserState&, Storage& storage) {
            const auto run = CreditLedger::spend(
                storage, *user, stringOr(*json, "capability", QStringLiteral("briefing")),
                stringOr(*json, "trigger_kind", QStringLiteral("on_demand")),
                !succeeded || succeeded->toBool(true), QDateTime::currentDateTimeUtc());
            if (!run)
                return CreditLedger::refusal();
            return Reply{200, JsonValue::object({{QStringLiteral("run"), *run}}).toJson()};
        }));
    });
}
