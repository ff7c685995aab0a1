// The client: replies as the user reads them, the requests it sends, time-outs and refusals
// against a scripted loopback server; tokens as pasted, environments and the server
// override, and the keychain over a memory store.

#include "APIClient.h"
#include "AppEnvironment.h"
#include "Await.h"
#include "Keychain.h"
#include "LoopbackServer.h"
#include "SecretStore.h"
#include "TokenParsing.h"
#include "WireJson.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpServer>
#include <QtTest>

using namespace std::chrono_literals;
using OptString = std::optional<QString>;
Q_DECLARE_METATYPE(OptString)

namespace {

const QString token = QStringLiteral("0123456789abcdef0123456789abcdef");
const QString t32 = QStringLiteral("0123456789abcdefABCDEF0123456789");

const char* const documentJson = R"({"schema_version":3,"items":[
  {"id":"a1","title":"Call Ana","section":"action","channel":"self","priority":"high",
   "links":[],"status":"open","origin":"user","created_at":"2026-03-01T09:30:15.250Z",
   "surprise":"ignored"},
  {"id":"a2","title":"Gone","section":"note","channel":"email","priority":"low","links":[],
   "status":"open","origin":"ai","created_at":"2026-03-01T09:30:15Z","deleted_at":""}],
 "rejections":[],"rules":[],"suppressions":[],"focus":["Ana"],"settings":{"hide_done":true}})";

// What a call threw, as the user would read it; empty when it succeeded.
template <typename T>
QString outcome(QCoro::Task<T> task) {
    try {
        TestAwait::await(std::move(task));
        return {};
    } catch (const APIError& error) {
        return error.errorDescription();
    } catch (const TransportError& error) {
        return QStringLiteral("transport %1").arg(int(error.code()));
    }
}

// A port that was free a moment ago: nothing listens there now.
QUrl refusedURL() {
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost))
        return {};
    const quint16 port = probe.serverPort();
    probe.close();
    return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(port));
}

} // namespace

