// The main window's words and behaviour as functions of its state, its actions, the item and
// draft forms and the app delegate, against a real velmora-server.
#include "AppDelegate.h"
#include "AppRig.h"
#include "DraftEditor.h"
#include "ItemEditor.h"
#include "MainScreen.h"
#include "MainWindow.h"
#include "PeoplePaneModel.h"
#include "Proposal.h"
#include "ReviewPaneModel.h"
#include "RulesViewModel.h"
#include "ServerProcess.h"
#include "WireFormats.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

using TestAwait::await;

namespace {

Item item(const QString& id, Section section, std::optional<int> dueInDays = {},
          bool done = false) {
    Item out;
    out.id = id;
    out.title = id;
    out.section = section;
    if (dueInDays)
        out.due = QDateTime(QDate::currentDate().addDays(*dueInDays), QTime(0, 0));
    out.status = done ? ItemStatus::done : ItemStatus::open;
    out.createdAt = QDateTime::currentDateTimeUtc();
    return out;
}

QStringList ids(const QList<Item>& items) {
    QStringList out;
    for (const Item& i : items)
        out << i.id;
    return out;
}

// A window over a Store of its own, signed in to a fresh account on the server.
struct Harness : AppRig {
    PaneRouter router;
    MemoryClipboard clipboard;
    QStringList sent; // what reached the Smart Add call
    std::function<SmartInsertOutcome()> answer = [] { return SmartInsertRefused{}; };
    MainWindow window{store, router, prefs, clipboard,
                      [this](QString text) { return reply(std::move(text)); }};

    using AppRig::AppRig;

    QCoro::Task<SmartInsertOutcome> reply(QString text) {
        sent << text;
        if (!answer)
            throw APIError::server(500, QStringLiteral("down"));
        co_return answer();
    }
};

// A delegate over a Store of its own, counting how often it fronts the main window.
struct DelegateRig : AppRig {
    AppDelegate delegate{store, prefs};
    int opened = 0;

    DelegateRig(const QUrl& server, const std::optional<QString>& token)
        : AppRig(server, token) {
        delegate.setOpenMainWindow([this] { ++opened; });
    }
};

// The forms' Store: a signed-in account whose adds give back the new id.
struct EditorRig : AccountRig {
    using AccountRig::AccountRig;

    QString add(const QString& title, const std::optional<QString>& who = std::nullopt) {
        if (!AccountRig::add(title, Section::action, who))
            throw std::runtime_error("add refused");
        return item(title).id;
    }
    // Another device renames the item; the Store hears of it on a refresh.
    void renameElsewhere(const QString& id, const QString& title) {
        auto stored = server.document(user).document;
        for (WireItem& item : stored.items)
            if (item.id == id)
                item.title = title;
        server.replaceDocument(user, stored);
        TestAwait::await(store.refresh(false));
    }
};

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;
    QString user;

    std::unique_ptr<Harness> signedIn() {
        user = QStringLiteral("main%1").arg(++users);
        auto h = std::make_unique<Harness>(server->baseURL(), server->createUser(user));
        await(h->store.refresh(false));
        return h;
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
        ItemEditor::registerType();
        DraftEditor::registerType();
        PeoplePaneModel::registerType();
        qmlRegisterSingletonType(QUrl(QStringLiteral("qrc:/velmora/qml/Style.qml")), "Velmora", 1,
                                 0, "Style");
    }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanupTestCase() { server.reset(); }

    // The window's words and choices as functions of its state, one row each.
    void words_data() {
        QTest::addColumn<QString>("got");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QString& got, const QString& expected) {
            QTest::newRow(name) << got << expected;
        };
        row("subtitle, nothing", MainScreen::subtitle(0, 0), "Nothing due");
        row("subtitle, due", MainScreen::subtitle(3, 0), "3 due now");
        row("subtitle, late", MainScreen::subtitle(3, 1), "3 due now · 1 late");
        row("AI button", MainScreen::aiButtonLabel(std::nullopt), "AI Assistant");
        row("AI tip", MainScreen::aiButtonToolTip(Proposal{}),
            "Briefings, updates, credits and tuning");
        Proposal proposal;
        proposal.deltas = {ProposalDelta{}, ProposalDelta{}};
        row("AI button, proposal", MainScreen::aiButtonLabel(proposal), "2 suggested");
        row("AI tip, proposal", MainScreen::aiButtonToolTip(proposal),
            "Your AI agent suggests some changes");
        proposal.agent = QStringLiteral("Claude");
        row("AI tip, agent", MainScreen::aiButtonToolTip(proposal), "Claude suggests some changes");
        const QLocale c(QLocale::English, QLocale::UnitedKingdom);
        row("never refreshed", MainScreen::refreshToolTip(std::nullopt, c), "");
        row("refreshed", MainScreen::refreshToolTip(QDateTime(QDate(2026, 1, 2), QTime(14, 5)), c),
            "Last refreshed 14:05");
        // The add row's priority: medium, high, low, and round again.
        Priority p = Priority::medium;
        QStringList tips;
        for (int i = 0; i < 4; ++i, p = MainScreen::nextPriority(p))
            tips << MainScreen::priorityToolTip(p);
        row("priority cycle", tips.join(u'|'),
            "Priority: Medium. Click to change.|Priority: High. Click to change.|"
            "Priority: Low. Click to change.|Priority: Medium. Click to change.");
        // Two-state controls name what a click will do.
        row("details shown", MainScreen::detailsButtonLabel(true), "Hide details");
        row("details hidden", MainScreen::detailsButtonLabel(false), "Show details");
        row("details tip, shown", MainScreen::detailsButtonToolTip(true), "Hide the details pane");
        row("details tip, hidden", MainScreen::detailsButtonToolTip(false),
            "Show the details pane");
        row("descending", MainScreen::sortOrderToolTip(false), "Descending — click for ascending");
        row("ascending", MainScreen::sortOrderToolTip(true), "Ascending — click for descending");
        row("done hidden", MainScreen::hideDoneToolTip(true), "Show done items");
        row("done shown", MainScreen::hideDoneToolTip(false), "Hide done items");
        row("keep one edit", MainScreen::keepMineLabel(1), "Keep my 1 offline edit");
        row("keep edits", MainScreen::keepMineLabel(3), "Keep my 3 offline edits");

