// Undo and notices: the undo center's window with short injected windows, the flash,
// the restore of a deleted item against a real server, the cap refusal's hand-over and the
// offline badge's words.

#include "Await.h"
#include "DeleteUndo.h"
#include "OfflineBadge.h"
#include "ServerProcess.h"
#include "Store.h"
#include "UndoCenter.h"
#include "WireFormats.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using TestAwait::await;
using namespace std::chrono_literals;

namespace {

constexpr auto window = 200ms;

// Waits until `done` holds, bounded; returns the milliseconds it took.
template <typename F>
qint64 waitUntil(F done, int boundMs = 3000) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < boundMs)
        QTest::qWait(2);
    return clock.elapsed();
}

struct StoreFixture {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    std::unique_ptr<Store> store;

    explicit StoreFixture(const QUrl& base, const std::optional<QString>& token = std::nullopt) {
        auto* client = new APIClient(base, token);
        client->setTimeoutMs(1500);
        store = std::make_unique<Store>(client, OfflineDisk(dir.path()),
                                        Keychain(secrets, QStringLiteral("svc")));
    }
    std::optional<Item> find(const QString& title) const {
        for (const auto& item : store->document().items)
            if (item.title == title)
                return item;
        return std::nullopt;
    }
    bool add(const QString& title) {
        return await(
            store->add(title, {}, {}, Section::action, {}, Priority::medium, {}, LocalID::make()));
    }
};

} // namespace

