// Undo and notices: the undo center's window, the flash, the restore of a deleted item
// against a real server, the cap refusal's hand-over and the offline badge's words.

#include "DeleteUndo.h"
#include "OfflineBadge.h"
#include "StoreRig.h"
#include "UndoCenter.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

using TestAwait::await;
using namespace std::chrono_literals;

namespace {
constexpr auto window = 200ms;
} // namespace

class TestUndoNotices : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() { server.reset(); }
    void cleanup() { server->clearFaults(); }

    // An offer ends after its window; take clears it first and runs it once; neither a
    // cleared offer nor a center closed early leaves a timer behind to fire.
    void offerWindowTakeAndClear() {
        UndoCenter center(window);
        QElapsedTimer clock;
        clock.start();
        center.show(QStringLiteral("id1"), QStringLiteral("Buy milk"));
        QCOMPARE(center.message(), QStringLiteral("Deleted \u201CBuy milk\u201D"));
        QCOMPARE(center.deleted(), (UndoCenter::DeletedItem{"id1", "Buy milk"}));
        QTRY_VERIFY_WITH_TIMEOUT(!center.hasOffer(), 3000);
        QVERIFY(clock.elapsed() >= window.count());

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

        QSignalSpy changed(&center, &UndoCenter::offerChanged);
        center.show(QStringLiteral("c"), QStringLiteral("Third"));
        center.clear();
        auto closed = std::make_unique<UndoCenter>(window);
        closed->show(QStringLiteral("a"), QStringLiteral("A"));
        closed.reset();
        QTest::qWait(int(window.count()) + 100);
        QCOMPARE(changed.count(), 2);
    }

    void replacedOfferGetsAFullWindow() {
        UndoCenter center(400ms);
        center.show(QStringLiteral("a"), QStringLiteral("First"));
        QTest::qWait(300);
        QElapsedTimer clock;
        clock.start();
        center.propose(QStringLiteral("Briefing action done"),
                       []() -> QCoro::Task<> { co_return; });
        // The first offer's timer was due 100 ms ago; it must not have touched this one.
        QTest::qWait(150);
        QCOMPARE(center.message(), QStringLiteral("Briefing action done"));
        QVERIFY(!center.isDeletion());
        QTRY_VERIFY_WITH_TIMEOUT(!center.hasOffer(), 3000);
        QVERIFY2(clock.elapsed() >= 400, qPrintable(QString::number(clock.elapsed())));
    }

    void toastTitleCutsCharacters() {
        const QString x = QStringLiteral("x");
        QCOMPARE(UndoCenter::toastTitle(x.repeated(48)), x.repeated(48));
        QCOMPARE(UndoCenter::toastTitle(x.repeated(49)), x.repeated(47) + u'\u2026');
        // An emoji (two UTF-16 units) and a letter with a combining accent count once each.
        const QString emoji = QStringLiteral("\U0001F600");
        QCOMPARE(UndoCenter::toastTitle(emoji.repeated(48)), emoji.repeated(48));
        QCOMPARE(UndoCenter::toastTitle(emoji + x.repeated(46) + QStringLiteral("e\u0301zz")),
                 emoji + x.repeated(46) + u'\u2026');
    }

    void newerFlashOutlivesTheOlderTimer() {
        StoreRig f(QUrl(QStringLiteral("http://127.0.0.1:9/")), std::nullopt);
        f.store.setFlashDuration(600);
        f.store.announce(QStringLiteral("Synced"));
        QTest::qWait(400);
        QElapsedTimer clock;
        clock.start();
        f.store.announce(QStringLiteral("Back online"));
        QTest::qWait(300); // past the first announcement's end
        QCOMPARE(f.store.flash(), QStringLiteral("Back online"));
        QTRY_VERIFY_WITH_TIMEOUT(f.store.flash().isEmpty(), 3000);
        // Coarse timers may fire up to 5% early.
        QVERIFY2(clock.elapsed() >= 570, qPrintable(QString::number(clock.elapsed())));
    }

    // One account through every way an undo of a delete can go.
    void undoDelete() {
        AccountRig f(*server);
        UndoCenter center(5s);
        for (const char* title : {"Keep me", "Refused", "Gone", "Queued"})
            QVERIFY(f.add(QString::fromLatin1(title)));
        const Item item = f.item(QStringLiteral("Keep me"));
        await(DeleteUndo::remove(&f.store, &center, item));
        QVERIFY(!f.has(QStringLiteral("Keep me")));
        QCOMPARE(center.message(), QStringLiteral("Deleted \u201CKeep me\u201D"));
        await(DeleteUndo::undo(&f.store, &center));
        QVERIFY(!center.hasOffer());
        QCOMPARE(f.store.item(item.id)->title, QStringLiteral("Keep me"));
        QVERIFY(f.store.lastError().isEmpty());

        // Refused by the server: an alert, and nothing queued.
        const Item refused = f.item(QStringLiteral("Refused"));
        await(f.store.deleteItem(refused));
        server->failNext(QStringLiteral("restore"), 500);
        await(f.store.undoDelete(refused.id));
        QVERIFY(!f.store.lastError().isEmpty());
        QVERIFY(!f.store.isOffline());
        QVERIFY(!f.has(QStringLiteral("Refused")));
        f.store.clearError();

        // The connection goes while the toast stands: Undo clears it and sends nothing, as
        // the fault a restore would use up shows.
        await(DeleteUndo::remove(&f.store, &center, f.item(QStringLiteral("Gone"))));
        QVERIFY(center.isDeletion());
        f.store.pathUpdated(false);
        QVERIFY(!f.store.canUndoDelete());
        server->failNext(QStringLiteral("restore"), 500);
        await(DeleteUndo::undo(&f.store, &center));
        QCOMPARE(server->pendingFaults(), 1);
        QVERIFY(!center.hasOffer());
        QVERIFY(!f.has(QStringLiteral("Gone")));
        QVERIFY(f.store.lastError().isEmpty());
        server->clearFaults();

        // A delete made offline offers no undo at all.
        await(DeleteUndo::remove(&f.store, &center, f.item(QStringLiteral("Queued"))));
        QVERIFY(!f.has(QStringLiteral("Queued")));
        QVERIFY(!center.hasOffer());

        // Unreachable: offline, no message, still nothing queued.
        await(f.store.sync());
        QVERIFY(!f.store.isOffline());
        server->delayNext(QStringLiteral("restore"), 2500);
        await(f.store.undoDelete(refused.id));
        QVERIFY(f.store.isOffline());
        QVERIFY(f.store.lastError().isEmpty());
        QCOMPARE(f.store.queuedEdits(), 0);
    }

    void capRefusalHandedOverEachTime() {
        AccountRig f(*server);
        server->setOpenCap(f.user, 0);
        QSignalSpy changed(&f.store, &Store::limitMessageChanged);
        QStringList shown;
        // What the main window does: copy the refusal, reset the Store's field at once.
        QObject::connect(&f.store, &Store::limitMessageChanged, &f.store, [&] {
            const QString message = f.store.takeLimitMessage();
            if (!message.isEmpty())
                shown << message;
        });
        QVERIFY(!f.add(QStringLiteral("one too many")));
        QVERIFY(!f.add(QStringLiteral("one too many")));
        QCOMPARE(shown.size(), 2);
        QVERIFY(!shown.first().isEmpty());
        QCOMPARE(shown.first(), shown.last());
        QVERIFY(f.store.limitMessage().isEmpty());
        QCOMPARE(changed.count(), 4);
    }

    void offlineBadge() {
        QCOMPARE(OfflineBadge::label(0), QStringLiteral("Offline"));
        QCOMPARE(OfflineBadge::label(-3), QStringLiteral("Offline"));
        QCOMPARE(OfflineBadge::label(1), QStringLiteral("Offline \u2014 1 edit saved locally"));
        QCOMPARE(OfflineBadge::label(2), QStringLiteral("Offline \u2014 2 edits saved locally"));
        QCOMPARE(OfflineBadge::text(1, std::nullopt), OfflineBadge::label(1));
        // The time of day in the short form: minutes, no seconds, no date.
        const QLocale english(QLocale::English, QLocale::UnitedStates);
        const QString text =
            OfflineBadge::text(2, QDateTime(QDate(2026, 2, 3), QTime(14, 5, 40)), english);
        QCOMPARE(text.left(text.size() - 3),
                 QStringLiteral("Offline \u2014 2 edits saved locally\nLast synced 2:05"));
        QVERIFY(text.endsWith(QStringLiteral("PM")));
    }
};

QTEST_GUILESS_MAIN(TestUndoNotices)
#include "tst_undo_notices.moc"
