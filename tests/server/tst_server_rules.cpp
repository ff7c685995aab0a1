// The server's rule evaluation and suggestion fingerprints as tables: each action, keep
// against exclude, paused rules, matching, due buckets and the counting on rules.

#include "Proposals.h"
#include "RuleEngine.h"

#include <QStandardPaths>
#include <QTest>

namespace {

JsonValue json(const char* text) {
    return JsonValue::parse(QByteArray(text)).value_or(JsonValue());
}

const QDate today(2026, 3, 4);

// "[paused] action[ param]: field op v1|v2 [& or / field op v]": & joins all, / any.
WireRule rule(const QString& spec) {
    WireRule rule;
    QString head = spec.section(QLatin1Char(':'), 0, 0).trimmed();
    const QString body = spec.section(QLatin1Char(':'), 1).trimmed();
    if (head.startsWith(u"paused ")) {
        rule.status = RuleStatus::paused;
        head = head.mid(7);
    }
    const QStringList words = head.split(QLatin1Char(' '));
    rule.action = *Wire::parse<RuleAction>(words[0]);
    if (words.size() > 1) {
        rule.params.section = Wire::parse<Section>(words[1]);
        rule.params.priority = Wire::parse<Priority>(words[1]);
    }
    rule.match.op = body.contains(u" / ") ? MatchOp::any : MatchOp::all;
    const QString joiner =
        rule.match.op == MatchOp::any ? QStringLiteral(" / ") : QStringLiteral(" & ");
    for (const QString& clause : body.split(joiner, Qt::SkipEmptyParts)) {
        const QStringList parts = clause.trimmed().split(QLatin1Char(' '));
        rule.match.conditions.append({*Wire::parse<RuleField>(parts[0]),
                                      *Wire::parse<RuleOp>(parts[1]),
                                      parts.mid(2).join(QLatin1Char(' ')).split(u'|')});
    }
    return rule;
}

// "title=...;channel=email;due=-1": due in days from today; unset fields keep defaults.
WireItem item(const QString& spec) {
    WireItem item;
    for (const QString& pair : spec.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QString key = pair.section(QLatin1Char('='), 0, 0);
        const QString value = pair.section(QLatin1Char('='), 1);
        if (key == u"title")
            item.title = value;
        else if (key == u"source")
            item.source = value;
        else if (key == u"section")
            item.section = *Wire::parse<Section>(value);
        else if (key == u"channel")
            item.channel = *Wire::parse<Channel>(value);
        else if (key == u"priority")
            item.priority = *Wire::parse<Priority>(value);
        else if (key == u"due")
            item.due = today.addDays(value.toInt()).toString(Qt::ISODate);
    }
    return item;
}

} // namespace