class TestUndoNotices : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;

    std::unique_ptr<StoreFixture> connected() {
        const QString token = server->createUser(QStringLiteral("undo%1").arg(++users));
        auto f = std::make_unique<StoreFixture>(server->baseURL(), token);
        await(f->store->refresh(false));
        return f;
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() { server.reset(); }
    void cleanup() { server->clearFaults(); }

    void offerExpiresAfterItsWindow() {
        UndoCenter center(window);
        QSignalSpy changed(&center, &UndoCenter::offerChanged);
        QElapsedTimer clock;
        clock.start();
        center.show(QStringLiteral("id1"), QStringLiteral("Buy milk"));
        QCOMPARE(center.message(), QStringLiteral("Deleted \u201CBuy milk\u201D"));
        QCOMPARE(center.deleted(), (UndoCenter::DeletedItem{"id1", "Buy milk"}));
        waitUntil([&] { return !center.hasOffer(); });
        QVERIFY(!center.hasOffer());
        QVERIFY(clock.elapsed() >= window.count());
        QCOMPARE(center.message(), std::nullopt);
        QCOMPARE(changed.count(), 2);
    }

    void replacedOfferGetsAFullWindow() {
        UndoCenter center(window);
        center.show(QStringLiteral("a"), QStringLiteral("First"));
        QTest::qWait(150);
        QElapsedTimer clock;
        clock.start();
        bool called = false;
        center.propose(QStringLiteral("Briefing action done"), [&]() -> QCoro::Task<> {
            called = true;
            co_return;
        });
        // The first offer's timer would have ended it by now; it must not touch the second.
        QTest::qWait(100);
        QCOMPARE(center.message(), QStringLiteral("Briefing action done"));
        QCOMPARE(center.deleted(), std::nullopt);
        const qint64 lasted = waitUntil([&] { return !center.hasOffer(); }) + 100;
        QVERIFY(!center.hasOffer());
        QVERIFY2(lasted >= window.count(), qPrintable(QString::number(lasted)));
        QVERIFY(!called);
    }

    void takeClearsFirstAndRunsOnce() {
        UndoCenter center(window);
        int runs = 0;
        bool offerGoneWhileRunning = false;
        center.propose(QStringLiteral("Dismissed"), [&]() -> QCoro::Task<> {
            ++runs;
            offerGoneWhileRunning = !center.hasOffer();
            co_return;
        });
        await(center.take());
        await(center.take());
        QCOMPARE(runs, 1);
        QVERIFY(offerGoneWhileRunning);

        // A deletion has no revert of its own: take only clears it.
        center.show(QStringLiteral("b"), QStringLiteral("Second"));
        await(center.take());
        QVERIFY(!center.hasOffer());

        // A cleared offer's timer never fires later against a newer state.
        QSignalSpy changed(&center, &UndoCenter::offerChanged);
        center.show(QStringLiteral("c"), QStringLiteral("Third"));
        center.clear();
        QTest::qWait(int(window.count()) + 100);
        QCOMPARE(changed.count(), 2);
    }

    void centerGoneBeforeItsWindow() {
        auto center = std::make_unique<UndoCenter>(window);
        center->show(QStringLiteral("a"), QStringLiteral("A"));
        center.reset();
        QTest::qWait(int(window.count()) + 50); // nothing left to fire
    }

    void toastTitle_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("expected");
        const QString x48(48, QLatin1Char('x'));
        QTest::newRow("short") << "Buy milk"
                               << "Buy milk";
        QTest::newRow("48 stays") << x48 << x48;
        QTest::newRow("49 is cut to 47") << x48 + "y" << QString(47, QLatin1Char('x')) + "\u2026";
        // An emoji of two UTF-16 units and an accent on a letter are one character each.
        const QString emoji = QStringLiteral("\U0001F600");
        const QString accented = QStringLiteral("e\u0301");
        QTest::newRow("characters, not code units")
            << emoji + QString(46, QLatin1Char('x')) + accented + "zz"
            << emoji + QString(46, QLatin1Char('x')) + "\u2026";
        QTest::newRow("48 characters in more units") << emoji.repeated(48) << emoji.repeated(48);
        QTest::newRow("empty") << ""
                               << "";
    }
    void toastTitle() {
        QFETCH(QString, title);
        QFETCH(QString, expected);
        QCOMPARE(UndoCenter::toastTitle(title), expected);
    }

    void newerFlashOutlivesTheOlderTimer() {
        StoreFixture f(QUrl(QStringLiteral("http://127.0.0.1:9/")));
        f.store->setFlashDuration(300);
        f.store->announce(QStringLiteral("Synced"));
        QTest::qWait(150);
        QElapsedTimer clock;
        clock.start();
        f.store->announce(QStringLiteral("Back online"));
        QTest::qWait(220); // past the first announcement's 300 ms
        QCOMPARE(f.store->flash(), QStringLiteral("Back online"));
        const qint64 lasted = waitUntil([&] { return f.store->flash().isEmpty(); }) + 220;
        QVERIFY(f.store->flash().isEmpty());
        QVERIFY2(lasted >= 280, qPrintable(QString::number(lasted)));
    }

    void undoDeleteRestoresOnline() {
        auto fixture = connected();
        StoreFixture& f = *fixture;
        UndoCenter center(5s);
        QVERIFY(f.add(QStringLiteral("Keep me")));
        const Item item = *f.find(QStringLiteral("Keep me"));
        await(DeleteUndo::remove(f.store.get(), &center, item));
        QVERIFY(!f.find(QStringLiteral("Keep me")));
        QCOMPARE(center.message(), QStringLiteral("Deleted \u201CKeep me\u201D"));

        await(DeleteUndo::undo(f.store.get(), &center));
        QVERIFY(!center.hasOffer());
        QCOMPARE(f.store->item(item.id)->title, QStringLiteral("Keep me"));
        QVERIFY(f.store->lastError().isEmpty());
    }

    void undoDeleteOfflineDoesNothing() {
        auto fixture = connected();
        StoreFixture& f = *fixture;
        UndoCenter center(5s);
        QVERIFY(f.add(QStringLiteral("Gone")));
        QVERIFY(f.add(QStringLiteral("Queued")));
        const Item item = *f.find(QStringLiteral("Gone"));
        await(DeleteUndo::remove(f.store.get(), &center, item));
        QVERIFY(center.isDeletion());

        // The connection goes while the toast stands: Undo clears it and sends nothing.
        f.store->pathUpdated(false);
        QVERIFY(!f.store->canUndoDelete());
        // A fault that a restore would use up shows whether any request went out.
        server->failNext(QStringLiteral("restore"), 500);
        await(DeleteUndo::undo(f.store.get(), &center));
        QCOMPARE(server->pendingFaults(), 1);
        QVERIFY(!center.hasOffer());
        QVERIFY(!f.find(QStringLiteral("Gone")));
        QVERIFY(f.store->lastError().isEmpty());

        // A delete made offline offers no undo at all.
        await(DeleteUndo::remove(f.store.get(), &center, *f.find(QStringLiteral("Queued"))));
        QVERIFY(!f.find(QStringLiteral("Queued")));
        QVERIFY(!center.hasOffer());
    }

    void undoDeleteFailures() {
        auto fixture = connected();
        StoreFixture& f = *fixture;
        QVERIFY(f.add(QStringLiteral("Stays deleted")));
        const Item item = *f.find(QStringLiteral("Stays deleted"));
        await(f.store->deleteItem(item));

        // Refused by the server: an alert, and nothing queued.
        server->failNext(QStringLiteral("restore"), 500);
        await(f.store->undoDelete(item.id));
        QVERIFY(!f.store->lastError().isEmpty());
        QVERIFY(!f.store->isOffline());
        QVERIFY(!f.find(QStringLiteral("Stays deleted")));
        f.store->clearError();

        // Unreachable: offline, no message, still nothing queued.
        server->delayNext(QStringLiteral("restore"), 2500);
        await(f.store->undoDelete(item.id));
        QVERIFY(f.store->isOffline());
        QVERIFY(f.store->lastError().isEmpty());
        QCOMPARE(f.store->queuedEdits(), 0);
    }

    void capRefusalHandedOverEachTime() {
        auto fixture = connected();
        StoreFixture& f = *fixture;
        server->setOpenCap(QStringLiteral("undo%1").arg(users), 0);
        QSignalSpy changed(f.store.get(), &Store::limitMessageChanged);
        QStringList shown;
        // What the main window does: copy the refusal, reset the Store's field at once.
        QObject::connect(f.store.get(), &Store::limitMessageChanged, f.store.get(), [&] {
            const QString message = f.store->takeLimitMessage();
            if (!message.isEmpty())
                shown << message;
        });
        QVERIFY(!f.add(QStringLiteral("one too many")));
        QVERIFY(!f.add(QStringLiteral("one too many")));
        QCOMPARE(shown.size(), 2);
        QVERIFY(!shown.first().isEmpty());
        QCOMPARE(shown.first(), shown.last());
        QVERIFY(f.store->limitMessage().isEmpty());
        QCOMPARE(changed.count(), 4);
    }

    void offlineBadge_data() {
        QTest::addColumn<int>("queued");
        QTest::addColumn<bool>("synced");
        QTest::addColumn<QString>("expected");
        QTest::newRow("nothing queued") << 0 << false << "Offline";
        QTest::newRow("one edit") << 1 << false << "Offline \u2014 1 edit saved locally";
        QTest::newRow("two edits") << 2 << false << "Offline \u2014 2 edits saved locally";
        QTest::newRow("bad count") << -3 << false << "Offline";
        QTest::newRow("with the last sync")
            << 2 << true << "Offline \u2014 2 edits saved locally\nLast synced 2:05";
    }
    void offlineBadge() {
        QFETCH(int, queued);
        QFETCH(bool, synced);
        QFETCH(QString, expected);
        const QLocale english(QLocale::English, QLocale::UnitedStates);
        const std::optional<QDateTime> since =
            synced ? std::optional(QDateTime(QDate(2026, 2, 3), QTime(14, 5, 40))) : std::nullopt;
        // The time of day in the locale's short form: minutes, no seconds, no date.
        const QString text = OfflineBadge::text(queued, since, english);
        QVERIFY2(text.startsWith(expected) && (!synced || text.endsWith(QStringLiteral("PM"))),
                 qPrintable(text));
        QCOMPARE(text.size() - expected.size(), synced ? 3 : 0);
        QCOMPARE(OfflineBadge::label(queued), expected.section(QLatin1Char('\n'), 0, 0));
    }
};

QTEST_GUILESS_MAIN(TestUndoNotices)
#include "tst_undo_notices.moc"
