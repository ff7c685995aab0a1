// A proposal from filing to answer, through the client's Store and review logic against a
// real velmora-server: what the rules and suppressions let through, what an answer does to
// the document and the rejections, what a refused answer leaves behind, and the words for
// every way an answer can fail; and rules, from the form to the Store's optimistic create,
// pause and delete. Malformed filings are refused in tst_server_api.

#include "ProposalReview.h"
#include "Rules.h"
#include "StoreRig.h"

#include <QStandardPaths>
#include <QtTest>

#include <memory>

using TestAwait::await;

namespace {

JsonValue json(const QString& text) {
    return JsonValue::parse(text.toUtf8()).value_or(JsonValue());
}

// One line per item: "title section status origin", with " deleted" when soft-deleted.
QStringList itemLines(const WireDocument& document) {
    QStringList out;
    for (const WireItem& item : document.items)
        out.append(QStringList{item.title, Wire::string(item.section), Wire::string(item.status),
                               Wire::string(item.origin), Wire::string(item.priority)}
                       .join(u' ') +
                   (item.deletedAt ? QStringLiteral(" deleted") : QString()));
    return out;
}

// What a stored proposal holds: "kind title-or-id" per delta.
QStringList deltaLines(const JsonValue& proposal) {
    QStringList out;
    const JsonValue* deltas = proposal.find(u"deltas");
    for (const JsonValue& delta : deltas ? deltas->toArray() : JsonValue::Array{}) {
        const JsonValue* item = delta.find(u"item");
        const JsonValue* id = delta.find(u"item_id");
        out.append(
            delta.find(u"kind")->toString() + u' ' +
            (item ? item->find(u"title")->toString() + u' ' + item->find(u"section")->toString()
             : id ? id->toString()
                  : QString()));
    }
    return out;
}

const QByteArray filed = R"({"schema_version":1,"created_at":"2026-03-01T09:15:00Z",
    "agent":"Claude","deltas":[
    {"kind":"add","item":{"title":"Call Dana","section":"action","channel":"email",
     "priority":"low","links":[]}},
    {"kind":"complete","item_id":"gone"},
    {"kind":"escalate","level":3}]})";

const QString needsConnection = QStringLiteral("Reviewing suggestions needs the connection.");

} // namespace

