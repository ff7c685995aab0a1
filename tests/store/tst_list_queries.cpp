// Reading the list: sorts with ties, filters and search, counts, the badge and the view
// state; and day arithmetic in two time zones across daylight-saving changes.

#include "DueLabel.h"
#include "ListQueries.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

#include <ctime>
#include <functional>

Q_DECLARE_METATYPE(ViewSettings)

namespace {

const QDate today(2026, 4, 15);
const QDateTime now(today, QTime(10, 0));

// `due` in days from today; `created` and `completed` in minutes (completed: done).
Item make(const QString& id, const QString& title, std::optional<int> due,
          Priority priority = Priority::medium, int created = 0, std::optional<QString> source = {},
          std::optional<int> completed = {}) {
    const QDateTime base(QDate(2026, 1, 1), QTime(9, 0), Qt::UTC);
    Item item;
    item.id = id;
    item.title = title;
    item.priority = priority;
    item.createdAt = base.addSecs(created * 60);
    item.source = source;
    if (due)
        item.due = QDateTime(today.addDays(*due), QTime(0, 0));
    if (completed) {
        item.status = ItemStatus::done;
        item.completedAt = base.addSecs(*completed * 60);
    }
    return item;
}

// Every sort has ties that must keep document order: a/f on due and priority, b/e on no
// due and priority, e/f on title case and on creation, b/f on an empty who.
Document sortDocument() {
    Document doc;
    doc.items = {make("a", "Item 10", 1, Priority::medium, 5, "Zoe"),
                 make("b", "item 2", {}, Priority::high, 1),
                 make("c", "Banana", 1, Priority::high, 7, "adam"),
                 make("d", "zeta done", -2, Priority::low, 2, {}, 10),
                 make("e", "apple", {}, Priority::high, 3, "Bob"),
                 make("f", "Apple", 1, Priority::medium, 3, ""),
                 make("g", "beta done", 5, Priority::low, 0, "x", 20),
                 make("h", "Item 1", -1, Priority::low, 6, "bob")};
    return doc;
}

Document filterDocument() {
    Item p = make("p", "Call Ana", -30, Priority::high, 0, "Boss");
    p.channel = Channel::teams;
    p.flagged = true;
    Item q = make("q", "Tabs\there", 1);
    q.section = Section::waiting;
    q.channel = Channel::email;
    q.note = QStringLiteral("Line\nbreak");
    Item r = make("r", "Report", -1, Priority::low, 0, {}, 0);
    r.section = Section::note;
    r.note = QStringLiteral("see ANA");
    Item s = make("s", "Budget", {}, Priority::medium, 0, "ana Smith");
    s.channel = Channel::meeting;
    Item t = make("t", "Plan", 0, Priority::high);
    t.section = Section::waiting;
    t.flagged = true;
    t.links = {{QStringLiteral("ana"), QUrl(QStringLiteral("https://ana.example/"))}};
    Document doc;
    doc.items = {p, q, r, s, t};
    return doc;
}

QString ids(const QList<Item>& items) {
    QString out;
    for (const auto& item : items)
        out += item.id;
    return out;
}

ViewSettings with(const std::function<void(ViewSettings&)>& change) {
    ViewSettings view;
    change(view);
    return view;
}

ViewSettings searching(const QString& text) {
    return with([&](ViewSettings& v) { v.search = text; });
}

void useZone(const QByteArray& zone) {
    qputenv("TZ", zone);
    tzset();
}

QDateTime local(QDate day, QTime time = QTime(0, 0)) {
    return QDateTime(day, time);
}

Item dueAt(const QDateTime& due) {
    Item item;
    item.id = QStringLiteral("i");
    item.due = due;
    item.createdAt = due;
    return item;
}

} // namespace

