#include "PeopleApi.h"

#include "Routes.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QRandomGenerator>
#include <QRegularExpression>

using namespace Routes;

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS people_profiles(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    display_name TEXT);
CREATE TABLE IF NOT EXISTS people_invites(
    code_hash TEXT PRIMARY KEY,
    inviter INTEGER NOT NULL REFERENCES users(id),
    state TEXT NOT NULL,
    created_at TEXT NOT NULL,
    expires_at TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS people_invites_by_inviter ON people_invites(inviter, state);
CREATE TABLE IF NOT EXISTS people_connections(
    user_id INTEGER NOT NULL REFERENCES users(id),
    other_id INTEGER NOT NULL REFERENCES users(id),
    connected_at TEXT NOT NULL,
    invited_by_me INTEGER NOT NULL,
    PRIMARY KEY(user_id, other_id));
)sql";

// No 0/O or 1/I: a code is read aloud and typed.
constexpr char alphabet[] = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
constexpr int codeLength = 8;
constexpr int ttlDays = 7;
constexpr qint64 maxOpen = 10;
constexpr qint64 maxPerWeek = 100;
constexpr qsizetype maxName = 60;
// Longer than any code this server makes; a longer one is simply not ours.
constexpr qsizetype maxCode = 64;

QString nowText() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

// Codes are matched whatever their case and outer blanks.
QString hashOf(const QString& code) {
    return QString::fromLatin1(
        QCryptographicHash::hash(code.trimmed().toUpper().toUtf8(), QCryptographicHash::Sha256)
            .toHex());
}

QString newCode() {
    QString code;
    for (int i = 0; i < codeLength; ++i)
        code +=
            QLatin1Char(alphabet[QRandomGenerator::system()->bounded(int(sizeof alphabet - 1))]);
    return code;
}

Reply ok(const JsonValue& value) {
    return Reply{200, value.toJson()};
}

Reply refusal(int status, const QString& message, const QString& reason) {
    return Reply{status, JsonValue::object({{QStringLiteral("message"), message},
                                            {QStringLiteral("reason"), reason}})
                             .toJson()};
}

std::optional<QString> chosenName(Storage& storage, qint64 user) {
    Storage::Statement s(storage, "SELECT display_name FROM people_profiles WHERE user_id = ?");
    s.bind(1, user);
    if (s.step() && !s.isNull(0))
        return s.text(0);
    return std::nullopt;
}

QString accountName(Storage& storage, qint64 user) {
    Storage::Statement s(storage, "SELECT name FROM users WHERE id = ?");
    s.bind(1, user);
    return s.step() ? s.text(0) : QString();
}

// What a look finds, with the inviter when the code is one of ours.
struct Found {
    QString state; // ok, own, connected, used, expired, unknown
    std::optional<qint64> inviter;
};

Found look(Storage& storage, qint64 user, const QString& code) {
    if (code.size() > maxCode)
        return {QStringLiteral("unknown"), std::nullopt};
    Storage::Statement s(
        storage, "SELECT inviter, state, expires_at FROM people_invites WHERE code_hash = ?");
    s.bind(1, hashOf(code));
    if (!s.step())
        return {QStringLiteral("unknown"), std::nullopt};
    const qint64 inviter = s.integer(0);
    if (inviter == user)
        return {QStringLiteral("own"), inviter};
    if (PeopleApi::connected(storage, user, inviter))
        return {QStringLiteral("connected"), inviter};
    if (s.text(1) == u"used")
        return {QStringLiteral("used"), inviter};
    if (s.text(2) <= nowText())
        return {QStringLiteral("expired"), inviter};
    return {QStringLiteral("ok"), inviter};
}

const QString& sentence(const QString& state) {
    static const QString own =
        QStringLiteral("That is your own invitation — send it to someone else.");
    static const QString already = QStringLiteral("You are already connected.");
    static const QString used = QStringLiteral("That invitation has already been used.");
    static const QString expired =
        QStringLiteral("That invitation has expired. Ask them for a fresh one.");
    static const QString unknown = QStringLiteral("That invitation is not one of ours.");
    if (state == u"own")
        return own;
    if (state == u"connected")
        return already;
    if (state == u"used")
        return used;
    if (state == u"expired")
        return expired;
    return unknown;
}

