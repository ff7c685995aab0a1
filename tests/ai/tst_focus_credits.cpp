// The briefing's focus list, handled findings, credits and usage: the pure rules as tables
// (the cleaning table is shared with the server), then the calls and the Store against a
// real velmora-server.

#include "Await.h"
#include "Credits.h"
#include "Focus.h"
#include "HandledFindings.h"
#include "ServerProcess.h"
#include "Store.h"
#include "WireFormats.h"

#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using TestAwait::await;

namespace {

QStringList strings(const JsonValue* list) {
    QStringList out;
    for (const JsonValue& term : list->toArray())
        out << term.toString();
    return out;
}

CreditsSnapshot snapshotOf(const QByteArray& lot) {
    return CreditsSnapshot::decode(R"({"credits":{"included":0,"includedExpiresAt":null,"extra":0,
        "creditsPerMonth":0},"runs":[],"lots":[)" +
                                   lot + "]}");
}

} // namespace

class TestFocusCredits : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    QTemporaryDir dir;
    MemorySecretStore secrets;
    int users = 0;

    struct Account {
        QString name;
        std::unique_ptr<Store> store;
    };
    Account account() {
        Account a{QStringLiteral("user%1").arg(++users), nullptr};
        auto* client = new APIClient(server->baseURL(), server->createUser(a.name));
        client->setTimeoutMs(5000);
        a.store = std::make_unique<Store>(client, OfflineDisk(dir.filePath(a.name)),
                                          Keychain(secrets, QStringLiteral("svc")));
        return a;
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() { server.reset(); }
    void cleanup() { server->clearFaults(); }

    // The same table as the server's cleaning.
    void normalise_data() {
        QTest::addColumn<QStringList>("terms");
        QTest::addColumn<QStringList>("expected");
        QFile file(QStringLiteral(VELMORA_TEST_DATA "/focus_normalise.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto table = JsonValue::parse(file.readAll());
        QVERIFY(table && table->isArray());
        for (const JsonValue& row : table->toArray())
            QTest::newRow(row.find(u"case")->toString().toUtf8().constData())
                << strings(row.find(u"in")) << strings(row.find(u"out"));
    }
    void normalise() {
        QFETCH(QStringList, terms);
        QFETCH(QStringList, expected);
        QCOMPARE(FocusLimits::normalise(terms), expected);
    }

    void matches_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("term");
        QTest::addColumn<bool>("expected");
        const auto row = [](const char* name, const char* text, const char* term, bool expected) {
            QTest::newRow(name) << text << term << expected;
        };
        row("a word", "Call Dana today", "dana", true);
        row("inside a word", "Danatech", "dana", false);
        row("the second hit", "Danatech and Dana", "dana", true);
        row("overlapping hits", "aaa", "aa", false);
        row("blank term", "x", "  ", false);
        row("empty text", "", "dana", false);
        row("hyphen is no word character", "dana-ops", "dana", true);
        row("underscore is no word character", "dana_ops", "dana", true);
        row("end of a name", "Dana", "ana", false);
        row("a term with blanks and case", "Invoice for ACME LTD.", " Acme Ltd ", true);
        row("an accent is part of the word", "Renée", "rene", false);
        row("a digit is a word character", "dana2", "dana", false);
    }
    void matches() {
        QFETCH(QString, text);
        QFETCH(QString, term);
        QFETCH(bool, expected);
        QCOMPARE(FocusMatch::matches(text, term), expected);
    }

    void hitsAndAdding() {
        Item item;
        item.title = QStringLiteral("Acme");
        QCOMPARE(FocusMatch::hits(item, {QStringLiteral("acme")}), QStringList{"acme"});
        item.note = QStringLiteral("Ltd");
        item.source = QStringLiteral("Dana");
        // A term never runs over two fields; the order is the terms'.
        QCOMPARE(FocusMatch::hits(item, {"dana", "acme ltd", "ACME"}),
                 (QStringList{"dana", "ACME"}));
        QVERIFY(!FocusMatch::isFocused(item, {}));

        const QStringList focus{QStringLiteral("Dana")};
        QVERIFY(FocusLimits::isDuplicate(QStringLiteral(" dana "), focus));
        QVERIFY(!FocusLimits::addable(QStringLiteral(" dana "), focus, false));
        QVERIFY(FocusLimits::addable(QStringLiteral("Acme"), focus, false));
        QVERIFY(!FocusLimits::addable(QStringLiteral("Acme"), focus, true));
        QVERIFY(!FocusLimits::addable(QStringLiteral("  "), focus, false));
        QStringList full;
        for (int i = 0; i < FocusLimits::maxTerms; ++i)
            full << QString::number(i);
        QVERIFY(!FocusLimits::addable(QStringLiteral("Acme"), full, false));
    }

    void usageFlags_data() {
        QTest::addColumn<int>("open");
        QTest::addColumn<int>("cap"); // -1: no cap
        QTest::addColumn<int>("mcpUsed");
        QTest::addColumn<int>("mcpCap");
        QTest::addColumn<QString>("flags"); // full, near, mcp exhausted as "F", "N", "X"
        QTest::newRow("no cap") << 5000 << -1 << 0 << 10 << "";
        QTest::newRow("cap 50, 45 is near") << 45 << 50 << 0 << 10 << "N";
        QTest::newRow("cap 50, 44 is not") << 44 << 50 << 0 << 10 << "";
        QTest::newRow("cap 50 reached is full, not near") << 50 << 50 << 0 << 10 << "F";
        QTest::newRow("over the cap") << 51 << 50 << 0 << 10 << "F";
        QTest::newRow("cap 30 has a margin of 3") << 27 << 30 << 0 << 10 << "N";
        QTest::newRow("cap 30, 26 is not near") << 26 << 30 << 0 << 10 << "";
        QTest::newRow("cap 29 has a margin of 3") << 26 << 29 << 0 << 10 << "N";
        QTest::newRow("cap 2: 0 is near") << 0 << 2 << 0 << 10 << "N";
        QTest::newRow("agent cap 0 is exhausted at once") << 0 << -1 << 0 << 0 << "X";
        QTest::newRow("agent calls used up") << 0 << -1 << 10 << 10 << "X";
    }
    void usageFlags() {
        QFETCH(int, open);
        QFETCH(int, cap);
        QFETCH(int, mcpUsed);
        QFETCH(int, mcpCap);
        QFETCH(QString, flags);
        const Usage usage =
            Usage::decode(QStringLiteral(R"({"open_tasks":%1,"task_cap":%2,
            "mcp_used_today":%3,"mcp_cap":%4,"email":null})")
                              .arg(open)
                              .arg(cap < 0 ? QStringLiteral("null") : QString::number(cap))
                              .arg(mcpUsed)
                              .arg(mcpCap)
                              .toUtf8());
        QString got;
        got += usage.tasksFull() ? "F" : "";
        got += usage.tasksNearCap() ? "N" : "";
        got += usage.mcpExhausted() ? "X" : "";
        QCOMPARE(got, flags);
    }

    void lotLines_data() {
        QTest::addColumn<QByteArray>("lot");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("used");
        const QByteArray common = R"("id":"l","used":1,"created_at":"2026-01-02 03:04:05",
            "status":"x",)";
        const auto row = [&](const char* name, const char* lot, const char* title,
                             const char* status, const char* used) {
            QTest::newRow(name) << common + lot << title << status << used;
        };
        row("month", R"("kind":"plan","period":"2026-03","amount":3,"remaining":2,"lost":0,
            "expires_at":"2026-04-01T00:00:00Z")",
            "March 2026", "2 left · until 1 Apr", "1 of 3 used");
        row("no such month",
            R"("kind":"plan","period":"2026-13","amount":1,"remaining":0,"lost":0)", "2026-13",
            "All used", "1 of 1 used");
        row("plan without a period", R"("kind":"plan","amount":2,"remaining":0,"lost":1)",
            "Monthly credits", "1 expired unused", "1 of 2 used");
        row("expired with some left reads as expired",
            R"("kind":"purchase","amount":5,"remaining":3,"lost":1)", "Credit pack",
            "1 expired unused", "1 of 5 used");
        row("never expires", R"("kind":"refund","amount":4,"remaining":3,"lost":0)", "Refund",
            "3 left · never expire", "1 of 4 used");
        row("another kind", R"("kind":"welcome","amount":1,"remaining":1,"lost":0,"period":null)",
            "Credits added", "1 left · never expire", "1 of 1 used");
    }
    void lotLines() {
        QFETCH(QByteArray, lot);
        QFETCH(QString, title);
        QFETCH(QString, status);
        QFETCH(QString, used);
        const CreditLot decoded = snapshotOf("{" + lot + "}").lots.value(0);
        QCOMPARE(CreditWords::title(decoded), title);
        QCOMPARE(CreditWords::statusLine(decoded), status);
        QCOMPARE(CreditWords::usedLine(decoded), used);
        QCOMPARE(decoded.createdAt, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC));
    }

    void refusedReplies_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error");
        QTest::newRow("a date of no form")
            << QByteArray(R"({"id":"l","kind":"plan","amount":1,"used":0,"remaining":1,"lost":0,
                "status":"a","created_at":"soon"})")
            << "lots[0].created_at: bad date: soon";
        QTest::newRow("a count out of range")
            << QByteArray(R"({"id":"l","kind":"plan","amount":1e300,"used":0,"remaining":1,
                "lost":0,"status":"a","created_at":"2026-01-02T03:04:05.5Z"})")
            << "lots[0].amount: expected a whole number";
    }
    void refusedReplies() {
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        try {
            snapshotOf(body);
            QFAIL("decoded");
        } catch (const DecodingError& e) {
            QCOMPARE(e.message(), error);
        }
        QVERIFY_THROWS_EXCEPTION(DecodingError,
                                 Usage::decode(R"({"open_tasks":-1,"mcp_used_today":0,
            "mcp_cap":1})"));
    }

    // --- against velmora-server ------------------------------------------------------

    void handledFindings() {
        Account a = account();
        APIClient& client = a.store->client();
        await(client.dismissFinding(QStringLiteral("obs-1"), QStringLiteral("observation"),
                                    QStringLiteral("ignore"), QStringLiteral("b1")));
        await(client.dismissFinding(QStringLiteral("x"), QStringLiteral("drop"), std::nullopt,
                                    std::nullopt));
        QList<HandledFinding> handled = await(client.handledFindings());
        QCOMPARE(handled.size(), 2);
        QCOMPARE(handled[1].id(), QStringLiteral("obs-1:observation"));
        QVERIFY(handled[1].approximate);
        QVERIFY(FindingWords::subtitle(handled[1]).startsWith(QStringLiteral("Observation · ")));
        QVERIFY(FindingWords::subtitle(handled[1]).endsWith(QStringLiteral(" · summarised")));

        await(client.undismissFinding(QStringLiteral("obs-1"), QStringLiteral("observation"),
                                      std::nullopt));
        handled = await(client.handledFindings());
        QCOMPARE(handled.size(), 1);
        QCOMPARE(handled[0].id(), QStringLiteral("x:drop"));
        // An unknown kind of finding is refused with a sentence.
        QVERIFY_THROWS_EXCEPTION(
            APIError, await(client.dismissFinding(QStringLiteral("x"), QStringLiteral("later"),
                                                  std::nullopt, std::nullopt)));
    }

    // The Credits tab's test in tst_shell walks the ledger; here, the calls' own edges.
    void creditsLedger() {
        Account a = account();
        APIClient& client = a.store->client();
        server->grantCredits(a.name, 5);
        QVERIFY(server->recordRun(a.name));
        const CreditLot bought = await(client.credits()).lots[0];
        QCOMPARE(CreditWords::title(bought), QStringLiteral("Credit pack"));
        QVERIFY(await(client.credits(bought.id)).runs.isEmpty()); // the run spent another lot
        QVERIFY_THROWS_EXCEPTION(APIError, await(client.credits(QStringLiteral("a&b=c"))));
    }

    void usageFromTheServer() {
        Account a = account();
        Store& store = *a.store;
        QSignalSpy changed(&store, &Store::usageChanged);
        server->setOpenCap(a.name, 1);
        await(store.refreshUsage());
        QVERIFY(store.usage());
        QVERIFY(store.usage()->taskCap == 1);
        QCOMPARE(store.usage()->name.value_or(QString()), a.name);
        QVERIFY(!store.usage()->tasksFull());
        await(store.refreshUsage());
        QCOMPARE(changed.count(), 1); // the same figures notify nobody

        // A refused add reads the figures again.
        QVERIFY(await(store.add(QStringLiteral("One"), {}, {}, Section::action, {},
                                Priority::medium, {}, LocalID::make())));
        QVERIFY(!await(store.add(QStringLiteral("Two"), {}, {}, Section::action, {},
                                 Priority::medium, {}, LocalID::make())));
        QVERIFY(store.usage()->tasksFull());

        // A failed read keeps what was shown.
        server->injectOn("GET", "/api/usage", 500);
        await(store.refreshUsage());
        QVERIFY(store.usage()->tasksFull());
    }
};

QTEST_GUILESS_MAIN(TestFocusCredits)
#include "tst_focus_credits.moc"