class TestServerRules : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void dueRelative_data() {
        QTest::addColumn<QString>("due"); // "" means none
        QTest::addColumn<QString>("bucket");
        const auto row = [](const char* name, const char* due, const char* bucket) {
            QTest::newRow(name) << QString(due) << QString(bucket);
        };
        row("none", "", "none");
        row("impossible day", "2026-02-30", "none");
        row("not a day", "tomorrow", "none");
        row("long ago", "2025-12-31", "overdue");
        row("yesterday", "2026-03-03", "overdue");
        row("today", "2026-03-04", "today");
        row("tomorrow", "2026-03-05", "this_week");
        row("six days on", "2026-03-10", "this_week");
        row("seven days on", "2026-03-11", "later");
    }
    void dueRelative() {
        QFETCH(QString, due);
        QFETCH(QString, bucket);
        QCOMPARE(RuleEngine::dueRelative(due.isEmpty() ? std::nullopt : std::optional(due), today),
                 bucket);
    }

    void evaluate_data() {
        QTest::addColumn<QStringList>("rules");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("outcome"); // "dropped" or "section priority"
        QTest::addColumn<QList<qsizetype>>("fired");
        using L = QList<qsizetype>;
        const auto row = [](const char* name, QStringList rules, const char* item,
                            const char* outcome, L fired) {
            QTest::newRow(name) << rules << QString::fromUtf8(item) << QString::fromUtf8(outcome)
                                << fired;
        };
        row("exclude", {"exclude: title contains PTO|OOO"}, "title=Book OOO", "dropped", {0});
        row("exclude misses", {"exclude: title contains PTO"}, "title=Plan", "action medium", {});
        row("keep shields", {"exclude: channel equals email", "always_keep: source contains Ana"},
            "title=x;channel=email;source=Ana B", "action medium", {1});
        row("keep alone does nothing", {"always_keep: title contains x"}, "title=x",
            "action medium", {});
        row("both excludes count", {"exclude: title contains x", "exclude: section equals action"},
            "title=x", "dropped", {0, 1});
        row("paused exclude ignored", {"paused exclude: title contains x"}, "title=x",
            "action medium", {});
        row("paused keep shields nothing",
            {"exclude: title contains x", "paused always_keep: title contains x"}, "title=x",
            "dropped", {0});
        row("move", {"recategorize waiting: channel equals teams"}, "title=x;channel=teams",
            "waiting medium", {0});
        row("first move decides",
            {"recategorize note: title contains x", "recategorize waiting: title contains x"},
            "title=x", "note medium", {0});
        row("move to where it is",
            {"recategorize action: title contains x", "recategorize note: title contains x"},
            "title=x", "action medium", {});
        row("move without a section skipped",
            {"recategorize: title contains x", "recategorize note: title contains x"}, "title=x",
            "note medium", {1});
        row("boost to high", {"boost: section equals waiting"},
            "title=x;section=waiting;priority=low", "waiting high", {0});
        row("boost never lowers", {"boost medium: title contains x"}, "title=x;priority=high",
            "action high", {});
        row("two boosts", {"boost medium: title contains x", "boost high: title contains x"},
            "title=x;priority=low", "action high", {0, 1});
        row("dropped before moving", {"boost: title contains x", "exclude: title contains x"},
            "title=x;priority=low", "dropped", {1});
        row("move and boost", {"boost: title contains x", "recategorize note: title contains x"},
            "title=x;priority=low", "note high", {0, 1});
        row("all needs every condition", {"exclude: title contains x & source contains Ana"},
            "title=x;source=Bo", "action medium", {});
        row("any needs one", {"exclude: title contains x / source contains Ana"},
            "title=y;source=ANA", "dropped", {0});
        row("not equals", {"exclude: channel not_equals email|teams"}, "title=y", "dropped", {0});
        row("equals ignores case and blanks", {"exclude: title equals  book pto "},
            "title=Book PTO", "dropped", {0});
        row("no source never contains", {"exclude: source contains a"}, "title=a", "action medium",
            {});
        row("no source is not equal", {"exclude: source not_equals a"}, "title=a", "dropped", {0});
        row("blank value ignored", {"exclude: title contains  |x"}, "title=y", "action medium", {});
        row("no conditions never match", {"exclude:"}, "title=y", "action medium", {});
        row("overdue", {"boost: due_relative equals overdue"}, "title=y;due=-2", "action high",
            {0});
    }
    void evaluate() {
        QFETCH(QStringList, rules);
        QFETCH(QString, item);
        QFETCH(QString, outcome);
        QFETCH(QList<qsizetype>, fired);
        QList<WireRule> list;
        for (const QString& spec : rules)
            list.append(rule(spec));
        const RuleEngine::Verdict verdict = RuleEngine::evaluate(list, ::item(item), today);
        QCOMPARE(verdict.dropped
                     ? QStringLiteral("dropped")
                     : Wire::string(verdict.section) + u' ' + Wire::string(verdict.priority),
                 outcome);
        QCOMPARE(verdict.fired, fired);
    }

    // Over a whole proposal: dropped deltas leave, changed ones keep their unknown keys,
    // other kinds pass, and each rule counts once per delta it acted on.
    void applyToProposal() {
        QList<WireRule> rules{
            rule("exclude: title contains PTO"), rule("boost: channel equals teams"),
            rule("paused exclude: title contains Lee"), rule("always_keep: title contains zzz")};
        rules[0].applyCount = 2;
        const auto outcome = RuleEngine::applyToProposal(json(R"({"created_at":"c","deltas":[
            {"kind":"add","item":{"title":"PTO Monday","section":"action","channel":"self",
             "priority":"low","links":[]}},
            {"kind":"complete","item_id":"PTO"},
            {"kind":"add","item":{"title":"Ping Lee","section":"action","channel":"teams",
             "priority":"low","links":[],"zeal":1},"reason":"asked twice"},
            {"kind":"add","item":{"title":"PTO Friday","section":"note","channel":"self",
             "priority":"low","links":[]}},
            {"kind":"escalate","item":{"title":"PTO"}}]})"),
                                                         rules, today, QStringLiteral("NOW"));
        QCOMPARE(outcome.dropped, (QList<qsizetype>{0, 3}));
        QCOMPARE(outcome.proposal, json(R"({"created_at":"c","deltas":[
            {"kind":"complete","item_id":"PTO"},
            {"kind":"add","item":{"title":"Ping Lee","section":"action","channel":"teams",
             "priority":"high","links":[],"zeal":1},"reason":"asked twice"},
            {"kind":"escalate","item":{"title":"PTO"}}]})"));
        rules[0].applyCount = 4; // the rest untouched
        rules[1].applyCount = 1;
        rules[0].lastAppliedAt = rules[1].lastAppliedAt = QStringLiteral("NOW");
        QCOMPARE(outcome.rules, rules);
    }

    void fingerprints_data() {
        QTest::addColumn<QByteArray>("a");
        QTest::addColumn<QByteArray>("b");
        QTest::addColumn<bool>("same");
        const auto add = [](const char* title, const char* extra = "") {
            return QByteArray(R"({"kind":"add","item":{"section":"action","channel":"self",)"
                              R"("priority":"low","links":[],"title":")") +
                   title + "\"" + extra + "}}";
        };
        QTest::newRow("title by case and blanks")
            << add("Call  Dana") << add(" call dana", R"(,"note":"n")") << true;
        QTest::newRow("another source") << add("Call Dana", R"(,"source":"A")")
                                        << add("Call Dana", R"(,"source":"B")") << false;
        QTest::newRow("one source id, two titles")
            << add("Call Dana", R"(,"source_id":"m1")") << add("Ring Dana", R"(,"source_id":"m1")")
            << true;
        QTest::newRow("the reason is not the suggestion")
            << QByteArray(R"({"kind":"complete","item_id":"i","reason":"a"})")
            << QByteArray(R"({"kind":"complete","item_id":"i"})") << true;
        QTest::newRow("complete is not remove")
            << QByteArray(R"({"kind":"complete","item_id":"i"})")
            << QByteArray(R"({"kind":"remove","item_id":"i"})") << false;
        QTest::newRow("patch key order")
            << QByteArray(R"({"kind":"update","item_id":"i","patch":{"a":1,"b":{"c":2,"d":3}}})")
            << QByteArray(R"({"kind":"update","patch":{"b":{"d":3,"c":2},"a":1},"item_id":"i"})")
            << true;
        QTest::newRow("another patch")
            << QByteArray(R"({"kind":"update","item_id":"i","patch":{"due":null}})")
            << QByteArray(R"({"kind":"update","item_id":"i","patch":{"due":"2026-03-05"}})")
            << false;
        QTest::newRow("rule by its action and match")
            << QByteArray(R"({"kind":"add_rule","rule":{"action":"exclude","reason":"a",)"
                          R"("match":{"op":"all","conditions":[]},"params":{}}})")
            << QByteArray(R"({"kind":"add_rule","rule":{"action":"exclude","reason":"b",)"
                          R"("params":{},"match":{"conditions":[],"op":"all"}}})")
            << true;
    }
    void fingerprints() {
        QFETCH(QByteArray, a);
        QFETCH(QByteArray, b);
        QFETCH(bool, same);
        const QString first = Proposals::fingerprint(*JsonValue::parse(a));
        QVERIFY(first.startsWith(json(a.constData()).find(u"kind")->toString() + u':'));
        QCOMPARE(first == Proposals::fingerprint(*JsonValue::parse(b)), same);
        QCOMPARE(Proposals::fingerprint(json(R"({"item_id":"i"})")), QString());
    }
};

QTEST_GUILESS_MAIN(TestServerRules)
#include "tst_server_rules.moc"
