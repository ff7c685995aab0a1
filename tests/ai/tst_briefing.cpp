// The daily briefing: the readers, the cards' words and days as tables, the Store's watch,
// and the panel end to end against a velmora-server whose runs take a moment to land.

#include "BriefingAction.h"
#include "BriefingPanelModel.h"
#include "BriefingVectors.h"
#include "HandledFindings.h"
#include "StoreRig.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QtTest>

#include <ctime>
#include <memory>

using TestAwait::await;

namespace {

std::optional<QString> text(const char* utf8) {
    return utf8 ? std::optional(QString::fromUtf8(utf8)) : std::nullopt;
}

WireItem seeded(const QString& id, Section section, int ageDays, const char* source = nullptr,
                Priority priority = Priority::medium, std::optional<int> dueInDays = {}) {
    WireItem item;
    item.id = id;
    item.title = id;
    item.section = section;
    item.source = text(source);
    item.priority = priority;
    if (dueInDays)
        item.due = LocalDay::string(QDateTime::currentDateTime().addDays(*dueInDays));
    item.createdAt = QDateTime::currentDateTimeUtc().addDays(-ageDays).toString(Qt::ISODateWithMs);
    return item;
}

QStringList ids(const QList<BriefingFinding>& findings) {
    QStringList out;
    for (const BriefingFinding& finding : findings)
        out << finding.itemId + QLatin1Char('=') + finding.disposition.value_or(QString());
    return out;
}

bool handled(APIClient& client, const QString& id) {
    for (const HandledFinding& finding : await(client.handledFindings()))
        if (finding.id() == id)
            return true;
    return false;
}

QStringList cardTargets(const BriefingPanelModel& panel) {
    QStringList out;
    for (const QVariant& section : panel.sections())
        for (const QVariant& card : section.toMap()[QStringLiteral("cards")].toList())
            out << card.toMap()[QStringLiteral("target")].toString();
    return out;
}

} // namespace