JsonValue personJson(Storage& storage, qint64 other, const QString& at, bool invitedByMe) {
    return JsonValue::object({{QStringLiteral("id"), PeopleApi::personId(other)},
                              {QStringLiteral("name"), PeopleApi::displayName(storage, other)},
                              {QStringLiteral("connected_at"), at},
                              {QStringLiteral("invited_by_me"), invitedByMe}});
}

QString origin(const httplib::Request& req) {
    QString host = QString::fromStdString(req.get_header_value("Host")).trimmed();
    // Only a plain host[:port] is echoed into links; anything else falls back to loopback.
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9.:\\[\\]-]{1,255}$"));
    if (!plain.match(host).hasMatch())
        host = QStringLiteral("127.0.0.1");
    return QStringLiteral("http://") + host;
}

Reply snapshot(Storage& storage, qint64 user, const QString& origin) {
    const auto name = chosenName(storage, user);
    JsonValue::Array people;
    Storage::Statement p(storage,
                         "SELECT other_id, connected_at, invited_by_me FROM people_connections "
                         "WHERE user_id = ? ORDER BY connected_at, other_id");
    p.bind(1, user);
    while (p.step())
        people.push_back(personJson(storage, p.integer(0), p.text(1), p.integer(2) != 0));
    JsonValue::Array invites;
    Storage::Statement i(storage,
                         "SELECT code_hash, created_at, expires_at FROM people_invites WHERE "
                         "inviter = ? AND state = 'open' AND expires_at > ? ORDER BY created_at");
    i.bind(1, user).bind(2, nowText());
    while (i.step())
        invites.push_back(JsonValue::object({{QStringLiteral("code_hash"), i.text(0)},
                                             {QStringLiteral("created_at"), i.text(1)},
                                             {QStringLiteral("expires_at"), i.text(2)}}));
    return ok(JsonValue::object(
        {{QStringLiteral("profile"),
          JsonValue::object({{QStringLiteral("display_name"), name},
                             {QStringLiteral("suggestion"), accountName(storage, user)},
                             {QStringLiteral("needs_name"), !name.has_value()}})},
         {QStringLiteral("people"), std::move(people)},
         {QStringLiteral("invites"), std::move(invites)},
         {QStringLiteral("origin"), origin},
         {QStringLiteral("ttl_days"), ttlDays}}));
}

Reply invite(Storage& storage, qint64 user) {
    const QString now = nowText();
    Storage::Statement count(storage, "SELECT COUNT(*) FROM people_invites WHERE inviter = ? AND "
                                      "state = 'open' AND expires_at > ?");
    count.bind(1, user).bind(2, now);
    if (count.step() && count.integer(0) >= maxOpen)
        return refusal(429,
                       QStringLiteral("You have ten invitations out. Cancel one, or wait until "
                                      "one is used or expires."),
                       QStringLiteral("too_many_invites"));
    // Expired rows only take room: they are dropped as new ones come.
    Storage::Statement(storage, "DELETE FROM people_invites WHERE inviter = ? AND expires_at <= ?")
        .bind(1, user)
        .bind(2, now)
        .run();
    // Used codes stay until they expire; this bounds what one account can pile up.
    Storage::Statement made(storage, "SELECT COUNT(*) FROM people_invites WHERE inviter = ?");
    made.bind(1, user);
    if (made.step() && made.integer(0) >= maxPerWeek)
        return refusal(429,
                       QStringLiteral("That is a lot of invitations for one week. Try again in "
                                      "a few days."),
                       QStringLiteral("too_many_invites"));
    const QString expires =
        QDateTime::currentDateTimeUtc().addDays(ttlDays).toString(Qt::ISODateWithMs);
    QString code;
    for (;;) {
        code = newCode();
        Storage::Statement taken(storage, "SELECT 1 FROM people_invites WHERE code_hash = ?");
        taken.bind(1, hashOf(code));
        if (!taken.step())
            break;
    }
    Storage::Statement(storage, "INSERT INTO people_invites(code_hash, inviter, state, "
                                "created_at, expires_at) VALUES(?, ?, 'open', ?, ?)")
        .bind(1, hashOf(code))
        .bind(2, user)
        .bind(3, now)
        .bind(4, expires)
        .run();
    return ok(JsonValue::object(
        {{QStringLiteral("code"), code}, {QStringLiteral("expires_at"), expires}}));
}