class TestListQueries : public QObject {
    Q_OBJECT
    QByteArray m_savedZone;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        m_savedZone = qgetenv("TZ");
    }
    // The zone tests set their own; every other test runs in the zone it was started in.
    void cleanup() {
        if (m_savedZone.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_savedZone);
        tzset();
    }

    void sortOrder_data() {
        QTest::addColumn<SortField>("field");
        QTest::addColumn<bool>("ascending");
        QTest::addColumn<QString>("expected");
        // Done items (d, g) sink to the bottom in every row.
        QTest::newRow("date: undated last") << SortField::due << true << "hcafbedg";
        QTest::newRow("date descending: undated first, ties reversed")
            << SortField::due << false << "beafchgd";
        QTest::newRow("priority") << SortField::priority << true << "cbeafhdg";
        QTest::newRow("priority descending: low first, dates reversed")
            << SortField::priority << false << "hafbecgd";
        QTest::newRow("title: any case, numbers as numbers")
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
        // A filter every item passes makes the date-ascending rows flat.
        const ViewSettings view = with([&](ViewSettings& v) {
            v.sortField = field;
            v.sortAscending = ascending;
            v.channelFilter = Channel::self;
        });
        QCOMPARE(ids(ListQueries::visibleItems(sortDocument(), view, now)), expected);

        // A run long enough that an unstable sort would reorder equal items.
        Document ties;
        QString order;
        for (int i = 0; i < 200; ++i) {
            const QString id = QChar(u'A' + i % 50);
            ties.items.push_back(make(id, i % 2 ? "same" : "SAME", 3, Priority::low, 0, "x"));
            order += id;
        }
        QCOMPARE(ids(ListQueries::visibleItems(ties, view, now)), order);
    }

    // The C locale has no ICU collator: titles take the fallback order, any case as well.
    void titlesInTheCLocale() {
        const QLocale saved;
        QLocale::setDefault(QLocale::c());
        Document doc;
        doc.items = {make("b", "beta", 1), make("B", "Beta", 1), make("a", "alpha", 1)};
        const ViewSettings view = with([](ViewSettings& v) { v.sortField = SortField::title; });
        const QString order = ids(ListQueries::visibleItems(doc, view, now));
        QLocale::setDefault(saved);
        QCOMPARE(order, QString("abB"));
    }

    // The title order is kept between calls; texts first seen later must fall into place
    // among the kept ones, a case variant level with its twin (document order between them).
    void titlesSeenLaterFallIntoPlace() {
        const ViewSettings view = with([](ViewSettings& v) { v.sortField = SortField::title; });
        Document doc;
        doc.items = {make("m", "mango", 1), make("c", "cherry", 1), make("t", "tomato", 1)};
        QCOMPARE(ids(ListQueries::visibleItems(doc, view, now)), QString("cmt"));
        doc.items.push_back(make("a", "apricot", 1));
        doc.items.push_back(make("K", "CHERRY", 1));
        doc.items.push_back(make("p", "Peach 10", 1));
        doc.items.push_back(make("q", "peach 9", 1));
        doc.items[1].title = QStringLiteral("zucchini"); // a rename
        QCOMPARE(ids(ListQueries::visibleItems(doc, view, now)), QString("aKmqptc"));
        doc.items.push_back(make("C", "cherry", 1)); // the old title, kept, comes back
        QCOMPARE(ids(ListQueries::visibleItems(doc, view, now)), QString("aKCmqptc"));
        const ViewSettings descending = with([](ViewSettings& v) {
            v.sortField = SortField::title;
            v.sortAscending = false;
        });
        QCOMPARE(ids(ListQueries::visibleItems(doc, descending, now)), QString("ctpqmKCa"));
    }

    void groupedOrder() {
        // Open by date, ties by priority then newest; done ones by latest completion, a
        // missing completion counting as the oldest.
        Document doc = sortDocument();
        QCOMPARE(ids(ListQueries::visibleItems(doc, {}, now)), QString("hcafebgd"));
        doc.items[6].completedAt.reset();
        QCOMPARE(ids(ListQueries::visibleItems(doc, {}, now)), QString("hcafebdg"));
    }

    void searchLowerCasesBeyondAscii() {
        Document doc;
        doc.items = {
            make("e", QString::fromUtf8("Rapport d\u2019\u00c9T\u00c9"), {}),
            make("s", QString::fromUtf8("Stra\u00dfe kehren"), {}, Priority::low, 0, "ANA"),
            make("a", "Plain ascii", {})};
        auto found = [&](const char* text) {
            return ids(ListQueries::visibleItems(doc, searching(QString::fromUtf8(text)), now));
        };
        QCOMPARE(found("\u00e9t\u00e9"), QString("e")); // accented capitals in the item
        QCOMPARE(found("STRA\u00dfE"), QString("s"));   // a non-ASCII term
        QCOMPARE(found("strasse"), QString(""));        // no folding of ß
        QCOMPARE(found("ana"), QString("s"));           // ASCII term, ASCII who
    }

    void filters_data() {
        QTest::addColumn<ViewSettings>("view");
        QTest::addColumn<bool>("hideDone");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("filtered");
        QTest::addColumn<bool>("grouped");
        // Open items per section, whatever the section filter; the done note never counts.
        QTest::addColumn<int>("actions");
        QTest::addColumn<int>("waiting");
        const ViewSettings all;
        QTest::newRow("all") << all << false << "pqrst" << false << true << 2 << 2;
        QTest::newRow("hide done") << all << true << "pqst" << false << true << 2 << 2;
        const auto todayOnly = with([](auto& v) { v.showAll = false; });
        QTest::newRow("today: last month in, tomorrow and undated out")
            << todayOnly << false << "prt" << false << false << 1 << 1;
        QTest::newRow("today, hide done") << todayOnly << true << "pt" << false << false << 1 << 1;
        QTest::newRow("section") << with([](auto& v) { v.sectionFilter = Section::waiting; })
                                 << false << "qt" << true << false << 2 << 2;
        QTest::newRow("channel") << with([](auto& v) { v.channelFilter = Channel::email; }) << false
                                 << "q" << true << false << 0 << 1;
        QTest::newRow("priority") << with([](auto& v) { v.priorityFilter = Priority::high; })
                                  << false << "pt" << true << false << 1 << 1;
        QTest::newRow("flagged and channel") << with([](auto& v) {
            v.flaggedFilter = true;
            v.channelFilter = Channel::self;
        }) << false << "t" << true << false << 0
                                             << 1;
        QTest::newRow("other sort") << with([](auto& v) { v.sortField = SortField::who; }) << false
                                    << "pqrst" << false << false << 2 << 2;
        QTest::newRow("descending") << with([](auto& v) { v.sortAscending = false; }) << false
                                    << "pqrst" << false << false << 2 << 2;
        QTest::newRow("title, who and note in any case, never a link")
            << searching("aNA") << false << "prs" << true << false << 2 << 0;
        QTest::newRow("padded with spaces and tabs")
            << searching(" \tana\t ") << false << "prs" << true << false << 2 << 0;
        QTest::newRow("two spaces are no search")
            << searching("  ") << false << "pqrst" << false << true << 2 << 2;
        QTest::newRow("a line break is a search")
            << searching("\n") << false << "q" << true << false << 0 << 1;
        QTest::newRow("inner tab") << searching("S\tH") << false << "q" << true << false << 0 << 1;
        QTest::newRow("no match") << searching("zzz") << false << "" << true << false << 0 << 0;
    }
    void filters() {
        QFETCH(ViewSettings, view);
        QFETCH(bool, hideDone);
        QFETCH(QString, expected);
        QFETCH(bool, filtered);
        QFETCH(bool, grouped);
        QFETCH(int, actions);
        QFETCH(int, waiting);
        Document doc = filterDocument();
        doc.settings.hideDone = hideDone;
        QCOMPARE(ids(ListQueries::candidates(doc, view, now, true)), expected);
        QCOMPARE(ListQueries::isFiltered(view), filtered);
        QCOMPARE(ListQueries::isGrouped(view), grouped);
        QCOMPARE(ListQueries::isViewCustomised(view), !grouped);
        QMap<Section, int> counts;
        if (actions)
            counts[Section::action] = actions;
        if (waiting)
            counts[Section::waiting] = waiting;
        QCOMPARE(ListQueries::sectionCounts(doc, view, now), counts);
    }

    void countsAndLookup() {
        // The done item due yesterday is in Today but in neither count.
        Document doc = filterDocument();
        QCOMPARE(ids(ListQueries::todayItems(doc, now)), QString("prt"));
        QCOMPARE((QList<int>{ListQueries::dueCount(doc, now), ListQueries::overdueCount(doc, now),
                             ListQueries::dueCount(doc, now.addDays(1)),
                             ListQueries::overdueCount(doc, now.addDays(1)),
                             ListQueries::dueCount(doc, now.addDays(-31))}),
                 (QList<int>{2, 1, 3, 2, 0}));
        // The badge counts kinds, not items.
        QCOMPARE(
            (QList<int>{
                ListQueries::badgeCount(false, 0, false), ListQueries::badgeCount(true, 0, false),
                ListQueries::badgeCount(false, 3, false), ListQueries::badgeCount(true, 3, false),
                ListQueries::badgeCount(false, 0, true), ListQueries::badgeCount(true, 3, true)}),
            (QList<int>{0, 1, 1, 1, 1, 2}));

        doc.items.push_back(make("r", "second r", {}));
        QCOMPARE(ListQueries::item(doc, QStringLiteral("r"))->title, QStringLiteral("Report"));
        QVERIFY(!ListQueries::item(doc, QString()));
        QVERIFY(!ListQueries::item(doc, QStringLiteral("nope")));
    }

    void viewStateNotifiesOnlyOnChange() {
        ViewState state;
        QSignalSpy search(&state, &ViewState::searchChanged);
        QSignalSpy section(&state, &ViewState::sectionFilterChanged);
        QSignalSpy channel(&state, &ViewState::channelFilterChanged);
        QSignalSpy any(&state, &ViewState::changed);
        state.setSearch(QString());
        state.setSortFieldText(QStringLiteral("bogus"));
        QCOMPARE(any.count(), 0);
        state.setSearch(QStringLiteral("x"));
        state.setSearch(QStringLiteral("x"));
        state.setSectionFilter(Section::note);
        state.setSortFieldText(QStringLiteral("who"));
        QCOMPARE(any.count(), 3);

        // Only what was set is written back; the sort stays.
        state.clearFilters();
        QCOMPARE(search.count(), 2);
        QCOMPARE(section.count(), 2);
        QCOMPARE(channel.count(), 0);
        QCOMPARE(state.sortField(), SortField::who);
        QVERIFY(!state.isFiltered() && state.isViewCustomised());
        any.clear();
        state.clearFilters();
        QCOMPARE(any.count(), 0);
    }

    // Days around the spring and autumn changes of both zones, with "now" at times that
    // straddle the missing or repeated hour.
    void labelsAroundToday_data() {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QDate>("today");
        QTest::addColumn<QTime>("time");
        QTest::addColumn<QString>("weekBack");
        QTest::addColumn<QString>("twoAhead");
        const QByteArray york("America/New_York"), berlin("Europe/Berlin");
        QTest::newRow("New York, spring, early")
            << york << QDate(2026, 3, 8) << QTime(0, 30) << "Sun, Mar 1" << QString("Tue, Mar 10");
        QTest::newRow("New York, autumn")
            << york << QDate(2026, 11, 1) << QTime(1, 30) << "Sun, Oct 25" << QString("Tue, Nov 3");
        QTest::newRow("Berlin, spring") << berlin << QDate(2026, 3, 29) << QTime(3, 30)
                                        << "Sun, Mar 22" << QString("Tue, Mar 31");
        QTest::newRow("Berlin, autumn") << berlin << QDate(2026, 10, 25) << QTime(2, 30)
                                        << "Sun, Oct 18" << QString("Tue, Oct 27");
    }
    void labelsAroundToday() {
        QFETCH(QByteArray, zone);
        QFETCH(QDate, today);
        QFETCH(QTime, time);
        QFETCH(QString, weekBack);
        QFETCH(QString, twoAhead);
        useZone(zone);
        const QDateTime now = local(today, time);
        const QStringList expected = {weekBack,     "6 days ago", "5 days ago", "4 days ago",
                                      "3 days ago", "2 days ago", "Yesterday",  "Today",
                                      "Tomorrow",   twoAhead};
        QStringList labels;
        for (int n = -7; n <= 2; ++n) {
            const QDateTime due = local(today.addDays(n));
            QCOMPARE(DueLabel::dayOffset(due, now), n);
            labels << *DueLabel::of(dueAt(due), now);
        }
        QCOMPARE(labels, expected);
        // A week in either direction is seven whole days, whatever the clock did between.
        QCOMPARE(DueLabel::dayOffset(now.addDays(7), now), 7);
        QCOMPARE(DueLabel::dayOffset(now.addDays(-7), now), -7);

        // The ends of the change day: Today and not overdue at noon; overdue and Yesterday
        // just after midnight.
        Document doc;
        doc.items = {dueAt(local(today, QTime(23, 59))), dueAt(local(today, QTime(0, 1)))};
        const QDateTime noon = local(today, QTime(12, 0));
        const QDateTime afterMidnight = local(today.addDays(1), QTime(0, 0, 30));
        for (const auto& item : doc.items) {
            QCOMPARE(*DueLabel::of(item, noon), QStringLiteral("Today"));
            QVERIFY(item.isToday(noon));
            QCOMPARE(*DueLabel::of(item, afterMidnight), QStringLiteral("Yesterday"));
        }
        QCOMPARE((QList<int>{ListQueries::dueCount(doc, noon), ListQueries::overdueCount(doc, noon),
                             ListQueries::dueCount(doc, afterMidnight),
                             ListQueries::overdueCount(doc, afterMidnight)}),
                 (QList<int>{2, 0, 2, 2}));
    }

    void zoneReadAtEachCall() {
        // One instant, 03:30 UTC: still May 31 in New York, already June 1 in Berlin.
        const QDateTime instant(QDate(2026, 6, 1), QTime(3, 30), Qt::UTC);
        useZone("America/New_York");
        const Item item = dueAt(local(QDate(2026, 6, 1)));
        Document doc;
        doc.items = {item};
        QCOMPARE(*DueLabel::of(item, instant), QStringLiteral("Tomorrow"));
        QCOMPARE(ListQueries::dueCount(doc, instant), 0);
        useZone("Europe/Berlin");
        QCOMPARE(*DueLabel::of(item, instant), QStringLiteral("Today"));
        QCOMPARE(ListQueries::dueCount(doc, instant), 1);
        QCOMPARE(ListQueries::todayItems(doc, instant).size(), 1);
        QCOMPARE(DueLabel::of(Item(), instant), std::nullopt);
        QCOMPARE(DueLabel::text(QDateTime(), instant), QStringLiteral("Today"));
    }

    void shortDateFollowsTheLocale_data() {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("expected");
        QTest::newRow("en_US") << QLocale(QLocale::English, QLocale::UnitedStates) << "Mon, Jan 5";
        QTest::newRow("en_GB") << QLocale(QLocale::English, QLocale::UnitedKingdom) << "Mon, 5 Jan";
        QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany) << "Mo., 5. Jan.";
    }
    void shortDateFollowsTheLocale() {
        QFETCH(QLocale, locale);
        QFETCH(QString, expected);
        QCOMPARE(DueLabel::shortDate(QDate(2026, 1, 5), locale), expected);
        // The words stay English; only the far date follows the locale.
        const QDateTime now = local(QDate(2026, 1, 15), QTime(9, 0));
        QCOMPARE(DueLabel::text(local(QDate(2026, 1, 14)), now, locale),
                 QStringLiteral("Yesterday"));
        QCOMPARE(DueLabel::text(local(QDate(2026, 1, 5)), now, locale), expected);
        QCOMPARE(DueLabel::shortDate(QDate(), locale), QString());
    }
};

QTEST_GUILESS_MAIN(TestListQueries)
#include "tst_list_queries.moc"
