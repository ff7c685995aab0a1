#include "APIClient.h"
#include "AppEnvironment.h"
#include "Await.h"
#include "Keychain.h"
#include "TokenParsing.h"

#include <QStandardPaths>
#include <QtTest>

using OptString = std::optional<QString>;
Q_DECLARE_METATYPE(OptString)

namespace {
const QString t32 = QStringLiteral("0123456789abcdefABCDEF0123456789");
}

class TestClientLogic : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

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
        QTest::newRow("production") << OptString("org.velmora.app") << "production"
                                    << "org.velmora.app";
        QTest::newRow("ios production") << OptString("org.velmora.app.ios") << "production"
                                        << "org.velmora.app";
        QTest::newRow("test") << OptString("org.velmora.app.test") << "test"
                              << "org.velmora.app.test";
        QTest::newRow("ios test") << OptString("org.velmora.app.ios.test") << "test"
                                  << "org.velmora.app.test";
        QTest::newRow("unknown") << OptString("org.example.app") << QString()
                                 << "org.velmora.app.unconfigured";
        QTest::newRow("null") << OptString() << QString() << "org.velmora.app.unconfigured";
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

    void unresolvedBaseIsUnreachable() {
        QVERIFY(Environment::unresolvedBaseURL().host().endsWith(QStringLiteral(".invalid")));
    }

    void serverOverride_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("https anywhere") << "https://staging.example.org" << true;
        QTest::newRow("http loopback v4") << "http://127.0.0.1:8080" << true;
        QTest::newRow("http loopback v4 range") << "http://127.3.2.1:8080" << true;
        QTest::newRow("http localhost") << "http://localhost:9000/" << true;
        QTest::newRow("http loopback v6") << "http://[::1]:9000" << true;
        QTest::newRow("http remote") << "http://example.org" << false;
        QTest::newRow("http private range") << "http://192.168.1.4:80" << false;
        QTest::newRow("ftp") << "ftp://127.0.0.1" << false;
        QTest::newRow("not a url") << "::::" << false;
    }

    void serverOverride() {
        QFETCH(QString, url);
        QFETCH(bool, accepted);
        const auto parsed = Environment::parseServerOverride(url);
        QCOMPARE(parsed.error.isEmpty(), accepted);
        QCOMPARE(parsed.url.isValid() && !parsed.url.isEmpty(), accepted);
        QVERIFY(Environment::overrideKeychainService() !=
                Environment::keychainService(AppEnvironment::production));
        QVERIFY(Environment::overrideKeychainService() !=
                Environment::keychainService(AppEnvironment::test));
    }

    void overrideSwitchesServerAndKeychain() {
        const QString environmentService = Environment::activeKeychainService();
        Environment::setServerOverride(QUrl(QStringLiteral("http://127.0.0.1:4567/")));
        QCOMPARE(APIClient::defaultBaseURL(), QUrl(QStringLiteral("http://127.0.0.1:4567/")));
        QCOMPARE(Environment::activeKeychainService(), Environment::overrideKeychainService());
        Environment::setServerOverride(std::nullopt);
        QCOMPARE(Environment::activeKeychainService(), environmentService);
        QVERIFY(APIClient::defaultBaseURL().scheme() == QStringLiteral("https"));
    }

    void errorTexts() {
        QCOMPARE(APIError::server(503, QStringLiteral("busy")).errorDescription(),
                 QStringLiteral("Server error 503: busy"));
        QCOMPARE(APIError::decoding(QStringLiteral("x")).errorDescription(),
                 QStringLiteral("Unexpected response: x"));
        QCOMPARE(APIError::notConfigured().errorDescription(),
                 QStringLiteral("No access token yet."));
        QCOMPARE(
            APIError::unauthorised().errorDescription(),
            QStringLiteral("That token was rejected. Generate a new connection on the website."));
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

QTEST_GUILESS_MAIN(TestClientLogic)
#include "tst_client_logic.moc"
