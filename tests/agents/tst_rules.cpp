// Rules: the sample sentences, the form's enabling rule and what it sends, and the Store's
// optimistic create, pause and delete against a real velmora-server.

#include "Await.h"
#include "Rules.h"
#include "ServerProcess.h"
#include "Store.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using TestAwait::await;

class TestRules : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;
    QString user;
    QTemporaryDir dir;
    MemorySecretStore secrets;
    std::unique_ptr<Store> store;

    void signIn() {
        user = QStringLiteral("user%1").arg(++users);
        auto* client = new APIClient(server->baseURL(), server->createUser(user));
        client->setTimeoutMs(1500);
        store = std::make_unique<Store>(client, OfflineDisk(dir.path()),
                                        Keychain(secrets, QStringLiteral("svc")));
        await(store->refresh(false));
    }

    QStringList ruleIds() const {
        QStringList out;
        for (const Rule& rule : store->rules())
            out.append(rule.id + (rule.isPaused() ? QStringLiteral("/paused") : QString()));
        return out;
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() {
        store.reset();
        server.reset();
    }
    void cleanup() { server->clearFaults(); }

    void showcase() {
        const QStringList sentences{
            "Exclude items where channel is email and source contains no-reply, notifications",
            "Exclude items where title contains PTO, OOO",
            "Always keep items where source contains Zokritun",
            "Prioritise items where section is waiting"};
        const auto& rules = showcaseRules();
        QCOMPARE(rules.size(), sentences.size());
        for (qsizetype i = 0; i < rules.size(); ++i)
            QCOMPARE(Rule::describe(rules[i].action, rules[i].match), sentences[i]);
        QCOMPARE(rules[3].params.priority, Priority::high);
        QCOMPARE(rules[0].reason, QStringLiteral("Automated mail is never actionable"));
    }

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

    void createsEachAction_data() {
        QTest::addColumn<RuleAction>("action");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("exclude") << RuleAction::exclude << "Exclude";
        QTest::newRow("always keep") << RuleAction::alwaysKeep << "Always keep";
        QTest::newRow("boost") << RuleAction::boost << "Prioritise";
        QTest::newRow("recategorize") << RuleAction::recategorize << "Recategorise";
    }

    void createsEachAction() {
        QFETCH(RuleAction, action);
        QFETCH(QString, sentence);
        signIn();
        QVERIFY(await(store->createRule(action, RuleField::dueRelative, RuleOp::equals,
                                        QStringLiteral("overdue"), Section::waiting,
                                        QStringLiteral("because"))));
        QCOMPARE(store->rules().size(), 1);
        QCOMPARE(store->rules()[0].sentence,
                 sentence + QStringLiteral(" items where due relative is overdue"));
        const WireRule stored = server->document(user).document.rules.value(0);
        QCOMPARE(stored.action, action);
        QCOMPARE(stored.params.section, action == RuleAction::recategorize
                                            ? std::optional(Section::waiting)
                                            : std::nullopt);
        QCOMPARE(stored.origin.from, RuleOriginKind::manual);
    }

    void createRefused() {
        signIn();
        server->failNext(QStringLiteral("addRule"), 402, R"({"message":"Too many rules"})");
        QVERIFY(!await(store->createRule(RuleAction::exclude, RuleField::title, RuleOp::contains,
                                         QStringLiteral("a"), std::nullopt, QStringLiteral("b"))));
        QCOMPARE(store->lastError(), QStringLiteral("Too many rules"));
        QVERIFY(store->rules().isEmpty());
    }

    void failuresRestoreTheList() {
        signIn();
        for (const char* value : {"a", "b", "c"})
            QVERIFY(await(store->createRule(RuleAction::exclude, RuleField::title, RuleOp::contains,
                                            QString::fromLatin1(value), std::nullopt,
                                            QStringLiteral("r"))));
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
        await(store->deleteRule(middle));
        QCOMPARE(ruleIds(), (QStringList{ids[0], ids[2]}));
        QCOMPARE(server->document(user).document.rules.size(), 2);
    }
};

QTEST_GUILESS_MAIN(TestRules)
#include "tst_rules.moc"
