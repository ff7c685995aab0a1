#include "AuthApi.h"

#include "Demo.h"
#include "Methods.h"
#include "Routes.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QUrl>

#include <chrono>
#include <map>
#include <mutex>

using namespace Routes;

namespace {

struct PendingCode {
    QString user;
    QString device;
    std::chrono::steady_clock::time_point expires;
};

// Codes live minutes, so they are kept in memory: a restart only asks for a new sign-in.
struct CodeBook {
    std::mutex mutex;
    std::map<QString, PendingCode> codes;
    QString autoUser;
};

CodeBook& book() {
    static CodeBook instance;
    return instance;
}

void purgeExpired(CodeBook& codes, std::chrono::steady_clock::time_point now) {
    for (auto it = codes.codes.begin(); it != codes.codes.end();)
        it = it->second.expires <= now ? codes.codes.erase(it) : std::next(it);
}

QString randomCode() {
    static constexpr char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString code;
    for (int i = 0; i < 32; ++i)
        code += QLatin1Char(alphabet[QRandomGenerator::system()->bounded(62)]);
    return code;
}

// Null when there are too many sign-ins under way.
std::optional<QString> issueCode(const QString& user, const QString& device) {
    CodeBook& codes = book();
    const auto now = std::chrono::steady_clock::now();
    std::lock_guard lock(codes.mutex);
    purgeExpired(codes, now);
    if (codes.codes.size() >= std::size_t(AuthApi::maxPendingCodes))
        return std::nullopt;
    const QString code = randomCode();
    codes.codes[code] =
        PendingCode{user, device, now + std::chrono::seconds(AuthApi::codeLifetimeSeconds)};
    return code;
}

// `consume` takes the code out, so it works once.
std::optional<PendingCode> findCode(const QString& code, bool consume) {
    CodeBook& codes = book();
    std::lock_guard lock(codes.mutex);
    purgeExpired(codes, std::chrono::steady_clock::now());
    const auto it = codes.codes.find(code);
    if (it == codes.codes.end())
        return std::nullopt;
    PendingCode found = it->second;
    if (consume)
        codes.codes.erase(it);
    return found;
}

// The server's own plain look: one column, system fonts, light and dark.
std::string page(const QString& title, const QString& bodyHtml, const QString& head = {}) {
    const QString html =
        QStringLiteral(
            "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
            "<meta name=\"color-scheme\" content=\"light dark\">%1<title>%2 · Velmora</title>"
            "<style>body{font-family:system-ui,sans-serif;max-width:34rem;margin:4rem auto;"
            "padding:0 1.5rem;line-height:1.5}h1{font-size:1.5rem}a{color:#2563eb}"
            "@media (prefers-color-scheme:dark){a{color:#93c5fd}}</style></head>"
            "<body><main><h1>%2</h1>%3</main></body></html>\n")
            .arg(head, title.toHtmlEscaped(), bodyHtml);
    return html.toStdString();
}

void sendPage(httplib::Response& res, int status, const std::string& html) {
    res.status = status;
    res.set_content(html, "text/html; charset=utf-8");
}

QString query(const httplib::Request& req, const char* key) {
    return req.has_param(key) ? QString::fromStdString(req.get_param_value(key)) : QString();
}

QString now() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

void start(const httplib::Request& req, httplib::Response& res) {
    const QString provider = query(req, "provider");
    if (provider != u"apple" && provider != u"google")
        return sendPage(
            res, 400,
            page(QStringLiteral("Sign-in link not recognised"),
                 QStringLiteral("<p>Start the sign-in again from the Velmora app.</p>")));
    const QString device = AuthApi::cleanDeviceName(query(req, "name"));
    QString user;
    {
        std::lock_guard lock(book().mutex);
        user = book().autoUser;
    }
    if (user.isEmpty())
        return sendPage(
            res, 200,
            page(QStringLiteral("Sign in to Velmora"),
                 QStringLiteral("<p>This server has no sign-in provider set up, so it cannot "
                                "sign in %1 here.</p><p>Ask whoever runs it for a token, and "
                                "paste it into the app's sign-in window.</p>")
                     .arg(device.toHtmlEscaped())));
    const auto code = issueCode(user, device);
    if (!code)
        return sendPage(res, 503,
                        page(QStringLiteral("Too many sign-ins under way"),
                             QStringLiteral("<p>Wait a minute, then try again.</p>")));
    // The code goes on in the page's own address, so the browser's last hop is a redirect.
    const QString next = QStringLiteral("finish?code=") + *code;
    sendPage(res, 200,
             page(QStringLiteral("Signing in to Velmora"),
                  QStringLiteral("<p>Signing in %1 as %2…</p><p><a href=\"%3\">Continue</a></p>")
                      .arg(device.toHtmlEscaped(), user.toHtmlEscaped(), next),
                  QStringLiteral("<meta http-equiv=\"refresh\" content=\"0; url=%1\">").arg(next)));
}

void finish(const httplib::Request& req, httplib::Response& res) {
    const QString code = query(req, "code");
    if (code.size() > 64 || !findCode(code, false))
        return sendPage(
            res, 400,
            page(QStringLiteral("This sign-in has expired"),
                 QStringLiteral("<p>Start the sign-in again from the Velmora app.</p>")));
    const QString target =
        QStringLiteral("velmora://auth?code=") + QString::fromLatin1(QUrl::toPercentEncoding(code));
    res.set_redirect(target.toStdString(), 302);
    res.set_content(page(QStringLiteral("Back to Velmora"),
                         QStringLiteral("<p><a href=\"%1\">Open Velmora</a> to finish signing "
                                        "in.</p>")
                             .arg(target.toHtmlEscaped())),
                    "text/html; charset=utf-8");
}

Reply pair(Service& service, const httplib::Request& req) {
    const auto json = JsonValue::parse(bodyOf(req));
    const JsonValue* code = json ? json->find(u"code") : nullptr;
    if (!code || !code->isString())
        return messageReply(400, QStringLiteral("The body needs a \"code\" string."));
    const auto pending =
        code->toString().size() > 64 ? std::nullopt : findCode(code->toString(), true);
    if (!pending)
        return messageReply(401, QStringLiteral("That sign-in code is unknown, used or expired."));
    const qint64 userId = service.ensureUser(pending->user);
    return service.transact(userId, [&](UserState& next, Storage& storage) {
        // A fresh account starts with the sample list and the welcome still to show.
        if (next.version == 1 && next.document.items.isEmpty() && next.document.rules.isEmpty()) {
            next.document = Demo::document(QDate::currentDate(), QDateTime::currentDateTimeUtc());
            Storage::Statement(storage, "UPDATE users SET onboarded = 0 WHERE id = ?")
                .bind(1, userId)
                .run();
        }
        const QString token =
            AuthApi::mintToken(storage, userId, pending->device, QStringLiteral("device"));
        return Reply{200, JsonValue::object({{QStringLiteral("token"), token}}).toJson()};
    });
}

} // namespace

