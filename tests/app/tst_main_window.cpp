// The main window's words and behaviour as functions of its state, and its actions against
// a real velmora-server.
#include "AppRig.h"
#include "Await.h"
#include "MainScreen.h"
#include "MainWindow.h"
#include "Proposal.h"
#include "ReviewPaneModel.h"
#include "RulesViewModel.h"
#include "ServerProcess.h"
#include "WireFormats.h"

#include <QAbstractItemModelTester>
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
    }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanupTestCase() { server.reset(); }

    void subtitle_data() {
        QTest::addColumn<int>("due");
        QTest::addColumn<int>("late");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << 0 << 0 << "Nothing due";
        QTest::newRow("due") << 3 << 0 << "3 due now";
        QTest::newRow("late") << 3 << 1 << "3 due now · 1 late";
    }
    void subtitle() {
        QFETCH(int, due);
        QFETCH(int, late);
        QTEST(MainScreen::subtitle(due, late), "text");
    }

    void toolbarWords() {
        QCOMPARE(MainScreen::aiButtonLabel(std::nullopt), "AI Assistant");
        QCOMPARE(MainScreen::aiButtonToolTip(Proposal{}), "Briefings, updates, credits and tuning");
        Proposal proposal;
        proposal.deltas = {ProposalDelta{}, ProposalDelta{}};
        QCOMPARE(MainScreen::aiButtonLabel(proposal), "2 suggested");
        QCOMPARE(MainScreen::aiButtonToolTip(proposal), "Your AI agent suggests some changes");
        proposal.agent = QStringLiteral("Claude");
        QCOMPARE(MainScreen::aiButtonToolTip(proposal), "Claude suggests some changes");
        const QLocale c(QLocale::English, QLocale::UnitedKingdom);
        QCOMPARE(MainScreen::refreshToolTip(std::nullopt, c), QString());
        QCOMPARE(MainScreen::refreshToolTip(QDateTime(QDate(2026, 1, 2), QTime(14, 5)), c),
                 "Last refreshed 14:05");
        // The add row's priority: medium, high, low, and round again.
        Priority p = Priority::medium;
        QStringList tips;
        for (int i = 0; i < 4; ++i, p = MainScreen::nextPriority(p))
            tips << MainScreen::priorityToolTip(p);
        QCOMPARE(
            tips,
            QStringList({"Priority: Medium. Click to change.", "Priority: High. Click to change.",
                         "Priority: Low. Click to change.", "Priority: Medium. Click to change."}));
        // Two-state controls name what a click will do.
        QCOMPARE(QStringList({MainScreen::detailsButtonLabel(true),
                              MainScreen::detailsButtonLabel(false),
                              MainScreen::detailsButtonToolTip(true),
                              MainScreen::detailsButtonToolTip(false)}),
                 QStringList({"Hide details", "Show details", "Hide the details pane",
                              "Show the details pane"}));
        QCOMPARE(MainScreen::sortOrderToolTip(false), "Descending — click for ascending");
        QCOMPARE(MainScreen::sortOrderToolTip(true), "Ascending — click for descending");
        QCOMPARE(MainScreen::hideDoneToolTip(true), "Show done items");
        QCOMPARE(MainScreen::hideDoneToolTip(false), "Hide done items");
        QCOMPARE(MainScreen::keepMineLabel(1), "Keep my 1 offline edit");
        QCOMPARE(MainScreen::keepMineLabel(3), "Keep my 3 offline edits");
    }

    void filterSummary_data() {
        QTest::addColumn<ViewSettings>("view");
        QTest::addColumn<QString>("summary");
        QTest::newRow("none") << ViewSettings{} << "Showing everything";
        ViewSettings all;
        all.flaggedFilter = true;
        all.sectionFilter = Section::waiting;
        all.priorityFilter = Priority::high;
        all.channelFilter = Channel::teams;
        all.search = QStringLiteral("dana ");
        QTest::newRow("all, in order")
            << all << "Showing flagged, waiting on, high priority, from teams, matching “dana ”";
        ViewSettings blank;
        blank.search = QStringLiteral("  ");
        QTest::newRow("blank search") << blank << "Showing everything";
    }
    void filterSummary() {
        QFETCH(ViewSettings, view);
        QTEST(MainScreen::filterSummary(view), "summary");
    }

    void chips() {
        const QMap<Section, int> counts{{Section::action, 4}, {Section::note, 1}};
        const auto chips = MainScreen::chips(Section::action, counts);
        QCOMPARE(chips.size(), 4);
        QVERIFY(!chips[0].selected && !chips[0].count);
        QCOMPARE(chips[1].toolTip, "Showing Actions only — click to show everything");
        QCOMPARE(chips[2].toolTip, "Show Waiting on only");
        QCOMPARE(chips[2].accessibleName, "Waiting on: 0 outstanding");
        QCOMPARE(chips[3].accessibleName, "Notes: 1 outstanding");
        // A second click on the selected chip shows everything; "All" always does.
        QCOMPARE(MainScreen::chipClicked(Section::action, Section::action), std::nullopt);
        QCOMPARE(MainScreen::chipClicked(Section::action, Section::note), Section::note);
        QCOMPARE(MainScreen::chipClicked(Section::note, std::nullopt), std::nullopt);
    }

    void emptyStates_data() {
        QTest::addColumn<bool>("filtered");
        QTest::addColumn<bool>("showAll");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("button");
        QTest::newRow("filtered") << true << false << "Nothing matches"
                                  << "Clear filters";
        QTest::newRow("all") << false << true << "Nothing here"
                             << "";
        QTest::newRow("today") << false << false << "Nothing due now"
                               << "";
    }
    void emptyStates() {
        QFETCH(bool, filtered);
        QFETCH(bool, showAll);
        const auto state = MainScreen::emptyState(filtered, showAll);
        QTEST(state.title, "title");
        QTEST(state.button, "button");
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

    void selectionFollowsTheList() {
        const QList<Item> list{item("a", Section::action), item("b", Section::action)};
        QCOMPARE(MainScreen::followSelection("b", list), "b");
        QCOMPARE(MainScreen::followSelection("gone", list), "a");
        QCOMPARE(MainScreen::followSelection({}, list), "a");
        QCOMPARE(MainScreen::followSelection("a", {}), QString());
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
        // A kept row under another heading resets, so the view's headings follow.
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        model.setRows({b, renamed}, {RowPlacement{}, RowPlacement{"Notes", true}}, now);
        QCOMPARE(reset.size(), 1);
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

    void ruleLines_data() {
        QTest::addColumn<int>("origin");
        QTest::addColumn<int>("learnedFrom");
        QTest::addColumn<int>("applyCount");
        QTest::addColumn<QString>("line");
        QTest::newRow("yours, once")
            << int(Origin::user) << 0 << 1 << "You|Created by you · Applied 1 time";
        QTest::newRow("learned, never")
            << int(Origin::ai) << 3 << 0 << "Your AI|Learned from 3 rejections · Never applied yet";
        QTest::newRow("learned once, often")
            << int(Origin::ai) << 1 << 12 << "Your AI|Learned from 1 rejections · Applied 12 times";
    }
    void ruleLines() {
        QFETCH(int, origin);
        QFETCH(int, learnedFrom);
        QFETCH(int, applyCount);
        QFETCH(QString, line);
        Rule rule;
        rule.createdBy = Origin(origin);
        rule.learnedFrom = learnedFrom;
        rule.applyCount = applyCount;
        const RuleLine shown = RulesScreen::line(rule);
        QCOMPARE(shown.author + u'|' + shown.history, line);
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
};

QTEST_MAIN(TestMainWindow)
#include "tst_main_window.moc"
