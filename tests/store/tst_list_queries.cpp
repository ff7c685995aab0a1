// Reading the list: sorts in both directions, every filter and the search, the grouped
// view, counts, the badge, and the view state's change notifications.

#include "ListQueries.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

Q_DECLARE_METATYPE(ViewSettings)

namespace {

// A fixed "today", so the tests don't depend on the clock.
const QDate today(2026, 4, 15);
const QDateTime now(today, QTime(10, 0));

QDateTime dueIn(int days) {
    return QDateTime(today.addDays(days), QTime(0, 0));
}

QDateTime at(int minute) {
    return QDateTime(QDate(2026, 1, 1), QTime(9, 0)).addSecs(minute * 60);
}

Item make(const QString& id, const QString& title, std::optional<int> due, Priority priority,
          int created, std::optional<QString> source, std::optional<int> completed = {}) {
    Item item;
    item.id = id;
    item.title = title;
    item.priority = priority;
    item.createdAt = at(created);
    item.source = source;
    if (due)
        item.due = dueIn(*due);
    if (completed) {
        item.status = ItemStatus::done;
        item.completedAt = at(*completed);
    }
    return item;
}

// Built so that every sort has ties, which must keep document order: a/f tie on due and
// priority, b/e on no due and priority, e/f on title case, b/f on an empty who, e/f on
// creation.
Document sortDocument() {
    Document doc;
    doc.items = {
        make("a", "Item 10", 1, Priority::medium, 5, "Zoe"),
        make("b", "item 2", {}, Priority::high, 1, {}),
        make("c", "Banana", 1, Priority::high, 7, "adam"),
        make("d", "zeta done", -2, Priority::low, 2, {}, 10),
        make("e", "apple", {}, Priority::high, 3, "Bob"),
        make("f", "Apple", 1, Priority::medium, 3, ""),
        make("g", "beta done", 5, Priority::low, 0, "x", 20),
        make("h", "Item 1", -1, Priority::low, 6, "bob"),
    };
    return doc;
}

Item filterItem(const QString& id, const QString& title, Section section, Channel channel,
                Priority priority, bool flagged, std::optional<int> due) {
    Item item;
    item.id = id;
    item.title = title;
    item.section = section;
    item.channel = channel;
    item.priority = priority;
    item.flagged = flagged;
    if (due)
        item.due = dueIn(*due);
    item.createdAt = at(0);
    return item;
}

Document filterDocument() {
    Document doc;
    Item p =
        filterItem("p", "Call Ana", Section::action, Channel::teams, Priority::high, true, -30);
    p.source = QStringLiteral("Boss");
    Item q =
        filterItem("q", "Tabs\there", Section::waiting, Channel::email, Priority::medium, false, 1);
    q.note = QStringLiteral("Line\nbreak");
    Item r = filterItem("r", "Report", Section::note, Channel::self, Priority::low, false, -1);
    r.note = QStringLiteral("see ANA");
    r.status = ItemStatus::done;
    Item s = filterItem("s", "Budget", Section::action, Channel::meeting, Priority::medium, false,
                        std::nullopt);
    s.source = QStringLiteral("ana Smith");
    Item t = filterItem("t", "Plan", Section::waiting, Channel::self, Priority::high, true, 0);
    t.links = {{QStringLiteral("ana"), QUrl(QStringLiteral("https://ana.example/"))}};
    doc.items = {p, q, r, s, t};
    return doc;
}

QString ids(const QList<Item>& items) {
    QString out;
    for (const auto& item : items)
        out += item.id;
    return out;
}

} // namespace

