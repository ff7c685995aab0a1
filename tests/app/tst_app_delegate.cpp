#include "AppDelegate.h"
#include "AppRig.h"
#include "Await.h"
#include "ServerProcess.h"
#include "WireFormats.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

using TestAwait::await;

namespace {

// A delegate over a Store of its own, counting how often it fronts the main window.
struct Harness : AppRig {
    AppDelegate delegate{store, prefs};
    int opened = 0;

    Harness(const QUrl& server, const std::optional<QString>& token)
        : AppRig(server, token) {
        delegate.setOpenMainWindow([this] { ++opened; });
    }
};

} // namespace

class TestAppDelegate : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanupTestCase() { server.reset(); }

    // A conflict fronts the window once however many passes see it, and a new one does
    // again once the first was answered.
    void aConflictFrontsTheWindowOnce() {
        const QString user = QStringLiteral("watched");
        Harness h(server->baseURL(), server->createUser(user));
        Store& store = h.store;
        AppDelegate& delegate = h.delegate;
        int& opened = h.opened;
        delegate.watchStore();
        await(store.refresh(false));
        QTRY_VERIFY_WITH_TIMEOUT(delegate.conflictSurfaced() == false, 1000);

        int round = 0;
        const auto makeConflict = [&] {
            store.pathUpdated(false);
            const QString title = QStringLiteral("Mine %1").arg(++round);
            QVERIFY(await(store.add(title, {}, {}, Section::action, {}, Priority::medium, {},
                                    LocalID::make())));
            auto stored = server->document(user).document;
            WireItem theirs;
            theirs.id = QStringLiteral("theirs-%1").arg(round);
            theirs.title = QStringLiteral("Theirs %1").arg(round);
            theirs.createdAt = QStringLiteral("2026-01-01T00:00:00Z");
            stored.items.push_back(theirs);
            server->replaceDocument(user, stored);
            await(store.refresh(false)); // with a queue, a refresh reconciles
            QVERIFY(store.hasPendingConflict());
        };

        makeConflict();
        QTRY_COMPARE_WITH_TIMEOUT(opened, 1, 5000);
        QVERIFY(delegate.conflictSurfaced());
        // Later passes with the same conflict leave the window alone.
        QSignalSpy passes(&delegate, &AppDelegate::passFinished);
        await(store.toggle(store.document().items.first()));
        QTRY_VERIFY_WITH_TIMEOUT(passes.count() > 0, 5000);
        QCOMPARE(opened, 1);

        await(store.resolveConflictKeepingOnline());
        QTRY_VERIFY_WITH_TIMEOUT(!delegate.conflictSurfaced(), 5000);
        makeConflict();
        QTRY_COMPARE_WITH_TIMEOUT(opened, 2, 5000);
    }

    void commandsRouteThePaneAndOpenTheWindow() {
        Harness h(server->baseURL(), std::nullopt);
        Store& store = h.store;
        AppDelegate& delegate = h.delegate;
        int& opened = h.opened;
        QSignalSpy screens(delegate.router(), &PaneRouter::screenChanged);

        delegate.openAI();
        delegate.openAI(); // an equal screen is not written again
        QCOMPARE(delegate.router()->screenText(), QStringLiteral("ai"));
        QCOMPARE(screens.count(), 1);
        delegate.openConnections();
        delegate.openRules();
        QCOMPARE(delegate.router()->screenText(), QStringLiteral("rules"));
        QCOMPARE(opened, 4);

        // Back from connections goes to the setup steps only when they were open.
        delegate.router()->setAiSetupOpen(true);
        delegate.router()->openFromSetup(QStringLiteral("prompts"));
        QCOMPARE(delegate.router()->backToolTip(), QStringLiteral("Back to the setup steps"));
        delegate.router()->back();
        QCOMPARE(delegate.router()->screenText(), QStringLiteral("ai"));
        QVERIFY(delegate.router()->connectionsAnchor().isEmpty());
        delegate.router()->back();
        QVERIFY(!delegate.router()->screen() && !delegate.router()->aiSetupOpen());
        QCOMPARE(delegate.router()->backToolTip(), QStringLiteral("Back to the selected task"));

        // Without a token the launch finds nothing to do and says nothing.
        QSignalSpy launched(&delegate, &AppDelegate::launched);
        delegate.launch();
        QTRY_COMPARE_WITH_TIMEOUT(launched.count(), 1, 5000);
        QVERIFY(store.lastError().isEmpty());
    }
};

QTEST_MAIN(TestAppDelegate)
#include "tst_app_delegate.moc"
