// Reading a pending proposal: the loose reply, the open set of delta kinds, and the
// strict records of the named kinds.

#include "Proposal.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QTest>

namespace {

QByteArray reply(const QByteArray& deltas, const QByteArray& extra = {}) {
    return "{\"result\":{" + extra + "\"deltas\":[" + deltas + "]}}";
}

const QByteArray addDelta = R"({"kind":"add","reason":"from mail","item":{"title":"Call Dana",
    "section":"action","channel":"email","priority":"high","links":[{"label":"Mail","url":"m"}],
    "initiated":"auto","flagged":null}})";
const QByteArray updateDelta =
    R"({"kind":"update","item_id":"i1","patch":{"due":null,"priority":"low"}})";
const QByteArray ruleDelta = R"({"kind":"add_rule","rule":{"action":"recategorize",
    "match":{"op":"any","conditions":[{"field":"source","op":"contains","value":["bot"]}]},
    "params":{"section":"note"},"reason":"bots","origin":{"from":"manual","rejection_ids":[],
    "count":0}}})";

} // namespace

class TestProposalFormat : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void readsReplies_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("error"); // a prefix; empty when the read succeeds
        QTest::addColumn<bool>("pending");
        QTest::addColumn<QStringList>("ids");

        QTest::newRow("nothing pending")
            << QByteArray(R"({"result":null})") << QString() << false << QStringList();
        QTest::newRow("no deltas")
            << QByteArray(R"({"result":{"deltas":[]}})") << QString() << true << QStringList();
        QTest::newRow("every named kind")
            << reply(addDelta + "," + updateDelta + "," + ruleDelta +
                     R"(,{"kind":"complete","item_id":"a"},{"kind":"remove","item_id":"b"},
                     {"kind":"update_rule","rule_id":"r","patch":{"status":"paused"}},
                     {"kind":"remove_rule","rule_id":"r"},{"kind":"pause_rule","rule_id":"r"})")
            << QString() << true
            << QStringList{"add:0",    "update:1",      "add_rule:2",    "complete:3",
                           "remove:4", "update_rule:5", "remove_rule:6", "pause_rule:7"};
        QTest::newRow("bad named kind after an unknown one")
            << reply(R"({"kind":"split","item":5},{"kind":"add"})") << QStringLiteral("delta 1: ")
            << true << QStringList();
        QTest::newRow("result is an array")
            << QByteArray(R"({"result":[]})") << QStringLiteral("proposal had no deltas array")
            << false << QStringList();
        QTest::newRow("no result")
            << QByteArray("{}") << QStringLiteral("loadProposal reply was not an object") << false
            << QStringList();
        QTest::newRow("empty body")
            << QByteArray() << QStringLiteral("loadProposal reply was not an object") << false
            << QStringList();
        QTest::newRow("add without a full item")
            << reply(R"({"kind":"complete","item_id":"a"},{"kind":"add","item":{"title":"x"}})")
            << QStringLiteral("delta 1: ") << false << QStringList();
        QTest::newRow("update without patch")
            << reply(R"({"kind":"update","item_id":"a"})") << QStringLiteral("delta 0: ") << false
            << QStringList();
        QTest::newRow("rule field outside its set")
            << reply(QByteArray(ruleDelta).replace("\"source\"", "\"colour\""))
            << QStringLiteral("delta 0: ") << false << QStringList();
        QTest::newRow("bad section in add")
            << reply(QByteArray(addDelta).replace("\"action\"", "\"later\""))
            << QStringLiteral("delta 0: ") << false << QStringList();
        QTest::newRow("count written with a fraction")
            << reply(QByteArray(ruleDelta).replace("\"count\":0", "\"count\":3.0"))
            << QStringLiteral("delta 0: rule.origin.count") << false
            << QStringList();
    }

    void readsReplies() {
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        QFETCH(bool, pending);
        QFETCH(QStringList, ids);
        try {
            const auto proposal = ProposalFormat::readReply(body);
            QVERIFY2(error.isEmpty(), "the read should have failed");
            QCOMPARE(proposal.has_value(), pending);
            QStringList got;
            for (const auto& delta : proposal ? proposal->deltas : QList<ProposalDelta>())
                got.append(delta.id);
            QCOMPARE(got, ids);
        } catch (const DecodingError& e) {
            QVERIFY2(!error.isEmpty(), qPrintable(e.message()));
            QVERIFY2(e.message().startsWith(error), qPrintable(e.message()));
            // The three texts stand alone; only a delta's failure carries more.
            if (!error.startsWith(QLatin1String("delta ")))
                QCOMPARE(e.message(), error);
            else
                QVERIFY(e.message().size() > error.size());
        }
    }

    void emptyProposalHasNoMetadata() {
        const auto p = ProposalFormat::readReply(R"({"result":{"deltas":[]}})");
        QVERIFY(p);
        QCOMPARE(*p, Proposal{});
        QCOMPARE(p->agentName(), QStringLiteral("Your AI agent"));
        QCOMPARE(p->agentNameLowercased(), QStringLiteral("your AI agent"));
    }

    void unknownKindKeepsItsJson() {
        const auto p = ProposalFormat::readReply(
            reply(R"({"kind":"complete","item_id":"a"},{"kind":"remove","item_id":"b"},
            {"kind":"x"},{"kind":"remove_rule","rule_id":"r"},
            {"kind":"split","parts":2,"reason":7})"));
        QVERIFY(p);
        const ProposalDelta& delta = p->deltas.at(4);
        QCOMPARE(delta.id, QStringLiteral("split:4"));
        QCOMPARE(delta.wire.kind, DeltaKind::unknown);
        QCOMPARE(delta.wire.kindName(), QStringLiteral("split"));
        QVERIFY(!delta.wire.reason); // nothing beyond the kind is read
        const auto raw = JsonValue::parse(delta.raw);
        QVERIFY(raw);
        QCOMPARE(raw->find("parts")->toInteger(), 2);
        QCOMPARE(ProposalFormat::toJson(delta.wire).toJson(), QByteArray(R"({"kind":"split"})"));
    }

    void metadata_data() {
        QTest::addColumn<QByteArray>("extra");
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<QString>("agent");
        QTest::addColumn<QString>("agentLower");

        const QDateTime at(QDate(2026, 3, 1), QTime(9, 15), Qt::UTC);
        QTest::newRow("whole seconds")
            << QByteArray(R"("created_at":"2026-03-01T09:15:00Z","agent":"Claude",)")
            << "2026-03-01T09:15:00Z" << at << "Claude"
            << "Claude";
        QTest::newRow("fraction") << QByteArray(R"("created_at":"2026-03-01T09:15:00.250Z",)")
                                  << "2026-03-01T09:15:00.250Z" << at.addMSecs(250)
                                  << "Your AI agent"
                                  << "your AI agent";
        QTest::newRow("not a date") << QByteArray(R"("created_at":"yesterday","agent":null,)")
                                    << "yesterday" << QDateTime() << "Your AI agent"
                                    << "your AI agent";
        QTest::newRow("not a string") << QByteArray(R"("created_at":5,"agent":3,)") << QString()
                                      << QDateTime() << "Your AI agent"
                                      << "your AI agent";
    }

    void metadata() {
        QFETCH(QByteArray, extra);
        QFETCH(QString, raw);
        QFETCH(QDateTime, date);
        QFETCH(QString, agent);
        QFETCH(QString, agentLower);
        const auto p = ProposalFormat::readReply(reply({}, extra));
        QVERIFY(p);
        QCOMPARE(p->createdAtRaw.value_or(QString()), raw);
        QCOMPARE(p->createdAtRaw.has_value(), !raw.isNull());
        QCOMPARE(p->createdAt.value_or(QDateTime()), date);
        QCOMPARE(p->agentName(), agent);
        QCOMPARE(p->agentNameLowercased(), agentLower);
    }

    void namedKindsDecodeAndEncode() {
        const auto p =
            ProposalFormat::readReply(reply(addDelta + "," + updateDelta + "," + ruleDelta));
        QVERIFY(p);
        const WireDelta& add = p->deltas.at(0).wire;
        QCOMPARE(add.reason, QStringLiteral("from mail"));
        QCOMPARE(add.item->channel, Channel::email);
        QCOMPARE(add.item->initiated, Initiated::automatic);
        QCOMPARE(add.item->links.size(), 1);
        QVERIFY(!add.item->flagged);
        const WireDelta& update = p->deltas.at(1).wire;
        QCOMPARE(update.itemId, QStringLiteral("i1"));
        QVERIFY(!update.patch->due);
        QCOMPARE(update.patch->priority, Priority::low);
        const WireDelta& rule = p->deltas.at(2).wire;
        QCOMPARE(rule.rule->action, RuleAction::recategorize);
        QCOMPARE(rule.rule->match.op, MatchOp::any);
        QCOMPARE(rule.rule->params.section, Section::note);
        for (const ProposalDelta& delta : p->deltas) {
            const JsonValue encoded = ProposalFormat::toJson(delta.wire);
            QCOMPARE(encoded.toObject().front().key, QStringLiteral("kind"));
            QCOMPARE(ProposalFormat::decodeDelta(encoded), delta.wire);
        }
    }
};

QTEST_GUILESS_MAIN(TestProposalFormat)
#include "tst_proposal_format.moc"