Reply redeem(Storage& storage, qint64 user, const QString& code) {
    const Found found = look(storage, user, code);
    if (found.state == u"connected") {
        Storage::Statement s(storage, "SELECT connected_at, invited_by_me FROM "
                                      "people_connections WHERE user_id = ? AND other_id = ?");
        s.bind(1, user).bind(2, *found.inviter);
        s.step();
        return ok(
            JsonValue::object({{QStringLiteral("person"),
                                personJson(storage, *found.inviter, s.text(0), s.integer(1) != 0)},
                               {QStringLiteral("already"), true}}));
    }
    if (found.state != u"ok")
        return refusal(400, sentence(found.state), found.state);
    const QString now = nowText();
    Storage::Statement(storage, "UPDATE people_invites SET state = 'used' WHERE code_hash = ?")
        .bind(1, hashOf(code))
        .run();
    Storage::Statement both(storage, "INSERT OR REPLACE INTO people_connections(user_id, "
                                     "other_id, connected_at, invited_by_me) VALUES(?, ?, ?, ?)");
    both.bind(1, user).bind(2, *found.inviter).bind(3, now).bind(4, qint64(0)).run();
    both.bind(1, *found.inviter).bind(2, user).bind(3, now).bind(4, qint64(1)).run();
    return ok(JsonValue::object(
        {{QStringLiteral("person"), personJson(storage, *found.inviter, now, false)},
         {QStringLiteral("already"), false}}));
}

// Control characters become blanks and runs of blanks one; an empty name clears it.
std::optional<QString> cleanName(const QString& raw) {
    QString name;
    for (const QChar c : raw)
        name += c.category() == QChar::Other_Control ? QChar(u' ') : c;
    name = name.simplified();
    if (name.isEmpty())
        return std::nullopt;
    return name;
}

std::optional<QString> stringKey(const JsonValue& body, const char* key) {
    const JsonValue* value = body.find(QLatin1StringView(key));
    if (!value || !value->isString())
        return std::nullopt;
    return value->toString();
}

