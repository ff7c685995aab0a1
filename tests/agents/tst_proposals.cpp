// Proposals: reading the loose reply, the open set of delta kinds and the strict records of
// the named kinds; then the review: deltas read against the list, the lines that stand for
// them, the derived lists and label of the review screen, and what a submit sends.

#include "BriefingHelp.h"
#include "ProposalReview.h"
#include "UpdatesHelp.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QTest>

using StringSet = QSet<QString>;
Q_DECLARE_METATYPE(StringSet)

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

Proposal proposalOf(const QByteArray& deltas) {
    const auto p = ProposalFormat::readReply(
        R"({"result":{"created_at":"2026-03-01T09:15:00Z","deltas":[)" + deltas + "]}}");
    return p.value_or(Proposal{});
}

Document document() {
    Document d;
    Item deck;
    deck.id = QStringLiteral("i1");
    deck.title = QStringLiteral("Send the deck");
    Item budget;
    budget.id = QStringLiteral("i2");
    budget.title = QStringLiteral("Budget reply");
    budget.status = ItemStatus::done; // done items are still found
    Rule rule;
    rule.id = QStringLiteral("r1");
    d.items = {deck, budget};
    d.rules = {rule};
    return d;
}

QList<ResolvedDelta> resolved(const QByteArray& deltas) {
    return ProposalReview::resolve(proposalOf(deltas), document());
}

QStringList ids(const QList<ProposalDelta>& deltas) {
    QStringList out;
    for (const auto& d : deltas)
        out.append(d.id);
    return out;
}

const QByteArray add = R"({"kind":"add","item":{"title":"Call Dana","section":"action",
    "channel":"self","priority":"medium","links":[],"zeal":1}})";
const QByteArray unknown = R"({"kind":"escalate"})";

QByteArray update(const char* id, const char* patch) {
    return QByteArray(R"({"kind":"update","item_id":")") + id + R"(","patch":)" + patch + "}";
}

QByteArray onItem(const char* kind, const char* id) {
    return QByteArray(R"({"kind":")") + kind + R"(","item_id":")" + id + "\"}";
}

QByteArray onRule(const char* kind, const char* id) {
    QByteArray extra = QByteArray(kind) == "update_rule" ? R"(,"patch":{})" : "";
    return QByteArray(R"({"kind":")") + kind + R"(","rule_id":")" + id + "\"" + extra + "}";
}

const QByteArray addRule = R"({"kind":"add_rule","rule":{"action":"exclude","match":{"op":"all",
    "conditions":[{"field":"title","op":"contains","value":["PTO","OOO"]}]},"params":{},
    "reason":"r","origin":{"from":"manual","rejection_ids":[],"count":0}}})";

} // namespace

class TestProposals : public QObject {
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
            << QStringLiteral("delta 0: rule.origin.count") << false << QStringList();
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
        const auto row = [](const char* name, const QByteArray& extra, const QString& raw,
                            const QDateTime& date, const char* agent = "Your AI agent",
                            const char* lower = "your AI agent") {
            QTest::newRow(name) << extra << raw << date << agent << lower;
        };
        row("whole seconds", R"("created_at":"2026-03-01T09:15:00Z","agent":"Claude",)",
            "2026-03-01T09:15:00Z", at, "Claude", "Claude");
        row("fraction", R"("created_at":"2026-03-01T09:15:00.250Z",)", "2026-03-01T09:15:00.250Z",
            at.addMSecs(250));
        row("not a date", R"("created_at":"yesterday","agent":null,)", "yesterday", {});
        row("none", {}, {}, {});
        row("not a string", R"("created_at":5,"agent":3,)", {}, {});
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

