// The pure parts of sign-in and Connections: what a `velmora://` address asks for, the start
// page's address, the token list split by kind, the screen's words, and the prompts panel's
// place as its list changes.

#include "ConnectionsModel.h"
#include "DeviceName.h"
#include "SamplePromptsModel.h"
#include "SignIn.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QTest>

using Kind = SignIn::Link::Kind;
Q_DECLARE_METATYPE(std::optional<SignIn::Link>)

namespace {
// Kept out of the class, where moc reads raw strings badly.
const QByteArray tokenListJson =
    R"({"tokens":[{"hash":"a","name":null,"created_at":"x","last_used_at":null,"current":false,"kind":"mcp"},
    {"hash":"b","name":"iPad","created_at":"x","current":true,"kind":"ipad"},
    {"hash":"c","name":"","created_at":"x","current":false,"kind":""}],"max":4})";
} // namespace

class TestConnections : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void routes_data() {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<std::optional<SignIn::Link>>("link");
        const auto row = [](const char* name, const QString& argument,
                            std::optional<SignIn::Link> link = std::nullopt) {
            QTest::newRow(name) << argument << link;
        };
        const auto code = [](const char* c) { return SignIn::Link{Kind::signInCode, c}; };
        row("first code wins", "velmora://done?code=abc&code=def", code("abc"));
        row("host and path ignored", "VELMORA://auth/x?state=1&code=Q%2B1", code("Q+1"));
        row("empty code", "velmora://auth?code=");
        row("no code", "velmora://auth?state=1");
        row("too long", "velmora://auth?code=" + QString(257, u'a'));
        row("invitation", "velmora://i/inv42", SignIn::Link{Kind::invitation, "inv42"});
        row("invitation, deeper", "velmora://i/a/b");
        row("invitation, none", "velmora://i/");
        row("other scheme", "https://x.org/?code=abc");
        row("an option", "--server");
    }
    void routes() {
        QFETCH(QString, argument);
        QFETCH(std::optional<SignIn::Link>, link);
        QCOMPARE(SignIn::route(argument), link);
        QCOMPARE(SignIn::links({QStringLiteral("velmora"), argument}).size(), link ? 1 : 0);
    }

    void startPageAndDeviceName() {
        QCOMPARE(SignIn::startURL(QUrl(QStringLiteral("http://127.0.0.1:8/base")),
                                  QStringLiteral("google"), QStringLiteral("Lena's a+b & c"))
                     .toString(QUrl::FullyEncoded),
                 QStringLiteral("http://127.0.0.1:8/base/auth/app/start?provider=google&name="
                                "Lena%27s%20a%2Bb%20%26%20c"));
        QVERIFY(!SignIn::startURL(QUrl(), QStringLiteral("apple"), {}).isValid());
        QCOMPARE(DeviceName::choose(QStringLiteral(" Lena's laptop "), QStringLiteral("l1")),
                 QStringLiteral("Lena's laptop"));
        QCOMPARE(DeviceName::choose({}, QStringLiteral("l1")), QStringLiteral("l1"));
        QCOMPARE(DeviceName::choose(QStringLiteral(" "), {}), QStringLiteral("computer"));
    }

    void splitByKindAndCaps() {
        const auto list = ConnectionsFormat::readTokenList(tokenListJson);
        auto split = ConnectionsFormat::split(list);
        QCOMPARE(split.tokens.size(), 1);
        QCOMPARE(split.devices.size(), 2);
        QCOMPARE(split.deviceMax, 4);
        QCOMPARE(split.mcpMax, 4);
        auto capped = list;
        capped.caps = TokenCaps{3, 0};
        split = ConnectionsFormat::split(capped);
        QCOMPARE(split.deviceMax, 3);
        QCOMPARE(split.mcpMax, 0);
        QVERIFY_THROWS_EXCEPTION(DecodingError,
                                 ConnectionsFormat::readTokenList("{\"tokens\":[]}"));
    }

    void words_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("current");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("failure");
        QTest::newRow("agent") << "mcp" << false << "Claude"
                               << "Revoke “Claude”?"
                               << "Couldn't revoke “Claude” — it is still active. Gone.";
        QTest::newRow("device") << "device" << false << "iPad"
                                << "Sign out “iPad”?"
                                << "Couldn't revoke “iPad” — it is still active. Gone.";
        QTest::newRow("this computer, nameless")
            << "device" << true << QString()
            << "Sign this computer out? The app will return to the sign-in screen."
            << "Couldn't revoke “that connection” — it is still active. Gone.";
    }
    void words() {
        QFETCH(QString, kind);
        QFETCH(bool, current);
        QFETCH(QString, name);
        TokenInfo token{QStringLiteral("h"),
                        name.isNull() ? std::nullopt : std::optional(name),
                        QStringLiteral("2026-03-03T12:00:00.000Z"),
                        std::nullopt,
                        current,
                        kind};
        QTEST(ConnectionsText::revokeTitle(token), "title");
        QTEST(ConnectionsText::revokeFailure(token, QStringLiteral("Gone.")), "failure");
        QCOMPARE(ConnectionsText::subtitle(token),
                 QStringLiteral("created Mar 3, 2026 · never used"));
        token.createdAt = QStringLiteral("soon");
        token.lastUsedAt = QStringLiteral("2026-03-04T12:00:00.000Z");
        QCOMPARE(ConnectionsText::subtitle(token), QStringLiteral(" · last used Mar 4, 2026"));
    }

    void mintingAndCaps() {
        QCOMPARE(ConnectionsText::mintName(QStringLiteral("   ")), std::nullopt);
        QCOMPARE(ConnectionsText::mintName(QStringLiteral(" My AI ")), QStringLiteral("My AI"));
        QCOMPARE(
            ConnectionsText::capMessage(0),
            QStringLiteral("All 0 AI connection slots are in use. Revoke one above to make room."));
        const auto forms = ConnectionsText::copyForms(QUrl(QStringLiteral("https://v.org")), "T");
        QCOMPARE(forms.size(), 3);
        QCOMPARE(forms[0].value, QStringLiteral("https://v.org/mcp/T"));
        QCOMPARE(forms[1].value, QStringLiteral("https://v.org/mcp"));
        QCOMPARE(forms[2].value, QStringLiteral("T"));
    }

    void promptsKeepTheirPlace() {
        SamplePromptsModel prompts;
        QCOMPARE(prompts.count(), 4);
        prompts.cycle(-1);
        QCOMPARE(prompts.counter(), QStringLiteral("4 of 4"));
        prompts.copyCurrent();
        QVERIFY(prompts.copied());
        prompts.cycle(1);
        QCOMPARE(prompts.index(), 0);
        QVERIFY(!prompts.copied());
        prompts.cycle(-1);
        prompts.setPrompts({}); // an empty list changes nothing
        QCOMPARE(prompts.count(), 4);
        const RemotePrompt p{QStringLiteral("a"), QStringLiteral("A"), {}, QStringLiteral("t")};
        prompts.setPrompts({p, p});
        QCOMPARE(prompts.index(), 1);
        QCOMPARE(prompts.counter(), QStringLiteral("2 of 2"));
    }
};

QTEST_MAIN(TestConnections)
#include "tst_connections.moc"