Reply post(Service& service, qint64 user, const httplib::Request& req) {
    QString error;
    const auto body = JsonValue::parse(bodyOf(req), &error);
    if (!body || !body->isObject())
        return messageReply(400, QStringLiteral("The body must be a JSON object."));
    const auto action = stringKey(*body, "action");
    if (!action)
        return messageReply(400, QStringLiteral("The body needs an \"action\" string."));
    const auto needs = [&](const char* key) {
        return messageReply(
            400,
            QStringLiteral("\"%1\" needs a \"%2\" string.").arg(*action, QLatin1StringView(key)));
    };

    if (*action == u"name") {
        const auto raw = stringKey(*body, "display_name");
        const JsonValue* given = body->find(u"display_name");
        if (!raw && !(given && given->isNull()))
            return needs("display_name");
        const auto name = raw ? cleanName(*raw) : std::nullopt;
        if (name && name->size() > maxName)
            return messageReply(400, QStringLiteral("A name can be at most 60 characters."));
        return service.transact(user, [&](UserState&, Storage& storage) {
            Storage::Statement s(storage, "INSERT OR REPLACE INTO people_profiles(user_id, "
                                          "display_name) VALUES(?, ?)");
            s.bind(1, user);
            if (name)
                s.bind(2, *name);
            s.run();
            return ok(JsonValue::object({{QStringLiteral("display_name"), name}}));
        });
    }
    if (*action == u"invite" || *action == u"redeem") {
        const auto code = stringKey(*body, "code");
        if (*action == u"redeem" && !code)
            return needs("code");
        return service.transact(user, [&](UserState&, Storage& storage) {
            if (!chosenName(storage, user))
                return refusal(400, QStringLiteral("Choose the name people will see first."),
                               QStringLiteral("needs_name"));
            return code ? redeem(storage, user, *code) : invite(storage, user);
        });
    }
    if (*action == u"look") {
        const auto code = stringKey(*body, "code");
        if (!code)
            return needs("code");
        return service.read(user, [&](const UserState&, Storage& storage) {
            const Found found = look(storage, user, *code);
            return ok(JsonValue::object(
                {{QStringLiteral("state"), found.state},
                 {QStringLiteral("inviter_name"),
                  found.inviter ? JsonValue(PeopleApi::displayName(storage, *found.inviter))
                                : JsonValue()}}));
        });
    }
    if (*action == u"remove") {
        const auto id = stringKey(*body, "id");
        if (!id)
            return needs("id");
        const auto other = PeopleApi::userOf(*id);
        return service.transact(user, [&](UserState&, Storage& storage) {
            bool removed = false;
            if (other) {
                Storage::Statement s(storage, "DELETE FROM people_connections WHERE (user_id = "
                                              "?1 AND other_id = ?2) OR (user_id = ?2 AND "
                                              "other_id = ?1)");
                s.bind(1, user).bind(2, *other).run();
                Storage::Statement changes(storage, "SELECT changes()");
                removed = changes.step() && changes.integer(0) > 0;
            }
            return ok(JsonValue::object({{QStringLiteral("removed"), removed}}));
        });
    }
    if (*action == u"cancel") {
        const auto hash = stringKey(*body, "hash");
        if (!hash)
            return needs("hash");
        return service.transact(user, [&](UserState&, Storage& storage) {
            Storage::Statement s(storage, "DELETE FROM people_invites WHERE code_hash = ? AND "
                                          "inviter = ? AND state = 'open'");
            s.bind(1, *hash).bind(2, user).run();
            Storage::Statement changes(storage, "SELECT changes()");
            const bool cancelled = changes.step() && changes.integer(0) > 0;
            return ok(JsonValue::object({{QStringLiteral("cancelled"), cancelled}}));
        });
    }
    return messageReply(400, QStringLiteral("Unknown action \"%1\".").arg(action->left(64)));
}

} // namespace

QString PeopleApi::displayName(Storage& storage, qint64 user) {
    return chosenName(storage, user).value_or(accountName(storage, user));
}

bool PeopleApi::connected(Storage& storage, qint64 user, qint64 other) {
    Storage::Statement s(storage,
                         "SELECT 1 FROM people_connections WHERE user_id = ? AND other_id = ?");
    s.bind(1, user).bind(2, other);
    return s.step();
}

QString PeopleApi::personId(qint64 user) {
    return QStringLiteral("p%1").arg(user);
}

std::optional<qint64> PeopleApi::userOf(const QString& personId) {
    if (!personId.startsWith(u'p') || personId.size() > 20)
        return std::nullopt;
    bool good = false;
    const qint64 id = personId.mid(1).toLongLong(&good);
    if (!good || id <= 0)
        return std::nullopt;
    return id;
}

void PeopleApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    server.Get("/api/people",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                   const QString from = origin(req);
                   return service.read(user, [&](const UserState&, Storage& storage) {
                       return snapshot(storage, user, from);
                   });
               }));
    // The invitation's web link: a page that hands the code to the app. Only letters and
    // digits reach the page, so nothing in it needs escaping.
    server.Get(R"(/i/([A-Za-z0-9]{1,64}))", [](const httplib::Request& req,
                                               httplib::Response& res) {
        const std::string code = req.matches[1];
        const std::string page =
            "<!doctype html><html><head><meta charset=\"utf-8\"><title>Velmora invitation</title>"
            "</head><body style=\"font-family:sans-serif;max-width:32em;margin:4em auto\">"
            "<h1>You are invited to connect on Velmora</h1><p>Your code is <code>" +
            code + "</code>.</p><p><a href=\"velmora://i/" + code +
            "\">Open in the app</a></p>"
            "<p>Or enter the code under People in the app.</p></body></html>";
        res.set_content(page, "text/html; charset=utf-8");
    });
    server.Post("/api/people",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    return post(service, user, req);
                }));
}
