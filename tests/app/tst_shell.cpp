#include "AppEnvironment.h"
#include "Await.h"
#include "ConnectionsModel.h"
#include "CreditsPanelModel.h"
#include "LoginItems.h"
#include "MainWindow.h"
#include "PeoplePaneModel.h"
#include "ReviewPaneModel.h"
#include "RulesViewModel.h"
#include "SamplePromptsModel.h"
#include "ScheduleSettingsModel.h"
#include "ServerProcess.h"
#include "SingleInstance.h"
#include "Tray.h"
#include "TunePanelModel.h"
#include "VelmoraApp.h"
#include "VelmoraConfig.h"
#include "WireFormats.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QClipboard>
#include <QCoroTimer>
#include <QDir>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlExpression>
#include <QQuickItem>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrlQuery>
#include <QtTest>

using TestAwait::await;

namespace {

// Screenshots go where VELMORA_SCREENSHOT_DIR says, when it says.
void screenshot(QQuickWindow* window, const QString& name) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOT_DIR");
    if (folder.isEmpty())
        return;
    QDir().mkpath(folder);
    QTRY_VERIFY_WITH_TIMEOUT(window->isExposed(), 5000);
    QTest::qWait(300);
    QVERIFY(window->grabWindow().save(QDir(folder).filePath(name + QStringLiteral(".png"))));
}

// The app as `velmora` builds it, on a private keychain, data folder and settings file.
struct Shell {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    std::unique_ptr<VelmoraApp> app;

    explicit Shell(const ServerProcess& server, const QString& tokenFile = {},
                   SecretStore* keyring = nullptr) {
        Environment::setServerOverride(server.baseURL());
        LaunchOptions options;
        options.tokenFile = tokenFile;
        options.secrets = keyring ? keyring : &secrets;
        options.dataDirectory = dir.filePath(QStringLiteral("data"));
        options.settingsFile = dir.filePath(QStringLiteral("settings.ini"));
        options.useTray = false;
        app = std::make_unique<VelmoraApp>(options);
        if (!await(app->start()))
            throw std::runtime_error("the windows did not load");
        // A keyring of the test's own may hold the sign-in back on purpose.
        if (!tokenFile.isEmpty() && !keyring &&
            !QTest::qWaitFor([&] { return app->store()->hasToken(); }, 10000))
            throw std::runtime_error("the token file did not sign in");
    }
    bool add(const QString& title, Section section = Section::action,
             Priority priority = Priority::medium) {
        return await(app->store()->add(title, {}, {}, section, {}, priority, {}, LocalID::make()));
    }
    // The main window at the size of the screenshots, on screen.
    QQuickWindow* wideWindow() {
        QQuickWindow* main = app->mainWindow();
        main->resize(1180, 760);
        if (!QTest::qWaitForWindowExposed(main, 5000))
            throw std::runtime_error("the main window did not show");
        return main;
    }
    // What `window` shows in both schemes, the pointer resting off every control.
    void screenshots(QQuickWindow* window, const QString& name) {
        QTest::mouseMove(window, QPoint(window->width() - 2, window->height() - 2));
        for (const char* scheme : {"light", "dark"}) {
            app->prefs()->setAppearanceText(QString::fromLatin1(scheme));
            screenshot(window, name + u'-' + QLatin1String(scheme));
        }
        app->prefs()->setAppearanceText(QStringLiteral("light"));
    }

    // Items made by a Repeater have a visual parent only, so the search walks that tree.
    static QList<QQuickItem*> items(QQuickWindow* window) {
        QList<QQuickItem*> all;
        QList<QQuickItem*> pending{window->contentItem()};
        // An ApplicationWindow's header and menu bar hang off the root item.
        if (auto* root = window->contentItem()->parentItem())
            pending = {root};
        while (!pending.isEmpty()) {
            QQuickItem* item = pending.takeLast();
            all.append(item);
            pending.append(item->childItems());
        }
        return all;
    }
    QQuickItem* find(QQuickWindow* window, const QString& name) const {
        for (auto* item : items(window))
            if (item->objectName() == name)
                return item;
        throw std::runtime_error(qPrintable(QStringLiteral("no ") + name));
    }
    // The visible buttons and fields a screen reader could not name, as "objectName class".
    // `examined` counts the controls looked at.
    static QStringList unnamedControls(QQuickWindow* window, int* examined = nullptr) {
        QAccessible::setActive(true);
        QStringList unnamed;
        for (QQuickItem* item : items(window)) {
            // A combo box's own text field is part of it; the menu bar is Qt's.
            const bool inCombo =
                item->parentItem() && item->parentItem()->inherits("QQuickComboBox");
            const bool menuBar = QByteArray(item->metaObject()->className()).contains("MenuBar");
            if (!item->isVisible() || inCombo || menuBar ||
                !(item->inherits("QQuickAbstractButton") || item->inherits("QQuickTextInput") ||
                  item->inherits("QQuickComboBox")))
                continue;
            if (examined)
                ++*examined;
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(item);
            if (!accessible || accessible->text(QAccessible::Name).isEmpty())
                unnamed << item->objectName() + QLatin1Char(' ') +
                               QString::fromLatin1(item->metaObject()->className());
        }
        return unnamed;
    }
    // The visible item of that name, or null while there is none.
    static QQuickItem* named(QQuickWindow* window, const QString& name) {
        for (auto* item : items(window))
            if (item->objectName() == name && item->isVisible())
                return item;
        return nullptr;
    }
    // The visible item showing exactly `text`, if any.
    static QQuickItem* textItem(QQuickWindow* window, const QString& text) {
        for (auto* item : items(window))
            if (item->property("text").toString() == text && item->isVisible())
                return item;
        return nullptr;
    }
    // Key presses for each (Latin-1) character, to whatever has focus.
    static void type(QQuickWindow* window, const QString& text) {
        for (const QChar c : text)
            QTest::keyClick(window, c.toLatin1());
    }
    // A real mouse click in the middle of the item.
    static void click(QQuickItem* item) {
        QVERIFY(item->isVisible() && item->isEnabled());
        QQuickWindow* window = item->window();
        QVERIFY(QTest::qWaitForWindowExposed(window, 5000));
        const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
        QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
    }
    // The menu bar's action with that text.
    QObject* action(const QString& text) const {
        for (auto* object : app->mainWindow()->findChildren<QObject*>())
            if (object->inherits("QQuickAction") && object->property("text").toString() == text)
                return object;
        throw std::runtime_error(qPrintable(QStringLiteral("no action ") + text));
    }
};

