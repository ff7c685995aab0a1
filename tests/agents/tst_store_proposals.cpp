// The Store's pending proposal against a real velmora-server: loading it, answering it,
// and the words for every way the answer can fail.

#include "Await.h"
#include "ProposalReview.h"
#include "ServerProcess.h"
#include "Store.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using TestAwait::await;

namespace {

const QByteArray proposalJson = R"({"schema_version":1,"created_at":"2026-03-01T09:15:00Z",
    "agent":"Claude","deltas":[
    {"kind":"add","item":{"title":"Call Dana","section":"action","channel":"email",
     "priority":"low","links":[]}},
    {"kind":"complete","item_id":"gone"},
    {"kind":"escalate","level":3}]})";

JsonValue json(const QByteArray& text) {
    return JsonValue::parse(text).value_or(JsonValue());
}

const QString needsConnection = QStringLiteral("Reviewing suggestions needs the connection.");

} // namespace

class TestStoreProposals : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;
    QString user;
    QTemporaryDir dir;
    MemorySecretStore secrets;
    std::unique_ptr<Store> store;

    // A fresh account with the proposal pending on the server and in the Store.
    void pending() {
        user = QStringLiteral("user%1").arg(++users);
        const QString token = server->createUser(user);
        auto* client = new APIClient(server->baseURL(), token);
        client->setTimeoutMs(1500);
        store = std::make_unique<Store>(client, OfflineDisk(dir.path()),
                                        Keychain(secrets, QStringLiteral("svc")));
        server->createProposal(user, json(proposalJson));
        await(store->refreshProposal());
        QVERIFY(store->proposal());
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

    void loadsAndResolves() {
        pending();
        const Proposal& p = *store->proposal();
        QCOMPARE(p.agentName(), QStringLiteral("Claude"));
        QCOMPARE(p.createdAtRaw, QStringLiteral("2026-03-01T09:15:00Z"));
        QCOMPARE(p.deltas.at(2).id, QStringLiteral("escalate:2"));
        QCOMPARE(store->badgeCount(), 1); // suggestions count once, however many

        QSignalSpy changed(store.get(), &Store::proposalChanged);
        QVERIFY(resolve({0}, {}));
        QVERIFY(!store->proposal());
        QCOMPARE(store->lastError(), QString());
        QVERIFY(changed.count() >= 1);
        QCOMPARE(store->badgeCount(), 0);
        // The server's slot is empty now, and a refresh agrees.
        QVERIFY(server->call(server->createUser(user), QStringLiteral("loadProposal"))
                    .json()
                    .find("result")
                    ->isNull());
        await(store->refreshProposal());
        QVERIFY(!store->proposal());
    }

    void replacedMeanwhileGivesTheServersWords() {
        pending();
        QByteArray newer = proposalJson;
        newer.replace("09:15:00Z", "09:20:00Z");
        server->createProposal(user, json(newer));
        QVERIFY(!resolve({0}, {1}));
        QCOMPARE(store->lastError(),
                 QStringLiteral("These suggestions were replaced by newer ones."));
        QCOMPARE(store->proposal()->createdAtRaw, QStringLiteral("2026-03-01T09:15:00Z"));
        await(store->refreshProposal());
        QCOMPARE(store->proposal()->createdAtRaw, QStringLiteral("2026-03-01T09:20:00Z"));
        QVERIFY(resolve({}, {0}));
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
    }

    void failures() {
        QFETCH(QString, rpc);
        QFETCH(int, status);
        QFETCH(QString, words);
        QFETCH(bool, offline);
        QFETCH(bool, stillPending);
        pending();
        ServerProcess::Fault fault;
        fault.rpc = rpc;
        fault.status = status ? status : 503;
        fault.delayMs = status ? 0 : 3000;
        fault.body = R"({"message":"Boom"})";
        server->inject(fault);
        QVERIFY(!resolve({0}, {1}));
        QCOMPARE(store->lastError(), words);
        QCOMPARE(store->isOffline(), offline);
        QCOMPARE(store->proposal().has_value(), stillPending);
        if (offline) { // nothing goes out while offline
            QVERIFY(!resolve({0}, {}));
            QCOMPARE(store->lastError(), needsConnection);
        }
    }

    void nothingPendingAndFailedRefresh() {
        pending();
        server->failNext(QStringLiteral("loadProposal"), 500);
        await(store->refreshProposal()); // discarded: the held proposal stays
        QVERIFY(store->proposal());
        QCOMPARE(store->lastError(), QString());
        server->clearProposal(user);
        await(store->refreshProposal());
        QVERIFY(!store->proposal());
        QVERIFY(!resolve({0}, {}));
        QCOMPARE(store->lastError(), QStringLiteral("These suggestions are no longer pending."));
    }
};

QTEST_GUILESS_MAIN(TestStoreProposals)
#include "tst_store_proposals.moc"