        row("no filter", MainScreen::filterSummary(ViewSettings{}), "Showing everything");
        ViewSettings all;
        all.flaggedFilter = true;
        all.sectionFilter = Section::waiting;
        all.priorityFilter = Priority::high;
        all.channelFilter = Channel::teams;
        all.search = QStringLiteral("dana ");
        row("every filter, in order", MainScreen::filterSummary(all),
            "Showing flagged, waiting on, high priority, from teams, matching “dana ”");
        ViewSettings blank;
        blank.search = QStringLiteral("  ");
        row("blank search", MainScreen::filterSummary(blank), "Showing everything");
        const auto empty = [](bool filtered, bool showAll) {
            const auto state = MainScreen::emptyState(filtered, showAll);
            return state.title + u'|' + state.button;
        };
        row("empty, filtered", empty(true, false), "Nothing matches|Clear filters");
        row("empty, all", empty(false, true), "Nothing here|");
        row("empty, today", empty(false, false), "Nothing due now|");

        const auto chips =
            MainScreen::chips(Section::action, {{Section::action, 4}, {Section::note, 1}});
        row("chips", QString::number(chips.size()), "4");
        row("chip All", QStringLiteral("%1 %2").arg(chips[0].selected).arg(bool(chips[0].count)),
            "0 0");
        row("chip selected", chips[1].toolTip, "Showing Actions only — click to show everything");
        row("chip other", chips[2].toolTip, "Show Waiting on only");
        row("chip none outstanding", chips[2].accessibleName, "Waiting on: 0 outstanding");
        row("chip outstanding", chips[3].accessibleName, "Notes: 1 outstanding");
        // A second click on the selected chip shows everything; "All" always does.
        const auto clicked = [](std::optional<Section> filter, std::optional<Section> chip) {
            const auto left = MainScreen::chipClicked(filter, chip);
            return left ? Wire::string(*left) : QStringLiteral("none");
        };
        row("selected chip again", clicked(Section::action, Section::action), "none");
        row("another chip", clicked(Section::action, Section::note), "note");
        row("chip All clicked", clicked(Section::note, std::nullopt), "none");

        const QList<Item> list{item("a", Section::action), item("b", Section::action)};
        row("selection kept", MainScreen::followSelection("b", list), "b");
        row("selection gone", MainScreen::followSelection("gone", list), "a");
        row("no selection", MainScreen::followSelection({}, list), "a");
        row("empty list", MainScreen::followSelection("a", {}), "");
        // A row that left hands the selection to the next row still listed, else the one above.
        const QList<Item> before{item("x", Section::action), item("a", Section::action),
                                 item("y", Section::action), item("b", Section::action)};
        row("left: next row", MainScreen::followSelection("y", list, before), "b");
        row("never listed", MainScreen::followSelection("gone", list, before), "a");
        row("left: row above",
            MainScreen::followSelection("y", {item("x", Section::action)}, before), "x");

