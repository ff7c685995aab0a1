// From wire records to the domain ones: dropped items, tolerated fields, links, rules and
// their sentences, and the due-day predicates.

#include "Records.h"
#include "WireFormats.h"

#include <QStandardPaths>
#include <QTest>

#include <ctime>

namespace {

WireItem wireItem() {
    WireItem item;
    item.id = QStringLiteral("i1");
    item.title = QStringLiteral("Send the deck");
    item.createdAt = QStringLiteral("2026-03-01T09:30:15.250Z");
    return item;
}

WireRule wireRule(RuleOriginKind from, qint64 count) {
    WireRule rule;
    rule.id = QStringLiteral("ru1");
    rule.origin = {from, {QStringLiteral("r1")}, count};
    rule.createdAt = rule.updatedAt = QStringLiteral("2026-02-01T00:00:00Z");
    return rule;
}

QDateTime instant(const char* text) {
    return *WireDate::instant(QString::fromLatin1(text));
}

} // namespace

class TestMapping : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        qputenv("TZ", "Europe/Berlin");
        tzset();
    }

    void itemCopiesEveryField() {
        WireItem wire = wireItem();
        wire.note = QStringLiteral("v2");
        wire.section = Section::waiting;
        wire.channel = Channel::meeting;
        wire.source = QStringLiteral("Dana");
        wire.sourceId = QStringLiteral("m-17");
        wire.due = QStringLiteral("2026-03-02");
        wire.priority = Priority::high;
        wire.flagged = true;
        wire.status = ItemStatus::done;
        wire.origin = Origin::ai;
        wire.initiated = Initiated::automatic;
        wire.shared = WireSharedMark{QStringLiteral("sam"), SharedState::declined};
        wire.completedAt = QStringLiteral("2026-03-01T10:00:00+01:00");

        // Fields in declaration order, so that a swapped copy shows.
        const Item expected{"i1",
                            "Send the deck",
                            "v2",
                            Priority::high,
                            {},
                            Section::waiting,
                            Channel::meeting,
                            "Dana",
                            QDateTime(QDate(2026, 3, 2), QTime(0, 0)),
                            ItemStatus::done,
                            Origin::ai,
                            true,
                            WireSharedMark{"sam", SharedState::declined},
                            instant("2026-03-01T09:30:15.250Z"),
                            instant("2026-03-01T09:00:00Z")};
        QCOMPARE(WireMapping::item(wire), expected);

        wire.flagged.reset();
        QCOMPARE(WireMapping::item(wire)->flagged, false);
    }

    // One change to a plain wire item: does it survive, and with which due and completion?
    void itemTolerance_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<bool>("hasDue");
        QTest::addColumn<bool>("hasCompletedAt");
        const auto row = [](const char* field, const char* value, bool kept, bool hasDue,
                            bool hasCompletedAt) {
            QTest::addRow("%s = \"%s\"", field, value)
                << field << value << kept << hasDue << hasCompletedAt;
        };
        row("", "", true, false, false);
        row("deleted_at", "2026-03-03T08:00:00Z", false, false, false);
        row("deleted_at", "", false, false, false);
        row("deleted_at", "soon", false, false, false);
        row("created_at", "garbage", false, false, false);
        row("created_at", "2026-03-01", false, false, false);
        row("due", "2026-03-02", true, true, false);
        row("due", "next week", true, false, false);
        row("due", "2026-02-30", true, false, false);
        row("due", "2026-03-02T00:00:00Z", true, false, false);
        row("completed_at", "2026-03-01T10:00:00Z", true, false, true);
        row("completed_at", "yesterday", true, false, false);
    }
    void itemTolerance() {
        QFETCH(QString, field);
        QFETCH(QString, value);
        QFETCH(bool, kept);
        QFETCH(bool, hasDue);
        QFETCH(bool, hasCompletedAt);
        WireItem wire = wireItem();
        if (field == QLatin1String("deleted_at"))
            wire.deletedAt = value;
        else if (field == QLatin1String("created_at"))
            wire.createdAt = value;
        else if (field == QLatin1String("due"))
            wire.due = value;
        else if (field == QLatin1String("completed_at"))
            wire.completedAt = value;
        const auto item = WireMapping::item(wire);
        QCOMPARE(item.has_value(), kept);
        if (!item)
            return;
        QCOMPARE(item->due.has_value(), hasDue);
        QCOMPARE(item->completedAt.has_value(), hasCompletedAt);
        if (hasDue)
            QCOMPARE(LocalDay::string(*item->due), value);
    }

    void links_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("kept");
        const auto row = [](const char* url, bool kept) { QTest::newRow(url) << url << kept; };
        row("https://example.com/deck?v=2#p3", true);
        row("http://example.com", true);
        row("HTTPS://EXAMPLE.COM/Deck", true);
        row("Http://example.com", true);
        row("mailto:dana@example.com", false);
        row("ftp://example.com/file", false);
        row("javascript:alert(1)", false);
        row("httpx://example.com", false);
        row("example.com/deck", false);
        row("http://exa mple.com", false);
        row("http://[::1", false);
        row("", false);
    }
    void links() {
        QFETCH(QString, url);
        QFETCH(bool, kept);
        WireItem wire = wireItem();
        wire.links = {
            {"first", "https://a.example/1"}, {"probe", url}, {"last", "http://b.example"}};
        const auto item = WireMapping::item(wire);
        QVERIFY(item);
        QStringList labels;
        for (const ItemLink& link : item->links)
            labels << link.label;
        const QStringList expected =
            kept ? QStringList{"first", "probe", "last"} : QStringList{"first", "last"};
        QCOMPARE(labels, expected);
        QCOMPARE(item->links.first().url, QUrl("https://a.example/1"));
    }

    // Items left out in order, every rule kept, and what a rule keeps of its wire record.
    void document() {
        WireDocument wire;
        WireItem deleted = wireItem(), broken = wireItem(), second = wireItem();
        deleted.deletedAt = QString();
        broken.createdAt = "never";
        second.id = "i2";
        wire.items = {wireItem(), deleted, broken, second};
        WireRule learned = wireRule(RuleOriginKind::rejections, 3);
        learned.status = RuleStatus::paused;
        learned.action = RuleAction::boost;
        learned.reason = "Keep them";
        learned.createdBy = Origin::ai;
        learned.lastAppliedAt = "2026-03-01T10:00:00+01:00";
        learned.applyCount = 12;
        learned.match.conditions = {{RuleField::title, RuleOp::contains, {"budget"}}};
        WireRule manual = wireRule(RuleOriginKind::manual, 7);
        manual.id = "ru2";
        manual.lastAppliedAt = "recently";
        wire.rules = {learned, manual};
        wire.rejections = {WireRejection{}};
        wire.suppressions = {WireSuppression{}};
        wire.focus = {"i2", "Ship it"};
        wire.settings.hideDone = true;

        const Document doc = WireMapping::document(wire);
        QStringList ids;
        for (const Item& item : doc.items)
            ids << item.id;
        QCOMPARE(ids, (QStringList{"i1", "i2"}));
        const QList<Rule> rules{{"ru1", RuleStatus::paused, RuleAction::boost, "Keep them",
                                 Origin::ai, 3, 12, instant("2026-03-01T09:00:00Z"),
                                 "Prioritise items where title contains budget"},
                                {"ru2", RuleStatus::active, RuleAction::exclude, "", Origin::user,
                                 0, 0, std::nullopt, "Exclude items where "}};
        QCOMPARE(doc.rules, rules);
        QCOMPARE(doc.focus, wire.focus);
        QVERIFY(doc.settings.hideDone);
        QCOMPARE(WireMapping::document(WireDocument{}), Document{});
    }

    void describe_data() {
        QTest::addColumn<int>("action");
        QTest::addColumn<int>("op");
        QTest::addColumn<QList<WireRuleCondition>>("conditions");
        QTest::addColumn<QString>("sentence");
        const int all = int(MatchOp::all), any = int(MatchOp::any);
        const auto row = [](const char* name, RuleAction action, int op,
                            QList<WireRuleCondition> conditions, const char* sentence) {
            QTest::newRow(name) << int(action) << op << conditions << sentence;
        };
        row("no conditions", RuleAction::exclude, all, {}, "Exclude items where ");
        row("is", RuleAction::exclude, all, {{RuleField::section, RuleOp::equals, {"note"}}},
            "Exclude items where section is note");
        row("is, no value", RuleAction::recategorize, all,
            {{RuleField::source, RuleOp::equals, {}}}, "Recategorise items where source is ");
        row("is one of", RuleAction::alwaysKeep, all,
            {{RuleField::channel, RuleOp::equals, {"email", "teams"}}},
            "Always keep items where channel is one of email, teams");
        row("is not", RuleAction::boost, all,
            {{RuleField::priority, RuleOp::notEquals, {"low", "medium"}}},
            "Prioritise items where priority is not low, medium");
        row("underscore", RuleAction::exclude, all,
            {{RuleField::dueRelative, RuleOp::equals, {"overdue"}}},
            "Exclude items where due relative is overdue");
        row("all", RuleAction::exclude, all,
            {{RuleField::title, RuleOp::contains, {"lunch"}},
             {RuleField::source, RuleOp::notEquals, {"Dana"}},
             {RuleField::section, RuleOp::equals, {"note", "waiting"}}},
            "Exclude items where title contains lunch and source is not Dana and section is one "
            "of note, waiting");
        row("any", RuleAction::boost, any,
            {{RuleField::title, RuleOp::contains, {"invoice"}},
             {RuleField::source, RuleOp::equals, {"CFO"}}},
            "Prioritise items where title contains invoice or source is CFO");
    }
    void describe() {
        QFETCH(int, action);
        QFETCH(int, op);
        QFETCH(QList<WireRuleCondition>, conditions);
        QFETCH(QString, sentence);
        QCOMPARE(Rule::describe(RuleAction(action), WireRuleMatch{MatchOp(op), conditions}),
                 sentence);
    }

    // Today is late in the evening so that a due day's midnight is many hours earlier.
    void dueDay_data() {
        QTest::addColumn<int>("dueOffset"); // days from today; 99: no due day
        QTest::addColumn<bool>("done");
        QTest::addColumn<bool>("overdue");
        QTest::addColumn<bool>("today");
        QTest::newRow("yesterday") << -1 << false << true << true;
        QTest::newRow("last year") << -365 << false << true << true;
        QTest::newRow("today") << 0 << false << false << true;
        QTest::newRow("tomorrow") << 1 << false << false << false;
        QTest::newRow("done yesterday") << -1 << true << false << true;
        QTest::newRow("done today") << 0 << true << false << true;
        QTest::newRow("done tomorrow") << 1 << true << false << false;
        QTest::newRow("no due") << 99 << false << false << false;
        QTest::newRow("done, no due") << 99 << true << false << false;
    }
    void dueDay() {
        QFETCH(int, dueOffset);
        QFETCH(bool, done);
        QFETCH(bool, overdue);
        QFETCH(bool, today);
        // The day the clocks go forward, so that days are not all 24 hours long.
        const QDate day(2026, 3, 29);
        const QDateTime now(day, QTime(23, 30));
        Item item;
        item.status = done ? ItemStatus::done : ItemStatus::open;
        if (dueOffset != 99)
            item.due = LocalDay::date(QStringView(day.addDays(dueOffset).toString(Qt::ISODate)));
        QCOMPARE(item.isOverdue(now), overdue);
        QCOMPARE(item.isToday(now), today);
        QCOMPARE(item.isToday(day.startOfDay()), today);
        QCOMPARE(item.isOverdue(day.startOfDay()), overdue);
    }
};

QTEST_GUILESS_MAIN(TestMapping)
#include "tst_mapping.moc"
