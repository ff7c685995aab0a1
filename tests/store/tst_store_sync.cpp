// The Store against a real velmora-server: connecting, refreshing, edits online and
// offline, replay with its refusal rules, conflicts, and what survives a relaunch.

#include "Await.h"
#include "ServerProcess.h"
#include "Store.h"
#include "WireFormats.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using TestAwait::await;

namespace {

// One account on the shared server, with a Store that owns a client for it.
struct Fixture {
    ServerProcess& server;
    QString user;
    QString token;
    QTemporaryDir dir;
    MemorySecretStore secrets;
    std::unique_ptr<Store> store;

    // `load`: the first refresh has given the store its baseline.
    Fixture(ServerProcess& s, const QString& name, bool load = true)
        : server(s)
        , user(name) {
        token = server.createUser(user);
        await(secrets.write(QStringLiteral("svc"), QString::fromLatin1(Keychain::account), token));
        // A store built with the keychain's token in hand, as the app does at launch.
        launch(token);
        if (load)
            await(store->refresh(false));
    }

    void launch(const std::optional<QString>& withToken = std::nullopt) {
        store.reset();
        auto* client = new APIClient(server.baseURL(), withToken);
        client->setTimeoutMs(1500);
        store = std::make_unique<Store>(client, OfflineDisk(dir.path()),
                                        Keychain(secrets, QStringLiteral("svc")));
        store->setFlashDuration(60000);
    }

    QStringList serverTitles() {
        QStringList titles;
        for (const auto& item : server.document(user).document.items)
            if (!item.deletedAt)
                titles << item.title;
        return titles;
    }
    QStringList titles() const {
        QStringList out;
        for (const auto& item : store->document().items)
            out << item.title;
        return out;
    }
    const Item& item(const QString& title) const {
        for (const auto& item : store->document().items)
            if (item.title == title)
                return item;
        throw std::runtime_error("no such item");
    }
    bool add(const QString& title) {
        return await(
            store->add(title, {}, {}, Section::action, {}, Priority::medium, {}, LocalID::make()));
    }
    // Makes the next calls time out, as an unreachable server would.
    void goOffline() { server.delayNext({}, 2500, 1000); }
    void comeBack() { server.clearFaults(); }
    // The next `count` version checks wait `ms` first.
    void slowVersion(int ms, int count = 1) {
        ServerProcess::Fault fault;
        fault.method = QStringLiteral("GET");
        fault.path = QStringLiteral("/api/store/version");
        fault.delayMs = ms;
        fault.count = count;
        server.inject(fault);
    }
    // A change from another device.
    void otherDeviceAdds(const QString& title) {
        auto stored = server.document(user).document;
        WireItem item;
        item.id = QStringLiteral("other-") + title;
        item.title = title;
        item.createdAt = QStringLiteral("2026-01-01T00:00:00Z");
        stored.items.push_back(item);
        server.replaceDocument(user, stored);
    }
};

} // namespace

class TestStoreSync : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;
    QString nextUser() { return QStringLiteral("user%1").arg(++users); }