namespace AuthApi {

void setAutoSignIn(const QString& userName) {
    std::lock_guard lock(book().mutex);
    book().autoUser = userName;
}

QString cleanDeviceName(const QString& text) {
    QString clean;
    for (const QChar c : text.left(4 * maxDeviceNameLength)) {
        const bool blank = c.isSpace() || c.category() == QChar::Other_Control ||
                           c.category() == QChar::Other_Format;
        if (!blank)
            clean += c;
        else if (!clean.isEmpty() && !clean.endsWith(QLatin1Char(' ')))
            clean += QLatin1Char(' ');
    }
    clean = clean.trimmed().left(maxDeviceNameLength);
    // Never end on half of a surrogate pair.
    if (!clean.isEmpty() && clean.back().isHighSurrogate())
        clean.chop(1);
    return clean.isEmpty() ? QStringLiteral("computer") : clean.trimmed();
}

QString mintToken(Storage& storage, qint64 userId, const QString& name, const QString& kind) {
    const qint64 cap = kind == u"mcp" ? mcpCap : deviceCap;
    Storage::Statement count(storage, "SELECT COUNT(*) FROM tokens WHERE user_id = ? AND "
                                      "(kind = 'mcp') = (? = 'mcp')");
    count.bind(1, userId).bind(2, kind);
    const qint64 held = count.step() ? count.integer(0) : 0;
    if (held >= cap) {
        if (kind == u"mcp")
            throw RpcError(409, QStringLiteral("All %1 AI connection slots are in use. Revoke "
                                               "one to make room.")
                                    .arg(cap));
        Storage::Statement drop(
            storage, "DELETE FROM tokens WHERE fingerprint IN (SELECT fingerprint FROM tokens "
                     "WHERE user_id = ? AND kind <> 'mcp' ORDER BY COALESCE(last_used_at, "
                     "created_at) LIMIT ?)");
        drop.bind(1, userId).bind(2, held - cap + 1).run();
    }
    const QString token = Service::newToken();
    storage.addToken(userId, Service::fingerprint(token), now(), name, kind);
    return token;
}

void install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) {
        // Accounts from before sign-in existed have seen the welcome.
        storage.addColumnIfMissing("users", "onboarded", "INTEGER NOT NULL DEFAULT 1");
    });
    server.Get("/auth/app/start", start);
    server.Get("/auth/app/finish", finish);
    server.Post("/api/auth/pair", [&](const httplib::Request& req, httplib::Response& res) {
        const auto fault = takeFault(faults, req);
        if (applyFault(fault, res))
            return;
        send(res, pair(service, req));
    });
    for (const auto& [path, provider] : {std::pair{"/api/auth/apple", "Sign in with Apple"},
                                         std::pair{"/api/auth/google", "Sign in with Google"}})
        server.Post(path, [provider](const httplib::Request&, httplib::Response& res) {
            sendMessage(
                res, 501,
                QStringLiteral("%1 is not set up on this server.").arg(QLatin1String(provider)));
        });
}

} // namespace AuthApi
