// `serve --demo` read by the real client: APIClient against velmora-server.

#include "APIClient.h"
#include "APIError.h"
#include "Await.h"
#include "ServerProcess.h"
#include "WireFormats.h"

#include <QCoreApplication>
#include <QFile>
#include <QSet>
#include <QStandardPaths>
#include <QTest>

#include <memory>

class TestServerDemo : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void demoDocumentLoads();
    void clientWritesMoveTheVersion();
    void clientSeesStatusesOfTheServer();
};

void TestServerDemo::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
    ServerProcess::Options options;
    options.demo = true;
    server = std::make_unique<ServerProcess>(options);
}

void TestServerDemo::cleanupTestCase() {
    QCOMPARE(server->stop(), 0);
}

void TestServerDemo::demoDocumentLoads() {
    QCOMPARE(QFile::permissions(server->demoTokenFile()) &
                 ~(QFile::ReadUser | QFile::WriteUser | QFile::ReadOwner | QFile::WriteOwner),
             QFileDevice::Permissions());
    APIClient client(server->baseURL(), server->demoToken());
    const LoadResult loaded = TestAwait::await(client.loadForSync());
    QVERIFY(loaded.version > 0);
    const auto& items = loaded.document.items;
    QVERIFY(items.size() >= 10);

    const QDateTime today = QDateTime(QDate::currentDate(), QTime(0, 0));
    QSet<Section> sections;
    bool overdue = false, dueToday = false, waitingWithWho = false, link = false, flagged = false,
         byAI = false;
    for (const Item& item : items) {
        sections.insert(item.section);
        overdue |= item.isOverdue(today);
        dueToday |= item.due && item.due->date() == today.date();
        waitingWithWho |= item.section == Section::waiting && item.source.has_value();
        link |= !item.links.isEmpty();
        flagged |= item.flagged;
        byAI |= item.origin == Origin::ai;
    }
    QCOMPARE(sections.size(), 3);
    QVERIFY(overdue);
    QVERIFY(dueToday);
    QVERIFY(waitingWithWho);
    QVERIFY(link);
    QVERIFY(flagged);
    QVERIFY(byAI);
}

void TestServerDemo::clientWritesMoveTheVersion() {
    APIClient client(server->baseURL(), server->demoToken());
    const qint64 before = TestAwait::await(client.version());
    const WireItem added = TestAwait::await(client.send<WireItem>(
        QStringLiteral("addItem"),
        {JsonValue::object({{QStringLiteral("title"), QStringLiteral("From the client")},
                            {QStringLiteral("section"), QStringLiteral("action")},
                            {QStringLiteral("channel"), QStringLiteral("self")},
                            {QStringLiteral("priority"), QStringLiteral("medium")}})}));
    QVERIFY(!LocalID::isLocal(added.id));
    QCOMPARE(TestAwait::await(client.version()), before + 1);
    const auto stored = server->document(QStringLiteral("demo"));
    QCOMPARE(stored.document.items.last().id, added.id);
}

void TestServerDemo::clientSeesStatusesOfTheServer() {
    APIClient client(server->baseURL(), server->demoToken());
    server->failNext(QStringLiteral("load"), 503, R"({"message":"maintenance"})");
    try {
        TestAwait::await(client.loadForSync());
        QFAIL("the scripted 503 did not reach the client");
    } catch (const APIError& error) {
        QCOMPARE(error.kind(), APIError::Kind::server);
        QCOMPARE(error.status(), 503);
    }
    APIClient stranger(server->baseURL(), QStringLiteral("vl-%1").arg(QString(40, u'x')));
    try {
        TestAwait::await(stranger.loadForSync());
        QFAIL("an unknown token was accepted");
    } catch (const APIError& error) {
        QCOMPARE(error.kind(), APIError::Kind::unauthorised);
    }
}

QTEST_GUILESS_MAIN(TestServerDemo)
#include "tst_server_demo.moc"
