// One edit through every kind of failure, once sent live and once replayed from the
// queue. After the failure and again once things have settled, four things are checked:
// the document on screen, the queue, the snapshot file and the server's document.

#include "StoreRig.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using TestAwait::await;

namespace {

enum class Fault { refused, timeout, replyLost, cut, status };

constexpr int clientTimeoutMs = 600;
const QString title = QStringLiteral("The edit");
// An escape that a decoded form of the address would lose on the way.
const QString address = QStringLiteral("https://x.org/a%20b");

} // namespace

Q_DECLARE_METATYPE(Fault)

class TestStoreFaults : public QObject {
    Q_OBJECT
    QTemporaryDir dbDir;
    std::unique_ptr<ServerProcess> server;

    int onServer(const QString& user) {
        int count = 0;
        for (const auto& item : server->document(user).document.items)
            if (!item.deletedAt && item.title == title &&
                item.links == QList<WireLink>{{QStringLiteral("Doc"), address}})
                ++count;
        return count;
    }
    // Arms the fault for the next addItem; the returned call undoes it.
    std::function<void()> arm(Fault fault, int status, const QByteArray& body) {
        switch (fault) {
        case Fault::refused:
            server->stop();
            return [this] { server->start(); };
        case Fault::timeout:
            server->delayNext(QStringLiteral("addItem"), clientTimeoutMs * 2, 2);
            break;
        case Fault::replyLost:
            // Twice: Qt sends a POST once more by itself when a connection closes unanswered.
            server->dropReplyAfterWrite(QStringLiteral("addItem"), 2);
            break;
        case Fault::cut: {
            ServerProcess::Fault cut;
            cut.rpc = QStringLiteral("addItem");
            cut.cutAfterHeaders = true;
            server->inject(cut);
            break;
        }
        case Fault::status:
            server->failNext(QStringLiteral("addItem"), status, body);
            break;
        }
        return [this] { server->clearFaults(); };
    }
    // Sends what is queued and answers any question with "keep mine", until nothing is left.
    void settle(Store& store) {
        for (int round = 0; round < 5 && (store.queuedEdits() > 0 || store.pendingConflict());
             ++round) {
            QTest::qWait(clientTimeoutMs * 2); // late writes of timed-out calls land first
            if (store.pendingConflict())
                await(store.resolveConflictKeepingMine());
            else
                await(store.sync());
        }
        await(store.refresh(false));
    }

private Q_SLOTS:
    // Any warning (a read of a closed reply, say) is a fault.
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        ServerProcess::Options options;
        options.databasePath = dbDir.filePath(QStringLiteral("faults.db"));
        server = std::make_unique<ServerProcess>(options);
    }
    void cleanupTestCase() { server.reset(); }

    void matrix_data() {
        QTest::addColumn<bool>("replay");
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("kept");     // still queued and on screen after the failure
        QTest::addColumn<QString>("error"); // lastError after the failure
        QTest::addColumn<QString>("limit"); // limitMessage after the failure
        QTest::addColumn<int>("settled");   // copies on the server in the end

        const QByteArray json = R"({"message":"You have reached 3 open tasks."})";
        const QString cap = QStringLiteral("You have reached 3 open tasks.");
        const QString rejected = APIError::unauthorised().errorDescription();
        const std::pair<const char*, Fault> unreachable[] = {{"refused", Fault::refused},
                                                             {"time-out", Fault::timeout},
                                                             {"reply lost", Fault::replyLost},
                                                             {"cut after headers", Fault::cut}};
        for (const bool replay : {false, true}) {
            const char* phase = replay ? "replayed" : "live";
            auto row = [&](const char* name) -> QTestData& {
                return QTest::addRow("%s %s", phase, name) << replay;
            };
            for (const auto& [name, fault] : unreachable)
                row(name) << fault << 0 << QByteArray() << true << QString() << QString() << 1;
            // A live refusal rolls back; a replayed 5xx or 401 keeps the edit for later.
            row("503") << Fault::status << 503 << QByteArray("busy") << replay
                       << "Server error 503: busy" << QString() << (replay ? 1 : 0);
            // A proxy's "try later" is no refusal for good: kept, and no strike.
            for (const int later : {408, 429})
                row(qPrintable(QString::number(later)))
                    << Fault::status << later << QByteArray("later") << replay
                    << QStringLiteral("Server error %1: later").arg(later) << QString()
                    << (replay ? 1 : 0);
            row("401") << Fault::status << 401 << QByteArray("{}") << replay << rejected
                       << QString() << (replay ? 1 : 0);
            row("402 json") << Fault::status << 402 << json << false << QString() << cap << 0;
            row("402 text") << Fault::status << 402 << QByteArray("No room") << false << QString()
                            << "No room" << 0;
            row("404") << Fault::status << 404 << QByteArray(R"({"message":"gone"})") << false
                       << (replay ? QString()
                                  : QStringLiteral(R"(Server error 404: {"message":"gone"})"))
                       << QString() << 0;
        }
    }

    void matrix() {
        QFETCH(bool, replay);
        QFETCH(Fault, fault);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, kept);
        QFETCH(QString, error);
        QFETCH(QString, limit);
        QFETCH(int, settled);

        AccountRig f(*server, true, clientTimeoutMs);
        Store& store = f.store;
        QVERIFY(store.syncedWire());

        const QList<ItemLink> links{{QStringLiteral("Doc"), QUrl(address, QUrl::StrictMode)}};
        if (replay) {
            store.pathUpdated(false); // offline: the edit only queues
            QVERIFY(await(store.add(title, {}, {}, Section::action, {}, Priority::low, links,
                                    LocalID::make())));
            QCOMPARE(store.queuedEdits(), 1);
        }
        const auto disarm = arm(fault, status, body);
        const bool accepted = replay ? (await(store.sync()), true)
                                     : await(store.add(title, {}, {}, Section::action, {},
                                                       Priority::low, links, LocalID::make()));
        disarm();

        QCOMPARE(accepted, kept || replay);
        QCOMPARE(int(f.titles().count(title)), kept ? 1 : 0);
        QCOMPARE(store.queuedEdits(), kept ? 1 : 0);
        QCOMPARE(f.queuedOnDisk(), kept ? 1 : 0);
        QCOMPARE(store.lastError(), error);
        QCOMPARE(store.limitMessage(), limit);
        const bool unreachable = fault != Fault::status;
        // A replay stopped by a refusal leaves the offline flag as it was.
        QCOMPARE(store.isOffline(), unreachable || (replay && kept));
        if (replay && fault == Fault::status && status >= 500)
            QCOMPARE(store.strikes().value(store.queue().front()), 1);
        else
            QVERIFY(store.strikes().isEmpty());

        settle(store);
        QCOMPARE(store.queuedEdits(), 0);
        QCOMPARE(onServer(f.user), settled);
        QCOMPARE(int(f.titles().count(title)), settled);
        QCOMPARE(f.queuedOnDisk(), 0);
        QVERIFY(!store.isOffline());
    }
};

QTEST_GUILESS_MAIN(TestStoreFaults)
#include "tst_store_faults.moc"