    void resolvesAndDescribes_data() {
        QTest::addColumn<QByteArray>("delta");
        QTest::addColumn<bool>("stale");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("verb"); // the row's tag

        const auto row = [](const char* name, const QByteArray& delta, bool stale,
                            const char* target, const char* line, const char* verb) {
            QTest::newRow(name) << delta << stale << QString(target) << line << verb;
        };
        const char* gone = "This item is no longer here";
        row("add", add, false, "", "Call Dana", "Add");
        row("complete", onItem("complete", "i1"), false, "i1", "Send the deck", "Done");
        row("remove done item", onItem("remove", "i2"), false, "i2", "Budget reply", "Remove");
        row("complete gone", onItem("complete", "i9"), true, "", gone, "Done");
        row("update", update("i1", R"({"due":null,"title":"x"})"), false, "i1",
            "Send the deck — change title, due", "Change");
        row("update empty patch", update("i1", "{}"), false, "i1", "Send the deck — change ",
            "Change");
        row("update gone", update("I1", "{}"), true, "", gone, "Change");
        row("add rule", addRule, false, "", "Exclude items where title contains PTO, OOO", "Rule");
        row("update rule", onRule("update_rule", "r1"), false, "", "Change a rule", "Rule");
        row("remove rule", onRule("remove_rule", "r1"), false, "", "Delete a rule", "Rule");
        row("pause rule", onRule("pause_rule", "r1"), false, "", "Pause a rule", "Rule");
        row("pause rule gone", onRule("pause_rule", "i1"), true, "", "That rule is no longer here",
            "Rule");
        row("unknown", unknown, false, "", "A newer kind of suggestion — review it on the website",
            "Rule");
    }

