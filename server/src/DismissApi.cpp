#include "DismissApi.h"

#include "BriefingApi.h"
#include "Routes.h"

#include <QDateTime>

#include <array>

using namespace Routes;

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS dismissals(
    user_id INTEGER NOT NULL REFERENCES users(id),
    target TEXT NOT NULL,
    finding TEXT NOT NULL,
    label TEXT NOT NULL,
    approximate INTEGER NOT NULL,
    disposition TEXT,
    briefing_id TEXT,
    created_at TEXT NOT NULL,
    PRIMARY KEY(user_id, target, finding));
)sql";

constexpr auto findings =
    std::to_array<QStringView>({u"critical", u"chase", u"drop", u"observation"});
constexpr qsizetype maxTarget = 200;
constexpr qsizetype maxWord = 64;
// A label longer than this is cut, and then it is a summary.
constexpr qsizetype maxLabel = 120;
// Far above what 30 days of briefings can hold; keeps one account's rows bounded.
constexpr qint64 maxKept = 2000;

struct Finding {
    QString target;
    QString finding;
    std::optional<QString> disposition;
    std::optional<QString> briefingId;
};

std::optional<QString> word(const JsonValue& json, const char* key, qsizetype max, bool required,
                            QString* error) {
    const JsonValue* value = json.find(QLatin1StringView(key));
    if (!value || value->isNull()) {
        if (required)
            *error = QStringLiteral("%1 is required").arg(QLatin1StringView(key));
        return std::nullopt;
    }
    if (!value->isString() || value->toString().isEmpty() || value->toString().size() > max) {
        *error = QStringLiteral("%1 must be a string of 1 to %2 characters")
                     .arg(QLatin1StringView(key))
                     .arg(max);
        return std::nullopt;
    }
    return value->toString();
}

// The body's finding, or a refusal sentence in `error`.
std::optional<Finding> read(const QByteArray& body, QString* error) {
    const auto json = JsonValue::parse(body, error);
    if (!json || !json->isObject()) {
        *error = QStringLiteral("The body must be a JSON object.");
        return std::nullopt;
    }
    Finding f;
    f.target = word(*json, "target", maxTarget, true, error).value_or(QString());
    f.finding = word(*json, "finding", maxWord, true, error).value_or(QString());
    f.disposition = word(*json, "disposition", maxWord, false, error);
    f.briefingId = word(*json, "briefing_id", maxWord, false, error);
    if (error->isEmpty() &&
        std::find(findings.begin(), findings.end(), f.finding) == findings.end())
        *error = QStringLiteral("finding must be critical, chase, drop or observation");
    if (!error->isEmpty())
        return std::nullopt;
    return f;
}

QString cutoff() {
    return QDateTime::currentDateTimeUtc()
        .addDays(-DismissApi::keptDays)
        .toString(Qt::ISODateWithMs);
}

Reply dismiss(Service& service, qint64 user, const QByteArray& body) {
    QString error;
    const auto f = read(body, &error);
    if (!f)
        return messageReply(400, error);
    return service.transact(user, [&](UserState& state, Storage& storage) {
        Storage::Statement(storage, "DELETE FROM dismissals WHERE user_id = ? AND created_at < ?")
            .bind(1, user)
            .bind(2, cutoff())
            .run();
        // A task's finding is shown by its title; anything else by what names it.
        QString label = f->target;
        bool approximate = true;
        for (const WireItem& item : state.document.items)
            if (item.id == f->target) {
                label = item.title.simplified();
                approximate = label.size() > maxLabel;
                break;
            }
        if (label.size() > maxLabel)
            label = label.left(maxLabel - 1).trimmed() + QChar(0x2026);
        Storage::Statement s(storage,
                             "INSERT OR REPLACE INTO dismissals(user_id, target, finding, label, "
                             "approximate, disposition, briefing_id, created_at) "
                             "VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
        s.bind(1, user).bind(2, f->target).bind(3, f->finding).bind(4, label);
        s.bind(5, qint64(approximate))
            .bind(8, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
        if (f->disposition)
            s.bind(6, *f->disposition);
        if (f->briefingId)
            s.bind(7, *f->briefingId);
        s.run();
        if (f->briefingId)
            BriefingApi::markCard(storage, user, *f->briefingId, f->finding, f->target,
                                  f->disposition.value_or(QStringLiteral("ignore")));
        Storage::Statement(storage,
                           "DELETE FROM dismissals WHERE user_id = ?1 AND rowid NOT IN (SELECT "
                           "rowid FROM dismissals WHERE user_id = ?1 ORDER BY created_at DESC "
                           "LIMIT ?2)")
            .bind(1, user)
            .bind(2, maxKept)
            .run();
        return Reply{200, JsonValue::object({{QStringLiteral("ok"), true}}).toJson()};
    });
}

Reply undismiss(Service& service, qint64 user, const QByteArray& body) {
    QString error;
    const auto f = read(body, &error);
    if (!f)
        return messageReply(400, error);
    return service.transact(user, [&](UserState&, Storage& storage) {
        Storage::Statement(
            storage, "DELETE FROM dismissals WHERE user_id = ? AND target = ? AND finding = ?")
            .bind(1, user)
            .bind(2, f->target)
            .bind(3, f->finding)
            .run();
        if (f->briefingId)
            BriefingApi::markCard(storage, user, *f->briefingId, f->finding, f->target,
                                  std::nullopt);
        return Reply{200, JsonValue::object({{QStringLiteral("ok"), true}}).toJson()};
    });
}

Reply list(Service& service, qint64 user) {
    return service.read(user, [&](const UserState&, Storage& storage) {
        Storage::Statement s(storage, "SELECT target, finding, label, approximate, created_at "
                                      "FROM dismissals WHERE user_id = ? AND created_at >= ? "
                                      "ORDER BY created_at DESC, rowid DESC");
        s.bind(1, user).bind(2, cutoff());
        JsonValue::Array rows;
        while (s.step())
            rows.push_back(JsonValue::object({{QStringLiteral("target"), s.text(0)},
                                              {QStringLiteral("finding"), s.text(1)},
                                              {QStringLiteral("label"), s.text(2)},
                                              {QStringLiteral("approximate"), s.integer(3) != 0},
                                              {QStringLiteral("created_at"), s.text(4)}}));
        return Reply{200,
                     JsonValue::object({{QStringLiteral("dismissals"), std::move(rows)}}).toJson()};
    });
}

} // namespace

QSet<QString> DismissApi::handled(Storage& storage, qint64 userId) {
    Storage::Statement s(storage, "SELECT finding, target FROM dismissals WHERE user_id = ? "
                                  "AND created_at >= ?");
    s.bind(1, userId).bind(2, cutoff());
    QSet<QString> out;
    while (s.step())
        out.insert(s.text(0) + u':' + s.text(1));
    return out;
}

void DismissApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    server.Get("/api/ai/dismiss",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                   return list(service, user);
               }));
    server.Post("/api/ai/dismiss",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    return dismiss(service, user, bodyOf(req));
                }));
    server.Delete("/api/ai/dismiss",
                  userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                      return undismiss(service, user, bodyOf(req));
                  }));
}