private Q_SLOTS:
    // Any warning (a read of a closed reply, say) is a fault.
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() { server.reset(); }
    void cleanup() { server->clearFaults(); }

    void connectAcceptsOnlyAWorkingToken() {
        const QString token = server->createUser(QStringLiteral("connecting"));
        QTemporaryDir dir;
        MemorySecretStore secrets;
        Keychain keychain(secrets, QStringLiteral("svc"));
        Store store(new APIClient(server->baseURL()), OfflineDisk(dir.path()), keychain);
        QVERIFY(!store.hasToken());

        QVERIFY(!await(store.connect(QStringLiteral("not a token"))));
        QCOMPARE(store.lastError(),
                 QStringLiteral("That doesn't look like a token. Copy the token, "
                                "or the connection URL, from the Connections page."));

        // Well-formed but unknown: the keychain stays empty and the client gets its old token back.
        QVERIFY(!await(store.connect(QString(40, QLatin1Char('a')))));
        QCOMPARE(store.lastError(), APIError::unauthorised().errorDescription());
        QVERIFY(store.client().token().isEmpty());
        QCOMPARE(await(keychain.readToken()), std::nullopt);

        server->createProposal(
            QStringLiteral("connecting"),
            *JsonValue::parse(R"({"deltas":[{"kind":"complete","item_id":"x"}]})"));
        QVERIFY(await(store.connect(QStringLiteral("Bearer ") + token + QStringLiteral("\n"))));
        QVERIFY(store.hasToken());
        QVERIFY(store.proposal());
        QCOMPARE(await(keychain.readToken()), token);
        QVERIFY(store.lastError().isEmpty());
        QVERIFY(QFile::exists(store.disk().fileURL()));

        await(store.disconnect());
        QVERIFY(!store.hasToken());
        QVERIFY(!store.proposal());
        QVERIFY(!QFile::exists(store.disk().fileURL()));
        QCOMPARE(await(keychain.readToken()), std::nullopt);
        store.persist(); // no baseline, no file
        QVERIFY(!QFile::exists(store.disk().fileURL()));
    }

    void refreshLoadsOnlyWhenTheVersionMoved() {
        Fixture f(*server, nextUser(), false);
        QSignalSpy loading(f.store.get(), &Store::isLoadingChanged);
        await(f.store->refresh(false)); // no baseline yet: straight to the full load
        QVERIFY(f.store->syncedWire());
        QCOMPARE(loading.count(), 2);

        f.otherDeviceAdds(QStringLiteral("From phone"));
        await(f.store->refresh(false)); // the user's own refresh says nothing
        QCOMPARE(f.titles(), QStringList{QStringLiteral("From phone")});
        QVERIFY(f.store->flash().isEmpty());

        f.otherDeviceAdds(QStringLiteral("From web"));
        QSignalSpy document(f.store.get(), &Store::documentChanged);
        f.store->startAutoRefresh(0);
        QTRY_COMPARE_WITH_TIMEOUT(f.store->flash(),
                                  QStringLiteral("Updated with changes from elsewhere"), 5000);
        f.store->stopAutoRefresh();
        QCOMPARE(f.titles().size(), 2);

        // Nothing moved: no reload, no notice, no redraw.
        document.clear();
        await(f.store->refresh(true));
        QCOMPARE(document.count(), 0);
    }

    void onlineEditsComeBackFromTheServer() {
        Fixture f(*server, nextUser());
        const QString title = QStringLiteral("Call Ana"), renamed = QStringLiteral("Call Ana back");
        QVERIFY(f.add(title));
        QVERIFY(!LocalID::isLocal(f.item(title).id));
        QCOMPARE(f.serverTitles(), QStringList{title});

        await(f.store->toggle(f.item(title)));
        QVERIFY(f.item(title).isDone());
        await(f.store->setFlagged(f.item(title), true));
        QVERIFY(f.item(title).flagged);
        QVERIFY(await(f.store->update(f.item(title), renamed, QStringLiteral(""),
                                      QStringLiteral("Ana"), {}, Priority::high, {})));
        QCOMPARE(f.item(renamed).source, QStringLiteral("Ana"));
        QCOMPARE(f.item(renamed).note, std::nullopt);
        await(f.store->deleteItem(f.item(renamed)));
        QVERIFY(f.titles().isEmpty());
        QVERIFY(f.serverTitles().isEmpty());
        QCOMPARE(f.store->queuedEdits(), 0);
    }

    // A tick or flag given while the new task's add is still on the wire reaches that task,
    // online or, when the add times out, through the queue.
    void editsDuringAnAddFollowIt_data() {
        QTest::addColumn<int>("addDelayMs");
        QTest::addColumn<bool>("offline");
        QTest::newRow("add answered") << 400 << false;
        QTest::newRow("add timed out") << 2500 << true;
    }
    void editsDuringAnAddFollowIt() {
        QFETCH(int, addDelayMs);
        QFETCH(bool, offline);
        Fixture f(*server, nextUser());
        f.server.delayNext(QStringLiteral("addItem"), addDelayMs, offline ? 2 : 1);
        auto adding = f.store->add(QStringLiteral("Fresh"), {}, {}, Section::action, {},
                                   Priority::medium, {}, LocalID::make());
        const Item local = f.item(QStringLiteral("Fresh"));
        QVERIFY(LocalID::isLocal(local.id));
        auto ticking = f.store->toggle(local);
        auto flagging = f.store->setFlagged(local, true);
        await(std::move(flagging));
        await(std::move(ticking));
        QVERIFY(await(std::move(adding)));
        QCOMPARE(f.store->lastError(), QString());
        QCOMPARE(f.store->isOffline(), offline);
        if (offline) {
            QCOMPARE(f.store->queuedEdits(), 3);
            f.comeBack();
            await(f.store->sync());
        }
        QCOMPARE(f.store->queuedEdits(), 0);
        const auto onServer = f.server.document(f.user).document.items;
        QCOMPARE(onServer.size(), size_t(1));
        QCOMPARE(onServer.front().status, ItemStatus::done);
        QVERIFY(onServer.front().flagged.value_or(false));
        QVERIFY(f.item(QStringLiteral("Fresh")).isDone());
    }

    void offlineEditsQueueSurviveRelaunchAndReplay() {
        Fixture f(*server, nextUser());
        QVERIFY(f.add(QStringLiteral("Before")));

        f.goOffline();
        QVERIFY(f.add(QStringLiteral("Offline add"))); // times out: queued
        QVERIFY(f.store->isOffline());
        const QString localID = f.item(QStringLiteral("Offline add")).id;
        QVERIFY(LocalID::isLocal(localID));
        await(f.store->toggle(f.item(QStringLiteral("Offline add")))); // offline: no traffic
        await(f.store->deleteItem(f.item(QStringLiteral("Before"))));
        QCOMPARE(f.store->queuedEdits(), 3);

        // Relaunch: the queue and the edits on screen come back from the file.
        f.comeBack();
        f.launch(f.token);
        QVERIFY(!f.store->isOffline());
        QCOMPARE(f.store->queuedEdits(), 3);
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Offline add")});
        QVERIFY(f.item(QStringLiteral("Offline add")).isDone());

        await(f.store->sync());
        QCOMPARE(f.store->queuedEdits(), 0);
        QCOMPARE(f.serverTitles(), QStringList{QStringLiteral("Offline add")});
        QVERIFY(f.item(QStringLiteral("Offline add")).isDone()); // the setDone followed the new id
        QVERIFY(!LocalID::isLocal(f.item(QStringLiteral("Offline add")).id));
        QCOMPARE(f.store->lastError(), QString());
    }

    void lostReplyDoesNotDoubleAnAdd() {
        Fixture f(*server, nextUser());
        // Qt itself sends a POST again when the connection closes unanswered; the repeat
        // carries the same key and gets the first reply.
        f.server.dropReplyAfterWrite(QStringLiteral("addItem"));
        QVERIFY(f.add(QStringLiteral("Once")));
        QVERIFY(!f.store->isOffline());
        QCOMPARE(f.serverTitles(), QStringList{QStringLiteral("Once")});
        await(f.store->deleteItem(f.item(QStringLiteral("Once"))));

        // Both replies lost: the add is queued, and its replay is applied once.
        f.server.dropReplyAfterWrite(QStringLiteral("addItem"), 2);
        QVERIFY(f.add(QStringLiteral("Once")));
        f.comeBack();
        QVERIFY(f.store->isOffline());
        QCOMPARE(f.store->queuedEdits(), 1);

        // The server moved and the queue is not empty: the user is asked.
        await(f.store->sync());
        QVERIFY(f.store->pendingConflict());
        QCOMPARE(f.store->pendingConflict()->queuedEdits, 1);
        QVERIFY(!f.store->isOffline());

        await(f.store->resolveConflictKeepingMine());
        QCOMPARE(f.store->flash(), QStringLiteral("Synced \u2014 your changes kept"));
        QCOMPARE(f.serverTitles(), QStringList{QStringLiteral("Once")});
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Once")});
    }

    void keepingTheOnlineVersionDropsTheQueue() {
        Fixture f(*server, nextUser());
        f.goOffline();
        QVERIFY(f.add(QStringLiteral("Mine")));
        f.comeBack();
        f.otherDeviceAdds(QStringLiteral("Theirs"));
        await(f.store->refresh(false)); // a refresh with a queue turns into a sync
        QVERIFY(f.store->pendingConflict());
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Mine")}); // edits stay on show

        await(f.store->resolveConflictKeepingOnline());
        QCOMPARE(f.store->flash(), QStringLiteral("Synced \u2014 online version kept"));
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Theirs")});
        QCOMPARE(f.store->queuedEdits(), 0);
        QCOMPARE(f.store->disk().load()->queue.size(), 0);
    }

    void replayRefusalsAndStrikes() {
        Fixture f(*server, nextUser());
        QVERIFY(f.add(QStringLiteral("Gone elsewhere")));
        QVERIFY(f.add(QStringLiteral("Flaky")));
        QVERIFY(f.add(QStringLiteral("Fine")));
        const Item gone = f.item(QStringLiteral("Gone elsewhere"));

        f.goOffline();
        QVERIFY(
            await(f.store->update(gone, QStringLiteral("Renamed"), {}, {}, {}, Priority::low, {})));
        await(f.store->toggle(f.item(QStringLiteral("Flaky"))));
        await(f.store->setFlagged(f.item(QStringLiteral("Fine")), true));
        QCOMPARE(f.store->queuedEdits(), 3);
        f.comeBack();

        // Deleted elsewhere: the update gets 404 and vanishes silently. The same version
        // is kept so the replay runs without a question.
        f.server.failNext(QStringLiteral("updateItem"), 404);
        for (int attempt = 1; attempt <= 4; ++attempt) {
            f.server.failNext(QStringLiteral("setItemStatus"), 503, "busy");
            await(f.store->sync());
            QCOMPARE(f.store->lastError(), QStringLiteral("Server error 503: busy"));
            QCOMPARE(f.store->queuedEdits(), 2);
            QCOMPARE(f.store->strikes().value(f.store->queue().front()), attempt);
            QCOMPARE(f.store->disk().load()->strikes.size(), 1);
        }
        f.server.failNext(QStringLiteral("setItemStatus"), 503, "busy");
        await(f.store->sync());
        QCOMPARE(f.store->lastError(),
                 QStringLiteral(
                     "Couldn't save \u201cFlaky\u201d after 5 tries \u2014 it's been set aside."));
        QCOMPARE(f.store->queuedEdits(), 0);
        QVERIFY(f.store->strikes().isEmpty());
        QVERIFY(!f.store->disk().load()->strikes.size());
        // The edit behind the set-aside one was sent in the same run.
        const auto stored = f.server.document(f.user).document;
        for (const auto& item : stored.items)
            if (item.title == QStringLiteral("Fine"))
                QCOMPARE(item.flagged, std::optional(true));
    }

    void refreshesTakeTurns() {
        Fixture f(*server, nextUser());
        f.slowVersion(300, 2);
        QElapsedTimer timer;
        timer.start();
        auto first = f.store->refresh(false);
        auto second = f.store->refresh(false);
        await(std::move(first));
        await(std::move(second));
        // The second waited for the first instead of running beside it.
        QVERIFY2(timer.elapsed() >= 600, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!f.store->isLoading());
    }

    void editQueuedDuringVersionCheckTurnsRefreshIntoSync() {
        Fixture f(*server, nextUser());
        f.otherDeviceAdds(QStringLiteral("Theirs"));
        f.slowVersion(400);
        auto refresh = f.store->refresh(false);
        f.store->pathUpdated(false); // the edit made meanwhile only queues
        QVERIFY(f.add(QStringLiteral("Mine")));
        await(std::move(refresh));
        // Both sides moved: not overwritten, the user is asked.
        QVERIFY(f.store->pendingConflict());
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Mine")});
        QCOMPARE(f.store->queuedEdits(), 1);
    }

    void pathUpdatesWithoutTokenChangeNothing() {
        QTemporaryDir dir;
        MemorySecretStore secrets;
        Store store(new APIClient(server->baseURL()), OfflineDisk(dir.path()),
                    Keychain(secrets, QStringLiteral("svc")));
        store.pathUpdated(false);
        QVERIFY(!store.isOffline());
        await(store.refresh(false)); // no token: no request, no error
        QVERIFY(store.lastError().isEmpty());
    }

    void strikesSurviveRelaunch() {
        Fixture f(*server, nextUser());
        QVERIFY(f.add(QStringLiteral("Flaky")));
        f.store->pathUpdated(false);
        await(f.store->toggle(f.item(QStringLiteral("Flaky"))));
        f.server.failNext(QStringLiteral("setItemStatus"), 500, "down");
        await(f.store->sync());
        QCOMPARE(f.store->strikes().size(), 1);

        f.launch(f.token);
        QCOMPARE(f.store->queuedEdits(), 1);
        QCOMPARE(f.store->strikes().value(f.store->queue().front()), 1);
        await(f.store->sync());
        QCOMPARE(f.store->queuedEdits(), 0);
        QVERIFY(f.item(QStringLiteral("Flaky")).isDone());
        QVERIFY(!f.store->disk().load()->strikes.size());
    }

    // A file that cannot be read gives an empty start, is kept aside rather than overwritten,
    // and the user hears of it once, after the first load.
    void unreadableFileIsKeptAside_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not json") << QByteArray("{not json");
        OfflineSnapshot undecodable;
        undecodable.wireDocument = "[]";
        undecodable.queue = {PendingOps::Delete{QStringLiteral("a1")}};
        QTest::newRow("document unreadable") << undecodable.encode();
    }

    void unreadableFileIsKeptAside() {
        QFETCH(QByteArray, bytes);
        QTemporaryDir dir;
        const OfflineDisk disk(dir.path());
        QFile file(disk.fileURL());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        MemorySecretStore secrets;
        Store store(new APIClient(server->baseURL()), OfflineDisk(dir.path()),
                    Keychain(secrets, QStringLiteral("svc")));
        QCOMPARE(store.document(), Document());
        QVERIFY(!store.syncedWire());
        QCOMPARE(store.queuedEdits(), 0);
        QVERIFY(!QFile::exists(disk.fileURL()));
        QFile aside(disk.asideURL(1));
        QVERIFY(aside.open(QIODevice::ReadOnly));
        QCOMPARE(aside.readAll(), bytes);

        QVERIFY(await(store.connect(server->createUser(nextUser()))));
        QVERIFY(store.lastError().contains(disk.asideURL(1)));
        QVERIFY(store.disk().load());
        store.clearError();
        await(store.refresh(false));
        QVERIFY(store.lastError().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestStoreSync)
#include "tst_store_sync.moc"
