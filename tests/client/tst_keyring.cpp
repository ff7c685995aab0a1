#include "Await.h"
#include "Keychain.h"
#include "SecretStore.h"

#include <QStandardPaths>
#include <QtTest>

// With VELMORA_EXPECT_KEYRING set, a Secret Service runs: the token round-trips. Without
// one, the keychain refuses and reads nothing, and nothing is written anywhere else.
class TestKeyring : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void roundTrip() {
        const bool expectService = qEnvironmentVariableIsSet("VELMORA_EXPECT_KEYRING");
        QtKeychainStore secrets;
        Keychain keychain(secrets, QStringLiteral("org.velmora.app.keyring-test"));
        const QString token = QStringLiteral("a1b2c3d4e5f6a1b2c3d4e5f6a1b2c3d4-x");

        QCOMPARE(TestAwait::await(keychain.store(token), 60000), expectService);
        const auto read = TestAwait::await(keychain.readToken(), 60000);
        QCOMPARE(read, expectService ? std::optional<QString>(token) : std::nullopt);

        if (expectService) {
            // Storing again replaces the one token.
            QVERIFY(TestAwait::await(keychain.store(token + "2"), 60000));
            QCOMPARE(TestAwait::await(keychain.readToken(), 60000), token + "2");
            // Another service never sees it.
            Keychain other(secrets, QStringLiteral("org.velmora.app.keyring-test.other"));
            QCOMPARE(TestAwait::await(other.readToken(), 60000), std::nullopt);
        }
        TestAwait::await(keychain.deleteToken(), 60000);
        QCOMPARE(TestAwait::await(keychain.readToken(), 60000), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(TestKeyring)
#include "tst_keyring.moc"
