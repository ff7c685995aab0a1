// Day arithmetic in the system time zone, run in two zones across daylight-saving changes:
// due labels, Today and overdue, and a change of zone between two calls.

#include "DueLabel.h"
#include "ListQueries.h"

#include <QStandardPaths>
#include <QtTest>

#include <ctime>

namespace {

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

class TestDueLabels : public QObject {
    Q_OBJECT
    QByteArray m_savedZone;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        m_savedZone = qgetenv("TZ");
    }
    void cleanupTestCase() {
        if (m_savedZone.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_savedZone);
        tzset();
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
    }

    void endsOfTheDay_data() {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QDate>("day");
        QTest::newRow("New York, spring change")
            << QByteArray("America/New_York") << QDate(2026, 3, 8);
        QTest::newRow("Berlin, autumn change")
            << QByteArray("Europe/Berlin") << QDate(2026, 10, 25);
    }
    void endsOfTheDay() {
        QFETCH(QByteArray, zone);
        QFETCH(QDate, day);
        useZone(zone);
        Document doc;
        doc.items = {dueAt(local(day, QTime(23, 59))), dueAt(local(day, QTime(0, 1)))};

        // During the day both are Today and neither is overdue.
        const QDateTime noon = local(day, QTime(12, 0));
        for (const auto& item : doc.items) {
            QCOMPARE(*DueLabel::of(item, noon), QStringLiteral("Today"));
            QVERIFY(item.isToday(noon));
        }
        QCOMPARE(ListQueries::dueCount(doc, noon), 2);
        QCOMPARE(ListQueries::overdueCount(doc, noon), 0);

        // Just after midnight both are overdue and read Yesterday.
        const QDateTime afterMidnight = local(day.addDays(1), QTime(0, 0, 30));
        for (const auto& item : doc.items)
            QCOMPARE(*DueLabel::of(item, afterMidnight), QStringLiteral("Yesterday"));
        QCOMPARE(ListQueries::overdueCount(doc, afterMidnight), 2);
        QCOMPARE(ListQueries::dueCount(doc, afterMidnight), 2);
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

QTEST_GUILESS_MAIN(TestDueLabels)
#include "tst_due_labels.moc"
