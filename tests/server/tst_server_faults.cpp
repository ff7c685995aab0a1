// The admin controls that tests script the server with: failing, delaying and dropping
// replies, and editing a document as another device would.

#include "ServerProcess.h"
#include "ServerTestUtil.h"

#include <QElapsedTimer>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using namespace ServerTest;

class TestServerFaults : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<ServerProcess> server;
    QString token;
    QString user;
    int users = 0;
    int itemCount();

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void scriptedStatus_data();
    void scriptedStatus();
    void scriptedStatusOnVersion();
    void delay();
    void replyLostAfterWrite();
    void replyLostThenRepeatedWithKey();
    void otherDeviceEdit();
    void badFaultIsRefused();
};

void TestServerFaults::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
    server = std::make_unique<ServerProcess>();
}

void TestServerFaults::cleanupTestCase() {
    // A clean exit: no crash, no leak report from a sanitised build.
    QCOMPARE(server->stop(), 0);
}

void TestServerFaults::init() {
    user = QStringLiteral("user%1").arg(++users);
    token = server->createUser(user);
}

void TestServerFaults::cleanup() {
    server->clearFaults();
}

int TestServerFaults::itemCount() {
    return int(server->document(user).document.items.size());
}

void TestServerFaults::scriptedStatus_data() {
    QTest::addColumn<QString>("rpc");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("count");
    QTest::newRow("500 with a text body") << "addItem" << 500 << QByteArray("boom") << 1;
    QTest::newRow("402 with a JSON body, twice")
        << "addItem" << 402 << QByteArray(R"({"message":"You have reached 3 open tasks."})") << 2;
    QTest::newRow("503 for any method") << "" << 503 << QByteArray() << 1;
}

void TestServerFaults::scriptedStatus() {
    QFETCH(QString, rpc);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(int, count);
    const qint64 before = server->document(user).version;
    // A call of another method does not use up a fault aimed at addItem.
    if (!rpc.isEmpty())
        QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);
    server->failNext(rpc, status, body, count);
    QCOMPARE(server->pendingFaults(), count);
    if (!rpc.isEmpty())
        QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);

    const JsonValue::Array add = args(R"([{"title":"x","section":"action"}])");
    for (int i = 0; i < count; ++i) {
        const auto reply = server->call(token, QStringLiteral("addItem"), add);
        QCOMPARE(reply.status, status);
        if (body.isEmpty())
            QVERIFY(!message(reply).isEmpty());
        else
            QCOMPARE(reply.body, body);
    }
    // The scripted answers applied nothing; then the server is itself again.
    QCOMPARE(server->document(user).version, before);
    QCOMPARE(server->pendingFaults(), 0);
    QCOMPARE(server->call(token, QStringLiteral("addItem"), add).status, 200);
    QCOMPARE(itemCount(), 1);
}

void TestServerFaults::scriptedStatusOnVersion() {
    ServerProcess::Fault fault;
    fault.method = QStringLiteral("GET");
    fault.path = QStringLiteral("/api/store/version");
    fault.status = 500;
    server->inject(fault);
    const ServerProcess::Headers auth{{"Authorization", "Bearer " + token.toUtf8()}};
    QCOMPARE(server->request("GET", "/api/store/version", {}, auth).status, 500);
    QCOMPARE(server->request("GET", "/api/store/version", {}, auth).status, 200);
}

void TestServerFaults::delay() {
    server->delayNext(QStringLiteral("setFocus"), 400);
    QElapsedTimer timer;
    timer.start();
    const auto reply = server->call(token, QStringLiteral("setFocus"), args(R"([["Dana"]])"));
    QVERIFY(timer.elapsed() >= 400);
    // A delay alone still handles the call.
    QCOMPARE(result(reply).toJson(), QByteArray(R"(["Dana"])"));
}

void TestServerFaults::replyLostAfterWrite() {
    const qint64 before = server->document(user).version;
    server->dropReplyAfterWrite(QStringLiteral("addItem"));
    const auto lost =
        server->call(token, QStringLiteral("addItem"), args(R"([{"title":"x","section":"note"}])"));
    QCOMPARE(lost.status, 0);
    QVERIFY(lost.body.isEmpty());
    // No reply, yet the write happened.
    QCOMPARE(itemCount(), 1);
    QCOMPARE(server->document(user).version, before + 1);
}

void TestServerFaults::replyLostThenRepeatedWithKey() {
    server->dropReplyAfterWrite(QStringLiteral("addItem"));
    const ServerProcess::Headers key{{"Idempotency-Key", "retry-1"}};
    const JsonValue::Array add = args(R"([{"title":"x","section":"note"}])");
    QCOMPARE(server->call(token, QStringLiteral("addItem"), add, key).status, 0);
    const auto repeat = server->call(token, QStringLiteral("addItem"), add, key);
    QCOMPARE(repeat.status, 200);
    const auto stored = server->document(user);
    QCOMPARE(stored.document.items.size(), 1);
    QCOMPARE(result(repeat).find(u"id")->toString(), stored.document.items[0].id);
    QCOMPARE(version(repeat), stored.version);
}

void TestServerFaults::otherDeviceEdit() {
    result(server->call(token, QStringLiteral("addItem"),
                        args(R"([{"title":"a","section":"action"}])")));
    auto stored = server->document(user);
    stored.document.items[0].title = QStringLiteral("Edited elsewhere");
    stored.document.focus = {QStringLiteral("Acme")};
    const qint64 version = server->replaceDocument(user, stored.document);
    QCOMPARE(version, stored.version + 1);

    const auto load = server->call(token, QStringLiteral("load"));
    QCOMPARE(ServerTest::version(load), version);
    const JsonValue document = result(load);
    QCOMPARE(document.find(u"items")->toArray()[0].find(u"title")->toString(),
             QStringLiteral("Edited elsewhere"));
    QCOMPARE(document.find(u"focus")->toJson(), QByteArray(R"(["Acme"])"));
}

void TestServerFaults::badFaultIsRefused() {
    ServerProcess::Fault fault;
    fault.path = QStringLiteral("no-slash");
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, server->inject(fault));
    QCOMPARE(server->pendingFaults(), 0);
}

QTEST_GUILESS_MAIN(TestServerFaults)
#include "tst_server_faults.moc"