// A token file for a fresh account, so a test owns its list.
QString tokenFileFor(ServerProcess& server, const QString& user) {
    static QTemporaryDir dir;
    const QString path = dir.filePath(user + QStringLiteral(".token"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error("no token file");
    const QString token = server.createUser(user);
    file.write(token.toUtf8());
    // Welcomed already, so that no sheet stands over the screens under test.
    server.request("POST", "/api/onboarded", {}, {{"Authorization", "Bearer " + token.toUtf8()}});
    return path;
}

// The popup (a dialog, a menu) of that name, open or not.
QObject* popup(QQuickWindow* window, const QString& name) {
    for (auto* object : window->findChildren<QObject*>(name))
        if (object->inherits("QQuickPopup"))
            return object;
    throw std::runtime_error(qPrintable(QStringLiteral("no popup ") + name));
}

const QByteArray twoPrompts = R"({"prompts":[{"id":"a","title":"A","subtitle":"","text":"1"},)"
                              R"({"id":"b","title":"B","subtitle":"","text":"2"}]})";

// A keyring whose writes wait until let go, as one whose unlock prompt is up.
class HeldKeyring final : public SecretStore {
public:
    bool held = true;
    QCoro::Task<std::optional<QString>> read(QString, QString) override { co_return {}; }
    QCoro::Task<bool> write(QString, QString, QString) override {
        while (held)
            co_await QCoro::sleepFor(std::chrono::milliseconds(20));
        co_return true;
    }
    QCoro::Task<> remove(QString, QString) override { co_return; }
};

} // namespace

class TestShell : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        ServerProcess::Options options;
        options.demo = true;
        server = std::make_unique<ServerProcess>(options);
    }
    // Any warning fails, but the offscreen platform's note that it cannot raise a window.
    void init() {
        QTest::failOnWarning(
            QRegularExpression(QStringLiteral("^(?!This plugin does not support raise\\(\\)).*")));
    }
    void cleanupTestCase() { server.reset(); }

    void signedOutShowsSignInAndTheNotConnectedPanel() {
        Shell shell(*server);
        QQuickWindow* main = shell.app->mainWindow();
        QVERIFY(main->isVisible());
        QCOMPARE(main->title(), QStringLiteral("Velmora"));
        QCOMPARE(main->size(), QSize(940, 600));
        QCOMPARE(main->minimumSize(), QSize(860, 460));
        QVERIFY(Shell::textItem(main, QStringLiteral("WHAT IT LOOKS LIKE")));
        QVERIFY(shell.find(main, QStringLiteral("googleDoor"))->isEnabled());
        screenshot(main, QStringLiteral("sign-in"));

        // A pasted text that is no token: the Store's words in the warning label.
        shell.find(main, QStringLiteral("tokenField"))->setProperty("text", "hello");
        Shell::click(shell.find(main, QStringLiteral("connectButton")));
        QTRY_COMPARE_WITH_TIMEOUT(
            shell.find(main, QStringLiteral("warningLabel"))->property("text").toString(),
            QStringLiteral("That doesn't look like a token. Copy the token, or the connection "
                           "URL, from the Connections page."),
            5000);

        // The showcase: arrows wrap and pin; a pinned showcase no longer rotates.
        TokenSetup* setup = shell.app->tokenSetup();
        QVERIFY(setup->active());
        setup->advance();
        QCOMPARE(setup->panel(), 1);
        QVERIFY(!setup->pinned());
        Shell::click(shell.find(main, QStringLiteral("previousPanel")));
        Shell::click(shell.find(main, QStringLiteral("previousPanel")));
        QCOMPARE(setup->panel(), 2);
        QVERIFY(setup->pinned());
        setup->advance();
        QCOMPARE(setup->panel(), 2);
        Shell::click(shell.find(main, QStringLiteral("dot0")));
        QCOMPARE(shell.find(main, QStringLiteral("showcase"))->property("currentIndex"), 0);
        QCOMPARE(setup->showcaseRules().size(), 4);

        QQuickWindow* panel = shell.app->panelWindow();
        shell.app->showPanel();
        QVERIFY(Shell::textItem(panel, QStringLiteral("Not connected")));
        QVERIFY(
            Shell::textItem(panel, QStringLiteral("Paste a connection token to see your list.")));
        QVERIFY(Shell::textItem(panel, QStringLiteral("Set up…")));
        QVERIFY(!Shell::textItem(panel, QStringLiteral("Rules")));
        QCOMPARE(shell.app->panel()->toolTip(), QStringLiteral("Velmora — not connected"));
    }

    // The demo's run: the token file connects, the list and the panel fill, the icon says
    // something is due.
    void tokenFileConnectsAndThePanelCountsWhatIsDue() {
        Shell shell(*server, server->demoTokenFile());
        Store* store = shell.app->store();
        QTRY_VERIFY_WITH_TIMEOUT(!store->document().items.isEmpty(), 10000);
        QQuickWindow* main = shell.app->mainWindow();
        QTRY_COMPARE_WITH_TIMEOUT(
            shell.find(main, QStringLiteral("itemList"))->property("count"),
            QVariant(int(store->visibleItems(QDateTime::currentDateTime()).size())), 5000);
        screenshot(main, QStringLiteral("main-window"));
        // A later launch with --new opens the form here.
        shell.app->activate({QStringLiteral("velmora"), QStringLiteral("--new")});
        QVERIFY(shell.app->mainModel()->draftOpen());
        shell.app->mainModel()->closeDraft(false);

        const int due = store->dueCount(QDateTime::currentDateTime());
        QVERIFY2(due > 0, "the demo list has something due today");
        MenuBarPanel* panel = shell.app->panel();
        QTRY_COMPARE_WITH_TIMEOUT(panel->dueCount(), due, 5000); // it follows shortly after
        QCOMPARE(panel->icon(), QStringLiteral("due"));
        QCOMPARE(panel->toolTip(), QStringLiteral("Velmora — %1 due now").arg(due));

        // Done items stay in the panel while the count leaves them out.
        QQuickWindow* panelWindow = shell.app->panelWindow();
        shell.app->showPanel();
        QCOMPARE(shell.find(panelWindow, QStringLiteral("dueCount"))->property("text").toString(),
                 QString::number(due));
        const int rows = panel->rows()->count();
        const QString first = panel->rows()->items().first().id;
        const bool wasDone = panel->rows()->items().first().isDone();
        panel->toggle(first);
        QTRY_COMPARE_WITH_TIMEOUT(panel->rows()->items().first().isDone(), !wasDone, 5000);
        QCOMPARE(panel->rows()->count(), rows);
        QCOMPARE(panel->dueCount(), wasDone ? due + 1 : due - 1);
        screenshot(panelWindow, QStringLiteral("panel"));
    }

    // Typing in the add row and pressing Return puts the row in the list and on the server.
    void theAddRowAddsARow() {
        Shell shell(*server, tokenFileFor(*server, QStringLiteral("adder")));
        Store* store = shell.app->store();
        QQuickWindow* main = shell.app->mainWindow();
        QVERIFY(QTest::qWaitForWindowExposed(main, 5000));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("Nothing here")), 5000);
        // Every control on show can be named by a screen reader.
        int controls = 0;
        QCOMPARE(Shell::unnamedControls(main, &controls).join(u", "), QString());
        QVERIFY(controls > 15);
        // The shared tooltip shows an agent's name or a link's address as plain text.
        QQuickItem* field = shell.find(main, QStringLiteral("addField"));
        QQmlExpression format(qmlContext(field), field,
                              QStringLiteral("ToolTip.toolTip.contentItem.textFormat"));
        QCOMPARE(format.evaluate().toInt(), int(Qt::PlainText));
        field->forceActiveFocus();
        Shell::type(main, QStringLiteral("Water the plants"));
        QTest::keyClick(main, Qt::Key_Return);
        QCOMPARE(field->property("text").toString(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("Water the plants")), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(server->document(QStringLiteral("adder")).document.items.size(),
                                  size_t(1), 5000);
        // The new row is selected, so the pane shows it; Space ticks it from the keyboard.
        QTRY_COMPARE_WITH_TIMEOUT(
            shell.find(main, QStringLiteral("titleField"))->property("text").toString(),
            QStringLiteral("Water the plants"), 5000);
        shell.find(main, QStringLiteral("itemList"))->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(store->document().items.first().isDone(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(store->queuedEdits(), 0, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!store->isLoading(), 5000);
        // Ctrl+N opens the full form with what the add row holds.
        // The pointer rests off every control, so no tooltip opens while keys are sent.
        QTest::mouseMove(main, QPoint(main->width() - 2, main->height() - 2));
        field->forceActiveFocus();
        QTRY_VERIFY_WITH_TIMEOUT(field->hasActiveFocus(), 2000);
        Shell::type(main, QStringLiteral("Half typed"));
        const QString typed = field->property("text").toString();
        QVERIFY(!typed.isEmpty());
        QTest::keyClick(main, Qt::Key_N, Qt::ControlModifier);
        QTRY_COMPARE_WITH_TIMEOUT(shell.app->mainModel()->paneContent(), QStringLiteral("draft"),
                                  2000);
        QTRY_COMPARE_WITH_TIMEOUT(
            shell.find(main, QStringLiteral("titleField"))->property("text").toString(), typed,
            2000);
    }

    // Select a row, edit its title in the pane, save: the server's document changes.
    void editAndSaveReachesTheServer() {
        const QString user = QStringLiteral("editor");
        Shell shell(*server, tokenFileFor(*server, user));
        Store* store = shell.app->store();
        for (const char* title : {"First", "Second"})
            QVERIFY(shell.add(QString::fromUtf8(title)));
        QQuickWindow* main = shell.app->mainWindow();
        QVERIFY(QTest::qWaitForWindowExposed(main, 5000));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("Second")), 5000);
        Shell::click(Shell::textItem(main, QStringLiteral("Second")));
        QQuickItem* title = shell.find(main, QStringLiteral("titleField"));
        QTRY_COMPARE_WITH_TIMEOUT(title->property("text").toString(), QStringLiteral("Second"),
                                  2000);
        title->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_End);
        Shell::type(main, QStringLiteral(" edited"));
        QTRY_VERIFY_WITH_TIMEOUT(shell.find(main, QStringLiteral("saveBar"))->isVisible(), 2000);
        Shell::click(Shell::textItem(main, QStringLiteral("Save")));
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                for (const WireItem& item : server->document(user).document.items)
                    if (item.title == QStringLiteral("Second edited"))
                        return true;
                return false;
            }(),
            5000);
        QTRY_VERIFY_WITH_TIMEOUT(!shell.find(main, QStringLiteral("saveBar"))->isVisible(), 2000);
        // Delete with undo from the keyboard: the toast offers it back.
        shell.find(main, QStringLiteral("itemList"))->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_Delete);
        QTRY_VERIFY_WITH_TIMEOUT(shell.find(main, QStringLiteral("undoToast"))->isVisible(), 5000);
        screenshot(main, QStringLiteral("undo-toast"));
        QCOMPARE(shell.app->mainModel()->undo()->messageText(),
                 QStringLiteral("Deleted \u201CSecond edited\u201D"));
        // A chip narrows the list and the line says so; its "Clear" shows everything again.
        Shell::click(shell.find(main, QStringLiteral("chip-waiting")));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("Nothing matches")), 2000);
        QQuickItem* summary = shell.find(main, QStringLiteral("filterSummary"));
        QVERIFY(summary->isVisible());
        QCOMPARE(summary->property("text").toString(), QStringLiteral("Showing waiting on"));
        Shell::click(shell.find(main, QStringLiteral("clearFilters")));
        QTRY_VERIFY_WITH_TIMEOUT(!summary->isVisible(), 2000);
        QVERIFY(!store->view()->isFiltered());
    }

    // Edits queued offline meet a change from another device: the dialog asks, and each
    // answer does what it says.
    void theConflictDialogAsksAndEachAnswerHolds_data() {
        QTest::addColumn<bool>("keepMine");
        QTest::newRow("mine") << true;
        QTest::newRow("online") << false;
    }
    void theConflictDialogAsksAndEachAnswerHolds() {
        QFETCH(bool, keepMine);
        const QString user = keepMine ? QStringLiteral("keeper") : QStringLiteral("yielder");
        Shell shell(*server, tokenFileFor(*server, user));
        Store* store = shell.app->store();
        // One answer is photographed in each scheme.
        const QString appearance = keepMine ? QStringLiteral("light") : QStringLiteral("dark");
        shell.app->prefs()->setAppearanceText(appearance);
        await(store->refresh(false));
        store->pathUpdated(false);
        QVERIFY(shell.add(QStringLiteral("Mine")));
        // The queued edit is on disk once the window has drawn it.
        const auto queuedOnDisk = [&] {
            const auto snapshot = OfflineDisk(shell.dir.filePath(QStringLiteral("data"))).load();
            return snapshot ? snapshot->queue.size() : -1;
        };
        QTRY_COMPARE_WITH_TIMEOUT(queuedOnDisk(), 1, 2000);
        auto stored = server->document(user).document;
        WireItem theirs;
        theirs.id = QStringLiteral("theirs");
        theirs.title = QStringLiteral("Theirs");
        theirs.createdAt = QStringLiteral("2026-01-01T00:00:00Z");
        stored.items.push_back(theirs);
        server->replaceDocument(user, stored);
        store->pathUpdated(true); // back online: the sync finds both sides moved
        QTRY_VERIFY_WITH_TIMEOUT(store->hasPendingConflict(), 5000);
        QQuickWindow* main = shell.app->mainWindow();
        QVERIFY(QTest::qWaitForWindowExposed(main, 5000));
        QTRY_VERIFY_WITH_TIMEOUT(
            popup(main, QStringLiteral("conflictDialog"))->property("opened").toBool(), 5000);
        QVERIFY(Shell::textItem(main, QStringLiteral("Keep my 1 offline edit")));
        // Beneath the question: what is at stake, and how much moved elsewhere.
        QVERIFY(Shell::textItem(main, QStringLiteral("Your offline edits:\n• Added “Mine”\n"
                                                     "1 change was made elsewhere.")));
        screenshot(main, QStringLiteral("conflict-dialog-") + appearance);
        // Escape doesn't dismiss it: only an answer does.
        QTest::keyClick(main, Qt::Key_Escape);
        QVERIFY(popup(main, QStringLiteral("conflictDialog"))->property("visible").toBool());
        Shell::click(
            shell.find(main, keepMine ? QStringLiteral("keepMine") : QStringLiteral("keepOnline")));
        QTRY_VERIFY_WITH_TIMEOUT(!store->hasPendingConflict(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(
            !popup(main, QStringLiteral("conflictDialog"))->property("visible").toBool(), 5000);
        const auto titles = [&] {
            QStringList out;
            for (const WireItem& item : server->document(user).document.items)
                out << item.title;
            out.sort();
            return out;
        };
        QTRY_COMPARE_WITH_TIMEOUT(
            titles(), keepMine ? QStringList({"Mine", "Theirs"}) : QStringList({"Theirs"}), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(store->queuedEdits(), 0, 5000);
    }

    // The screens worth looking at, light and dark: grouped and flat lists, the item, the
    // draft with a Smart Add notice, the offline badge.
    void screenshots_data() {
        QTest::addColumn<QString>("appearance");
        QTest::newRow("light") << "light";
        QTest::newRow("dark") << "dark";
    }
    void screenshots() {
        QFETCH(QString, appearance);
        if (qEnvironmentVariable("VELMORA_SCREENSHOT_DIR").isEmpty())
            QSKIP("no VELMORA_SCREENSHOT_DIR");
        Shell shell(*server, server->demoTokenFile());
        Store* store = shell.app->store();
        shell.app->prefs()->setAppearanceText(appearance);
        QTRY_VERIFY_WITH_TIMEOUT(!store->document().items.isEmpty(), 10000);
        QQuickWindow* main = shell.app->mainWindow();
        main->resize(1180, 760);
        MainWindow* window = shell.app->mainModel();
        screenshot(main, QStringLiteral("list-grouped-") + appearance);
        store->view()->setShowAll(false);
        screenshot(main, QStringLiteral("list-flat-") + appearance);
        store->view()->setShowAll(true);
        window->moveSelection(1);
        screenshot(main, QStringLiteral("item-detail-") + appearance);
        // A long paste with a link: the server's draft, its links line and the long-paste note.
        QGuiApplication::clipboard()->setText(
            QStringLiteral(
                "Send the Q4 deck to Dana tomorrow\nDraft: https://docs.example.com/deck\n") +
            QStringLiteral("Notes from the planning call. ").repeated(40));
        await(window->runSmartAdd());
        screenshot(main, QStringLiteral("draft-smart-add-") + appearance);
        window->closeDraft(false);
        store->pathUpdated(false);
        QVERIFY(shell.add(QStringLiteral("Written on the train"), Section::note, Priority::low));
        QTRY_VERIFY_WITH_TIMEOUT(shell.find(main, QStringLiteral("offlineBadge"))->isVisible(),
                                 2000);
        screenshot(main, QStringLiteral("offline-") + appearance);
        // The badge's Retry asks the server, which answers: back online.
        Shell::click(shell.find(main, QStringLiteral("offlineRetry")));
        QTRY_VERIFY_WITH_TIMEOUT(!store->isOffline(), 5000);
    }

    // An agent's proposal reviewed on screen against the server: it opens itself on the
    // Updates tab; rows are marked from the keyboard and the add's title typed over; a
    // refused answer keeps the marks; the answer lands. Newer kinds alone stay pending.
    void reviewAnswersTheProposal() {
        const QString user = QStringLiteral("reviewer");
        Shell shell(*server, tokenFileFor(*server, user));
        Store* store = shell.app->store();
        for (const char* title : {"Draft budget", "Renew passport"})
            QVERIFY(shell.add(QString::fromUtf8(title)));
        QTRY_COMPARE_WITH_TIMEOUT(store->queuedEdits(), 0, 5000);
        const QString budget = store->document().items[0].id;
        const QString passport = store->document().items[1].id;
        const QString proposal = QStringLiteral(R"({"created_at":"2026-03-01T09:15:00Z",
          "agent":"Claude","summary":"Read your mail from the weekend.","deltas":[
          {"kind":"add","item":{"title":"Reply to Dana","section":"action","channel":"email",
           "source":"Dana","priority":"high","links":[]},"reason":"She asked on Monday"},
          {"kind":"complete","item_id":"%1","reason":"The budget went out on Friday"},
          {"kind":"update","item_id":"%2","patch":{"priority":"high"}},
          {"kind":"add_rule","rule":{"action":"exclude","match":{"op":"all","conditions":[
           {"field":"source","op":"contains","value":["no-reply"]}]},"params":{},
           "reason":"Automated mail","origin":{"from":"rejections","rejection_ids":[],"count":3}}},
          {"kind":"escalate","level":3},
          {"kind":"complete","item_id":"gone"}]})")
                                     .arg(budget, passport);
        server->createProposal(user, JsonValue::parse(proposal.toUtf8()).value_or(JsonValue()));
        await(store->refreshProposal());

        MainWindow* window = shell.app->mainModel();
        QCOMPARE(window->aiTab(), QStringLiteral("updates"));
        QCOMPARE(window->suggestionCount(), 6);
        QQuickWindow* main = shell.wideWindow();
        QQuickItem* pane = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((pane = Shell::named(main, QStringLiteral("reviewPane"))), 5000);
        auto* review = qobject_cast<ReviewPaneModel*>(pane->property("model").value<QObject*>());
        QVERIFY(review);
        QAbstractItemModelTester tester(review->rows());
        QCOMPARE(review->title(), QStringLiteral("Claude suggests some changes"));
        QCOMPARE(review->summary(),
                 QStringLiteral("1 addition, 1 completion, 1 change and 1 rule"));
        // What the button shows, which must follow the marks.
        const auto primary = [&] { return shell.find(main, QStringLiteral("primaryButton")); };
        QCOMPARE(primary()->property("text").toString(), QStringLiteral("Accept all (4)"));
        int headings = 0;
        for (const ReviewRow& row : review->rows()->rows())
            headings += row.ruleHeading;
        QCOMPARE(headings, 1);
        QCOMPARE(Shell::unnamedControls(main).join(u", "), QString());
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, review->ruleHeading()), 2000);
        QVERIFY(Shell::textItem(main, QStringLiteral("1 suggestion skipped — those items are no "
                                                     "longer here.")));
        QVERIFY(Shell::textItem(main, QStringLiteral("1 suggestion in a newer format — review on "
                                                     "the website; deciding here will skip it.")));

        // Down twice to the change, R strikes it out, A takes it back, R again.
        QTest::mouseMove(main, QPoint(main->width() - 2, main->height() - 2));
        shell.find(main, QStringLiteral("reviewRows"))->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_Down);
        QTest::keyClick(main, Qt::Key_Down);
        QTest::keyClick(main, Qt::Key_R);
        QCOMPARE(review->state().rejected, QSet<QString>{QStringLiteral("update:2")});
        QTest::keyClick(main, Qt::Key_A);
        QVERIFY(review->state().rejected.isEmpty());
        QTest::keyClick(main, Qt::Key_R);
        QCOMPARE(primary()->property("text").toString(), QStringLiteral("Accept (3)"));
        QQuickItem* title = Shell::named(main, QStringLiteral("proposedTitle"));
        QVERIFY(title);
        title->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_End);
        Shell::type(main, QStringLiteral(" today"));
        QCOMPARE(review->state().edits.value(QStringLiteral("add:0")),
                 QStringLiteral("Reply to Dana today"));
        QCOMPARE(primary()->property("text").toString(), QStringLiteral("Accept (3)"));
        shell.screenshots(main, QStringLiteral("review"));

        // Refused: the marks stay and the Store's words show. Return answers on the button.
        server->failNext(QStringLiteral("resolveProposal"), 500);
        primary()->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_Return);
        QTRY_VERIFY_WITH_TIMEOUT(!store->lastError().isEmpty(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(primary()->isEnabled(), 2000);
        QTRY_VERIFY_WITH_TIMEOUT(
            popup(main, QStringLiteral("errorDialog"))->property("opened").toBool(), 2000);
        QCOMPARE(primary()->property("text").toString(), QStringLiteral("Accept (3)"));
        store->clearError();

        Shell::click(primary());
        QTRY_VERIFY_WITH_TIMEOUT(!store->proposal(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(shell.app->delegate()->router()->screenText(), QString(), 5000);
        const WireDocument document = server->document(user).document;
        QStringList items;
        for (const WireItem& item : document.items)
            items << item.title + u' ' + Wire::string(item.status) + u' ' +
                         Wire::string(item.priority) + u' ' + Wire::string(item.origin);
        QCOMPARE(items,
                 (QStringList{"Draft budget done medium user", "Renew passport open medium user",
                              "Reply to Dana today open high ai"}));
        QCOMPARE(document.rules.size(), 1);
        QCOMPARE(document.rejections.size(), 1);
        QCOMPARE(document.rejections[0].itemId, passport);
        QCOMPARE(document.suppressions.size(), 1);
        QVERIFY(server->call(server->createUser(user), QStringLiteral("loadProposal"))
                    .json()
                    .find(u"result")
                    ->isNull());

        // Only a newer kind: "Close" hides the pane and the proposal waits for the website.
        server->createProposal(user, JsonValue::parse(R"({"created_at":"2026-03-02T09:15:00Z",
            "deltas":[{"kind":"escalate"}]})")
                                         .value_or(JsonValue()));
        await(store->refreshProposal());
        QTRY_VERIFY_WITH_TIMEOUT((pane = Shell::named(main, QStringLiteral("reviewPane"))), 5000);
        review = qobject_cast<ReviewPaneModel*>(pane->property("model").value<QObject*>());
        QCOMPARE(review->primaryLabel(), QStringLiteral("Close"));
        Shell::click(shell.find(main, QStringLiteral("primaryButton")));
        QTRY_COMPARE_WITH_TIMEOUT(shell.app->delegate()->router()->screenText(), QString(), 5000);
        QVERIFY(store->proposal());
        QVERIFY(!server->call(server->createUser(user), QStringLiteral("loadProposal"))
                     .json()
                     .find(u"result")
                     ->isNull());
        // The tray panel's way in lands on the waiting suggestions.
        window->setAiTab(QStringLiteral("briefing"));
        shell.app->delegate()->openAI();
        QCOMPARE(window->aiTab(), QStringLiteral("updates"));
        QCOMPARE(shell.app->delegate()->router()->screenText(), QStringLiteral("ai"));
        // Its help, and the way back.
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("reviewHelpButton")), 5000);
        Shell::click(Shell::named(main, QStringLiteral("reviewHelpButton")));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("updatesHelp")), 2000);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("What an update is")), 2000);
        shell.screenshots(main, QStringLiteral("updates-help"));
        Shell::click(Shell::named(main, QStringLiteral("helpBack")));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("reviewRows")), 2000);
        // "Later" puts it off; with nothing waiting the tab says where suggestions come from.
        Shell::click(Shell::named(main, QStringLiteral("laterButton")));
        QTRY_COMPARE_WITH_TIMEOUT(shell.app->delegate()->router()->screenText(), QString(), 2000);
        server->clearProposal(user);
        await(store->refreshProposal());
        QCOMPARE(window->suggestionCount(), 0);
        window->openAI();
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("updatesEmpty")), 5000);
        shell.screenshots(main, QStringLiteral("updates-empty"));
        // The pane's own help follows its tab: the briefing's here.
        window->setAiTab(QStringLiteral("briefing"));
        Shell::click(shell.find(main, QStringLiteral("aiHelpButton")));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("briefingHelp")), 2000);
        shell.screenshots(main, QStringLiteral("briefing-help"));
        Shell::click(Shell::named(main, QStringLiteral("helpBack")));
        QTRY_VERIFY_WITH_TIMEOUT(!Shell::named(main, QStringLiteral("briefingHelp")), 2000);
        window->setAiTab(QStringLiteral("updates"));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("connectSomeone")), 2000);
        Shell::click(Shell::named(main, QStringLiteral("connectSomeone")));
        QCOMPARE(shell.app->delegate()->router()->screenText(), QStringLiteral("people"));
    }

    // The Tune and Credits tabs against the server: the focus list cleaned and kept or put
    // back, a handled finding let back, and the ledger's lots with their runs fetched once.
    void tuneAndCreditsTabs() {
        const QString user = QStringLiteral("tuner");
        Shell shell(*server, tokenFileFor(*server, user));
        Store* store = shell.app->store();
        QVERIFY(shell.add(QStringLiteral("Send the Acme invoice")));
        QTRY_COMPARE_WITH_TIMEOUT(store->queuedEdits(), 0, 5000);
        const std::unique_ptr<APIClient> api = store->freshClient();
        await(api->dismissFinding(store->document().items[0].id, QStringLiteral("chase"),
                                  QStringLiteral("chase"), std::nullopt));
        QQuickWindow* main = shell.wideWindow();
        MainWindow* window = shell.app->mainModel();
        window->setAiTab(QStringLiteral("tune"));
        window->openAI();
        QQuickItem* tab = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((tab = Shell::named(main, QStringLiteral("tuneTab"))), 5000);
        auto* tune = qobject_cast<TunePanelModel*>(tab->property("model").value<QObject*>());
        QVERIFY(tune);

        tune->setDraft(QStringLiteral("  Acme\tLtd "));
        Shell::click(Shell::named(main, QStringLiteral("addFocus")));
        QTRY_COMPARE_WITH_TIMEOUT(server->document(user).document.focus,
                                  QStringList{QStringLiteral("Acme Ltd")}, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!tune->saving(), 5000);
        QVERIFY(Shell::textItem(main, QStringLiteral("Acme Ltd")));
        QCOMPARE(Shell::named(main, QStringLiteral("focusCount"))->property("text").toString(),
                 QStringLiteral("1/10"));
        tune->setDraft(QStringLiteral(" acme ltd "));
        QVERIFY(Shell::named(main, QStringLiteral("focusDuplicate")));
        QVERIFY(!Shell::named(main, QStringLiteral("addFocus"))->isEnabled());
        // A refusal puts the former list back and says why; the draft stays cleared.
        server->failNext(QStringLiteral("setFocus"), 500);
        tune->setDraft(QStringLiteral("Dana"));
        Shell::click(Shell::named(main, QStringLiteral("addFocus")));
        QTRY_VERIFY_WITH_TIMEOUT(!store->lastError().isEmpty(), 5000);
        QCOMPARE(store->focus(), QStringList{QStringLiteral("Acme Ltd")});
        QCOMPARE(tune->draft(), QString());
        store->clearError();

        // The finding handled through the API, shown by its task, let back on the server.
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("handledRow")), 5000);
        QVERIFY(Shell::textItem(main, QStringLiteral("Send the Acme invoice")));
        QVERIFY(Shell::textItem(
            main, QStringLiteral("Chase · ") +
                      QLocale().toString(QDate::currentDate(), QStringLiteral("MMM d"))));
        shell.screenshots(main, QStringLiteral("tune"));
        Shell::click(Shell::named(main, QStringLiteral("letComeBack")));
        QTRY_VERIFY_WITH_TIMEOUT(
            Shell::textItem(main, QStringLiteral("Nothing yet. Findings you "
                                                 "act on in a briefing land here.")),
            5000);
        QVERIFY(await(api->handledFindings()).isEmpty());

        // A new account's one credit, a purchase that never expires, a run that used one.
        server->grantCredits(user, 5);
        QVERIFY(server->recordRun(user));
        window->setAiTab(QStringLiteral("credits"));
        QTRY_VERIFY_WITH_TIMEOUT((tab = Shell::named(main, QStringLiteral("creditsTab"))), 5000);
        auto* credits = qobject_cast<CreditsPanelModel*>(tab->property("model").value<QObject*>());
        QTRY_VERIFY_WITH_TIMEOUT(credits->hasSnapshot(), 5000);
        QCOMPARE(Shell::named(main, QStringLiteral("creditsTotal"))->property("text").toString(),
                 QStringLiteral("5"));
        QVERIFY(Shell::named(main, QStringLiteral("extraRow")));
        QVERIFY(Shell::textItem(main, QStringLiteral("5 left · never expire")));
        QVERIFY(Shell::textItem(main, QStringLiteral("1 of 1 used")));
        const QString spentLot = credits->snapshot()->lots[1].id;
        server->injectOn("GET", "/api/ai/credits", std::nullopt, 100); // counts them
        credits->toggle(spentLot);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("You asked for it")), 5000);
        shell.screenshots(main, QStringLiteral("credits"));
        credits->toggle(spentLot);
        QTRY_VERIFY_WITH_TIMEOUT(!Shell::textItem(main, QStringLiteral("You asked for it")), 2000);
        credits->toggle(spentLot);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("You asked for it")), 2000);
        QCOMPARE(server->pendingFaults(), 99); // one fetch of the lot's runs
        server->clearFaults();

        // The figures are one account's: another token starts afresh, signing out clears.
        CreditsPanelModel ledger;
        TunePanelModel tuned;
        ledger.setStore(store);
        tuned.setStore(store);
        QTRY_VERIFY_WITH_TIMEOUT(ledger.total() == 5 && tuned.handledLoaded(), 5000);
        ledger.toggle(spentLot);
        QTRY_VERIFY_WITH_TIMEOUT(ledger.lots().value(1).toMap().value("runsLoaded").toBool(), 5000);
        QVERIFY(await(store->connect(server->createUser(QStringLiteral("tuner2")))));
        QTRY_VERIFY_WITH_TIMEOUT(ledger.hasSnapshot() && !ledger.loading(), 5000);
        QCOMPARE(ledger.total(), 1);
        QCOMPARE(ledger.lots().size(), 1);
        QVERIFY(!ledger.lots()[0].toMap().value("expanded").toBool());
        await(store->disconnect());
        QVERIFY(!ledger.hasSnapshot() && !ledger.loadFailed() && ledger.lots().isEmpty());
        QVERIFY(!tuned.handledLoaded() && !tuned.handledFailed());
    }

    // Rules on screen against the server: made through the form, paused and deleted after
    // the question, each seen in the server's document.
    // The Briefing tab on a fresh briefing: the unread dot until the tab opens, the cards,
    // and the hint closed for good.
    void briefingTab() {
        const QString user = QStringLiteral("briefer");
        const QString tokenFile = tokenFileFor(*server, user);
        WireDocument document;
        const QString today = LocalDay::string(QDateTime::currentDateTime());
        const QString old = QDateTime::currentDateTimeUtc().addDays(-40).toString(Qt::ISODate);
        for (const auto& [title, section, source] :
             {std::tuple{"Send the Acme invoice", Section::action, ""},
              std::tuple{"Contract back from legal", Section::waiting, "Dana Whitfield"},
              std::tuple{"Old idea for the offsite", Section::note, ""}}) {
            WireItem item;
            item.id = QString::fromUtf8(title);
            item.title = item.id;
            item.section = section;
            item.source = *source ? std::optional(QString::fromUtf8(source)) : std::nullopt;
            item.due = section == Section::note ? std::nullopt : std::optional(today);
            item.priority = section == Section::action ? Priority::high : Priority::low;
            item.createdAt = old;
            document.items << item;
        }
        document.focus = {QStringLiteral("Acme")};
        server->replaceDocument(user, document);
        QCOMPARE(server->admin("POST", QStringLiteral("/admin/users/briefer/briefing")).status,
                 200);
        Shell shell(*server, tokenFile);
        Store* store = shell.app->store();
        QQuickWindow* main = shell.wideWindow();
        QTRY_VERIFY_WITH_TIMEOUT(store->briefingUnread(), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("briefingDot")), 2000);
        screenshot(main, QStringLiteral("briefing-unread"));
        shell.app->prefs()->setBriefingHelpHintDone(false);
        MainWindow* window = shell.app->mainModel();
        window->setAiTab(QStringLiteral("briefing"));
        window->openAI();
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("findingCard")), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!Shell::named(main, QStringLiteral("briefingDot")), 5000);
        QVERIFY(Shell::named(main, QStringLiteral("focusChip")));
        QVERIFY(Shell::named(main, QStringLiteral("briefingHint")));
        QCOMPARE(Shell::unnamedControls(main).join(u", "), QString());
        shell.screenshots(main, QStringLiteral("briefing"));
        Shell::click(Shell::textItem(main, QStringLiteral("Got it")));
        QTRY_VERIFY_WITH_TIMEOUT(!Shell::named(main, QStringLiteral("briefingHint")), 2000);
        QVERIFY(shell.app->prefs()->briefingHelpHintDone());
        // The footer's button sits below the fold; the model takes the press.
        QObject* panel =
            Shell::named(main, QStringLiteral("briefingTab"))->property("model").value<QObject*>();
        QVERIFY(QMetaObject::invokeMethod(panel, "showHistory"));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("historyRow")), 5000);
        QVERIFY(Shell::textItem(main, QStringLiteral("3 findings · 0 observations")));
        screenshot(main, QStringLiteral("briefing-history"));
    }

    void rulesAreMadePausedAndDeleted() {
        const QString user = QStringLiteral("ruler");
        Shell shell(*server, tokenFileFor(*server, user));
        QQuickWindow* main = shell.wideWindow();
        shell.app->mainModel()->showScreen(QStringLiteral("rules"));
        QQuickItem* view = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((view = Shell::named(main, QStringLiteral("rulesView"))), 5000);
        auto* rules = qobject_cast<RulesViewModel*>(view->property("model").value<QObject*>());
        QVERIFY(rules);
        QAbstractItemModelTester tester(rules->rules());
        QVERIFY(Shell::textItem(main, QStringLiteral("No rules yet")));
        screenshot(main, QStringLiteral("rules-empty"));

        // Escape puts the form away; the button brings it back.
        Shell::click(shell.find(main, QStringLiteral("addRuleButton")));
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("ruleValue")), 2000);
        Shell::named(main, QStringLiteral("ruleValue"))->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_Escape);
        QTRY_VERIFY_WITH_TIMEOUT(!rules->adding(), 2000);
        Shell::click(shell.find(main, QStringLiteral("addRuleButton")));
        QQuickItem* composer = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((composer = Shell::named(main, QStringLiteral("ruleComposer"))),
                                 2000);
        auto* form =
            qobject_cast<RuleComposerModel*>(composer->property("model").value<QObject*>());
        QTRY_VERIFY_WITH_TIMEOUT(shell.find(main, QStringLiteral("ruleValue"))->hasActiveFocus(),
                                 2000);
        QCOMPARE(Shell::unnamedControls(main).join(u", "), QString());
        Shell::type(main, QStringLiteral("  standup "));
        QVERIFY(!form->canCreate()); // a reason is required
        form->setAction(QStringLiteral("recategorize"));
        form->setTarget(QStringLiteral("waiting"));
        shell.find(main, QStringLiteral("ruleReason"))->forceActiveFocus();
        Shell::type(main, QStringLiteral("Meetings wait"));
        screenshot(main, QStringLiteral("rule-composer"));
        QTest::keyClick(main, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(rules->rules()->count(), 1, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!rules->adding(), 2000);
        auto stored = server->document(user).document.rules;
        QCOMPARE(stored.size(), 1);
        QCOMPARE(stored[0].reason, QStringLiteral("Meetings wait"));
        QCOMPARE(rules->rules()->lines()[0].sentence,
                 QStringLiteral("Recategorise items where title contains standup"));
        shell.screenshots(main, QStringLiteral("rules"));

        Shell::click(shell.find(main, QStringLiteral("pauseButton")));
        QTRY_COMPARE_WITH_TIMEOUT(server->document(user).document.rules[0].status,
                                  RuleStatus::paused, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(
            shell.find(main, QStringLiteral("pauseButton"))->property("text").toString(),
            QStringLiteral("Resume"), 5000);

        // Delete from the keyboard; "Keep" keeps it, "Delete" deletes it.
        shell.find(main, QStringLiteral("ruleRows"))->forceActiveFocus();
        QTest::keyClick(main, Qt::Key_Delete);
        QObject* question = popup(main, QStringLiteral("deleteRuleDialog"));
        QTRY_VERIFY_WITH_TIMEOUT(question->property("opened").toBool(), 2000);
        Shell::click(shell.find(main, QStringLiteral("keepRule")));
        QTRY_VERIFY_WITH_TIMEOUT(!question->property("visible").toBool(), 2000);
        QCOMPARE(rules->rules()->count(), 1);
        rules->requestDelete(rules->rules()->lines()[0].id);
        QTRY_VERIFY_WITH_TIMEOUT(question->property("opened").toBool(), 2000);
        Shell::click(shell.find(main, QStringLiteral("deleteRule")));
        QTRY_VERIFY_WITH_TIMEOUT(server->document(user).document.rules.isEmpty(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(rules->rules()->count(), 0, 5000);

        // A rule deleted elsewhere while its question is open leaves nothing to confirm.
        QVERIFY(await(shell.app->store()->createRule(RuleAction::exclude, RuleField::title,
                                                     RuleOp::contains, QStringLiteral("x"),
                                                     std::nullopt, QStringLiteral("r"))));
        rules->requestDelete(shell.app->store()->rules()[0].id);
        QTRY_VERIFY_WITH_TIMEOUT(question->property("opened").toBool(), 2000);
        auto emptied = server->document(user).document;
        emptied.rules.clear();
        server->replaceDocument(user, emptied);
        await(shell.app->store()->refresh(false));
        QTRY_VERIFY_WITH_TIMEOUT(!question->property("visible").toBool(), 2000);
        QVERIFY(rules->confirmingDelete().isEmpty());
    }

    void settingsTakeEffectAtOnce() {
        Shell shell(*server);
        QQuickWindow* main = shell.app->mainWindow();
        QQuickWindow* settings = shell.app->settingsWindow();
        shell.app->delegate()->openSettings();
        QVERIFY(settings->isVisible());
        QCOMPARE(settings->width(), 460);

        QVERIFY(!(main->flags() & Qt::Tool) || main->flags().testFlag(Qt::Window));
        Shell::click(shell.find(settings, QStringLiteral("showInDock")));
        QVERIFY(!shell.app->prefs()->showInDock());
        QCOMPARE(main->flags() & Qt::WindowType_Mask, Qt::Tool);
        QVERIFY(main->isVisible());

        const QColor light = main->color();
        Shell::click(shell.find(settings, QStringLiteral("appearance-dark")));
        QCOMPARE(shell.app->prefs()->appearance(), Appearance::dark);
        QVERIFY(shell.app->darkScheme());
        QVERIFY(main->color() != light && settings->color() == main->color());

        // The hour picker waits for the reminder and keeps its value meanwhile.
        QQuickItem* hour = shell.find(settings, QStringLiteral("reminderHour"));
        QVERIFY(!hour->isEnabled());
        QCOMPARE(hour->property("currentIndex"), 9);
        Shell::click(shell.find(settings, QStringLiteral("dailyReminder")));
        QVERIFY(hour->isEnabled());
        QVERIFY(shell.find(settings, QStringLiteral("versionLabel"))
                    ->property("text")
                    .toString()
                    .startsWith(QStringLiteral(VELMORA_VERSION " (")));
        screenshot(settings, QStringLiteral("settings-dark"));
    }

    // The welcome of a new account, then the AI and Account tabs, light and dark.
    void welcomeScheduleAndAccount() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("new.token"));
        const QString token = server->createUser(QStringLiteral("newcomer"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(token.toUtf8()) > 0);
        file.close();
        Shell shell(*server, path);
        QQuickWindow* main = shell.app->mainWindow();
        QObject* welcome = popup(main, QStringLiteral("welcome"));
        QTRY_VERIFY_WITH_TIMEOUT(welcome->property("opened").toBool(), 5000);
        screenshot(main, QStringLiteral("welcome-light"));
        shell.app->prefs()->setAppearanceText(QStringLiteral("dark"));
        screenshot(main, QStringLiteral("welcome-dark"));
        Shell::click(shell.find(main, QStringLiteral("welcomeDone")));
        QTRY_VERIFY_WITH_TIMEOUT(!welcome->property("visible").toBool(), 5000);
        const auto onboarded = [&] {
            return server
                ->request("GET", "/api/onboarded", {},
                          {{"Authorization", "Bearer " + token.toUtf8()}})
                .json();
        };
        QTRY_VERIFY_WITH_TIMEOUT(onboarded().find(u"onboarded")->toBool(), 5000);

        QQuickWindow* settings = shell.app->settingsWindow();
        shell.app->delegate()->openSettings();
        shell.find(settings, QStringLiteral("settingsTabs"))->setProperty("currentIndex", 1);
        auto* schedule = settings->findChild<ScheduleSettingsModel*>();
        QVERIFY(schedule);
        QTRY_VERIFY_WITH_TIMEOUT(schedule->loaded(), 5000);
        QVERIFY(!shell.find(settings, QStringLiteral("dailyBriefing"))->isEnabled());
        schedule->setHour(7);
        QTRY_VERIFY_WITH_TIMEOUT(shell.find(settings, QStringLiteral("dailyBriefing"))->isEnabled(),
                                 5000);
        const QStringList unnamed = Shell::unnamedControls(settings);
        QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join(QStringLiteral(", "))));
        screenshot(settings, QStringLiteral("settings-ai-dark"));
        shell.app->prefs()->setAppearanceText(QStringLiteral("light"));
        screenshot(settings, QStringLiteral("settings-ai-light"));
        schedule->setZoneQuery(QStringLiteral("europe/"));
        schedule->setPickingZone(true);
        screenshot(settings, QStringLiteral("settings-zone-light"));
        schedule->pickZone(QStringLiteral("Europe/Oslo"));
        QVERIFY(!schedule->pickingZone());

        shell.find(settings, QStringLiteral("settingsTabs"))->setProperty("currentIndex", 2);
        QTRY_COMPARE_WITH_TIMEOUT(
            shell.find(settings, QStringLiteral("accountStatus"))->property("text").toString(),
            QStringLiteral("Connected"), 5000);
        screenshot(settings, QStringLiteral("settings-account-light"));
        shell.app->prefs()->setAppearanceText(QStringLiteral("dark"));
        screenshot(settings, QStringLiteral("settings-account-dark"));
        Shell::click(shell.find(settings, QStringLiteral("disconnectButton")));
        QObject* confirm = popup(settings, QStringLiteral("disconnectConfirm"));
        QTRY_VERIFY_WITH_TIMEOUT(confirm->property("opened").toBool(), 5000);
        Shell::click(shell.find(settings, QStringLiteral("confirmDisconnect")));
        QTRY_VERIFY_WITH_TIMEOUT(!shell.app->store()->hasToken(), 5000);
        // The hour's save is a request of its own, which may still be on its way.
        QTRY_COMPARE_WITH_TIMEOUT(server
                                      ->request("GET", "/api/ai/settings", {},
                                                {{"Authorization", "Bearer " + token.toUtf8()}})
                                      .json()
                                      .find(u"schedule_hour")
                                      ->toInteger(),
                                  7, 5000);
    }

    void menusFollowTheView() {
        Shell shell(*server);
        ViewState* view = shell.app->store()->view();
        QObject* clear = shell.action(QStringLiteral("Clear filters"));
        QCOMPARE(clear->property("shortcut").toString(), QStringLiteral("Ctrl+Shift+K"));
        QVERIFY(!clear->property("enabled").toBool());
        view->setSortFieldText(QStringLiteral("title"));
        QVERIFY(!clear->property("enabled").toBool()); // a sort is no filter
        view->setSectionFilterText(QStringLiteral("waiting"));
        QVERIFY(clear->property("enabled").toBool());
        QMetaObject::invokeMethod(clear, "trigger");
        QVERIFY(!view->sectionFilter());
        QCOMPARE(view->sortFieldText(), QStringLiteral("title"));

        QMetaObject::invokeMethod(shell.action(QStringLiteral("Rules…")), "trigger");
        QCOMPARE(shell.app->delegate()->router()->screenText(), QStringLiteral("rules"));
        QMetaObject::invokeMethod(shell.action(QStringLiteral("Today only")), "trigger");
        QVERIFY(!view->showAll());
    }

    // Browser sign-in end to end: a door opens the start page, whose redirect comes back
    // through the single-instance channel and signs in; a used code and a cancelled wait
    // sign nothing in. Then Connections: this computer, an agent's token shown once, both
    // revoked; and the prompts from the server.
    void browserSignInConnectionsAndPrompts() {
        ServerProcess::Options options;
        options.autoSignIn = QStringLiteral("lena");
        ServerProcess signIn(options);
        Shell shell(signIn);
        TokenSetup* setup = shell.app->tokenSetup();
        Store* store = shell.app->store();
        QUrl opened;
        setup->setBrowser([&](const QUrl& url) { return opened = url, true; });
        // The browser's side: the start page, its redirect, the address it hands to `velmora`.
        const auto browse = [&] {
            const auto page =
                signIn.request("GET", opened.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority));
            const auto next = QRegularExpression(QStringLiteral("url=(finish\\?code=\\w+)"))
                                  .match(QString::fromUtf8(page.body));
            return QString::fromUtf8(
                signIn.request("GET", "/auth/app/" + next.captured(1).toUtf8()).location);
        };
        QTemporaryDir runtime;
        SingleInstance primary(QStringLiteral("signin-test"), runtime.path());
        QVERIFY(primary.claim());
        connect(&primary, &SingleInstance::activated, shell.app.get(), &VelmoraApp::activate);
        const auto deliver = [&](const QString& url) {
            QCOMPARE(SingleInstance::sendToEveryPrimary(
                         {QStringLiteral("signin-test"), QStringLiteral("none")},
                         {QStringLiteral("velmora"), url}, runtime.path()),
                     1);
        };
        QQuickWindow* main = shell.app->mainWindow();

        // Cancel: back to the doors, and a code that comes later is ignored.
        Shell::click(shell.find(main, QStringLiteral("appleDoor")));
        QTRY_VERIFY_WITH_TIMEOUT(opened.isValid(), 5000);
        QCOMPARE(QUrlQuery(opened).queryItemValue(QStringLiteral("provider")),
                 QStringLiteral("apple"));
        QVERIFY(!shell.find(main, QStringLiteral("googleDoor"))->isEnabled());
        screenshot(main, QStringLiteral("sign-in-waiting"));
        Shell::click(shell.find(main, QStringLiteral("cancelSignIn")));
        QVERIFY(!setup->busy());
        const QString late = browse();
        deliver(late);
        QTest::qWait(300);
        QVERIFY(!store->hasToken());

        // The door, the browser, the redirect delivered: signed in on the sample list.
        Shell::click(shell.find(main, QStringLiteral("googleDoor")));
        QTRY_VERIFY_WITH_TIMEOUT(setup->waitingForBrowser() &&
                                     QUrlQuery(opened).queryItemValue(QStringLiteral("provider")) ==
                                         u"google",
                                 5000);
        const QString url = browse();
        QVERIFY2(url.startsWith(u"velmora://auth?code="), qPrintable(url));
        deliver(url);
        QTRY_VERIFY_WITH_TIMEOUT(store->hasToken() && !store->document().items.isEmpty(), 10000);
        // A new account is welcomed before anything else.
        QQuickItem* welcome = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((welcome = Shell::named(main, QStringLiteral("welcomeDone"))),
                                 5000);
        Shell::click(welcome);
        QTRY_VERIFY_WITH_TIMEOUT(!store->showsWelcome(), 5000);

        // Connections: this computer, then an agent's token, shown once.
        main->resize(1180, 760);
        shell.app->mainModel()->showScreen(QStringLiteral("connections"));
        QQuickItem* screen = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((screen = Shell::named(main, QStringLiteral("connectionsScreen"))),
                                 5000);
        auto* connections =
            qobject_cast<ConnectionsModel*>(screen->property("model").value<QObject*>());
        QTRY_COMPARE_WITH_TIMEOUT(connections->list().devices.size(), 1, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("thisComputer")), 5000);
        QCOMPARE(Shell::unnamedControls(main).join(u", "), QString());
        const QString thisDevice = connections->list().devices[0].hash;
        connections->setNewName(QStringLiteral("  "));
        await(connections->runMint()); // a blank name mints nothing
        QVERIFY(!connections->minted() && connections->list().tokens.isEmpty());
        connections->setNewName(QStringLiteral(" Claude "));
        Shell::click(shell.find(main, QStringLiteral("generateToken")));
        QTRY_VERIFY_WITH_TIMEOUT(connections->minted(), 5000);
        const QString agent = connections->minted()->token;
        QCOMPARE(connections->mintedForms().size(), 3);
        QVERIFY(connections->mintedForms()[0].toMap()[QStringLiteral("value")].toString().endsWith(
            QStringLiteral("/mcp/") + agent));
        QCOMPARE(signIn.call(agent, QStringLiteral("load")).status, 200);
        for (const QString& appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
            shell.app->prefs()->setAppearanceText(appearance);
            screenshot(main, QStringLiteral("connections-minted-") + appearance);
        }
        Shell::click(shell.find(main, QStringLiteral("mintedDone")));
        QTRY_COMPARE_WITH_TIMEOUT(connections->list().tokens.size(), 1, 5000);
        for (const QString& appearance : {QStringLiteral("dark"), QStringLiteral("light")}) {
            shell.app->prefs()->setAppearanceText(appearance);
            screenshot(main, QStringLiteral("connections-") + appearance);
        }
        QVERIFY(!connections->minted());
        for (auto* item : Shell::items(main))
            QVERIFY(!item->property("text").toString().contains(agent));

        // Revoked, the agent's token is refused; this computer's own sends it to the doors.
        connections->askRevoke(connections->list().tokens[0].hash);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("confirmRevoke")), 5000);
        Shell::click(shell.find(main, QStringLiteral("confirmRevoke")));
        QTRY_COMPARE_WITH_TIMEOUT(signIn.call(agent, QStringLiteral("load")).status, 401, 5000);

        // The prompts: a 204 keeps the built-in four; the admin's pair replaces them.
        SamplePromptsModel prompts;
        signIn.injectOn("GET", "/api/prompts", 204);
        await(prompts.runLoad());
        QCOMPARE(prompts.count(), 4);
        QCOMPARE(signIn.admin("PUT", QStringLiteral("/admin/prompts"), twoPrompts).status, 200);
        await(prompts.runLoad());
        QCOMPARE(prompts.counter(), QStringLiteral("1 of 2"));

        // The agent setup guide in the Updates tab; its prompts link opens them in Connections.
        shell.app->mainModel()->setAiTab(QStringLiteral("updates"));
        shell.app->mainModel()->showScreen(QStringLiteral("ai"));
        shell.app->delegate()->router()->setAiSetupOpen(true);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("Using Claude with MCP")),
                                 5000);
        screenshot(main, QStringLiteral("mcp-setup"));
        QVERIFY(QMetaObject::invokeMethod(Shell::textItem(main, QStringLiteral("See prompts →")),
                                          "clicked"));
        QTRY_COMPARE_WITH_TIMEOUT(shell.app->delegate()->router()->connectionsAnchor(),
                                  QStringLiteral("prompts"), 5000);

        // The screen is made anew, with its own model.
        QTRY_VERIFY_WITH_TIMEOUT((screen = Shell::named(main, QStringLiteral("connectionsScreen"))),
                                 5000);
        connections = qobject_cast<ConnectionsModel*>(screen->property("model").value<QObject*>());
        QTRY_COMPARE_WITH_TIMEOUT(connections->list().devices.size(), 1, 5000);
        const QString snapshot =
            shell.dir.filePath(QStringLiteral("data/") + QLatin1String(OfflineDisk::fileName));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(snapshot), 5000);
        connections->askRevoke(thisDevice);
        QCOMPARE(
            connections->confirmTitle(),
            QStringLiteral("Sign this computer out? The app will return to the sign-in screen."));
        connections->confirmRevoke();
        QTRY_VERIFY_WITH_TIMEOUT(!store->hasToken(), 5000);
        QVERIFY(!QFile::exists(snapshot));
        QVERIFY(Shell::textItem(main, QStringLiteral("WHAT IT LOOKS LIKE")));

        // A used code: the sign-in's failure, and still signed out.
        Shell::click(shell.find(main, QStringLiteral("googleDoor")));
        QTRY_VERIFY_WITH_TIMEOUT(setup->waitingForBrowser(), 5000);
        deliver(url);
        QTRY_COMPARE_WITH_TIMEOUT(setup->warning(),
                                  QStringLiteral("Sign-in didn't complete. Try again."), 5000);
        QVERIFY(!store->hasToken());
    }

    void panelOpensNextToTheIconOrAtTheCursor_data() {
        QTest::addColumn<QRect>("icon");
        QTest::addColumn<QPoint>("cursor");
        QTest::addColumn<QPoint>("origin");
        const QRect screen(0, 0, 1920, 1050); // a bottom panel takes 30
        // Top bar icon: centred below it.
        QTest::newRow("icon at top") << QRect(1800, 0, 24, 24) << QPoint() << QPoint(1560, 24);
        QTest::newRow("icon at bottom, clamped right")
            << QRect(1900, 1056, 24, 24) << QPoint() << QPoint(1560, 1050 - 400);
        QTest::newRow("no geometry: below the cursor")
            << QRect() << QPoint(500, 10) << QPoint(320, 14);
        QTest::newRow("no geometry, cursor low: above it")
            << QRect() << QPoint(10, 1040) << QPoint(0, 636);
        Q_UNUSED(screen)
    }
    void panelOpensNextToTheIconOrAtTheCursor() {
        QFETCH(QRect, icon);
        QFETCH(QPoint, cursor);
        QFETCH(QPoint, origin);
        QCOMPARE(TrayPlacement::panelOrigin(icon, cursor, QSize(360, 400), QRect(0, 0, 1920, 1050)),
                 origin);
    }

    // The People pane and the tasks from people, with another account connected by this
    // one's code; an invitation link lands in the code field.
    void peopleAndInbox() {
        Shell shell(*server, tokenFileFor(*server, QStringLiteral("sharer")));
        Store* store = shell.app->store();
        const std::unique_ptr<APIClient> api = store->freshClient();
        await(api->setDisplayName(QStringLiteral("Sam Carter")));
        const MintedInvite invite = await(api->mintInvite());
        APIClient rosa(server->baseURL(), server->createUser(QStringLiteral("sharer-friend")));
        await(rosa.setDisplayName(QStringLiteral("Rosa")));
        await(rosa.redeemInvite(invite.code));
        await(api->mintInvite());
        const QString sam = await(rosa.people()).people.value(0).id;
        const QString first = await(rosa.add(QStringLiteral("Proofread the brochure"), {},
                                             Section::action, {}, {}, Priority::high, {}));
        await(rosa.sendTask(sam, first, QStringLiteral("Before Friday, please")));
        const QString second = await(rosa.add(QStringLiteral("Call the caterer"), {},
                                              Section::action, {}, {}, Priority::medium, {}));
        await(rosa.sendTask(sam, second, QString()));

        QQuickWindow* main = shell.wideWindow();
        shell.app->delegate()->router()->openInvitation(QStringLiteral("K7QM2X9P"));
        QQuickItem* pane = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((pane = Shell::named(main, QStringLiteral("peoplePane"))), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("personRow")), 5000);
        QCOMPARE(Shell::named(main, QStringLiteral("codeField"))->property("text").toString(),
                 QStringLiteral("K7QM2X9P"));
        QCOMPARE(shell.app->delegate()->router()->invitationCode(), QString());
        auto* people = qobject_cast<PeoplePaneModel*>(pane->property("model").value<QObject*>());
        people->mint();
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("inviteCard")), 5000);
        shell.screenshots(main, QStringLiteral("people"));

        MainWindow* window = shell.app->mainModel();
        window->setAiTab(QStringLiteral("updates"));
        window->openAI();
        QTRY_VERIFY_WITH_TIMEOUT(Shell::named(main, QStringLiteral("incomingRow")), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(store->sharedWaiting(), 2, 5000);
        shell.screenshots(main, QStringLiteral("shared-inbox"));

        // A task sent from here shows its line where "Send to…" stood.
        QVERIFY(shell.add(QStringLiteral("Order the banners")));
        QTRY_COMPARE_WITH_TIMEOUT(store->queuedEdits(), 0, 5000);
        const QString banners = store->document().items.last().id;
        await(api->sendTask(await(api->people()).people.value(0).id, banners, QString()));
        await(store->refresh(false));
        store->setSelection(banners);
        shell.app->delegate()->router()->setScreen(std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(
            Shell::named(main, QStringLiteral("shareStatus"))->property("text").toString(),
            QStringLiteral("Sent to Rosa — not accepted yet"), 5000);
        QVERIFY(!Shell::named(main, QStringLiteral("sendToButton")));
    }

    // Clicks on menu titles, Escape pressed with the pointer on the title: the menu open at
    // the end.
    void menuTitlesAnswerEveryClick_data() {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("open");
        QTest::newRow("Escape, the same title") << "File Escape File"
                                                << "File";
        QTest::newRow("the title again closes") << "File File"
                                                << "";
        QTest::newRow("Escape, another title") << "File Escape Edit"
                                               << "Edit";
        QTest::newRow("Escape twice") << "View Escape View Escape View"
                                      << "View";
    }
    void menuTitlesAnswerEveryClick() {
        QFETCH(QString, steps);
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("the offscreen platform hovers nothing: tst_shell_xvfb runs this");
        Shell shell(*server);
        QQuickWindow* main = shell.app->mainWindow();
        QVERIFY(QTest::qWaitForWindowExposed(main, 5000));
        QHash<QString, QQuickItem*> titles;
        for (QQuickItem* item : Shell::items(main))
            if (item->inherits("QQuickMenuBarItem"))
                titles.insert(item->property("text").toString().remove(u'&'), item);
        for (const QString& step : steps.split(u' ')) {
            if (step == QLatin1String("Escape"))
                QTest::keyClick(main, Qt::Key_Escape);
            else
                Shell::click(titles.value(step)); // the pointer stays on the title
            QTest::qWait(50);
        }
        QString open;
        for (auto it = titles.begin(); it != titles.end(); ++it)
            if (it.value()->property("menu").value<QObject*>()->property("visible").toBool())
                open += it.key();
        QTEST(open, "open");
    }

    // While the keyring holds the sign-in (its unlock prompt up), the window says so in a
    // place of its own, each part of the column below the one before, at any size.
    void signInWaitsForTheKeyring() {
        HeldKeyring keyring;
        Shell shell(*server, tokenFileFor(*server, QStringLiteral("unlocker")), &keyring);
        QQuickWindow* main = shell.app->mainWindow();
        QTRY_VERIFY_WITH_TIMEOUT(Shell::textItem(main, QStringLiteral("Waiting for the keyring…")),
                                 5000);
        for (const QSize size : {QSize(1400, 900), main->minimumSize()}) {
            main->resize(size);
            QTRY_COMPARE_WITH_TIMEOUT(main->contentItem()->size(), QSizeF(size), 2000);
            QTest::qWait(50);
            qreal below = 0;
            for (QQuickItem* item : shell.find(main, QStringLiteral("brandColumn"))->childItems()) {
                const QRectF place = item->mapRectToScene(item->boundingRect());
                if (!item->isVisible() || place.isEmpty())
                    continue;
                QVERIFY2(place.top() >= below && place.bottom() <= size.height(),
                         qPrintable(item->objectName() + item->property("text").toString()));
                below = place.bottom();
            }
        }
        shell.screenshots(main, QStringLiteral("sign-in-keyring"));
        keyring.held = false;
        QTRY_VERIFY_WITH_TIMEOUT(shell.app->store()->hasToken(), 5000);
    }

    // Return or F2 on the selected row, the pane shown or hidden: the pane shows that task
    // with the keys in its title, the whole title selected for F2 alone.
    void rowKeysOpenTheTitle_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("paneOpen");
        QTest::addColumn<QString>("selected");
        QTest::newRow("Return") << int(Qt::Key_Return) << true << "";
        QTest::newRow("Enter, pane hidden") << int(Qt::Key_Enter) << false << "";
        QTest::newRow("F2") << int(Qt::Key_F2) << true << "Second";
        QTest::newRow("F2, pane hidden") << int(Qt::Key_F2) << false << "Second";
    }
    void rowKeysOpenTheTitle() {
        QFETCH(int, key);
        QFETCH(bool, paneOpen);
        Shell shell(*server,
                    tokenFileFor(*server, QStringLiteral("rowkeys-") + QTest::currentDataTag()));
        Store* store = shell.app->store();
        QVERIFY(shell.add(QStringLiteral("Second")));
        QQuickWindow* main = shell.app->mainWindow();
        store->setSelection(store->document().items.last().id);
        shell.app->mainModel()->setPaneOpen(paneOpen);
        shell.find(main, QStringLiteral("itemList"))->forceActiveFocus();
        QTest::keyClick(main, Qt::Key(key));
        QQuickItem* title = nullptr; // found only once the pane shows
        QTRY_VERIFY_WITH_TIMEOUT((title = Shell::named(main, QStringLiteral("titleField"))) &&
                                     title->hasActiveFocus(),
                                 2000);
        QCOMPARE(title->property("text").toString(), QStringLiteral("Second"));
        QTEST(title->property("selectedText").toString(), "selected");
    }
};

QTEST_MAIN(TestShell)
#include "tst_shell.moc"