class TestProposalRoundTrip : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<AccountRig> account;
    Store* store = nullptr;
    QString user, token;

    void signIn() {
        account = std::make_unique<AccountRig>(*server, true, 5000);
        store = &account->store;
        user = account->user;
        token = account->token();
    }

    QStringList ruleIds() const {
        QStringList out;
        for (const Rule& rule : store->rules())
            out.append(rule.id + (rule.isPaused() ? QStringLiteral("/paused") : QString()));
        return out;
    }

    bool resolve(const QList<int>& acceptedAt, const QList<int>& rejectedAt) {
        const auto& deltas =
            store->proposal() ? store->proposal()->deltas : QList<ProposalDelta>{ProposalDelta{}};
        QList<ProposalDelta> accepted, rejected;
        for (int i : acceptedAt)
            accepted.append(deltas.value(i));
        for (int i : rejectedAt)
            rejected.append(deltas.value(i));
        return await(store->resolveProposal(accepted, rejected));
    }

    QString addItem(const char* title, const char* priority = "medium") {
        const QString item = QStringLiteral(R"({"title":"%1","section":"action","priority":"%2"})");
        const auto reply =
            server->call(token, QStringLiteral("addItem"), {json(item.arg(title, priority))});
        return reply.json().find(u"result")->find(u"id")->toString();
    }

    void softDelete(const QString& id) {
        QCOMPARE(
            server->call(token, QStringLiteral("softDelete"), {QStringLiteral("item"), id}).status,
            200);
    }

    JsonValue pending() {
        return *server->call(token, QStringLiteral("loadProposal")).json().find(u"result");
    }

    // The deltas as an agent files them; A..D stand for item ids.
    QString agentProposal(const QString& createdAt, const QStringList& ids) {
        QString text = QStringLiteral(R"({"schema_version":1,"created_at":"%1","agent":"Claude",
          "deltas":[
          {"kind":"add","item":{"title":"Book PTO","section":"action","channel":"self",
           "priority":"low","links":[]}},
          {"kind":"add","item":{"title":"Reply to Dana","section":"action","channel":"email",
           "source":"Dana","priority":"medium","links":[]},"reason":"She asked on Monday"},
          {"kind":"add","item":{"title":"Ping Lee","section":"action","channel":"teams",
           "priority":"low","links":[],"initiated":"auto"}},
          {"kind":"add","item":{"title":"Newsletter digest","section":"note","channel":"other",
           "priority":"low","links":[]}},
          {"kind":"complete","item_id":"A"},
          {"kind":"update","item_id":"B","patch":{"priority":"high","note":"expires in May"}},
          {"kind":"update","item_id":"C","patch":{"title":"Call the plumber"}},
          {"kind":"remove","item_id":"D"},
          {"kind":"add_rule","rule":{"action":"exclude","match":{"op":"all","conditions":[
           {"field":"channel","op":"equals","value":["email"]}]},"params":{},
           "reason":"Mail is noise","origin":{"from":"rejections","rejection_ids":[],"count":2}}},
          {"kind":"escalate","level":3}]})")
                           .arg(createdAt);
        const char* names[] = {"\"A\"", "\"B\"", "\"C\"", "\"D\""};
        for (int i = 0; i < 4; ++i)
            text.replace(QLatin1String(names[i]), u'"' + ids[i] + u'"');
        return text;
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() {
        account.reset();
        server.reset();
    }
    void cleanup() { server->clearFaults(); }

    void reviewedAndAnswered() {
        signIn();
        const QStringList ids{addItem("Draft budget"), addItem("Renew passport", "low"),
                              addItem("Call plumber"), addItem("Old errand")};
        QVERIFY(await(store->createRule(RuleAction::exclude, RuleField::title, RuleOp::contains,
                                        QStringLiteral("pto"), std::nullopt,
                                        QStringLiteral("Time off is not a task"))));
        QVERIFY(await(store->createRule(RuleAction::recategorize, RuleField::channel,
                                        RuleOp::equals, QStringLiteral("teams"), Section::waiting,
                                        QStringLiteral("Chats wait on others"))));
        softDelete(ids[3]);
        await(store->refresh(false)); // the Store knows D is gone: that row is skipped

        server->createProposal(user,
                               json(agentProposal(QStringLiteral("2026-03-01T09:15:00Z"), ids)));
        QCOMPARE(
            deltaLines(pending()),
            (QStringList{"add Reply to Dana action", "add Ping Lee waiting",
                         "add Newsletter digest note", "complete " + ids[0], "update " + ids[1],
                         "update " + ids[2], "remove " + ids[3], "add_rule ", "escalate "}));
        await(store->refreshProposal());
        await(store->refresh(false));
        QVERIFY(store->proposal());
        QCOMPARE(store->proposal()->agentName(), QStringLiteral("Claude"));
        QCOMPARE(store->badgeCount(), 1); // suggestions count once, however many
        QCOMPARE(store->rules().size(), 2);
        QCOMPARE(store->rules()[0].applyCount, 1);
        QVERIFY(store->rules()[0].lastAppliedAt);
        QCOMPARE(store->rules()[1].applyCount, 1);

        softDelete(ids[2]); // another device, after the Store last looked: stale on the server
        const auto resolved = ProposalReview::resolve(*store->proposal(), store->document());
        const auto& deltas = store->proposal()->deltas;
        ReviewState marks;
        marks.rejected = {deltas[2].id, deltas[4].id};
        marks.edits.insert(deltas[0].id, QStringLiteral("  Reply to Dana today "));
        const SubmitPlan plan = ProposalReview::beginSubmit(resolved, marks);
        QCOMPARE(plan.accepted.size(), 5); // two adds, complete, stale update, add_rule
        QSignalSpy changed(store, &Store::proposalChanged);
        QVERIFY(await(store->resolveProposal(plan.accepted, plan.rejected)));
        QCOMPARE(store->lastError(), QString());
        QVERIFY(!store->proposal());
        QCOMPARE(store->badgeCount(), 0);
        QVERIFY(changed.count() >= 1);
        await(store->refreshProposal()); // the server's slot is empty, and a refresh agrees
        QVERIFY(!store->proposal());

        const WireDocument document = server->document(user).document;
        QCOMPARE(itemLines(document), (QStringList{"Draft budget action done user medium",
                                                   "Renew passport action open user low",
                                                   "Call plumber action open user medium deleted",
                                                   "Old errand action open user medium deleted",
                                                   "Reply to Dana today action open ai medium",
                                                   "Ping Lee waiting open ai low"}));
        QCOMPARE(document.items[4].source, QStringLiteral("Dana"));
        QCOMPARE(document.items[5].initiated, Initiated::automatic);
        QCOMPARE(document.rejections.size(), 2);
        QCOMPARE(document.rejections[0].kind, RejectionKind::add);
        QCOMPARE(document.rejections[0].title, QStringLiteral("Newsletter digest"));
        QCOMPARE(document.rejections[0].section, Section::note);
        QCOMPARE(document.rejections[1].kind, RejectionKind::update);
        QCOMPARE(document.rejections[1].itemId, ids[1]);
        QCOMPARE(document.rejections[1].title, QStringLiteral("Renew passport"));
        QCOMPARE(document.suppressions.size(), 2);
        QCOMPARE(document.suppressions[0].title, QStringLiteral("Newsletter digest"));
        QCOMPARE(document.suppressions[0].reason, SuppressionReason::rejected);
        QCOMPARE(document.rules.size(), 3);
        QCOMPARE(document.rules[2].createdBy, Origin::ai);
        QCOMPARE(document.rules[2].origin.count, 2);
        // The Store adopted the same list.
        QCOMPARE(store->document().items.size(), 4);
        QCOMPARE(store->rules()[2].sentence,
                 QStringLiteral("Exclude items where channel is email"));

        // The agent files the same again: rejected suggestions stay away, and the new rule
        // keeps mail out.
        server->createProposal(user,
                               json(agentProposal(QStringLiteral("2026-03-02T09:15:00Z"), ids)));
        QCOMPARE(deltaLines(pending()),
                 (QStringList{"add Ping Lee waiting", "complete " + ids[0], "update " + ids[2],
                              "remove " + ids[3], "add_rule ", "escalate "}));
        const auto rules = server->document(user).document.rules;
        QCOMPARE(rules[0].applyCount, 2);
        QCOMPARE(rules[2].applyCount, 1);
    }

    void failures_data() {
        QTest::addColumn<QString>("rpc");
        QTest::addColumn<int>("status"); // 0: the server doesn't answer in time
        QTest::addColumn<QString>("words");
        QTest::addColumn<bool>("offline");
        QTest::addColumn<bool>("stillPending");

        QTest::newRow("refused") << "resolveProposal" << 500 << "Boom" << false << true;
        QTest::newRow("unreachable") << "resolveProposal" << 0 << needsConnection << true << true;
        QTest::newRow("reload refused") << "load" << 500 << "Boom" << false << false;
        QTest::newRow("reload unreachable") << "load" << 0 << needsConnection << true << false;
        QTest::newRow("replaced meanwhile")
            << "replaced" << 0 << "These suggestions were replaced by newer ones." << false << true;
        QTest::newRow("no longer pending")
            << "cleared" << 0 << "These suggestions are no longer pending." << false << false;
    }
    void failures() {
        QFETCH(QString, rpc);
        QFETCH(int, status);
        QFETCH(QString, words);
        QFETCH(bool, offline);
        QFETCH(bool, stillPending);
        signIn();
        server->createProposal(user, json(QString::fromUtf8(filed)));
        await(store->refreshProposal());
        QVERIFY(store->proposal());
        store->client().setTimeoutMs(1500);
        if (rpc == u"replaced") {
            server->createProposal(user, json(QString::fromUtf8(filed).replace(
                                             QStringLiteral("09:15"), QStringLiteral("10:15"))));
        } else if (rpc == u"cleared") {
            server->failNext(QStringLiteral("loadProposal"), 500);
            await(store->refreshProposal()); // discarded: the held proposal stays
            QVERIFY(store->proposal());
            QCOMPARE(store->lastError(), QString());
            server->clearProposal(user);
            await(store->refreshProposal());
        } else {
            ServerProcess::Fault fault;
            fault.rpc = rpc;
            fault.status = status ? status : 503;
            fault.delayMs = status ? 0 : 3000;
            fault.body = R"({"message":"Boom"})";
            server->inject(fault);
        }
        const WireDocument before = server->document(user).document;
        QVERIFY(!resolve({0}, {1}));
        QCOMPARE(store->lastError(), words);
        QCOMPARE(store->isOffline(), offline);
        QCOMPARE(store->proposal().has_value(), stillPending);
        if (rpc != u"load") // a refused answer changes nothing
            QCOMPARE(server->document(user).document, before);
        if (rpc == u"replaced") { // the newer one can be answered once the Store has it
            QVERIFY(pending().find(u"created_at")->toString().contains(u"10:15"));
            await(store->refreshProposal());
            QVERIFY(resolve({}, {0}));
        }
        if (offline) { // nothing goes out while offline
            QVERIFY(!resolve({0}, {}));
            QCOMPARE(store->lastError(), needsConnection);
        }
    }

    // --- rules ---

    void composer_data() {
        QTest::addColumn<RuleAction>("action");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("withTarget");

        QTest::newRow("trimmed") << RuleAction::exclude << "  standup  "
                                 << " why " << true << false;
        QTest::newRow("blank value") << RuleAction::exclude << "   "
                                     << "why" << false << false;
        QTest::newRow("no reason") << RuleAction::boost << "PTO"
                                   << " " << false << false;
        QTest::newRow("move keeps target") << RuleAction::recategorize << "x"
                                           << "y" << true << true;
    }

    void composer() {
        QFETCH(RuleAction, action);
        QFETCH(QString, value);
        QFETCH(QString, reason);
        QFETCH(bool, enabled);
        QFETCH(bool, withTarget);
        RuleComposer form;
        form.target = Section::waiting; // chosen once, sent only when moving
        form.action = action;
        form.value = value;
        form.reason = reason;
        QCOMPARE(form.canCreate(), enabled);
        const RuleRequest request = form.request();
        QCOMPARE(request.value, value.trimmed());
        QCOMPARE(request.reason, reason.trimmed());
        QCOMPARE(request.target.has_value(), withTarget);
        form.begin();
        QVERIFY(!form.canCreate());
        form.finish(false, QStringLiteral("Nope"));
        QCOMPARE(form.error, QStringLiteral("Nope"));
        QCOMPARE(form.canCreate(), enabled);
    }

    void failuresRestoreTheList() {
        signIn();
        server->failNext(QStringLiteral("addRule"), 402, R"({"message":"Too many rules"})");
        QVERIFY(!await(store->createRule(RuleAction::exclude, RuleField::title, RuleOp::contains,
                                         QStringLiteral("a"), std::nullopt, QStringLiteral("b"))));
        QCOMPARE(store->lastError(), QStringLiteral("Too many rules"));
        QVERIFY(store->rules().isEmpty());
        // One of each action, all given a target that only a move keeps.
        const std::tuple<RuleAction, RuleField, const char*> made[] = {
            {RuleAction::exclude, RuleField::title, "a"},
            {RuleAction::exclude, RuleField::title, "b"},
            {RuleAction::boost, RuleField::dueRelative, "today"},
            {RuleAction::alwaysKeep, RuleField::title, "zzz"},
            {RuleAction::recategorize, RuleField::title, "b"}};
        for (const auto& [action, field, value] : made)
            QVERIFY(await(store->createRule(
                action, field, field == RuleField::title ? RuleOp::contains : RuleOp::equals,
                QString::fromLatin1(value), Section::waiting, QStringLiteral("r"))));
        for (qsizetype i = 0; i < 5; ++i) {
            const WireRule stored = server->document(user).document.rules.value(i);
            QCOMPARE(stored.action, std::get<0>(made[i]));
            QCOMPARE(stored.params.section,
                     i == 4 ? std::optional(Section::waiting) : std::nullopt);
            QCOMPARE(stored.origin.from, RuleOriginKind::manual);
            QCOMPARE(stored.createdBy, Origin::user);
            QCOMPARE(stored.status, RuleStatus::active);
            QCOMPARE(stored.applyCount, 0);
        }
        const QStringList ids = ruleIds();
        const Rule middle = store->rules()[1];

        server->failNext(QStringLiteral("updateRule"), 500);
        await(store->setRulePaused(middle, true));
        QCOMPARE(ruleIds(), ids);
        QVERIFY(!store->lastError().isEmpty());

        server->failNext(QStringLiteral("deleteRule"), 500);
        await(store->deleteRule(middle));
        QCOMPARE(ruleIds(), ids);

        await(store->setRulePaused(middle, true));
        QCOMPARE(ruleIds().at(1), middle.id + QStringLiteral("/paused"));
        QCOMPARE(server->document(user).document.rules[1].status, RuleStatus::paused);
        QCOMPARE(server->document(user).document.rules[1].reason, QStringLiteral("r"));
        // Paused, a rule is out of the server's evaluation at once; a filing the others
        // empty leaves nothing pending; the boost reads the server's today.
        const QString file = QStringLiteral(R"({"deltas":[{"kind":"add","item":{"title":"%1",
            "section":"action","channel":"self","priority":"low","links":[],"due":"%2"}}]})");
        const QString day = QDate::currentDate().toString(Qt::ISODate);
        server->createProposal(user, json(file.arg(QStringLiteral("a"), day)));
        QVERIFY(pending().isNull());
        server->createProposal(user, json(file.arg(QStringLiteral("b"), day)));
        QCOMPARE(deltaLines(pending()), QStringList{"add b waiting"});
        QCOMPARE(
            pending().find(u"deltas")->toArray()[0].find(u"item")->find(u"priority")->toString(),
            QStringLiteral("high"));
        QCOMPARE(server->document(user).document.rules[1].applyCount, 0);
        await(store->deleteRule(middle));
        QCOMPARE(ruleIds(), (QStringList{ids[0], ids[2], ids[3], ids[4]}));
        QCOMPARE(server->document(user).document.rules.size(), 4);
    }
};

QTEST_GUILESS_MAIN(TestProposalRoundTrip)
#include "tst_proposal_roundtrip.moc"
