// What the server keeps: the document across a restart, only token fingerprints on disk in
// a private file, one demo token at a time, its port to itself, and every write of many
// concurrent clients, each under its own version.

#include "ServerProcess.h"
#include "ServerTestUtil.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <httplib.h>

#include <sys/stat.h>

#include <thread>
#include <vector>

using namespace ServerTest;

namespace {

// One client's view of its own writes.
struct ClientRun {
    QList<qint64> versions;
    QString failure;
    QHash<QString, QString> titles; // item id -> the last title this client gave it
    QHash<QString, bool> done;      // item id -> the last status this client set
};

void runClient(quint16 port, const QString& token, int client, int writes, ClientRun& run) {
    httplib::Client http("127.0.0.1", port);
    http.set_keep_alive(true);
    http.set_tcp_nodelay(true);
    http.set_read_timeout(60);
    const httplib::Headers headers{{"Authorization", "Bearer " + token.toStdString()}};
    QString last;
    const QString methods[] = {QStringLiteral("addItem"), QStringLiteral("updateItem"),
                               QStringLiteral("setItemStatus"), QStringLiteral("setFocus")};
    for (int i = 0; i < writes && run.failure.isEmpty(); ++i) {
        const QString title = QStringLiteral("c%1-w%2").arg(client).arg(i);
        const int kind = last.isEmpty() ? 0 : i % 4;
        const bool done = kind == 2 && i % 8 == 2;
        const JsonValue::Array arguments =
            kind == 0 ? JsonValue::Array{JsonValue::object({{QStringLiteral("title"), title},
                                                            {QStringLiteral("section"), "action"}})}
            : kind == 1
                ? JsonValue::Array{last, JsonValue::object({{QStringLiteral("title"), title}})}
            : kind == 2 ? JsonValue::Array{last, done}
                        : JsonValue::Array{JsonValue::Array{title}};
        const QByteArray body = JsonValue::object({{QStringLiteral("method"), methods[kind]},
                                                   {QStringLiteral("args"), arguments}})
                                    .toJson();
        const auto reply = http.Post("/api/store", headers, body.toStdString(), "application/json");
        if (!reply || reply->status != 200) {
            run.failure =
                QStringLiteral("%1 failed: %2").arg(methods[kind]).arg(reply ? reply->status : 0);
            return;
        }
        const ServerProcess::Reply parsed{reply->status, QByteArray::fromStdString(reply->body)};
        run.versions.push_back(version(parsed));
        if (kind == 0)
            last = result(parsed).find(u"id")->toString();
        if (kind <= 1)
            run.titles[last] = title;
        if (kind == 0 || kind == 2)
            run.done[last] = done;
    }
}

} // namespace