    void resolvesAndDescribes() {
        QFETCH(QByteArray, delta);
        QFETCH(bool, stale);
        QFETCH(QString, target);
        QFETCH(QString, line);
        QFETCH(QString, verb);
        const auto list = resolved(delta);
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.front().stale, stale);
        QCOMPARE(list.front().target ? list.front().target->id : QString(), target);
        QCOMPARE(ProposalReview::describe(list.front()), line);
        QCOMPARE(UpdatesHelp::verb(list.front().delta.wire.kindName()), verb);
    }

    // The desktop has no swipes: neither help page shows the gestures or their note.
    void helpPagesLeaveSwipesToTouch() {
        for (const auto& page : {UpdatesHelp::page, BriefingHelp::page}) {
            int swipes = 0;
            for (const HelpCardData& card : page(false))
                for (const HelpAction& row : card.rows)
                    swipes += card.title == u"Swiping" || row.swipe.has_value();
            QCOMPARE(swipes, 0);
            const auto touch = page(true);
            QCOMPARE(std::count_if(touch.begin(), touch.end(),
                                   [](const HelpCardData& c) { return c.title == u"Swiping"; }),
                     1);
        }
    }

    void changedFields_data() {
        QTest::addColumn<QByteArray>("delta");
        QTest::addColumn<QStringList>("fields");

        QTest::newRow("cleared, flagged and new keys")
            << update("i1", R"({"due":null,"flagged":true,"zeal":1})")
            << QStringList{"due", "flagged", "zeal"};
        QTest::newRow("fixed order first")
            << update("i1", R"({"due":"2026-03-02","note":"n","links":[],"priority":"low",
                "channel":"email","section":"note","title":"t","source":"s"})")
            << QStringList{"title", "section", "channel", "priority",
                           "links", "note",    "source",  "due"};
        QTest::newRow("others sorted") << update("i1", R"({"zz":1,"flagged":false,"Ab":2})")
                                       << QStringList{"Ab", "flagged", "zz"};
        QTest::newRow("empty patch") << update("i1", "{}") << QStringList();
    }

    void changedFields() {
        QFETCH(QByteArray, delta);
        QFETCH(QStringList, fields);
        const Proposal p = proposalOf(delta);
        QCOMPARE(p.deltas.size(), 1);
        QCOMPARE(ProposalReview::changedFields(p.deltas.front()), fields);
    }

    void summarise_data() {
        QTest::addColumn<QByteArray>("deltas");
        QTest::addColumn<QString>("line");

        QTest::newRow("three additions") << add + "," + add + "," + add << "3 additions";
        QTest::newRow("one of each")
            << add + "," + onItem("complete", "i1") + "," + update("i1", "{}") + "," +
                   onItem("remove", "i2") + "," + addRule
            << "1 addition, 1 completion, 1 change, 1 removal and 1 rule";
        QTest::newRow("two groups, stale and unknown left out")
            << add + "," + add + "," + update("i1", "{}") + "," + update("gone", "{}") + "," +
                   unknown + "," + onRule("pause_rule", "r1") + "," + onRule("pause_rule", "x")
            << "2 additions, 1 change and 1 rule";
        QTest::newRow("all stale")
            << onItem("complete", "x") + "," + unknown << "Nothing left to apply";
    }

    void summarise() {
        QFETCH(QByteArray, deltas);
        QFETCH(QString, line);
        QCOMPARE(ProposalReview::summarise(resolved(deltas)), line);
    }

    void primaryLabel_data() {
        QTest::addColumn<QByteArray>("deltas");
        QTest::addColumn<StringSet>("rejected");
        QTest::addColumn<bool>("edited");
        QTest::addColumn<QString>("label");

        const QByteArray mixed = add + "," + onItem("complete", "i1") + "," + unknown;
        QTest::newRow("untouched") << mixed << StringSet{} << false << "Accept all (2)";
        QTest::newRow("one rejected") << mixed << StringSet{"add:0"} << false << "Accept (1)";
        QTest::newRow("edit only") << mixed << StringSet{} << true << "Accept (2)";
        QTest::newRow("all rejected")
            << mixed << StringSet{"add:0", "complete:1"} << false << "Reject all";
        QTest::newRow("only unknown") << unknown << StringSet{} << false << "Close";
        QTest::newRow("only stale")
            << onItem("remove", "x") << StringSet{"remove:0"} << true << "Close";
    }

    void primaryLabel() {
        QFETCH(QByteArray, deltas);
        QFETCH(StringSet, rejected);
        QFETCH(bool, edited);
        QFETCH(QString, label);
        ReviewState state;
        state.rejected = rejected;
        if (edited) // typed and restored still counts
            state.edits.insert(QStringLiteral("add:0"), QStringLiteral("Call Dana"));
        QCOMPARE(ProposalReview::primaryLabel(resolved(deltas), state), label);
    }

    void lists() {
        const auto list = resolved(add + "," + update("gone", "{}") + "," + unknown + "," +
                                   onItem("complete", "i1"));
        ReviewState state;
        state.rejected = {QStringLiteral("complete:3"), QStringLiteral("update:1")};
        const auto idsOf = [](const QList<ResolvedDelta>& l) {
            QStringList out;
            for (const auto& r : l)
                out.append(r.id());
            return out;
        };
        QCOMPARE(idsOf(ProposalReview::applicable(list)), (QStringList{"add:0", "complete:3"}));
        QCOMPARE(idsOf(ProposalReview::skipped(list)), QStringList{"update:1"});
        QCOMPARE(idsOf(ProposalReview::unsupported(list)), QStringList{"escalate:2"});
        QCOMPARE(idsOf(ProposalReview::keeping(list, state)), QStringList{"add:0"});
        QVERIFY(ProposalReview::touched(state));
        QVERIFY(!ProposalReview::touched(ReviewState{}));
    }

    void submit_data() {
        QTest::addColumn<QByteArray>("deltas");
        QTest::addColumn<StringSet>("rejected");
        QTest::addColumn<bool>("resolve");
        QTest::addColumn<QList<int>>("accepted");
        QTest::addColumn<QList<int>>("rejectedIndices");

        QTest::newRow("middle rejected, third stale")
            << add + "," + onItem("complete", "i1") + "," + onItem("remove", "gone")
            << StringSet{"complete:1", "remove:2"} << true << QList<int>{0} << QList<int>{1};
        QTest::newRow("only unknown kinds")
            << unknown + "," + unknown << StringSet{} << false << QList<int>{} << QList<int>{};
        QTest::newRow("all stale goes out empty")
            << onItem("remove", "x") + "," + onRule("pause_rule", "x") << StringSet{} << true
            << QList<int>{} << QList<int>{};
        QTest::newRow("unknown beside a rejected one")
            << unknown + "," + addRule << StringSet{"add_rule:1"} << true << QList<int>{}
            << QList<int>{1};
    }

    void submit() {
        QFETCH(QByteArray, deltas);
        QFETCH(StringSet, rejected);
        QFETCH(bool, resolve);
        QFETCH(QList<int>, accepted);
        QFETCH(QList<int>, rejectedIndices);
        ReviewState state;
        state.rejected = rejected;
        const SubmitPlan plan = ProposalReview::beginSubmit(resolved(deltas), state);
        QCOMPARE(plan.resolve, resolve);
        QCOMPARE(state.busy, resolve);
        const ResolveArguments args =
            ProposalReview::resolveArguments(plan.accepted, plan.rejected);
        QCOMPARE(args.accepted, accepted);
        QCOMPARE(args.rejected, rejectedIndices);
        QVERIFY(ProposalReview::finishSubmit(state, false, true));
        QVERIFY(!ProposalReview::finishSubmit(state, false, false));
        QVERIFY(!state.busy);
    }

    void editedTitles_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("sent");

        const auto row = [](const char* name, const char* typed, const char* sent) {
            QTest::newRow(name) << typed << sent;
        };
        row("blanks only keep the agent's title", "   ", "Call Dana");
        row("sent untrimmed", "  Call Dana ", "  Call Dana ");
        row("rewritten", "Ring Dana", "Ring Dana");
    }

    void editedTitles() {
        QFETCH(QString, typed);
        QFETCH(QString, sent);
        ReviewState state;
        state.edits.insert(QStringLiteral("add:1"), typed);
        state.edits.insert(QStringLiteral("complete:0"), QStringLiteral("ignored"));
        const auto list = resolved(onItem("complete", "i1") + "," + add);
        const SubmitPlan plan = ProposalReview::beginSubmit(list, state);
        QCOMPARE(ids(plan.accepted), (QStringList{"complete:0", "add:1"}));
        QCOMPARE(plan.accepted.at(0), list.at(0).delta);
        const ProposalDelta& added = plan.accepted.at(1);
        QCOMPARE(added.wire.item->title, sent);
        const auto raw = JsonValue::parse(added.raw);
        QVERIFY(raw);
        QCOMPARE(raw->find("item")->find("title")->toString(), sent);
        QCOMPARE(raw->find("item")->find("zeal")->toInteger(), 1); // unknown keys survive
        const auto args = ProposalReview::resolveArguments(plan.accepted, {});
        QCOMPARE(args.titleEdits, (QMap<QString, QString>{{"1", sent}}));
    }

    void titleEditLeavesOtherKindsAlone() {
        const Proposal p = proposalOf(update("i1", R"({"title":"a"})") + "," + unknown);
        for (const ProposalDelta& delta : p.deltas)
            QCOMPARE(ProposalReview::withEditedTitle(delta, QStringLiteral("new")), delta);
        ProposalDelta broken = proposalOf(add).deltas.front();
        broken.raw = "not json";
        QCOMPARE(ProposalReview::withEditedTitle(broken, QStringLiteral("new")), broken);
    }

    void indicesRoundTrip_data() {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("index"); // -1: none

        QTest::newRow("plain") << "add:0" << 0;
        QTest::newRow("empty pieces dropped") << "split::7:" << 7;
        QTest::newRow("no number") << "add:" << -1;
        QTest::newRow("text") << "add:x" << -1;
        QTest::newRow("empty") << "" << -1;
    }

    void indicesRoundTrip() {
        QFETCH(QString, id);
        QFETCH(int, index);
        ProposalDelta delta;
        delta.id = id;
        QCOMPARE(delta.index().value_or(-1), index);
    }
};

QTEST_GUILESS_MAIN(TestProposals)
#include "tst_proposals.moc"