class TestListQueries : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // Collation follows the user's locale; fix it so the title rows are stable.
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    void sortOrder_data() {
        QTest::addColumn<SortField>("field");
        QTest::addColumn<bool>("ascending");
        QTest::addColumn<QString>("expected");
        // Done items (d, g) sink to the bottom in every row.
        QTest::newRow("date ascending: undated after dated, priority breaks a tie")
            << SortField::due << true << "hcafbedg";
        QTest::newRow("date descending: undated first, ties reversed too")
            << SortField::due << false << "beafchgd";
        QTest::newRow("priority ascending, then date") << SortField::priority << true << "cbeafhdg";
        QTest::newRow("priority descending: low first, dates reversed")
            << SortField::priority << false << "hafbecgd";
        QTest::newRow("title: case-insensitive, numbers as numbers")
            << SortField::title << true << "efchbagd";
        QTest::newRow("title descending") << SortField::title << false << "abhcefdg";
        QTest::newRow("who: none and empty first") << SortField::who << true << "bfcehadg";
        QTest::newRow("who descending") << SortField::who << false << "aehcbfgd";
        QTest::newRow("added") << SortField::added << true << "befahcgd";
        QTest::newRow("added descending") << SortField::added << false << "chaefbdg";
    }
    void sortOrder() {
        QFETCH(SortField, field);
        QFETCH(bool, ascending);
        QFETCH(QString, expected);
        ViewSettings view;
        view.sortField = field;
        view.sortAscending = ascending;
        // A filter every item passes, so the date-ascending rows read the flat list.
        view.channelFilter = Channel::self;
        QVERIFY(!ListQueries::isGrouped(view));
        QCOMPARE(ids(ListQueries::visibleItems(sortDocument(), view, now)), expected);
    }

    void longTiesKeepDocumentOrder_data() {
        QTest::addColumn<SortField>("field");
        QTest::addColumn<bool>("ascending");
        QTest::newRow("date") << SortField::due << true;
        QTest::newRow("date descending") << SortField::due << false;
        QTest::newRow("title") << SortField::title << true;
        QTest::newRow("who descending") << SortField::who << false;
    }
    void longTiesKeepDocumentOrder() {
        QFETCH(SortField, field);
        QFETCH(bool, ascending);
        // Long enough that an unstable sort reorders equal items.
        Document doc;
        QStringList expected;
        for (int i = 0; i < 200; ++i) {
            const QString id = QString::number(i);
            doc.items.push_back(make(id, i % 2 ? "same" : "SAME", 3, Priority::low, i % 7, "x"));
            expected << id;
        }
        ViewSettings view;
        view.sortField = field;
        view.sortAscending = ascending;
        view.search = QStringLiteral("same");
        QStringList order;
        for (const auto& item : ListQueries::visibleItems(doc, view, now))
            order << item.id;
        QCOMPARE(order, expected);
    }

    void groupedOrder() {
        // Within a section: open by date, ties by priority and then newest first; done ones
        // by latest completion.
        const ViewSettings view;
        QVERIFY(ListQueries::isGrouped(view));
        QCOMPARE(ids(ListQueries::visibleItems(sortDocument(), view, now)), QString("hcafebgd"));
        // A done item without a completion time counts as the oldest.
        Document doc = sortDocument();
        doc.items[6].completedAt.reset();
        QCOMPARE(ids(ListQueries::visibleItems(doc, view, now)), QString("hcafebdg"));
    }

    void filters_data() {
        QTest::addColumn<ViewSettings>("view");
        QTest::addColumn<bool>("hideDone");
        QTest::addColumn<bool>("applyingSection");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("filtered");
        const auto with = [](auto change) {
            ViewSettings view;
            change(view);
            return view;
        };
        const auto searching = [&](const QString& text) {
            return with([&](ViewSettings& v) { v.search = text; });
        };
        QTest::newRow("all") << ViewSettings() << false << true << "pqrst" << false;
        QTest::newRow("today: tomorrow out, last month in, undated out")
            << with([](auto& v) { v.showAll = false; }) << false << true << "prt" << false;
        QTest::newRow("hide done") << ViewSettings() << true << true << "pqst" << false;
        QTest::newRow("today and hide done")
            << with([](auto& v) { v.showAll = false; }) << true << true << "pt" << false;
        QTest::newRow("section") << with([](auto& v) { v.sectionFilter = Section::waiting; })
                                 << false << true << "qt" << true;
        QTest::newRow("section not applied")
            << with([](auto& v) { v.sectionFilter = Section::waiting; }) << false << false
            << "pqrst" << true;
        QTest::newRow("channel") << with([](auto& v) { v.channelFilter = Channel::self; }) << false
                                 << true << "rt" << true;
        QTest::newRow("priority") << with([](auto& v) { v.priorityFilter = Priority::high; })
                                  << false << true << "pt" << true;
        QTest::newRow("flagged") << with([](auto& v) { v.flaggedFilter = true; }) << false << true
                                 << "pt" << true;
        QTest::newRow("channel and flagged") << with([](auto& v) {
            v.channelFilter = Channel::self;
            v.flaggedFilter = true;
        }) << false << true << "t" << true;
        QTest::newRow("search in title, who and note, any case, never a link")
            << searching("aNA") << false << true << "prs" << true;
        QTest::newRow("search padded with spaces and tabs")
            << searching("  \tana \t") << false << true << "prs" << true;
        QTest::newRow("two spaces are no search")
            << searching("  ") << false << true << "pqrst" << false;
        QTest::newRow("a tab alone is no search")
            << searching("\t") << false << true << "pqrst" << false;
        QTest::newRow("a line break is searched for")
            << searching("\n") << false << true << "q" << true;
        QTest::newRow("inner tab") << searching("S\tH") << false << true << "q" << true;
        QTest::newRow("no match") << searching("zzz") << false << true << "" << true;
        QTest::newRow("search and hide done") << searching("ana") << true << true << "ps" << true;
    }
    void filters() {
        QFETCH(ViewSettings, view);
        QFETCH(bool, hideDone);
        QFETCH(bool, applyingSection);
        QFETCH(QString, expected);
        QFETCH(bool, filtered);
        Document doc = filterDocument();
        doc.settings.hideDone = hideDone;
        QCOMPARE(ids(ListQueries::candidates(doc, view, now, applyingSection)), expected);
        QCOMPARE(ListQueries::isFiltered(view), filtered);
    }

    void groupedSwitch_data() {
        QTest::addColumn<ViewSettings>("view");
        QTest::addColumn<bool>("grouped");
        QTest::addColumn<bool>("filtered");
        ViewSettings v;
        QTest::newRow("default") << v << true << false;
        v.search = QStringLiteral(" \t ");
        QTest::newRow("blank search") << v << true << false;
        v.search = QStringLiteral("x");
        QTest::newRow("search") << v << false << true;
        v = {};
        v.showAll = false;
        QTest::newRow("today") << v << false << false;
        v = {};
        v.sortField = SortField::title;
        QTest::newRow("other sort") << v << false << false;
        v = {};
        v.sortAscending = false;
        QTest::newRow("descending") << v << false << false;
        v = {};
        v.sectionFilter = Section::note;
        QTest::newRow("section") << v << false << true;
        v = {};
        v.priorityFilter = Priority::low;
        QTest::newRow("priority") << v << false << true;
        v = {};
        v.flaggedFilter = true;
        QTest::newRow("flagged") << v << false << true;
    }
    void groupedSwitch() {
        QFETCH(ViewSettings, view);
        QFETCH(bool, grouped);
        QFETCH(bool, filtered);
        QCOMPARE(ListQueries::isGrouped(view), grouped);
        QCOMPARE(ListQueries::isViewCustomised(view), !grouped);
        QCOMPARE(ListQueries::isFiltered(view), filtered);
    }

    void sectionCounts_data() {
        QTest::addColumn<ViewSettings>("view");
        QTest::addColumn<bool>("hideDone");
        QTest::addColumn<int>("action");
        QTest::addColumn<int>("waiting");
        ViewSettings v;
        // The done note never counts, so "note" has no entry at all.
        QTest::newRow("all") << v << false << 2 << 2;
        QTest::newRow("hide done changes nothing") << v << true << 2 << 2;
        v.sectionFilter = Section::waiting;
        QTest::newRow("section filter ignored") << v << false << 2 << 2;
        v = {};
        v.search = QStringLiteral("ana");
        QTest::newRow("search") << v << false << 2 << 0;
        v = {};
        v.showAll = false;
        QTest::newRow("today") << v << false << 1 << 1;
        v = {};
        v.channelFilter = Channel::email;
        QTest::newRow("channel") << v << false << 0 << 1;
    }
    void sectionCounts() {
        QFETCH(ViewSettings, view);
        QFETCH(bool, hideDone);
        QFETCH(int, action);
        QFETCH(int, waiting);
        Document doc = filterDocument();
        doc.settings.hideDone = hideDone;
        QMap<Section, int> expected;
        if (action)
            expected[Section::action] = action;
        if (waiting)
            expected[Section::waiting] = waiting;
        QCOMPARE(ListQueries::sectionCounts(doc, view, now), expected);
    }

    void dueCounts_data() {
        QTest::addColumn<int>("shift");
        QTest::addColumn<int>("due");
        QTest::addColumn<int>("overdue");
        QTest::addColumn<QString>("todayItems");
        // The done item due yesterday is in Today but in neither count.
        QTest::newRow("today") << 0 << 2 << 1 << "prt";
        QTest::newRow("tomorrow") << 1 << 3 << 2 << "pqrt";
        QTest::newRow("before anything") << -31 << 0 << 0 << "";
    }
    void dueCounts() {
        QFETCH(int, shift);
        QFETCH(int, due);
        QFETCH(int, overdue);
        QFETCH(QString, todayItems);
        const Document doc = filterDocument();
        const QDateTime when = now.addDays(shift);
        QCOMPARE(ListQueries::dueCount(doc, when), due);
        QCOMPARE(ListQueries::overdueCount(doc, when), overdue);
        QCOMPARE(ids(ListQueries::todayItems(doc, when)), todayItems);
    }

    void badgeCount_data() {
        QTest::addColumn<bool>("deltas");
        QTest::addColumn<int>("shared");
        QTest::addColumn<bool>("unread");
        QTest::addColumn<int>("expected");
        QTest::newRow("nothing") << false << 0 << false << 0;
        QTest::newRow("suggestions") << true << 0 << false << 1;
        QTest::newRow("shared tasks") << false << 3 << false << 1;
        QTest::newRow("suggestions and shared tasks are one kind") << true << 3 << false << 1;
        QTest::newRow("briefing") << false << 0 << true << 1;
        QTest::newRow("all") << true << 3 << true << 2;
    }
    void badgeCount() {
        QFETCH(bool, deltas);
        QFETCH(int, shared);
        QFETCH(bool, unread);
        QFETCH(int, expected);
        QCOMPARE(ListQueries::badgeCount(deltas, shared, unread), expected);
    }

    void itemLookup() {
        Document doc = filterDocument();
        Item twin = doc.items[2];
        twin.title = QStringLiteral("second r");
        doc.items.push_back(twin);
        QCOMPARE(ListQueries::item(doc, QStringLiteral("r"))->title, QStringLiteral("Report"));
        QVERIFY(!ListQueries::item(doc, QString()));
        QVERIFY(!ListQueries::item(doc, QStringLiteral("nope")));
    }

    void sortFieldWords() {
        QStringList labels;
        for (const auto field : Wire::allValues<SortField>()) {
            labels << label(field);
            QCOMPARE(Wire::parse<SortField>(Wire::string(field)), field);
        }
        QCOMPARE(labels, QStringList({"Date", "Priority", "Title", "Who", "Added"}));
        QCOMPARE(Wire::parse<SortField>(QStringLiteral("Date")), std::nullopt);
    }

    void viewStateNotifiesOnlyOnChange() {
        ViewState state;
        QSignalSpy search(&state, &ViewState::searchChanged);
        QSignalSpy section(&state, &ViewState::sectionFilterChanged);
        QSignalSpy channel(&state, &ViewState::channelFilterChanged);
        QSignalSpy flagged(&state, &ViewState::flaggedFilterChanged);
        QSignalSpy sort(&state, &ViewState::sortFieldChanged);
        QSignalSpy showAll(&state, &ViewState::showAllChanged);
        QSignalSpy any(&state, &ViewState::changed);

        state.setSearch(QString());
        state.setSortField(SortField::due);
        state.setSortFieldText(QStringLiteral("bogus"));
        QCOMPARE(any.count(), 0);

        state.setSearch(QStringLiteral("x"));
        state.setSearch(QStringLiteral("x"));
        state.setSectionFilter(Section::note);
        state.setSortFieldText(QStringLiteral("who"));
        state.setShowAll(false);
        QCOMPARE(search.count(), 1);
        QCOMPARE(state.sortField(), SortField::who);
        QCOMPARE(any.count(), 4);

        // Only the fields that were set are written; the sort and "All" stay.
        state.clearFilters();
        QCOMPARE(search.count(), 2);
        QCOMPARE(section.count(), 2);
        QCOMPARE(channel.count(), 0);
        QCOMPARE(flagged.count(), 0);
        QCOMPARE(sort.count(), 1);
        QCOMPARE(showAll.count(), 1);
        QVERIFY(!state.isFiltered());
        QVERIFY(state.isViewCustomised());

        any.clear();
        state.clearFilters();
        QCOMPARE(any.count(), 0);
    }
};

QTEST_GUILESS_MAIN(TestListQueries)
#include "tst_list_queries.moc"