class TestAPIClient : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Any warning (a read of a closed reply, say) is a fault.
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void replyCheck_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("ignoreResult");
        QTest::addColumn<QString>("expected");

        const QByteArray settings = R"({"result":{"hide_done":false},"version":4})";
        QTest::newRow("200 envelope") << 200 << settings << false << QString();
        QTest::newRow("204 ignored") << 204 << QByteArray() << true << QString();
        QTest::newRow("204 decoded") << 204 << QByteArray() << false
                                     << "Unexpected response: the data is not valid JSON "
                                        "(The document is empty. at offset 0)";
        QTest::newRow("200 without result")
            << 200 << QByteArray(R"({"version":4})") << false
            << "Unexpected response: result: required key is missing";
        QTest::newRow("200 wrong result type")
            << 200 << QByteArray(R"({"result":{"hide_done":"yes"}})") << false
            << "Unexpected response: hide_done: expected a boolean";
        QTest::newRow("200 any body ignored") << 200 << QByteArray("not json") << true << QString();
        QTest::newRow("401 with JSON body")
            << 401 << QByteArray(R"({"message":"nope"})") << true
            << "That token was rejected. Generate a new connection on the website.";
        QTest::newRow("402 limit") << 402 << QByteArray("You have reached 50 open tasks.") << true
                                   << "Server error 402: You have reached 50 open tasks.";
        QTest::newRow("500 utf-8") << 500 << QByteArray("Zürich is down") << false
                                   << QString::fromUtf8("Server error 500: Zürich is down");
        QTest::newRow("500 not utf-8")
            << 500 << QByteArray("\xff\xfe bad") << true << "Server error 500: ";
        QTest::newRow("404 empty") << 404 << QByteArray() << true << "Server error 404: ";
    }

    void replyCheck() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, ignoreResult);
        QFETCH(QString, expected);

        LoopbackServer server;
        server.reply({status, body.toStdString(), "application/json", 0ms});
        APIClient client(server.baseURL(), token);
        const QString got =
            ignoreResult ? outcome(client.sendIgnoringResult(QStringLiteral("updateSettings"), {}))
                         : outcome(client.send<WireSettings>(QStringLiteral("updateSettings"), {}));
        QCOMPARE(got, expected);
    }

    void requestShape() {
        LoopbackServer server;
        server.reply({200, R"({"result":["x"]})"});
        APIClient client(server.baseURL(), token);
        const HttpHeaders headers{{"Idempotency-Key", "local-42"}};
        const auto result = TestAwait::await(client.send<QStringList>(
            QStringLiteral("setFocus"), {JsonValue(), QStringLiteral("é"), 3, true}, headers));
        QCOMPARE(result, QStringList{QStringLiteral("x")});

        const auto request = server.last();
        QCOMPARE(request.method, "POST");
        QCOMPARE(request.path, "/api/store");
        QCOMPARE(request.header("Authorization"), "Bearer " + token.toStdString());
        QCOMPARE(request.header("Content-Type"), "application/json");
        QCOMPARE(request.header("Idempotency-Key"), "local-42");
        QCOMPARE(QByteArray::fromStdString(request.body),
                 QByteArray(R"({"method":"setFocus","args":[null,"é",3,true]})"));
    }

    void restCalls() {
        LoopbackServer server;
        APIClient client(server.baseURL(), token);

        server.reply({200, R"({"ok":true})"});
        const QByteArray withBody =
            TestAwait::await(client.authed(QStringLiteral("api/ai/dismiss"), "POST",
                                           JsonValue::Object{{QStringLiteral("id"), 7}}));
        QCOMPARE(withBody, QByteArray(R"({"ok":true})"));
        QCOMPARE(server.last().path, "/api/ai/dismiss");
        QCOMPARE(server.last().header("Content-Type"), "application/json");
        QCOMPARE(server.last().body, R"({"id":7})");

        TestAwait::await(client.authed(QStringLiteral("api/usage"), "GET"));
        QCOMPARE(server.last().method, "GET");
        QVERIFY(!server.last().hasHeader("Content-Type"));
        QVERIFY(server.last().body.empty());
    }

    // Through a fresh client: every status comes back, the query stays a query, the token
    // goes only when wanted, and only a missing token or a failure below HTTP throws.
    void rawCall_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<bool>("noAuth");
        QTest::addColumn<bool>("hasToken");
        QTest::addColumn<bool>("reachable");
        QTest::addColumn<QString>("expected");
        const QByteArray get("GET"), post("POST");
        QTest::newRow("402") << 402 << post << false << true << true << "402 Bearer " + token;
        QTest::newRow("401") << 401 << get << false << true << true << "401 Bearer " + token;
        QTest::newRow("no auth, no token") << 200 << get << true << false << true << "200 ";
        QTest::newRow("no auth, a token") << 200 << post << true << true << true << "200 ";
        QTest::newRow("no token") << 200 << get << false << false << true << "No access token yet.";
        QTest::newRow("refused")
            << 200 << get << false << true << false
            << QStringLiteral("transport %1").arg(int(QNetworkReply::ConnectionRefusedError));
    }

    void rawCall() {
        QFETCH(int, status);
        QFETCH(QByteArray, method);
        QFETCH(bool, noAuth);
        QFETCH(bool, hasToken);
        QFETCH(bool, reachable);
        QFETCH(QString, expected);
        LoopbackServer server;
        server.reply({status, "Zürich", "text/plain"});
        const APIClient origin(reachable ? server.baseURL() : refusedURL(),
                               hasToken ? std::optional(token) : std::nullopt);
        const auto client = origin.fresh();
        RawRequest request;
        request.noAuth = noAuth;
        request.query = {{QStringLiteral("history"), QStringLiteral("1")},
                         {QStringLiteral("q"), QStringLiteral("a+b &c=é%")}};
        if (method == "POST")
            request.body = JsonValue::Object{{QStringLiteral("id"), 7}};
        QString got;
        try {
            const RawReply reply = TestAwait::await(
                client->raw(method, QStringLiteral("api/ai/briefing"), std::move(request)));
            const auto sent = server.last();
            QCOMPARE(reply.text(), QStringLiteral("Zürich"));
            QCOMPARE(reply.header("content-TYPE"), QByteArray("text/plain"));
            QCOMPARE(sent.method, method.toStdString());
            QCOMPARE(sent.path, "/api/ai/briefing");
            const std::multimap<std::string, std::string> params{{"history", "1"},
                                                                 {"q", "a+b &c=é%"}};
            QVERIFY(sent.params == params);
            QCOMPARE(sent.body, method == "POST" ? R"({"id":7})" : "");
            got = QString::number(reply.status) + QLatin1Char(' ') +
                  QString::fromStdString(sent.header("Authorization"));
        } catch (const APIError& error) {
            got = error.errorDescription();
        } catch (const TransportError& error) {
            got = QStringLiteral("transport %1").arg(int(error.code()));
        }
        QCOMPARE(got, expected);
        if (expected == QLatin1String("No access token yet."))
            QCOMPARE(server.count(), 0);
    }

    void loadForSync() {
        LoopbackServer server;
        APIClient client(server.baseURL(), token);

        server.reply({200, std::string(R"({"result":)") + documentJson + R"(,"version":17})"});
        const LoadResult loaded = TestAwait::await(client.loadForSync());
        QCOMPARE(server.last().body, R"({"method":"load","args":[]})");
        QCOMPARE(loaded.version, 17);
        QCOMPARE(loaded.document.items.size(), 1);
        QCOMPARE(loaded.document.items[0].title, QStringLiteral("Call Ana"));
        QCOMPARE(loaded.document.focus, QStringList{QStringLiteral("Ana")});
        QVERIFY(loaded.document.settings.hideDone);
        // The baseline is a re-encoding: unknown keys are gone, the soft-deleted item stays.
        QVERIFY(!loaded.wire.contains("surprise"));
        QVERIFY(loaded.wire.contains("\"deleted_at\":\"\""));
        QCOMPARE(WireJson::decode<WireDocument>(loaded.wire).items.size(), 2);

        server.reply({200, std::string(R"({"result":)") + documentJson + "}"});
        QCOMPARE(TestAwait::await(client.loadForSync()).version, 0);

        server.reply({200, R"({"result":{"items":[]},"version":1})"});
        QCOMPARE(outcome(client.loadForSync()),
                 QStringLiteral("Unexpected response: schema_version: required key is missing"));
    }

    // An add sends only the fields that hold something; the server fills in the rest.
    void addSendsWhatHoldsSomething() {
        LoopbackServer server;
        server.reply({200, R"({"result":{"id":"i9","title":"T","section":"note","channel":"self",
            "priority":"low","links":[],"status":"open","origin":"user",
            "created_at":"2026-03-01T09:30:15Z"}})"});
        APIClient client(server.baseURL(), token);
        QCOMPARE(TestAwait::await(client.add(QStringLiteral("T"), QStringLiteral("n"),
                                             Section::note, std::nullopt, QString(), Priority::low,
                                             {}, QStringLiteral("local-1"))),
                 QStringLiteral("i9"));
        QCOMPARE(server.last().body, R"({"method":"addItem","args":[{"title":"T","section":)"
                                     R"("note","channel":"self","priority":"low","note":"n"}]})");
        QCOMPARE(server.last().header("Idempotency-Key"), "local-1");
    }

    void versionCall() {
        LoopbackServer server;
        APIClient client(server.baseURL(), token);
        server.reply({200, R"({"version":12})"});
        QCOMPARE(TestAwait::await(client.version()), 12);
        QCOMPARE(server.last().method, "GET");
        QCOMPARE(server.last().path, "/api/store/version");
        QCOMPARE(server.last().header("Authorization"), "Bearer " + token.toStdString());

        // The version reply is no envelope.
        server.reply({200, R"({"result":{"version":12}})"});
        QCOMPARE(outcome(client.version()),
                 QStringLiteral("Unexpected response: version: required key is missing"));
    }

    // The token goes to its own origin only: a redirect is answered as a failure, never
    // followed, whatever the method.
    void redirectIsNotFollowed() {
        LoopbackServer server;
        LoopbackServer elsewhere;
        elsewhere.reply({200, R"({"version":1})"});
        APIClient client(server.baseURL(), token);
        for (const int status : {302, 307}) {
            server.reply(
                {status, "", "text/plain", 0ms,
                 elsewhere.baseURL().resolved(QUrl("api/store/version")).toString().toStdString()});
            QCOMPARE(outcome(client.version()), QStringLiteral("Server error %1: ").arg(status));
            QCOMPARE(outcome(client.sendIgnoringResult(QStringLiteral("restore"), {})),
                     QStringLiteral("Server error %1: ").arg(status));
        }
        QCOMPARE(elsewhere.count(), 0);
    }

    void overlongReplyIsGivenUp() {
        LoopbackServer server;
        server.reply({200, std::string(5000, ' ') + R"({"version":1})"});
        APIClient client(server.baseURL(), token);
        client.setMaxReplyBytes(4096);
        QCOMPARE(outcome(client.version()),
                 QStringLiteral("Unexpected response: the reply is over 4096 bytes"));
        client.setMaxReplyBytes(8192);
        QCOMPARE(outcome(client.version()), QString());
    }

    void noTokenSendsNothing_data() {
        QTest::addColumn<QString>("tokenText");
        QTest::newRow("none") << QString();
        QTest::newRow("empty") << QStringLiteral("");
    }

    void noTokenSendsNothing() {
        QFETCH(QString, tokenText);
        LoopbackServer server;
        APIClient client(server.baseURL(),
                         tokenText.isNull() ? std::nullopt : std::optional<QString>(tokenText));
        const QString expected = QStringLiteral("No access token yet.");
        QCOMPARE(outcome(client.loadForSync()), expected);
        QCOMPARE(outcome(client.version()), expected);
        QCOMPARE(outcome(client.sendIgnoringResult(QStringLiteral("restore"), {})), expected);
        QCOMPARE(outcome(client.authed(QStringLiteral("api/usage"), "GET")), expected);
        QCOMPARE(outcome(client.postPush({})), expected);
        QCOMPARE(server.count(), 0);
    }

    void tokenNotifiesOnlyOnChange() {
        APIClient client(QUrl(QStringLiteral("http://127.0.0.1:1/")));
        QSignalSpy spy(&client, &APIClient::tokenChanged);
        client.setToken(token);
        client.setToken(token);
        client.setToken({});
        QCOMPARE(spy.count(), 2);
    }

    void timeOut() {
        LoopbackServer server;
        server.reply({200, R"({"version":1})", "application/json", 1500ms});
        APIClient client(server.baseURL(), token);
        client.setTimeoutMs(200);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(outcome(client.version()),
                 QStringLiteral("transport %1").arg(int(QNetworkReply::TimeoutError)));
        QVERIFY(timer.elapsed() < 1400);
    }

    void tokenParsing_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<OptString>("expected");
        const OptString none;
        QTest::newRow("bare") << t32 << OptString(t32);
        QTest::newRow("31 chars") << t32.left(31) << none;
        QTest::newRow("header line") << "  Bearer " + t32 + "\n" << OptString(t32);
        QTest::newRow("shouting header") << "BEARER   " + t32 << OptString(t32);
        QTest::newRow("header with tab") << "bearer \t" + t32 + "\t" << OptString(t32);
        QTest::newRow("bearer alone") << QStringLiteral("bearer") << none;
        QTest::newRow("underscore") << t32 + "_x" << none;
        QTest::newRow("dot") << t32 + ".x" << none;
        QTest::newRow("dash") << t32 + "-x" << OptString(t32 + "-x");
        QTest::newRow("unicode letters")
            << QString(32, QChar(0x00e9)) << OptString(QString(32, QChar(0x00e9)));
        QTest::newRow("inner space") << t32.left(16) + " " + t32.left(16) << none;
        QTest::newRow("url") << "https://host/mcp/" + t32 << OptString(t32);
        QTest::newRow("url query fragment slash")
            << "https://host/mcp/" + t32 + "/?x=1#y" << OptString(t32);
        QTest::newRow("fragment before last piece")
            << "https://host/mcp/" + t32 + "#frag/more" << OptString(t32);
        QTest::newRow("url without token") << QStringLiteral("https://host/mcp") << none;
        QTest::newRow("slash question") << QStringLiteral("/?a") << none;
        QTest::newRow("bearer url") << "Bearer https://h/mcp/" + t32 << OptString(t32);
        QTest::newRow("empty") << QString() << none;
    }

    void tokenParsing() {
        QFETCH(QString, input);
        QFETCH(OptString, expected);
        QCOMPARE(TokenParsing::extract(input), expected);
    }

    void environments_data() {
        QTest::addColumn<OptString>("identifier");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<QString>("service");
        const auto row = [](const char* name, OptString identifier, const char* environment,
                            const char* service) {
            QTest::newRow(name) << identifier << environment << service;
        };
        row("production", "org.velmora.app", "production", "org.velmora.app");
        row("ios production", "org.velmora.app.ios", "production", "org.velmora.app");
        row("test", "org.velmora.app.test", "test", "org.velmora.app.test");
        row("ios test", "org.velmora.app.ios.test", "test", "org.velmora.app.test");
        row("unknown", "org.example.app", "", "org.velmora.app.unconfigured");
        row("null", {}, "", "org.velmora.app.unconfigured");
    }

    void environments() {
        QFETCH(OptString, identifier);
        QFETCH(QString, environment);
        QFETCH(QString, service);
        const auto env = Environment::forBundle(identifier);
        QCOMPARE(env ? Environment::rawValue(*env) : QString(), environment);
        QCOMPARE(Environment::keychainService(env), service);
        if (env)
            QCOMPARE(Environment::baseURL(*env).scheme(), QStringLiteral("https"));
    }

    void serverOverride_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("error"); // the start of the refusal; empty: accepted
        const auto row = [](const char* name, const char* url, const QString& error = {}) {
            QTest::newRow(name) << url << error;
        };
        row("https anywhere", "https://staging.example.org");
        row("http loopback v4", "http://127.0.0.1:8080");
        row("http loopback v4 range", "http://127.3.2.1:8080");
        row("http localhost", "http://localhost:9000/");
        row("http loopback v6", "http://[::1]:9000");
        const QString remote = QStringLiteral("--server: plain http is only allowed for loopback");
        row("http remote", "http://example.org", remote);
        row("http private range", "http://192.168.1.4:80", remote);
        row("ftp", "ftp://127.0.0.1", QStringLiteral("--server: unsupported scheme"));
        row("not a url", "::::", QStringLiteral("--server: not a URL"));
    }

    void serverOverride() {
        QFETCH(QString, url);
        QFETCH(QString, error);
        const auto parsed = Environment::parseServerOverride(url);
        QCOMPARE(parsed.error.left(error.size()), error);
        QCOMPARE(parsed.error.isEmpty(), error.isEmpty());
        QCOMPARE(parsed.url.isValid() && !parsed.url.isEmpty(), error.isEmpty());
        QVERIFY(!parsed.url.path().endsWith(u'/'));
        QVERIFY(Environment::overrideKeychainService() !=
                Environment::keychainService(AppEnvironment::production));
        QVERIFY(Environment::overrideKeychainService() !=
                Environment::keychainService(AppEnvironment::test));
    }

    void overrideSwitchesServerAndKeychain() {
        const QString environmentService = Environment::activeKeychainService();
        Environment::setServerOverride(QUrl(QStringLiteral("http://127.0.0.1:4567/")));
        // Kept without its trailing "/", so "<base>/mcp" never reads "//mcp".
        QCOMPARE(APIClient::defaultBaseURL(), QUrl(QStringLiteral("http://127.0.0.1:4567")));
        QCOMPARE(Environment::activeKeychainService(), Environment::overrideKeychainService());
        Environment::setServerOverride(std::nullopt);
        QCOMPARE(Environment::activeKeychainService(), environmentService);
        QVERIFY(APIClient::defaultBaseURL().scheme() == QStringLiteral("https"));
    }

    void keychainOverMemory() {
        MemorySecretStore secrets;
        Keychain production(secrets, Environment::keychainService(AppEnvironment::production));
        Keychain test(secrets, Environment::keychainService(AppEnvironment::test));
        QCOMPARE(TestAwait::await(production.readToken()), std::nullopt);
        QVERIFY(TestAwait::await(production.store(t32)));
        QVERIFY(TestAwait::await(production.store(t32 + "-2")));
        QCOMPARE(TestAwait::await(production.readToken()), t32 + "-2");
        QCOMPARE(TestAwait::await(test.readToken()), std::nullopt);

        // A refusing store returns false and leaves no token behind, old or new.
        secrets.refuseWrites = true;
        QVERIFY(!TestAwait::await(production.store(t32 + "-3")));
        QCOMPARE(TestAwait::await(production.readToken()), std::nullopt);
        TestAwait::await(production.deleteToken());
    }
};

QTEST_GUILESS_MAIN(TestAPIClient)
#include "tst_api_client.moc"
