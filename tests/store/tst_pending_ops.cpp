#include "PendingOp.h"
#include "WireFormats.h"

#include <QStandardPaths>
#include <QtTest>

using namespace PendingOps;

Q_DECLARE_METATYPE(PendingOp)

namespace {

Item item(const QString& id, const QString& title) {
    Item i;
    i.id = id;
    i.title = title;
    i.createdAt = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    return i;
}

Document sample() {
    Document d;
    d.items = {item("a", "Alpha"), item("b", "Beta"), item("a", "Alpha twin")};
    d.focus = {"Ana"};
    d.settings.hideDone = true;
    return d;
}

const QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC);

} // namespace

class TestPendingOps : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void jsonForm_data() {
        QTest::addColumn<PendingOp>("op");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("setDone") << PendingOp(SetDone{"i1", true})
                                 << QByteArray(R"({"setDone":{"id":"i1","done":true}})");
        QTest::newRow("setFlagged") << PendingOp(SetFlagged{"i1", false})
                                    << QByteArray(R"({"setFlagged":{"id":"i1","flagged":false}})");
        QTest::newRow("delete") << PendingOp(Delete{"i1"})
                                << QByteArray(R"({"delete":{"id":"i1"}})");
        QTest::newRow("add minimal")
            << PendingOp(Add{"local-1", "T", {}, {}, Section::waiting, {}, Priority::low, {}})
            << QByteArray(
                   R"({"add":{"localID":"local-1","title":"T","section":"waiting","priority":"low","links":[]}})");
        const QList<SavedLink> doc = {{"Doc", "https://x.org/a"}};
        QTest::newRow("add full")
            << PendingOp(Add{"local-1", "T", "n", "Ana", Section::note, "2026-03-01",
                             Priority::high, doc})
            << QByteArray("{\"add\":{\"localID\":\"local-1\",\"title\":\"T\",\"note\":\"n\","
                          "\"source\":\"Ana\","
                          "\"section\":\"note\",\"dueDay\":\"2026-03-01\",\"priority\":\"high\","
                          "\"links\":[{\"label\":\"Doc\",\"url\":\"https://x.org/a\"}]}}");
        QTest::newRow("update")
            << PendingOp(Update{"i1", "T", {}, "Bo", {}, Priority::medium, {}})
            << QByteArray(
                   R"({"update":{"id":"i1","title":"T","source":"Bo","priority":"medium","links":[]}})");
    }

    void jsonForm() {
        QFETCH(PendingOp, op);
        QFETCH(QByteArray, json);
        QCOMPARE(toJson(op).toJson(), json);
        QCOMPARE(fromJson(*JsonValue::parse(json)), std::optional(op));
    }

    void jsonRefused_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("two keys") << QByteArray(
            R"({"delete":{"id":"a"},"setDone":{"id":"a","done":true}})");
        QTest::newRow("no key") << QByteArray("{}");
        QTest::newRow("unknown kind") << QByteArray(R"({"archive":{"id":"a"}})");
        QTest::newRow("missing links")
            << QByteArray(R"({"update":{"id":"i","title":"T","priority":"low"}})");
        QTest::newRow("bad section") << QByteArray(
            R"({"add":{"localID":"l","title":"T","section":"later","priority":"low","links":[]}})");
        QTest::newRow("done as text") << QByteArray(R"({"setDone":{"id":"a","done":"yes"}})");
        QTest::newRow("link without url") << QByteArray(
            R"({"update":{"id":"i","title":"T","priority":"low","links":[{"label":"x"}]}})");
        QTest::newRow("array") << QByteArray("[]");
    }

    void jsonRefused() {
        QFETCH(QByteArray, json);
        QCOMPARE(fromJson(*JsonValue::parse(json)), std::nullopt);
    }

    void applyEffects() {
        Document d = sample();
        apply(SetDone{"a", true}, d, now);
        QCOMPARE(d.items[0].status, ItemStatus::done);
        QCOMPARE(d.items[0].completedAt, std::optional(now));
        QCOMPARE(d.items[2].status, ItemStatus::open); // only the first with the id
        apply(SetDone{"a", false}, d, now);
        QCOMPARE(d.items[0].completedAt, std::nullopt);

        apply(SetFlagged{"b", true}, d, now);
        QVERIFY(d.items[1].flagged);

        const QList<SavedLink> links = {{"ok", "https://x.org"}, {"bad", "ht tp://no"}};
        apply(Update{"b", "Beta 2", "note", "Bo", "2026-03-05", Priority::high, links}, d, now);
        QCOMPARE(d.items[1].title, QStringLiteral("Beta 2"));
        QCOMPARE(d.items[1].due, LocalDay::date(QStringView(u"2026-03-05")));
        QCOMPARE(d.items[1].links.size(), 1);
        QVERIFY(d.items[1].flagged); // update leaves the flag, section and status alone

        apply(Delete{"a"}, d, now);
        QCOMPARE(d.items.size(), 1); // both items with the id are gone

        apply(Add{"local-9", "New", {}, {}, Section::waiting, "garbage", Priority::low, {}}, d,
              now);
        const Item& added = d.items.last();
        QCOMPARE(added.id, QStringLiteral("local-9"));
        QCOMPARE(added.channel, Channel::self);
        QCOMPARE(added.origin, Origin::user);
        QCOMPARE(added.createdAt, now);
        QCOMPARE(added.due, std::nullopt);

        // Nothing but the items changes, and a missing id is no error.
        const Document before = d;
        apply(Update{"missing", "X", {}, {}, {}, Priority::low, {}}, d, now);
        QCOMPARE(d, before);
        QCOMPARE(d.focus, sample().focus);
        QVERIFY(d.settings.hideDone);
    }

    void remapKeepsAdds() {
        const QList<PendingOp> ops{
            Add{"local-1", "T", {}, {}, Section::action, {}, Priority::low, {}},
            SetDone{"local-1", true}, Update{"local-1", "T2", {}, {}, {}, Priority::low, {}},
            Delete{"other"}};
        QStringList targets;
        for (const auto& op : remap(ops, "local-1", "srv-7"))
            targets << targetID(op);
        QCOMPARE(targets, (QStringList{"local-1", "srv-7", "srv-7", "other"}));
    }

    void equalEditsAreOneKey() {
        QHash<PendingOp, int> strikes;
        strikes[SetDone{"a", true}] += 1;
        strikes[SetDone{"a", true}] += 1;
        strikes[SetDone{"a", false}] += 1;
        strikes[SetFlagged{"a", true}] += 1;
        QCOMPARE(strikes.size(), 3);
        QCOMPARE(strikes.value(SetDone{"a", true}), 2);
    }
};

QTEST_GUILESS_MAIN(TestPendingOps)
#include "tst_pending_ops.moc"