class TestServerDurability : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    // A restart of a demo server on a private database file keeps the document, the
    // proposal and the version; the disk holds only token fingerprints; the demo token is
    // a new one.
    void restart() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString db = dir.filePath(QStringLiteral("private/velmora.db"));
        ServerProcess server({db, true});
        const auto mode = [](const QString& path) {
            struct stat info {};
            return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 0777
                                                                           : 0;
        };
        QCOMPARE(mode(db), 0600u);
        QCOMPARE(mode(dir.filePath(QStringLiteral("private"))), 0700u);

        // A second server on the same port says so instead of sharing it.
        QProcess second;
        second.start(QStringLiteral(VELMORA_SERVER_PATH),
                     {QStringLiteral("--db"), QStringLiteral(":memory:"), QStringLiteral("serve"),
                      QStringLiteral("--port"), QString::number(server.port())});
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.exitCode(), 1);
        QVERIFY2(second.readAllStandardError().contains("port in use"), "no port-in-use message");

        const QString token = server.createUser(QStringLiteral("ana"));
        const QString other = server.createUser(QStringLiteral("ana"));
        QVERIFY(token != other);
        QCOMPARE(server.call(other, QStringLiteral("load")).status, 200);
        const QString id = result(server.call(token, QStringLiteral("addItem"),
                                              args(R"([{"title":"Keep me","section":"waiting",
                                                        "source":"Dana","due":"2026-05-01"}])")))
                               .find(u"id")
                               ->toString();
        result(server.call(token, QStringLiteral("addItem"),
                           args(R"([{"title":"Second","section":"note"}])")));
        result(server.call(token, QStringLiteral("setItemStatus"), {QString(id), true}));
        result(
            server.call(token, QStringLiteral("updateSettings"), args(R"([{"hide_done":true}])")));
        result(server.call(token, QStringLiteral("setFocus"), args(R"([["Dana"]])")));
        result(server.call(token, QStringLiteral("addRule"),
                           args(R"([{"action":"exclude","match":{"op":"all","conditions":[]},
                                     "params":{},"reason":"r"}])")));
        const QString createdAt =
            server.createProposal(QStringLiteral("ana"), json(R"({"deltas":[{"kind":"complete",
                                                                   "item_id":"x"}]})"));
        const auto before = server.call(token, QStringLiteral("load"));
        QCOMPARE(before.status, 200);
        const QString demo = server.demoToken();
        QCOMPARE(server.stop(), 0);

        QByteArray disk;
        const QDir folder(dir.filePath(QStringLiteral("private")));
        for (const QString& name : folder.entryList(QDir::Files)) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            disk += file.readAll();
        }
        for (const QString& secret : {token, other}) {
            QVERIFY(!disk.contains(secret.toUtf8()));
            // The search itself works: the fingerprint is there.
            QVERIFY(disk.contains(
                QCryptographicHash::hash(secret.toUtf8(), QCryptographicHash::Sha256).toHex()));
        }

        server.start();
        const auto after = server.call(token, QStringLiteral("load"));
        QCOMPARE(after.status, 200);
        QCOMPARE(after.body, before.body);
        QCOMPARE(version(after), version(before));
        const auto proposal = result(server.call(token, QStringLiteral("loadProposal")));
        QCOMPARE(proposal.find(u"created_at")->toString(), createdAt);
        // Writing after the restart goes on from the stored version.
        const auto write =
            server.call(token, QStringLiteral("setItemStatus"), {QString(id), false});
        QCOMPARE(version(write), version(before) + 1);
        QVERIFY(server.demoToken() != demo);
        QCOMPARE(server.call(demo, QStringLiteral("load")).status, 401);
        QCOMPARE(server.call(server.demoToken(), QStringLiteral("load")).status, 200);
    }

    void concurrentWritesAreAllKept() {
        constexpr int clients = 8;
        constexpr int writes = 500;
        ServerProcess server;
        QStringList tokens;
        for (int c = 0; c < clients; ++c)
            tokens << server.createUser(QStringLiteral("shared"));
        const qint64 start = server.document(QStringLiteral("shared")).version;

        std::vector<ClientRun> runs(clients);
        std::vector<std::thread> threads;
        for (int c = 0; c < clients; ++c)
            threads.emplace_back(runClient, server.port(), tokens[c], c, writes, std::ref(runs[c]));
        for (auto& thread : threads)
            thread.join();

        QSet<qint64> seen;
        for (const ClientRun& run : runs) {
            QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
            QCOMPARE(run.versions.size(), writes);
            for (qsizetype i = 1; i < run.versions.size(); ++i)
                QVERIFY(run.versions[i] > run.versions[i - 1]);
            for (qint64 v : run.versions)
                seen.insert(v);
        }
        // Every write got a version of its own, and none was lost.
        QCOMPARE(seen.size(), clients * writes);
        const auto stored = server.document(QStringLiteral("shared"));
        QCOMPARE(stored.version, start + clients * writes);
        QHash<QString, const WireItem*> items;
        for (const WireItem& item : stored.document.items)
            items.insert(item.id, &item);
        int expectedItems = 0;
        for (const ClientRun& run : runs) {
            expectedItems += run.titles.size();
            for (auto it = run.titles.cbegin(); it != run.titles.cend(); ++it) {
                QVERIFY(items.contains(it.key()));
                QCOMPARE(items[it.key()]->title, it.value());
                QCOMPARE(items[it.key()]->status == ItemStatus::done, run.done[it.key()]);
            }
        }
        QCOMPARE(stored.document.items.size(), expectedItems);
        QCOMPARE(server.stop(), 0);
    }
};

QTEST_GUILESS_MAIN(TestServerDurability)
#include "tst_server_durability.moc"
