// The briefing over HTTP against a real velmora-server: a run and what it stored, unread and
// seen, the refusals, a card answered from a dismissal, the 30 days a handled finding stays
// out, a run that fails, the history and the credit each run costs.

#include "ServerTestUtil.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

using namespace ServerTest;

namespace {

// "critical a1 Overdue by 1 day", with the disposition when there is one; "-" for no body.
QStringList cards(const JsonValue& briefing, const QHash<QString, QString>& names) {
    const JsonValue* body = briefing.find(u"body");
    if (!body || body->isNull())
        return {QStringLiteral("-")};
    QStringList out;
    for (const char* list : {"critical", "chase", "drop"})
        for (const JsonValue& f : body->find(QLatin1StringView(list))->toArray()) {
            QString line =
                QStringLiteral("%1 %2 %3")
                    .arg(QLatin1StringView(list), names.value(f.find(u"item_id")->toString()),
                         f.find(u"why")->toString());
            if (!f.find(u"disposition")->isNull())
                line += QStringLiteral(" = ") + f.find(u"disposition")->toString();
            out << line;
        }
    return out;
}

} // namespace

class TestServerBriefing : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void briefingOverHttp() {
        ServerProcess server;
        const QString token = server.createUser(QStringLiteral("ana"));
        server.grantCredits(QStringLiteral("ana"), 2); // with the free one, three runs
        const ServerProcess::Headers auth{{"Authorization", "Bearer " + token.toUtf8()}};
        const auto get = [&](const QByteArray& path) {
            const auto reply = server.request("GET", path, {}, auth);
            if (reply.status != 200)
                throw std::runtime_error("GET " + path.toStdString() + ": " +
                                         reply.body.toStdString());
            return reply.json();
        };
        const auto run = [&] { return server.request("POST", "/api/ai/briefing", {}, auth); };
        QHash<QString, QString> names; // item id to its title, for readable lines
        const auto add = [&](const QString& title, const char* section, int dueIn,
                             bool flagged = false) {
            const QString due = QDate::currentDate().addDays(dueIn).toString(Qt::ISODate);
            const JsonValue item =
                result(server.call(token, QStringLiteral("addItem"),
                                   {JsonValue::object({{QStringLiteral("title"), title},
                                                       {QStringLiteral("section"), section},
                                                       {QStringLiteral("due"), due},
                                                       {QStringLiteral("flagged"), flagged}})}));
            names.insert(item.find(u"id")->toString(), title);
            return item.find(u"id")->toString();
        };
        const auto dismiss = [&](const QByteArray& method, const QString& id,
                                 const QString& briefingId) {
            const JsonValue body = JsonValue::object({{QStringLiteral("target"), id},
                                                      {QStringLiteral("finding"), "critical"},
                                                      {QStringLiteral("disposition"), "doToday"},
                                                      {QStringLiteral("briefing_id"), briefingId}});
            QCOMPARE(server.request(method, "/api/ai/dismiss", body.toJson(), auth).status, 200);
        };

        const JsonValue none = get("/api/ai/briefing");
        QVERIFY(none.find(u"briefing")->isNull());
        QCOMPARE(none.find(u"unread")->toBool(true), false);

        const QString deck = add(QStringLiteral("deck"), "action", -1);
        add(QStringLiteral("contract"), "waiting", 0);
        const auto accepted = run();
        QCOMPARE(accepted.status, 202);
        QCOMPARE(accepted.json(), json(R"({"ok":true,"queued":true})"));

        JsonValue read = get("/api/ai/briefing");
        JsonValue first = *read.find(u"briefing");
        QCOMPARE(cards(first, names),
                 (QStringList{"critical deck Overdue by 1 day", "chase contract Due today"}));
        QCOMPARE(first.find(u"items_sent")->toInteger(), 2);
        QCOMPARE(first.find(u"local_day")->toString(), QDate::currentDate().toString(Qt::ISODate));
        QVERIFY(QRegularExpression(QStringLiteral(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$)"))
                    .match(first.find(u"created_at")->toString())
                    .hasMatch());
        QCOMPARE(read.find(u"unread")->toBool(), true);
        QCOMPARE(read.find(u"help_hint")->toBool(), true);

        // Nothing changed: refused in the body, with a sentence.
        const auto again = run();
        QCOMPARE(again.status, 409);
        QCOMPARE(again.json().find(u"reason")->toString(), QStringLiteral("nothing_to_do"));
        QVERIFY(!again.json().find(u"message")->toString().isEmpty());

        QCOMPARE(server.request("POST", "/api/ai/briefing/seen", {}, auth).status, 200);
        QCOMPARE(get("/api/ai/briefing").find(u"unread")->toBool(true), false);

        // Answered on one device, the card reads answered on every other.
        const QString firstId = first.find(u"id")->toString();
        dismiss("POST", deck, firstId);
        QCOMPARE(
            cards(*get("/api/ai/briefing").find(u"briefing"), names),
            (QStringList{"critical deck Overdue by 1 day = doToday", "chase contract Due today"}));

        // The handled finding stays out of the next briefing, until its dismissal goes.
        add(QStringLiteral("slides"), "action", 3, true);
        QCOMPARE(run().status, 202);
        QCOMPARE(cards(*get("/api/ai/briefing").find(u"briefing"), names),
                 (QStringList{"critical slides Flagged", "chase contract Due today"}));
        // A run that fails is kept with no body and costs nothing, and may be retried at once.
        dismiss("DELETE", deck, firstId);
        add(QStringLiteral("notes"), "note", 0);
        server.failNextBriefing(QStringLiteral("ana"));
        QCOMPARE(run().status, 202);
        QCOMPARE(cards(*get("/api/ai/briefing").find(u"briefing"), names), QStringList{"-"});
        QCOMPARE(run().status, 202);
        QCOMPARE(cards(*get("/api/ai/briefing").find(u"briefing"), names),
                 (QStringList{"critical deck Overdue by 1 day", "critical slides Flagged",
                              "chase contract Due today"}));

        // Three runs have spent the three credits.
        add(QStringLiteral("memo"), "note", 0);
        const auto broke = run();
        QCOMPARE(broke.status, 402);
        QCOMPARE(broke.json().find(u"reason")->toString(), QStringLiteral("no_credits"));

        const auto past = get("/api/ai/briefing?history=1").find(u"briefings")->toArray();
        QCOMPARE(past.size(), std::size_t(4));
        QVERIFY(past[1].find(u"body")->isNull());
        QCOMPARE(past[3].find(u"id")->toString(), firstId);
        QCOMPARE(cards(past[3], names).first(),
                 QStringLiteral("critical deck Overdue by 1 day")); // opened again
    }
};

QTEST_GUILESS_MAIN(TestServerBriefing)
#include "tst_server_briefing.moc"