class TestBriefing : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // The chase days cross the clock changes of the United States.
        qputenv("TZ", "America/New_York");
        tzset();
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        ServerProcess::Options options;
        options.briefingDelayMs = 600;
        server = std::make_unique<ServerProcess>(options);
    }
    void cleanupTestCase() { server.reset(); }
    void cleanup() { server->clearFaults(); }

    void dates_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid: refused
        const QDateTime at(QDate(2026, 3, 1), QTime(7, 5, 9), Qt::UTC);
        QTest::newRow("database") << "2026-03-01 07:05:09" << at;
        QTest::newRow("fraction") << "2026-03-01T07:05:09.5Z" << at.addMSecs(500);
        QTest::newRow("whole seconds") << "2026-03-01T07:05:09Z" << at;
        QTest::newRow("offset") << "2026-03-01T08:05:09+01:00" << at;
        QTest::newRow("word") << "soon" << QDateTime();
        QTest::newRow("no such day") << "2026-02-30 07:05:09" << QDateTime();
        QTest::newRow("T missing") << "2026-03-01 07:05:09Z" << QDateTime();
    }
    void dates() {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        try {
            QCOMPARE(BriefingDecoder::date(text), expected);
            QVERIFY(expected.isValid());
        } catch (const DecodingError& error) {
            QVERIFY(!expected.isValid());
            QCOMPARE(error.message(), QStringLiteral("bad date: ") + text);
        }
    }

    // What a run's reply means, whatever its status, as the client reads it off the wire.
    void runReplies_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("refused 409") << 409 << QByteArray(R"({"ok":false,"reason":"nothing_to_do",
                                          "message":"Nothing changed."})")
                                     << "refused nothing_to_do: Nothing changed.";
        QTest::newRow("refused in a 200")
            << 200 << QByteArray(R"({"ok":false,"reason":"x"})") << "refused x: That didn't work.";
        QTest::newRow("500, not JSON") << 500 << QByteArray("<html>") << "server 500";
        QTest::newRow("502, JSON, no reason")
            << 502 << QByteArray(R"({"ok":false})") << "server 502";
        QTest::newRow("401") << 401 << QByteArray(R"({"ok":false,"reason":"x"})") << "unauthorised";
        QTest::newRow("queued") << 202 << QByteArray(R"({"ok":true,"queued":true})") << "ok";
        QTest::newRow("ok false, no reason") << 200 << QByteArray(R"({"ok":false})") << "ok";
        QTest::newRow("not JSON, 2xx") << 200 << QByteArray("fine") << "ok";
    }
    void runReplies() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, outcome);
        server->injectOn("POST", "/api/ai/briefing", status, 1, 0, body);
        APIClient client(server->baseURL(), server->createUser(QStringLiteral("runner")));
        QString got = QStringLiteral("ok");
        try {
            await(client.runBriefing());
        } catch (const BriefingRefused& refused) {
            got = QStringLiteral("refused ") + refused.reason() + QStringLiteral(": ") +
                  refused.message();
        } catch (const APIError& error) {
            got = error.kind() == APIError::Kind::unauthorised
                      ? QStringLiteral("unauthorised")
                      : QStringLiteral("server %1").arg(error.status());
        }
        QCOMPARE(got, outcome);
    }

    void replies_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected"); // "" when it doesn't decode
        const QByteArray briefing =
            R"({"briefing":{"id":"b","created_at":"2026-03-01 07:05:09","local_day":"2026-03-01",)";
        QTest::newRow("none") << QByteArray(R"({"briefing":null,"unread":false})") << "none";
        QTest::newRow("empty body")
            << briefing + R"("body":{"headline":"Hi","critical":[],"chase":[],"drop":[],
                "observations":[]}},"help_hint":true})"
            << "empty hint";
        QTest::newRow("no body") << briefing + R"("items_sent":3}})"
                                 << "unreadable";
        QTest::newRow("negative count") << briefing + R"("items_sent":-1}})"
                                        << "";
        QTest::newRow("missing list")
            << briefing + R"("body":{"headline":"","critical":[],"chase":[],"drop":[]}}})"
            << "";
        QTest::newRow("bad date")
            << QByteArray(R"({"briefing":{"id":"b","created_at":"soon","local_day":"x"}})") << "";
        QTest::newRow("id a number") << QByteArray(R"({"briefing":{"id":1}})") << "";
    }
    void replies() {
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        try {
            const BriefingReply reply = BriefingDecoder::reply(body);
            QStringList got{!reply.briefing                   ? QStringLiteral("none")
                            : !reply.briefing->body           ? QStringLiteral("unreadable")
                            : reply.briefing->body->isEmpty() ? QStringLiteral("empty")
                                                              : QStringLiteral("full")};
            if (reply.helpHint.value_or(false))
                got << QStringLiteral("hint");
            QCOMPARE(got.join(u' '), expected);
        } catch (const DecodingError&) {
            QCOMPARE(QString(), expected);
        }
    }

    void words_data() {
        QTest::addColumn<QString>("got");
        QTest::addColumn<QString>("expected");
        for (const auto& row : BriefingVectors::person)
            QTest::newRow(row.source ? row.source : "null")
                << BriefingAction::person(text(row.source)).value_or(QStringLiteral("null"))
                << (row.expected ? row.expected : "null");
        for (const auto& row : BriefingVectors::escalationTitle) {
            Item item;
            item.title = QString::fromUtf8(row.title);
            item.source = text(row.source);
            QTest::newRow(row.expected) << BriefingAction::escalationTitle(item) << row.expected;
        }
        // A chase is due at this time of day on the day the vectors name.
        for (const auto& row : BriefingVectors::chase) {
            const QDateTime now(QDate::fromString(QString::fromLatin1(row.today), Qt::ISODate),
                                QTime(9, 30));
            QTest::addRow("chase from %s", row.today)
                << BriefingAction::chaseDue(now).toString(QStringLiteral("yyyy-MM-dd HH:mm"))
                << QString::fromLatin1(row.expected) + QStringLiteral(" 09:30");
        }
        for (const auto& row : BriefingVectors::receipts)
            QTest::newRow(row.expected)
                << BriefingAction::Receipt::dropped(QString::fromUtf8(row.title)) << row.expected;
        Item open, done;
        done.status = ItemStatus::done;
        QTest::newRow("chased") << BriefingAction::recordLine(QStringLiteral("chase"), open)
                                << "Chased · still open";
        QTest::newRow("flagged") << BriefingAction::recordLine(QStringLiteral("doToday"), done)
                                 << "Flagged · done since";
        QTest::newRow("no action") << BriefingAction::recordLine({}, {}) << "No action";
        QTest::newRow("unknown") << BriefingAction::recordLine(QStringLiteral("later"), {})
                                 << "No action";
        QTest::newRow("critical word")
            << FindingWords::word(QStringLiteral("critical")) << "Do today";
        QTest::newRow("other word") << FindingWords::word(QStringLiteral("later")) << "later";
        Briefing briefing;
        briefing.body.emplace();
        briefing.body->critical.resize(2);
        briefing.body->chase.resize(1);
        briefing.body->observations.resize(1);
        QTest::newRow("summary") << BriefingPanelWords::summary(briefing)
                                 << "3 findings · 1 observations";
        QTest::newRow("unreadable") << BriefingPanelWords::summary({}) << "Couldn't be read";
        // Answered on another device, or here: the briefing is dealt with once both are.
        BriefingBody body;
        body.critical = {BriefingFinding{"a", "why", QStringLiteral("ignore")}};
        body.observations = {BriefingObservation{"s", "text", {}, {}}};
        const QHash<QString, QString> here{{QStringLiteral("observation:s"), "gotIt"}};
        QTest::newRow("dealt with")
            << QVariant(BriefingPanelWords::dealtWith(body, here)).toString() << "true";
        QTest::newRow("one left") << QVariant(BriefingPanelWords::dealtWith(body, {})).toString()
                                  << "false";
        QTest::newRow("one task") << BriefingPanelWords::readLine(1) << "Read 1 open task.";
        QTest::newRow("no count") << BriefingPanelWords::readLine({}) << "";
        const QDate today(2026, 3, 4);
        QTest::newRow("today") << BriefingPanelWords::dayWord("2026-03-04", today) << "Today";
        QTest::newRow("yesterday")
            << BriefingPanelWords::dayWord("2026-03-03", today) << "Yesterday";
        QTest::newRow("older") << BriefingPanelWords::dayWord("2026-03-01", today) << "Sun, Mar 1";
        QTest::newRow("not a day") << BriefingPanelWords::dayWord("soon", today) << "soon";
    }
    void words() {
        QFETCH(QString, got);
        QFETCH(QString, expected);
        QCOMPARE(got, expected);
    }

    // The watch's count: a date equal to the one it was given never lands, and a second
    // watch starts the count over.
    void watchGivesUp() {
        AccountRig rig(*server);
        rig.store.setBriefingPollInterval(std::chrono::milliseconds(5));
        QVERIFY(await(rig.store.client().raw("POST", QStringLiteral("api/ai/briefing"))).status ==
                202);
        QTRY_VERIFY_WITH_TIMEOUT(
            (await(rig.store.refreshLatestBriefing()), rig.store.latestBriefingAt()), 5000);
        server->injectOn("GET", "/api/ai/briefing", std::nullopt, 100); // counts them
        rig.store.watchForBriefing(rig.store.latestBriefingAt());
        QTRY_VERIFY_WITH_TIMEOUT(server->pendingFaults() <= 95, 5000);
        rig.store.watchForBriefing(rig.store.latestBriefingAt());
        QTRY_VERIFY_WITH_TIMEOUT(!rig.store.briefingRunning(), 5000);
        // The first watch's polls so far, then 24 of its own: never the first's leftover.
        const int polls = 100 - server->pendingFaults();
        QVERIFY2(polls >= 5 + Store::briefingPolls && polls <= 7 + Store::briefingPolls,
                 qPrintable(QString::number(polls)));
        QVERIFY(!rig.store.briefingJustLanded());
    }

    void panelEndToEnd() {
        AccountRig rig(*server, false, 5000);
        server->grantCredits(rig.user, 5);
        WireDocument document;
        document.items = {
            seeded(QStringLiteral("overdue"), Section::action, 2, nullptr, Priority::medium, -3),
            seeded(QStringLiteral("waiting"), Section::waiting, 10, "Priya"),
            seeded(QStringLiteral("stale"), Section::note, 40, nullptr, Priority::low)};
        for (const QString& id : {QStringLiteral("d1"), QStringLiteral("d2"), QStringLiteral("d3")})
            document.items << seeded(id, Section::waiting, 1, "Dana Whitfield");
        server->replaceDocument(rig.user, document);
        await(rig.store.refresh(false));
        QCOMPARE(rig.store.document().items.size(), 6);

        // Before any run: nothing to show, or the all-clear the debug switch asks for.
        BriefingPanelModel before;
        before.setStore(&rig.store);
        QTRY_VERIFY_WITH_TIMEOUT(!before.loading(), 5000);
        QCOMPARE(before.state(), QStringLiteral("none"));
        qputenv("VL_DEBUG_BRIEFING", "clear");
        QCOMPARE(before.state(), QStringLiteral("clear"));
        qunsetenv("VL_DEBUG_BRIEFING");

        // The run is accepted at once; the watch sees it land a moment later.
        const auto api = rig.store.freshClient();
        QCOMPARE(await(api->raw("POST", QStringLiteral("api/ai/briefing"))).status, 202);
        rig.store.setBriefingPollInterval(std::chrono::milliseconds(100));
        rig.store.watchForBriefing(std::nullopt);
        QVERIFY(rig.store.briefingRunning());
        QTRY_VERIFY_WITH_TIMEOUT(rig.store.briefingJustLanded(), 10000);
        QVERIFY(!rig.store.briefingRunning() && rig.store.briefingUnread());
        rig.store.clearBriefingLanded();
        const Briefing first = *await(api->briefing());
        QCOMPARE(ids(first.body->critical), QStringList{"overdue="});
        QCOMPARE(ids(first.body->chase), QStringList{"waiting="});
        QCOMPARE(ids(first.body->drop), QStringList{"stale="});
        QCOMPARE(first.body->observations.size(), 1);
        QCOMPARE(first.body->observations[0].itemIds.size(), 3);

        // Opening the panel reads it.
        UndoCenter undo;
        BriefingPanelModel panel;
        panel.setUndo(&undo);
        panel.setStore(&rig.store);
        QTRY_VERIFY_WITH_TIMEOUT(!await(api->briefingRead()).unread, 5000);
        QVERIFY(!rig.store.briefingUnread());
        QCOMPARE(panel.state(), QStringLiteral("cards"));
        QCOMPARE(cardTargets(panel), (QStringList{"overdue", "waiting", "stale"}));
        QCOMPARE(panel.readLine(), QStringLiteral("Read 6 open tasks."));

        // Nothing changed since: the server's sentence; a failure: the panel's own.
        panel.run();
        QTRY_VERIFY_WITH_TIMEOUT(!panel.running(), 5000);
        QCOMPARE(panel.notice(), QStringLiteral("Nothing has changed since your last briefing."));
        server->injectOn("POST", "/api/ai/briefing", 500);
        panel.run();
        QTRY_VERIFY_WITH_TIMEOUT(!panel.running(), 5000);
        QCOMPARE(panel.notice(), QStringLiteral("That didn't work. Try again in a moment."));
        server->clearFaults();

        // "Flag it" flags the task and records why; "Drop" and its undo come and go.
        const QString overdue = rig.item(QStringLiteral("overdue")).id;
        panel.press(QStringLiteral("critical"), overdue, QStringLiteral("doToday"));
        QVERIFY(!cardTargets(panel).contains(overdue));
        QTRY_VERIFY_WITH_TIMEOUT(rig.stored(overdue).flagged.value_or(false), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(handled(*api, overdue + QStringLiteral(":critical")), 5000);
        const QString stale = rig.item(QStringLiteral("stale")).id;
        panel.press(QStringLiteral("drop"), stale, QStringLiteral("drop"));
        QTRY_VERIFY_WITH_TIMEOUT(rig.stored(stale).deletedAt.has_value(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(handled(*api, stale + QStringLiteral(":drop")), 5000);
        QCOMPARE(undo.messageText(), QStringLiteral("Deleted “stale”"));
        await(undo.take());
        QTRY_VERIFY_WITH_TIMEOUT(!rig.stored(stale).deletedAt.has_value(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!handled(*api, stale + QStringLiteral(":drop")), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(cardTargets(panel).contains(stale), 5000);

        // Another device sees the flagged card answered and the dropped one open again.
        StoreRig other(server->baseURL(), rig.token(), 5000);
        await(other.store.refresh(false));
        BriefingPanelModel elsewhere;
        elsewhere.setStore(&other.store);
        QTRY_VERIFY_WITH_TIMEOUT(elsewhere.briefing().has_value(), 5000);
        QCOMPARE(ids(elsewhere.briefing()->body->critical), QStringList{"overdue=doToday"});
        QCOMPARE(cardTargets(elsewhere), (QStringList{"waiting", "stale"}));

        // The list moved, so a second run goes through; the history holds both.
        panel.run();
        QTRY_VERIFY_WITH_TIMEOUT(!panel.running(), 5000);
        QCOMPARE(panel.notice(), QStringLiteral("Reading your list. It takes about half a minute "
                                                "— you can close this and come back."));
        QTest::qWait(700);
        panel.showHistory();
        QTRY_COMPARE_WITH_TIMEOUT(panel.historyRows().size(), 2, 5000);
        QStringList summaries;
        for (const QVariant& row : panel.historyRows())
            summaries << row.toMap()[QStringLiteral("summary")].toString();
        QCOMPARE(summaries,
                 (QStringList{"2 findings · 1 observations", "3 findings · 1 observations"}));
        panel.openPast(1);
        QCOMPARE(panel.mode(), QStringLiteral("past"));
        QCOMPARE(panel.past()[QStringLiteral("state")].toString(), QStringLiteral("records"));
    }
};

QTEST_MAIN(TestBriefing)
#include "tst_briefing.moc"
