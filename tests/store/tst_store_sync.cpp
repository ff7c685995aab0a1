// The Store against a real velmora-server: connecting, refreshing, edits made while an add
// is on the wire, the answers to a conflict, the set-aside notice and what a bad file
// leaves. The random model test (tst_store_model) walks the other paths of sync and replay.

#include "StoreRig.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

using TestAwait::await;

class TestStoreSync : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

    // Makes the next calls time out, as an unreachable server would.
    void goOffline() { server->delayNext({}, 2500, 1000); }
    // The next `count` version checks wait `ms` first.
    void slowVersion(int ms, int count = 1) {
        server->injectOn("GET", "/api/store/version", std::nullopt, count, ms);
    }

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
        StoreRig rig(server->baseURL(), std::nullopt);
        Store& store = rig.store;
        Keychain keychain(rig.secrets, QStringLiteral("svc"));
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
        // Without a token a lost path and a refresh send nothing and say nothing.
        store.pathUpdated(false);
        QVERIFY(!store.isOffline());
        await(store.refresh(false));
        QVERIFY(store.lastError().isEmpty());
    }

    void refreshLoadsOnlyWhenTheVersionMoved() {
        AccountRig f(*server, false);
        QSignalSpy loading(&f.store, &Store::isLoadingChanged);
        await(f.store.refresh(false)); // no baseline yet: straight to the full load
        QVERIFY(f.store.syncedWire());
        QCOMPARE(loading.count(), 2);

        f.otherDeviceAdds(QStringLiteral("From phone"));
        await(f.store.refresh(false)); // the user's own refresh says nothing
        QCOMPARE(f.titles(), QStringList{QStringLiteral("From phone")});
        QVERIFY(f.store.flash().isEmpty());

        f.otherDeviceAdds(QStringLiteral("From web"));
        f.store.setFlashDuration(60000);
        QSignalSpy document(&f.store, &Store::documentChanged);
        f.store.startAutoRefresh(0);
        QTRY_COMPARE_WITH_TIMEOUT(f.store.flash(),
                                  QStringLiteral("Updated with changes from elsewhere"), 5000);
        f.store.stopAutoRefresh();
        QCOMPARE(f.titles().size(), 2);

        // Nothing moved: no reload, no notice, no redraw.
        document.clear();
        await(f.store.refresh(true));
        QCOMPARE(document.count(), 0);
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
        AccountRig f(*server);
        server->delayNext(QStringLiteral("addItem"), addDelayMs, offline ? 2 : 1);
        auto adding = f.store.add(QStringLiteral("Fresh"), {}, {}, Section::action, {},
                                  Priority::medium, {}, LocalID::make());
        const Item local = f.item(QStringLiteral("Fresh"));
        QVERIFY(LocalID::isLocal(local.id));
        auto ticking = f.store.toggle(local);
        auto flagging = f.store.setFlagged(local, true);
        await(std::move(flagging));
        await(std::move(ticking));
        QVERIFY(await(std::move(adding)));
        QCOMPARE(f.store.lastError(), QString());
        QCOMPARE(f.store.isOffline(), offline);
        if (offline) {
            QCOMPARE(f.store.queuedEdits(), 3);
            server->clearFaults();
            await(f.store.sync());
        }
        QCOMPARE(f.store.queuedEdits(), 0);
        const auto onServer = server->document(f.user).document.items;
        QCOMPARE(onServer.size(), size_t(1));
        QCOMPARE(onServer.front().status, ItemStatus::done);
        QVERIFY(onServer.front().flagged.value_or(false));
        QVERIFY(f.item(QStringLiteral("Fresh")).isDone());
        QVERIFY(!LocalID::isLocal(f.item(QStringLiteral("Fresh")).id));
    }

    // An edit queued offline meets a change from another device: the sync asks, the edits
    // stay on show meanwhile, and each answer does what it says.
    void conflictAnswers_data() {
        QTest::addColumn<bool>("keepMine");
        QTest::newRow("mine") << true;
        QTest::newRow("online") << false;
    }
    void conflictAnswers() {
        QFETCH(bool, keepMine);
        AccountRig f(*server);
        goOffline();
        QVERIFY(f.add(QStringLiteral("Mine")));
        server->clearFaults();
        f.otherDeviceAdds(QStringLiteral("Theirs"));
        await(f.store.refresh(false)); // a refresh with a queue turns into a sync
        QCOMPARE(f.store.pendingConflict()->queuedEdits, 1);
        QVERIFY(!f.store.isOffline());
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Mine")});

        f.store.setFlashDuration(60000);
        if (keepMine)
            await(f.store.resolveConflictKeepingMine());
        else
            await(f.store.resolveConflictKeepingOnline());
        QCOMPARE(f.store.flash(), keepMine ? QStringLiteral("Synced \u2014 your changes kept")
                                           : QStringLiteral("Synced \u2014 online version kept"));
        const QStringList expected =
            keepMine ? QStringList{"Theirs", "Mine"} : QStringList{"Theirs"};
        QCOMPARE(f.titles(), expected);
        QCOMPARE(f.serverTitles(), expected);
        QCOMPARE(f.store.queuedEdits(), 0);
        QCOMPARE(f.queuedOnDisk(), 0);
    }

    // The fifth 5xx in a row sets the edit aside, named in the notice.
    void setAsideNamesTheEdit() {
        AccountRig f(*server);
        QVERIFY(f.add(QStringLiteral("Flaky")));
        f.store.pathUpdated(false);
        await(f.store.toggle(f.item(QStringLiteral("Flaky"))));
        for (int attempt = 1; attempt <= 5; ++attempt) {
            server->failNext(QStringLiteral("setItemStatus"), 503, "busy");
            await(f.store.sync());
        }
        QCOMPARE(f.store.lastError(),
                 QStringLiteral(
                     "Couldn't save \u201cFlaky\u201d after 5 tries \u2014 it's been set aside."));
        QCOMPARE(f.store.queuedEdits(), 0);
    }

    void refreshesTakeTurns() {
        AccountRig f(*server);
        slowVersion(300, 2);
        QElapsedTimer timer;
        timer.start();
        auto first = f.store.refresh(false);
        auto second = f.store.refresh(false);
        await(std::move(first));
        await(std::move(second));
        // The second waited for the first instead of running beside it.
        QVERIFY2(timer.elapsed() >= 600, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!f.store.isLoading());
    }

    void editQueuedDuringVersionCheckTurnsRefreshIntoSync() {
        AccountRig f(*server);
        f.otherDeviceAdds(QStringLiteral("Theirs"));
        slowVersion(400);
        auto refresh = f.store.refresh(false);
        f.store.pathUpdated(false); // the edit made meanwhile only queues
        QVERIFY(f.add(QStringLiteral("Mine")));
        await(std::move(refresh));
        // Both sides moved: not overwritten, the user is asked.
        QVERIFY(f.store.pendingConflict());
        QCOMPARE(f.titles(), QStringList{QStringLiteral("Mine")});
        QCOMPARE(f.store.queuedEdits(), 1);
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

        QVERIFY(await(store.connect(server->createUser(AccountRig::nextName()))));
        QVERIFY(store.lastError().contains(disk.asideURL(1)));
        QVERIFY(store.disk().load());
        store.clearError();
        await(store.refresh(false));
        QVERIFY(store.lastError().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestStoreSync)
#include "tst_store_sync.moc"
