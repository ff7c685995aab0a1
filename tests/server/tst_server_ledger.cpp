// The credit ledger over time (which lot pays, when a month's credits are lost, when a run is
// refused) and the server's cleaning of the focus list, held to the table the client's
// cleaning is held to.

#include "CreditsApi.h"
#include "Methods.h"
#include "Service.h"

#include <QFile>
#include <QStandardPaths>
#include <QTest>

namespace {

QDateTime at(const char* text) {
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate);
}

// "kind used/amount remaining lost status" for each lot, newest first.
QStringList lotLines(const JsonValue& snapshot) {
    QStringList lines;
    for (const JsonValue& lot : snapshot.find(u"lots")->toArray())
        lines << QStringLiteral("%1 %2/%3 %4 %5 %6")
                     .arg(lot.find(u"kind")->toString())
                     .arg(lot.find(u"used")->toInteger())
                     .arg(lot.find(u"amount")->toInteger())
                     .arg(lot.find(u"remaining")->toInteger())
                     .arg(lot.find(u"lost")->toInteger())
                     .arg(lot.find(u"status")->toString());
    return lines;
}

} // namespace

class TestServerLedger : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void ledgerOverMonths() {
        Storage storage(QStringLiteral(":memory:"));
        Service service(storage);
        service.migrate(CreditLedger::createTables);
        const qint64 user = *service.findUser(service.issueToken(QStringLiteral("ana")).user);
        const auto read = [&](const char* when) {
            const Reply reply = CreditLedger::snapshot(storage, user, std::nullopt, at(when));
            return *JsonValue::parse(reply.body);
        };
        const auto balance = [](const JsonValue& snapshot) {
            const JsonValue* credits = snapshot.find(u"credits");
            return QStringLiteral("%1+%2 until %3")
                .arg(credits->find(u"included")->toInteger())
                .arg(credits->find(u"extra")->toInteger())
                .arg(credits->find(u"includedExpiresAt")->toString(QStringLiteral("-")));
        };
        const auto spend = [&](const char* when, bool succeeded = true) {
            return CreditLedger::spend(storage, user, QStringLiteral("briefing"),
                                       QStringLiteral("scheduled"), succeeded, at(when));
        };

        // A new account: the free credit alone.
        QCOMPARE(balance(read("2026-03-10T09:00:00Z")), QStringLiteral("0+1 until -"));
        QCOMPARE(lotLines(read("2026-03-10T09:00:00Z")),
                 QStringList{QStringLiteral("welcome 0/1 1 0 active")});

        // The month's allowance pays before credits that never expire.
        CreditLedger::setMonthly(storage, user, 2);
        QVERIFY(spend("2026-03-10T10:00:00Z"));
        QCOMPARE(balance(read("2026-03-10T10:00:00Z")),
                 QStringLiteral("1+1 until 2026-04-01T00:00:00.000Z"));
        QVERIFY(spend("2026-03-11T10:00:00Z", false)); // a failed run spends nothing
        QVERIFY(spend("2026-03-12T10:00:00Z"));
        QVERIFY(spend("2026-03-13T10:00:00Z"));
        QVERIFY(!CreditLedger::available(storage, user, at("2026-03-14T10:00:00Z")));
        QVERIFY(!spend("2026-03-14T10:00:00Z"));
        QVERIFY(!spend("2026-03-14T10:00:00Z", false));
        QCOMPARE(lotLines(read("2026-03-14T10:00:00Z")),
                 (QStringList{QStringLiteral("plan 2/2 0 0 used"),
                              QStringLiteral("welcome 1/1 0 0 used")}));

        // April brings its own lot; what April leaves unspent is lost on the 1st of May.
        QCOMPARE(balance(read("2026-04-02T00:00:00Z")),
                 QStringLiteral("2+0 until 2026-05-01T00:00:00.000Z"));
        QVERIFY(spend("2026-04-30T23:59:59Z"));
        const JsonValue may = read("2026-05-01T00:00:00Z");
        QCOMPARE(lotLines(may).mid(0, 2), (QStringList{QStringLiteral("plan 0/2 2 0 active"),
                                                       QStringLiteral("plan 1/2 0 1 expired")}));
        QCOMPARE(may.find(u"runs")->toArray().size(), std::size_t(5));

        // One lot's runs, and a lot the user has not got.
        const QString aprilLot = may.find(u"lots")->toArray()[1].find(u"id")->toString();
        const Reply april =
            CreditLedger::snapshot(storage, user, aprilLot, at("2026-05-01T00:00:00Z"));
        QCOMPARE(JsonValue::parse(april.body)->find(u"runs")->toArray().size(), std::size_t(1));
        QCOMPARE(CreditLedger::snapshot(storage, user, QStringLiteral("nope"),
                                        at("2026-05-01T00:00:00Z"))
                     .status,
                 404);
        // The refusal's 402 and reason are held end to end in tst_server_briefing; its sentence
        // here.
        QVERIFY(!JsonValue::parse(CreditLedger::refusal().body)
                     ->find(u"message")
                     ->toString()
                     .isEmpty());
    }

    // The same table as the client's FocusLimits.
    void normaliseFocus_data() {
        QTest::addColumn<QStringList>("terms");
        QTest::addColumn<QStringList>("expected");
        QFile file(QStringLiteral(VELMORA_TEST_DATA "/focus_normalise.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto strings = [](const JsonValue* list) {
            QStringList out;
            for (const JsonValue& term : list->toArray())
                out << term.toString();
            return out;
        };
        const auto table = JsonValue::parse(file.readAll());
        QVERIFY(table && table->isArray());
        for (const JsonValue& row : table->toArray())
            QTest::newRow(row.find(u"case")->toString().toUtf8().constData())
                << strings(row.find(u"in")) << strings(row.find(u"out"));
    }

    void normaliseFocus() {
        QFETCH(QStringList, terms);
        QFETCH(QStringList, expected);
        QCOMPARE(Methods::normaliseFocus(terms), expected);
    }
};

QTEST_GUILESS_MAIN(TestServerLedger)
#include "tst_server_ledger.moc"
