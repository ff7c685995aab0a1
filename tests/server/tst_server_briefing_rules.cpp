// The reference briefing's rules as one table: which list a task lands in and why, focus
// hits first, the cut at five, handled findings kept out, the remarks and the headline.

#include "BriefingRules.h"

#include <QStandardPaths>
#include <QTest>

namespace {

const QDate today(2026, 3, 4);
const QDateTime now(today, QTime(9, 0), Qt::UTC);

// "id section [due=N] [age=N] [low|high] [flag] [done] [gone] [who=Name_Surname]": due and
// age in days from today; "_" stands for a blank in a name.
WireItem item(const QString& spec) {
    const QStringList words = spec.split(u' ', Qt::SkipEmptyParts);
    WireItem item;
    item.id = words[0];
    item.title = QStringLiteral("Task ") + words[0];
    item.section = *Wire::parse<Section>(words[1]);
    item.createdAt = now.toString(Qt::ISODateWithMs);
    for (const QString& word : words.mid(2)) {
        const QString value = word.section(u'=', 1);
        if (word.startsWith(u"due="))
            item.due = today.addDays(value.toInt()).toString(Qt::ISODate);
        else if (word.startsWith(u"age="))
            item.createdAt = now.addDays(-value.toInt()).toString(Qt::ISODateWithMs);
        else if (word.startsWith(u"who="))
            item.source = QString(value).replace(u'_', u' ');
        else if (word == u"low" || word == u"high")
            item.priority = *Wire::parse<Priority>(word);
        else if (word == u"flag")
            item.flagged = true;
        else if (word == u"done")
            item.status = ItemStatus::done;
        else if (word == u"gone")
            item.deletedAt = item.createdAt;
    }
    return item;
}

// "critical a Overdue by 3 days", "observation slug a,b,c text", then the headline.
QStringList lines(const BriefingRules::Body& body) {
    QStringList out;
    const auto list = [&](const char* name, const QList<BriefingRules::Finding>& findings) {
        for (const auto& f : findings)
            out << QStringLiteral("%1 %2 %3").arg(QLatin1StringView(name), f.itemId, f.why);
    };
    list("critical", body.critical);
    list("chase", body.chase);
    list("drop", body.drop);
    for (const auto& o : body.observations)
        out << QStringLiteral("observation %1 %2 %3").arg(o.slug, o.itemIds.join(u','), o.text);
    out << body.headline;
    return out;
}

} // namespace

class TestServerBriefingRules : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void generate_data() {
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QStringList>("focus");
        QTest::addColumn<QStringList>("handled");
        QTest::addColumn<QStringList>("expected");
        const QStringList none;

        QTest::newRow("empty list")
            << none << none << none << QStringList{"Nothing needs you today."};
        QTest::newRow("each rule and its why")
            << QStringList{"a action due=-3",      "b action due=-1 low",   "c action due=0 high",
                           "d action due=0",       "e action flag",         "f action flag due=0",
                           "g waiting due=-2",     "h waiting due=0",       "i waiting age=9",
                           "j waiting age=6",      "k waiting due=3",       "l action age=40 low",
                           "m note age=31",        "n action age=45 due=9", "o note age=45 flag",
                           "p action done due=-5", "q action gone due=-5",  "r note due=-4"}
            << none << none
            << QStringList{"critical a Overdue by 3 days",
                           "critical b Overdue by 1 day",
                           "critical c Due today and high priority",
                           "critical f Flagged and due today",
                           "critical e Flagged",
                           "chase g Was due 2 days ago",
                           "chase h Due today",
                           "chase i Waiting 9 days with no date",
                           "drop l Open 40 days, low priority",
                           "drop m Open 31 days with no date",
                           "5 things are critical today."};
        QTest::newRow("focus hits lead; the sixth goes to a remark")
            << QStringList{"a action due=-6", "b action due=-5", "c action due=-4",
                           "d action due=-3", "e action due=-2", "f action due=-1 who=Acme_Ltd"}
            << QStringList{"acme ltd"} << none
            << QStringList{"critical f Overdue by 1 day",
                           "critical a Overdue by 6 days",
                           "critical b Overdue by 5 days",
                           "critical c Overdue by 4 days",
                           "critical d Overdue by 3 days",
                           "observation more-critical e 1 more critical task didn't fit in this "
                           "briefing.",
                           "5 things are critical today."};
        QTest::newRow("handled findings stay out and fall to no milder list")
            << QStringList{"a action due=-2 age=40 low",
                           "b waiting age=8",
                           "c waiting age=8",
                           "d waiting age=8 who=Dana",
                           "e waiting who=dana",
                           "f waiting who=DANA_"}
            << none << QStringList{"critical:a", "chase:b", "observation:waiting-on:x"}
            << QStringList{"chase c Waiting 8 days with no date",
                           "chase d Waiting 8 days with no date",
                           "observation waiting-on:dana d,e,f You're waiting on Dana for 3 things.",
                           "Nothing critical; 2 to chase."};
        QTest::newRow("a remark the user put away")
            << QStringList{"a waiting who=Dana", "b waiting who=Dana", "c waiting who=Dana",
                           "d waiting who=Eli",  "e waiting who=Eli",  "f note age=30 low"}
            << none << QStringList{"observation:waiting-on:dana"}
            << QStringList{"drop f Open 30 days, low priority",
                           "Nothing critical; 1 you could drop."};
    }

    void generate() {
        QFETCH(QStringList, items);
        QFETCH(QStringList, focus);
        QFETCH(QStringList, handled);
        QFETCH(QStringList, expected);
        WireDocument document;
        for (const QString& spec : items)
            document.items << item(spec);
        document.focus = focus;
        const auto body = BriefingRules::generate(document, today, now,
                                                  QSet<QString>(handled.begin(), handled.end()));
        QCOMPARE(lines(body), expected);
    }

    void matchesWholeWords() {
        for (const auto& [text, term, hit] : {std::tuple("Danatech and Dana", "dana", true),
                                              {"ping dana-ops", " DANA ", true},
                                              {"Danatech", "dana", false},
                                              {"aaa", "aa", false},
                                              {"Acme\nLtd", "acme ltd", false}})
            QVERIFY2(BriefingRules::matchesTerm(text, term) == hit, text);
    }
};

QTEST_GUILESS_MAIN(TestServerBriefingRules)
#include "tst_server_briefing_rules.moc"