        const auto rule = [](Origin origin, int learnedFrom, int applyCount) {
            Rule rule;
            rule.createdBy = origin;
            rule.learnedFrom = learnedFrom;
            rule.applyCount = applyCount;
            const RuleLine shown = RulesScreen::line(rule);
            return shown.author + u'|' + shown.history;
        };
        row("rule: yours, once", rule(Origin::user, 0, 1), "You|Created by you · Applied 1 time");
        row("rule: learned, never", rule(Origin::ai, 3, 0),
            "Your AI|Learned from 3 rejections · Never applied yet");
        row("rule: learned once, often", rule(Origin::ai, 1, 12),
            "Your AI|Learned from 1 rejections · Applied 12 times");
    }
    void words() {
        QFETCH(QString, got);
        QTEST(got, "expected");
    }
    // Grouped: "Due Now" (open, then done) and then each section without its due items;
    // any customisation gives one flat list.
    void rows() {
        const QDateTime now = QDateTime::currentDateTime();
        const QList<Item> visible{
            item("a-late", Section::action, -2), item("w-today-done", Section::waiting, 0, true),
            item("n-today", Section::note, 0), item("a-later", Section::action, 3),
            item("n-undated", Section::note)};
        const auto grouped = MainScreen::rows(visible, ViewSettings{}, now);
        QCOMPARE(ids(grouped.items),
                 QStringList({"a-late", "n-today", "w-today-done", "a-later", "n-undated"}));
        QStringList groups;
        for (const RowPlacement& p : grouped.placements)
            groups << p.group + (p.sectionRedundant ? "*" : "");
        QCOMPARE(groups, QStringList({"Due Now", "Due Now", "Due Now", "Actions*", "Notes*"}));
        QCOMPARE(grouped.dueNowLate, 1);

        ViewSettings today;
        today.showAll = false;
        const auto flat = MainScreen::rows(visible, today, now);
        QCOMPARE(ids(flat.items), ids(visible));
        QCOMPARE(flat.placements.first(), (RowPlacement{{}, false}));
        ViewSettings section;
        section.sectionFilter = Section::note;
        QVERIFY(MainScreen::rows(visible, section, now).placements.first().sectionRedundant);
    }

    // The model keeps rows that stay and moves only what changed, for views and testers.
    void rowsModelDiffs() {
        ItemListModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QDateTime now = QDateTime::currentDateTime();
        const auto set = [&](const QList<Item>& items) {
            model.setRows(items, QList<RowPlacement>(items.size()), now);
        };
        const Item a = item("a", Section::action), b = item("b", Section::action),
                   c = item("c", Section::note);
        set({a, c});
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
        set({a, b, c});
        QCOMPARE(inserted.size(), 1);
        QCOMPARE(inserted.first().at(1).toInt(), 1);
        set({b, c});
        QCOMPARE(removed.size(), 1);
        QCOMPARE(model.rowOf("c"), 1);
        Item renamed = c;
        renamed.title = QStringLiteral("renamed");
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        set({b, renamed});
        QCOMPARE(changed.size(), 1);
        QCOMPARE(model.data(model.index(1), ItemListModel::TitleRole).toString(), "renamed");
    }

    // Rows as "id:group" joined by commas; a view that follows only the model's signals sees
    // every heading.
    void rowsHeadingsFollow_data() {
        QTest::addColumn<QStringList>("before");
        QTest::addColumn<QStringList>("after");
        QTest::addColumn<QStringList>("headings");
        const auto row = [](const char* name, const char* before, const char* after,
                            const char* headings) {
            const auto list = [](const char* text) { return QString::fromUtf8(text).split(u','); };
            QTest::newRow(name) << list(before) << list(after) << list(headings);
        };
        row("search cleared: a row returns above a group's first", "a:Actions,w2:Waiting on",
            "a:Actions,w1:Waiting on,w2:Waiting on", "Actions,Waiting on,");
        row("search typed: a group's first row goes", "a:Actions,w1:Waiting on,w2:Waiting on",
            "a:Actions,w2:Waiting on", "Actions,Waiting on");
        row("a save moves a kept row to the next group", "a1:Actions,a2:Actions,w:Waiting on",
            "a1:Actions,a2:Waiting on,w:Waiting on", "Actions,Waiting on,");
        row("a row comes in under a kept row that changed group", "a:Actions,w:Waiting on",
            "a:Waiting on,x:Waiting on,w:Waiting on", "Waiting on,,");
        row("the last row of a group goes", "d:Due Now,a:Actions,n:Notes", "d:Due Now,n:Notes",
            "Due Now,Notes");
        row("flat", "a:,b:", "b:,a:,c:", ",,");
    }
    void rowsHeadingsFollow() {
        QFETCH(QStringList, before);
        QFETCH(QStringList, after);
        QFETCH(QStringList, headings);
        ItemListModel model;
        QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        const auto set = [&](const QStringList& rows) {
            QList<Item> items;
            QList<RowPlacement> placements;
            for (const QString& row : rows) {
                items.append(item(row.section(':', 0, 0), Section::action));
                placements.append({row.section(':', 1), false});
            }
            model.setRows(items, placements, QDateTime::currentDateTime());
        };
        set(before);
        QStringList seen;
        const auto fetch = [&](int row) {
            return model.data(model.index(row), ItemListModel::HeadingRole).toString();
        };
        for (int row = 0; row < model.rowCount(); ++row)
            seen.append(fetch(row));
        connect(&model, &QAbstractItemModel::rowsInserted, this,
                [&](const QModelIndex&, int first, int last) {
                    for (int row = first; row <= last; ++row)
                        seen.insert(row, fetch(row));
                });
        connect(
            &model, &QAbstractItemModel::rowsRemoved, this,
            [&](const QModelIndex&, int first, int last) { seen.remove(first, last - first + 1); });
        connect(&model, &QAbstractItemModel::dataChanged, this,
                [&](const QModelIndex& from, const QModelIndex& to) {
                    for (int row = from.row(); row <= to.row(); ++row)
                        seen[row] = fetch(row);
                });
        connect(&model, &QAbstractItemModel::modelReset, this, [&] {
            seen.clear();
            for (int row = 0; row < model.rowCount(); ++row)
                seen.append(fetch(row));
        });
        set(after);
        QCOMPARE(seen, headings);
    }

    // Return reads the row, empties it at once and the add reaches the server.
    void submitResetsAndAdds() {
        auto h = signedIn();
        MainWindow& w = h->window;
        w.setNewTitle(QStringLiteral("  \n "));
        w.submit();
        QCOMPARE(w.newTitle(), QStringLiteral("  \n "));
        w.setNewTitle(QStringLiteral("  Call Dana \n"));
        w.cyclePriority();
        w.setNewSection(Section::waiting);
        w.setNewWho(QStringLiteral(" Dana "));
        w.setNewDue(QDateTime(QDate::currentDate(), QTime(0, 0)));
        w.submit();
        QCOMPARE(w.newTitle(), QString());
        QCOMPARE(w.newPriority(), Priority::medium);
        QCOMPARE(w.newSection(), Section::action);
        QCOMPARE(w.newWho(), QString());
        QCOMPARE(w.newDue(), std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(server->document(user).document.items.size(), size_t(1), 5000);
        const WireItem added = server->document(user).document.items.front();
        QCOMPARE(added.title, "Call Dana");
        QCOMPARE(added.source, "Dana");
        QCOMPARE(added.priority, Priority::high);
        QCOMPARE(added.section, Section::waiting);
        // The new row is selected: it is the only one.
        QCOMPARE(w.currentRow(), 0);
        QCOMPARE(w.paneContent(), "item");
        // A title past 200 characters is cut at a late blank; the rest becomes the note.
        w.setNewTitle(QString(150, 'x') + ' ' + QString(85, 'y'));
        w.submit();
        QTRY_COMPARE_WITH_TIMEOUT(server->document(user).document.items.size(), size_t(2), 5000);
        const auto items = server->document(user).document.items;
        const auto cut = std::find_if(items.begin(), items.end(),
                                      [](const WireItem& i) { return i.title.startsWith('x'); });
        QVERIFY(cut != items.end());
        QCOMPARE(cut->title, QString(150, 'x'));
        QCOMPARE(cut->note.value_or(QString()), QString(85, 'y'));
        // A task the view doesn't show is announced with where it went.
        h->store.view()->setShowAll(false);
        w.setNewTitle(QStringLiteral("Someday"));
        w.setNewSection(Section::note);
        w.submit();
        QCOMPARE(h->store.flash(), "Added “Someday” to Notes — not shown in this view");
    }

    // Selection moves to the first row when its item drops out; none on an empty list.
    void selectionMovesWithFilters() {
        auto h = signedIn();
        for (const auto& [title, section] :
             {std::pair{"One", Section::action}, std::pair{"Two", Section::note}})
            QVERIFY(await(h->store.add(QString::fromUtf8(title), {}, {}, section, {},
                                       Priority::medium, {}, LocalID::make())));
        MainWindow& w = h->window;
        w.moveSelection(1);
        QCOMPARE(h->store.item(h->store.selection())->title, "Two");
        h->store.view()->setSectionFilter(Section::action);
        QCOMPARE(h->store.item(h->store.selection())->title, "One");
        h->store.view()->setSearch(QStringLiteral("nothing like it"));
        QCOMPARE(h->store.selection(), QString());
        QCOMPARE(w.paneContent(), "placeholder");
        // A deleted row, or one ticked while done ones are hidden, hands it to its neighbour.
        h->store.view()->clearFilters();
        QVERIFY(await(h->store.add(QStringLiteral("Three"), {}, {}, Section::note, {},
                                   Priority::medium, {}, LocalID::make())));
        await(h->store.setHideDone(true));
        w.select(1);
        const QString next = w.rows()->items().at(2).id;
        w.deleteSelected();
        QTRY_COMPARE_WITH_TIMEOUT(h->store.selection(), next, 5000);
        w.toggleSelected();
        QTRY_COMPARE_WITH_TIMEOUT(h->store.item(h->store.selection())->title, "One", 5000);
    }

    // Offline with no connectivity monitor, the server is asked again on a timer.
    void offlineProbesTheServer() {
        auto h = signedIn();
        h->window.setOfflineProbeInterval(50);
        h->store.pathUpdated(false);
        QVERIFY(h->store.isOffline());
        QTRY_VERIFY_WITH_TIMEOUT(!h->store.isOffline(), 5000);
    }

    // Deferred saves: a change to the queue is on disk before the call returns; a new
    // baseline alone waits, and a pending save is written when the Store goes.
    void deferredSavesLandOnDisk() {
        QTemporaryDir dir;
        MemorySecretStore secrets;
        auto store = std::make_unique<Store>(
            new APIClient(server->baseURL(), server->createUser(QStringLiteral("deferred"))),
            OfflineDisk(dir.path()), Keychain(secrets, QStringLiteral("svc")));
        await(store->refresh(false));
        store->setDeferredSaves(true, 60000);
        store->pathUpdated(false);
        const auto onDisk = [&] {
            const auto snapshot = OfflineDisk(dir.path()).load();
            return snapshot ? std::pair(snapshot->queue.size(), snapshot->syncedVersion)
                            : std::pair(qsizetype(-1), qint64(-1));
        };
        const qint64 before = store->syncedVersion();
        QVERIFY(await(store->add(QStringLiteral("Later"), {}, {}, Section::action, {},
                                 Priority::medium, {}, LocalID::make())));
        QCOMPARE(onDisk(), std::pair(qsizetype(1), before));
        await(store->sync()); // the replay empties the queue, then a new baseline comes
        QVERIFY(store->syncedVersion() != before);
        QCOMPARE(onDisk(), std::pair(qsizetype(0), before));
        const qint64 after = store->syncedVersion();
        store.reset();
        QCOMPARE(onDisk(), std::pair(qsizetype(0), after));
    }

    // The seam: dragging stores the share at once, a double click resets it, both clamped.
    void seam() {
        auto h = signedIn();
        h->window.dragSeam(200, 1000);
        QCOMPARE(h->prefs.paneFraction(), 0.7);
        QCOMPARE(MainWindow::paneWidth(860, 0.7), 480.0);
        h->window.resetSeam();
        QCOMPARE(h->prefs.paneFraction(), 0.42);
        h->window.dragSeam(500, 1000);
        QSettings reread(h->dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
        QCOMPARE(reread.value("paneFraction").toDouble(), 0.5);
    }

    // A new proposal opens itself in the pane, unless it is the one put off with "Later".
    void proposalOpensThePane() {
        auto h = signedIn();
        MainWindow& w = h->window;
        w.setPaneOpen(false);
        const QByteArray proposal = R"({"schema_version":1,"created_at":"2026-03-01T09:15:00Z",
            "deltas":[{"kind":"add","item":{"title":"Call Dana","section":"action",
            "channel":"email","priority":"low","links":[]}}]})";
        server->createProposal(user, JsonValue::parse(proposal).value_or(JsonValue()));
        await(h->store.refreshProposal());
        QCOMPARE(h->router.screenText(), "ai");
        QCOMPARE(w.aiTab(), "updates");
        QVERIFY(w.paneOpen());
        QCOMPARE(w.aiButtonLabel(), "1 suggested");
        w.deferProposal();
        QCOMPARE(h->router.screenText(), QString());
        await(h->store.refreshProposal());
        QCOMPARE(h->router.screenText(), QString());
        QByteArray newer = proposal;
        server->createProposal(
            user, JsonValue::parse(newer.replace("09:15", "09:20")).value_or(JsonValue()));
        await(h->store.refreshProposal());
        QCOMPARE(h->router.screenText(), "ai");
    }

    // The review's rows and notes: "^" marks the row under the rules heading.
    void reviewWords_data() {
        QTest::addColumn<QByteArray>("deltas");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QString>("notes");
        const QByteArray rule =
            R"({"kind":"add_rule","rule":{"action":"exclude","match":{"op":"all",
            "conditions":[{"field":"title","op":"contains","value":["PTO"]}]},"params":{},
            "reason":"r","origin":{"from":"manual","rejection_ids":[],"count":0}}})";
        const QByteArray add = R"({"kind":"add","item":{"title":"Call Dana","section":"action",
            "channel":"email","priority":"low","links":[]}})";
        QTest::newRow("two rules in a row: one heading")
            << "[" + rule + "," + R"({"kind":"pause_rule","rule_id":"r1"})" + "]"
            << QStringList{"^Rule Exclude items where title contains PTO", "Rule Pause a rule"}
            << "|";
        QTest::newRow("rule, item, rule: two headings")
            << "[" + rule + "," + add + "," + rule + "]"
            << QStringList{"^Rule Exclude items where title contains PTO", "Add Call Dana",
                           "^Rule Exclude items where title contains PTO"}
            << "|";
        QTest::newRow("one stale, one newer kind")
            << "[" + add + R"(,{"kind":"complete","item_id":"gone"},{"kind":"split"}])"
            << QStringList{"Add Call Dana"}
            << "1 suggestion skipped — those items are no longer here.|1 suggestion in a newer "
               "format — review on the website; deciding here will skip it.";
        QTest::newRow("two newer kinds, an update")
            << QByteArray(R"([{"kind":"split"},{"kind":"merge"},
                 {"kind":"update","item_id":"a","patch":{"due":null}}])")
            << QStringList{"Change a — change due"}
            << "|2 suggestions in a newer format — review on the website; deciding here will "
               "skip them.";
    }
    void reviewWords() {
        QFETCH(QByteArray, deltas);
        QFETCH(QStringList, rows);
        QFETCH(QString, notes);
        const auto proposal = ProposalFormat::readReply(R"({"result":{"deltas":)" + deltas + "}}");
        QVERIFY(proposal);
        Document document;
        document.items = {item(QStringLiteral("a"), Section::action)};
        Rule rule;
        rule.id = QStringLiteral("r1");
        document.rules = {rule};
        const auto resolved = ProposalReview::resolve(*proposal, document);
        QStringList shown;
        for (const ReviewRow& row : ReviewScreen::rows(resolved, {}))
            shown << (row.ruleHeading ? QStringLiteral("^") : QString()) + row.verb + u' ' +
                         row.text;
        QCOMPARE(shown, rows);
        QCOMPARE(ReviewScreen::skippedNote(ProposalReview::skipped(resolved).size()) + u'|' +
                     ReviewScreen::unsupportedNote(ProposalReview::unsupported(resolved).size()),
                 notes);
        QCOMPARE(ReviewScreen::title(*proposal), "Your AI agent suggests some changes");
        QCOMPARE(ReviewScreen::ruleHeading(*proposal),
                 "Suggested rules — these change what your AI agent may suggest in future");
    }

    // A cap refusal is the window's to show; the Store's copy is cleared at once.
    void limitReasonIsTakenOver() {
        auto h = signedIn();
        server->setOpenCap(user, 0);
        QVERIFY(!await(h->store.add(QStringLiteral("Over"), {}, {}, Section::action, {},
                                    Priority::medium, {}, LocalID::make())));
        QVERIFY(!h->window.limitReason().isEmpty());
        QCOMPARE(h->store.limitMessage(), QString());
        h->window.clearLimitReason();
        QCOMPARE(h->window.limitReason(), QString());
        server->setOpenCap(user, std::nullopt);
    }

    // Smart Add always opens the form with the paste; the notice says how it went.
    void smartAddOpensTheForm() {
        auto h = signedIn();
        MainWindow& w = h->window;
        w.setPaneOpen(false);
        await(w.runSmartAdd());
        QVERIFY(w.draftOpen() && w.paneOpen());
        QCOMPARE(w.smartNotice(), "Copy some text first — Smart Add turns it into a task for you.");
        QVERIFY(h->sent.isEmpty());

        h->clipboard.setText(QStringLiteral("Buy milk\nfrom the shop"));
        h->answer = nullptr; // the call fails
        await(w.runSmartAdd());
        QCOMPARE(w.draftSeed().title, "Buy milk");
        QCOMPARE(w.draftSeed().note, "from the shop");
        QCOMPARE(w.smartNotice(), "Smart Add could not be reached, so this was pasted as it came.");
        QVERIFY(!w.smartBusy());

        SmartDraft drafted;
        drafted.title = QStringLiteral("Milk run");
        drafted.section = Section::waiting;
        h->answer = [drafted] { return SmartInsertDrafted{drafted, false, 1, 30}; };
        await(w.runSmartAdd());
        QCOMPARE(w.draftSeed().title, "Milk run");
        QCOMPARE(w.draftSeed().section, Section::waiting);
        QCOMPARE(w.smartNotice(), QString());
        // Closing the form clears the draft; a plain form starts from the add row.
        w.closeDraft(true);
        w.setNewTitle(QStringLiteral("typed"));
        w.openNewTask();
        QCOMPARE(w.draftSeed().title, "typed");
        w.closeDraft(true);
        QCOMPARE(w.newTitle(), QString());
    }

    // --- the item and draft forms ---

    // The form is rebuilt only when the pane moves to another item; a newer copy of the same
    // item leaves the fields and brings up the save bar, and "Revert" takes the newer copy.
    void itemForm() {
        EditorRig f(*server);
        const QString a = f.add(QStringLiteral("First"));
        const QString b = f.add(QStringLiteral("Second"));
        ItemEditor editor;
        editor.setStore(&f.store);
        editor.setItemId(a);
        QVERIFY(editor.exists() && !editor.dirty());
        QCOMPARE(editor.title(), QStringLiteral("First"));

        f.renameElsewhere(a, QStringLiteral("Newer"));
        QCOMPARE(editor.title(), QStringLiteral("First"));
        QVERIFY(editor.dirty());
        editor.setItemId(a); // the same id: nothing is dropped
        QCOMPARE(editor.title(), QStringLiteral("First"));
        editor.reset();
        QCOMPARE(editor.title(), QStringLiteral("Newer"));
        QVERIFY(!editor.dirty());

        editor.setNewLabel(QStringLiteral("half-typed")); // not an edit of the item
        QVERIFY(!editor.dirty());
        // Moving on saves what was typed, and says so.
        editor.setTitle(QStringLiteral("Typed"));
        editor.setItemId(b);
        QCOMPARE(editor.title(), QStringLiteral("Second"));
        QVERIFY(editor.newLabel().isEmpty() && !editor.dirty());
        QCOMPARE(f.store.item(a)->title, QStringLiteral("Typed"));
        QCOMPARE(f.store.flash(), QStringLiteral("Saved your changes to “Typed”"));
        // A blank title keeps the item's own; the form going away saves too.
        editor.setTitle(QStringLiteral("  "));
        editor.setNote(QStringLiteral("A note"));
        editor.setItemId(a);
        QCOMPARE(f.store.item(b)->title, QStringLiteral("Second"));
        QCOMPARE(f.store.item(b)->note, QStringLiteral("A note"));
        {
            ItemEditor leaving;
            leaving.setStore(&f.store);
            leaving.setItemId(b);
            leaving.setPriority(QStringLiteral("high"));
        }
        QCOMPARE(f.store.item(b)->priority, Priority::high);
        QTRY_VERIFY_WITH_TIMEOUT(f.stored(a).title == QStringLiteral("Typed"), 5000);

        editor.setItemId(QStringLiteral("gone"));
        QVERIFY(!editor.exists() && editor.title().isEmpty() && !editor.canSave());

        // A save sends the trimmed title and clears who; a blank title cannot be saved.
        const QString id = f.add(QStringLiteral("Call"), QStringLiteral("Ana"));
        editor.setItemId(id);
        editor.setTitle(QStringLiteral(" \n "));
        QVERIFY(editor.dirty() && !editor.canSave());
        editor.setTitle(QStringLiteral("  Call Ana \n"));
        editor.setSource({});
        editor.setDateToToday();
        editor.setSection(QStringLiteral("waiting"));
        QVERIFY(editor.canSave());
        editor.save();
        // The Store applies the edits at once, so the form is clean before the server answers.
        QVERIFY(!editor.dirty());
        QCOMPARE(editor.title(), QStringLiteral("Call Ana"));
        QVERIFY(f.store.item(id)->isToday(QDateTime::currentDateTime()));
        QTRY_VERIFY_WITH_TIMEOUT(f.stored(id).title == QStringLiteral("Call Ana"), 5000);
        QVERIFY(!f.stored(id).source.has_value());
        QCOMPARE(f.stored(id).section, Section::waiting);

        // Links change only the form until it is saved; three at most, each address once.
        editor.setItemId(f.add(QStringLiteral("Read up")));
        for (int i = 1; i <= 3; ++i) {
            QVERIFY(editor.hasRoomForLink());
            editor.setNewLabel(QStringLiteral("Doc %1").arg(i));
            editor.setNewURL(QStringLiteral("https://example.com/%1").arg(i));
            QVERIFY(editor.canAddLink());
            editor.addLink();
            QVERIFY(editor.newLabel().isEmpty() && editor.newURL().isEmpty());
        }
        QCOMPARE(editor.links().size(), 3);
        QVERIFY(!editor.hasRoomForLink() && editor.dirty());

        editor.removeLink(0);
        QVERIFY(editor.hasRoomForLink());
        QVERIFY(f.store.item(editor.itemId())->links.isEmpty());
        editor.setNewLabel(QStringLiteral("Again"));
        editor.setNewURL(QStringLiteral("https://example.com/2"));
        QVERIFY(!editor.canAddLink()); // the same address under another label
        editor.setNewURL(QStringLiteral("ftp://example.com/2"));
        QVERIFY(!editor.canAddLink());
    }

    void draftForm() {
        EditorRig f(*server);
        DraftEditor draft;
        draft.setStore(&f.store);
        ItemForms::DraftSeed seed;
        seed.title = QStringLiteral("  Chase invoice ");
        seed.section = Section::waiting;
        seed.links = {{QStringLiteral("Invoice"), QUrl(QStringLiteral("https://i.example"))}};
        seed.notice = QStringLiteral("Filled in from your clipboard");
        draft.fill(seed);
        QCOMPARE(draft.linksLine(), QStringLiteral("1 link attached: Invoice"));
        QCOMPARE(draft.notice(), *seed.notice);
        QSignalSpy done(&draft, &DraftEditor::done);

        draft.add();
        QVERIFY(draft.adding() && !draft.canAdd());
        draft.add(); // a second press while the first is on its way
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 5000);
        QVERIFY(!draft.adding());
        const QList<Item> items = f.store.document().items;
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.first().title, QStringLiteral("Chase invoice"));
        QCOMPARE(items.first().section, Section::waiting);
        QCOMPARE(items.first().links, seed.links);
        QVERIFY(!items.first().source.has_value());

        // Refused by the Store: the draft stays as typed.
        draft.setTitle(QStringLiteral("Kept"));
        draft.setNote(QStringLiteral("Typed"));
        QSignalSpy cancelled(&draft, &DraftEditor::cancelled);
        server->failNext(QStringLiteral("addItem"), 500);
        draft.add();
        QTRY_VERIFY_WITH_TIMEOUT(!draft.adding(), 5000);
        QCOMPARE(done.count(), 1);
        QVERIFY(draft.canAdd() && draft.note() == QStringLiteral("Typed"));
        draft.cancel();
        QCOMPARE(cancelled.count(), 1);
    }

    void formsLoadWithoutWarnings_data() {
        QTest::addColumn<QString>("file");
        QTest::newRow("item detail") << "list/ItemDetail.qml";
        QTest::newRow("draft pane") << "list/DraftPane.qml";
    }
    void formsLoadWithoutWarnings() {
        QFETCH(QString, file);
        EditorRig f(*server);
        const QString id = f.add(QStringLiteral("Shown"));
        QQmlEngine engine;
        QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/velmora/qml/") + file));
        QQuickWindow window;
        window.resize(420, 600);
        QVariantMap initial{{QStringLiteral("store"), QVariant::fromValue(&f.store)}};
        if (file == u"list/ItemDetail.qml")
            initial.insert(QStringLiteral("itemId"), id);
        std::unique_ptr<QObject> root(component.createWithInitialProperties(initial));
        QVERIFY2(root, qPrintable(component.errorString()));
        auto* item = qobject_cast<QQuickItem*>(root.get());
        item->setParentItem(window.contentItem());
        item->setSize(window.size());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window, 5000));

        auto* editor = root->property("editor").value<QObject*>();
        QVERIFY(editor);
        editor->setProperty("title", QStringLiteral("Edited"));
        editor->setProperty("due", QDateTime::currentDateTime());
        QVERIFY(editor->property("due").toDateTime().isValid());
        if (file != u"list/ItemDetail.qml") {
            // The form opens with the title field taking the keys.
            QTRY_VERIFY_WITH_TIMEOUT(
                root->findChild<QQuickItem*>(QStringLiteral("titleField"))->hasActiveFocus(), 2000);
            QSignalSpy cancelled(root.get(), SIGNAL(cancelled()));
            QTest::keyClick(&window, Qt::Key_Escape);
            QCOMPARE(cancelled.count(), 1);
            return;
        }
        QVERIFY(editor->property("dirty").toBool());
        QTRY_VERIFY_WITH_TIMEOUT(root->findChild<QQuickItem*>("saveBar")->isVisible(), 2000);
        // A link chip and the limit line draw without complaint.
        editor->setProperty("newLabel", QStringLiteral("Spec"));
        editor->setProperty("newURL", QStringLiteral("https://example.com/spec"));
        QMetaObject::invokeMethod(editor, "addLink");
        editor->setProperty("title", QString(250, u'x'));
        QCOMPARE(editor->property("title").toString().size(), FieldLimits::title);
        QTRY_COMPARE_WITH_TIMEOUT(
            root->findChild<QQuickItem*>(QStringLiteral("linkCount"))->property("text").toString(),
            QStringLiteral("1 of 3"), 2000);
        auto* dueButton = root->findChild<QQuickItem*>(QStringLiteral("dueButton"));
        QMetaObject::invokeMethod(dueButton, "clicked");
        auto* calendar = dueButton->findChild<QObject*>(QStringLiteral("calendar"));
        QTRY_VERIFY_WITH_TIMEOUT(calendar->property("opened").toBool(), 2000);
        QMetaObject::invokeMethod(calendar, "close");
        // The popover and the confirmation open on the editor's flags and report back.
        for (const char* flag : {"sending", "confirmingDelete"}) {
            editor->setProperty(flag, true);
            auto* popup = root->findChild<QObject*>(flag == QByteArray("sending")
                                                        ? QStringLiteral("sendPopup")
                                                        : QStringLiteral("deleteDialog"));
            QTRY_VERIFY_WITH_TIMEOUT(popup->property("opened").toBool(), 2000);
        }
        QSignalSpy deleted(root.get(), SIGNAL(deleteRequested(QString)));
        QMetaObject::invokeMethod(editor, "confirmDelete");
        QCOMPARE(deleted.count(), 1);
        QCOMPARE(deleted.first().first().toString(), id);
        QTRY_VERIFY_WITH_TIMEOUT(
            !root->findChild<QObject*>("deleteDialog")->property("visible").toBool(), 2000);
    }

    // --- the app delegate ---

    // A conflict fronts the window once however many passes see it, and a new one does
    // again once the first was answered.
    void aConflictFrontsTheWindowOnce() {
        const QString user = QStringLiteral("watched");
        DelegateRig h(server->baseURL(), server->createUser(user));
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
        DelegateRig h(server->baseURL(), std::nullopt);
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

    void launchSendsEachCallOnce_data() {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("rpc");
        QTest::newRow("version") << "GET"
                                 << "/api/store/version" << QString();
        QTest::newRow("load") << "POST"
                              << "/api/store"
                              << "load";
        QTest::newRow("proposal") << "POST"
                                  << "/api/store"
                                  << "loadProposal";
    }
    void launchSendsEachCallOnce() {
        QFETCH(QString, method);
        QFETCH(QString, path);
        QFETCH(QString, rpc);
        // A fault that changes nothing counts the requests it meets.
        server->clearFaults();
        ServerProcess::Fault counter;
        counter.method = method;
        counter.path = path;
        counter.rpc = rpc;
        counter.count = 100;
        server->inject(counter);
        DelegateRig h(server->baseURL(), server->createUser(AccountRig::nextName()));
        QSignalSpy launched(&h.delegate, &AppDelegate::launched);
        h.delegate.launch();
        QTRY_COMPARE_WITH_TIMEOUT(launched.count(), 1, 10000);
        QVERIFY(!h.store.isOffline() && h.store.lastError().isEmpty());
        QCOMPARE(100 - server->pendingFaults(), 1);
        server->clearFaults();
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_main_window.moc"
