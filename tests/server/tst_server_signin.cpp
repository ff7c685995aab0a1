// Sign-in through the start page and a one-time code, the account's tokens by kind, and the
// sample prompts, against a real velmora-server.

#include "AuthApi.h"
#include "ServerTestUtil.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

using namespace ServerTest;

class TestServerSignIn : public QObject {
    Q_OBJECT

    ServerProcess::Headers bearer(const QString& token) {
        return {{"Authorization", "Bearer " + token.toUtf8()}};
    }

    // The code of one pass through the start page and its redirect.
    QString startCode(ServerProcess& server, const QByteArray& name = "Lena%27s%20laptop") {
        const auto page = server.request("GET", "/auth/app/start?provider=google&name=" + name);
        const auto next = QRegularExpression(QStringLiteral("url=(finish\\?code=\\w+)"))
                              .match(QString::fromUtf8(page.body));
        if (page.status != 200 || !next.hasMatch())
            throw std::runtime_error("start page: " + page.body.toStdString());
        const auto hop = server.request("GET", "/auth/app/" + next.captured(1).toUtf8());
        const auto code = QRegularExpression(QStringLiteral("^velmora://auth\\?code=(\\w+)$"))
                              .match(QString::fromUtf8(hop.location));
        if (hop.status != 302 || !code.hasMatch())
            throw std::runtime_error("redirect: " + hop.location.toStdString());
        return code.captured(1);
    }

    ServerProcess::Reply pair(ServerProcess& server, const QString& code) {
        return server.request("POST", "/api/auth/pair",
                              JsonValue::object({{QStringLiteral("code"), code}}).toJson());
    }

    // "name kind[ current][ used]" per token, as `token` lists them.
    QStringList tokens(ServerProcess& server, const QString& token) {
        QStringList out;
        const JsonValue reply = server.request("GET", "/api/tokens", {}, bearer(token)).json();
        for (const JsonValue& t : reply.find(u"tokens")->toArray())
            out << t.find(u"name")->toString() + u' ' + t.find(u"kind")->toString() +
                       (t.find(u"current")->toBool() ? " current" : "") +
                       (t.find(u"last_used_at")->isString() ? " used" : "");
        return out;
    }

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void deviceNames_data() {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("kept");
        const auto row = [](const char* name, const QString& given, const QString& kept) {
            QTest::newRow(name) << given << kept;
        };
        row("plain", "Lena's laptop", "Lena's laptop");
        row("blanks folded", "  a\t\n b  ", "a b");
        row("controls go",
            "a\x01\x7f"
            "b",
            "a b");
        row("empty", "", "computer");
        row("only blanks", " \u200b ", "computer");
        row("cut", QString(150, u'x'), QString(100, u'x'));
        row("no half pair", QString(99, u'x') + QStringLiteral("😀"), QString(99, u'x'));
    }
    void deviceNames() {
        QFETCH(QString, given);
        QFETCH(QString, kept);
        QCOMPARE(AuthApi::cleanDeviceName(given), kept);
    }

    void signInTokensAndPrompts() {
        ServerProcess::Options options;
        options.autoSignIn = QStringLiteral("lena");
        ServerProcess server(options);

        // Without a provider or an automatic user, the start page only says so.
        ServerProcess plain;
        const auto refusal = plain.request("GET", "/auth/app/start?provider=apple&name=x");
        QCOMPARE(refusal.status, 200);
        QVERIFY(refusal.body.contains("no sign-in provider") && refusal.location.isEmpty());

        // Wrong provider and a stale finish get pages, never a redirect.
        QCOMPARE(server.request("GET", "/auth/app/start?provider=myspace").status, 400);
        QCOMPARE(server.request("GET", "/auth/app/finish?code=nope").status, 400);

        // A code works once; the new account starts with the sample list.
        const QString code = startCode(server);
        const auto paired = pair(server, code);
        QCOMPARE(paired.status, 200);
        const QString device = paired.json().find(u"token")->toString();
        QVERIFY(device.startsWith(u"vl-"));
        QCOMPARE(pair(server, code).status, 401);
        QCOMPARE(pair(server, QStringLiteral("x")).status, 401);
        QCOMPARE(server.request("POST", "/api/auth/pair", "{}").status, 400);
        QVERIFY(
            result(server.call(device, QStringLiteral("load"))).find(u"items")->toArray().size() >
            5);

        for (const QByteArray provider : {"apple", "google"})
            QCOMPARE(server.request("POST", "/api/auth/" + provider, "{}").status, 501);

        // This device, named as the start page was told, marked current and stamped as used.
        QCOMPARE(tokens(server, device), QStringList{"Lena's laptop device current used"});

        // An agent token is shown once, works as a bearer and is revoked by its fingerprint.
        const auto made =
            server.request("POST", "/api/tokens", R"({"name":"  Claude "})", bearer(device));
        QCOMPARE(made.status, 200);
        const QString agent = made.json().find(u"token")->toString();
        const QString hash = made.json().find(u"hash")->toString();
        QCOMPARE(made.json().find(u"name")->toString(), u"Claude");
        QCOMPARE(server.call(agent, QStringLiteral("load")).status, 200);
        QCOMPARE(tokens(server, agent),
                 (QStringList{"Lena's laptop device used", "Claude mcp current used"}));
        QVERIFY(!QString::fromUtf8(server.request("GET", "/api/tokens", {}, bearer(device)).body)
                     .contains(agent));
        const QByteArray revoke = JsonValue::object({{QStringLiteral("hash"), hash}}).toJson();
        QCOMPARE(server.request("POST", "/api/tokens", R"({"name":"  "})", bearer(device)).status,
                 400);
        QCOMPARE(server.request("DELETE", "/api/tokens", revoke, bearer(device)).status, 200);
        QCOMPARE(server.call(agent, QStringLiteral("load")).status, 401);
        QCOMPARE(server.request("DELETE", "/api/tokens", revoke, bearer(device)).status, 404);

        // Agents stop at their cap; a device past its cap pushes out the least used one.
        for (int i = 0; i <= AuthApi::mcpCap; ++i)
            QCOMPARE(
                server.request("POST", "/api/tokens", R"({"name":"a"})", bearer(device)).status,
                i < AuthApi::mcpCap ? 200 : 409);
        for (int i = 0; i < AuthApi::deviceCap; ++i)
            QCOMPARE(pair(server, startCode(server, "other")).status, 200);
        QCOMPARE(tokens(server, pair(server, startCode(server)).json().find(u"token")->toString())
                     .size(),
                 AuthApi::mcpCap + AuthApi::deviceCap);

        // The prompts: the bundled four, or what the admin set.
        const auto ids = [&] {
            QStringList out;
            const JsonValue reply = server.request("GET", "/api/prompts").json();
            for (const JsonValue& p : reply.find(u"prompts")->toArray())
                out << p.find(u"id")->toString();
            return out.join(u',');
        };
        QCOMPARE(ids(), u"nightly,conversational,watchdog,briefing");
        const QString prompts = QStringLiteral("/admin/prompts");
        QCOMPARE(server.admin("PUT", prompts, R"({"prompts":[{"id":"a"}]})").status, 400);
        QCOMPARE(server
                     .admin("PUT", prompts,
                            R"({"prompts":[{"id":"a","title":"A",)"
                            R"("subtitle":"s","text":"t"}]})")
                     .status,
                 200);
        QCOMPARE(ids(), u"a");
    }
};

QTEST_GUILESS_MAIN(TestServerSignIn)
#include "tst_server_signin.moc"
