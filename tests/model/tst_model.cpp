// The model's wire: enumeration texts, instants, days and local ids; the strict read of the
// server's document, its re-encoding and the healing read of a stored copy; and the mapping
// to the domain records, their rule sentences and due-day predicates.

#include "Enums.h"
#include "Records.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QTest>
#include <QUuid>

#include <ctime>

namespace {

void useZone(const QByteArray& zone) {
    qputenv("TZ", zone);
    tzset();
}

// Each value's wire text, in enumeration order, after a trip through parse.
template <typename E>
QStringList roundTripped() {
    QStringList out;
    for (const E value : Wire::allValues<E>()) {
        const auto back = Wire::parse<E>(Wire::string(value));
        out << (back == value ? Wire::string(value) : QStringLiteral("<lost>"));
    }
    return out;
}

QString utcText(const std::optional<QDateTime>& instant) {
    return instant ? instant->toUTC().toString(Qt::ISODateWithMs) : QStringLiteral("null");
}

// A document with every kind of record, and nullable keys both present and absent.
const char* const fullDocument = R"({
  "schema_version": 3,
  "items": [
    {"id": "i1", "title": "Send the deck", "note": "v2", "section": "action",
     "channel": "email", "source": "Dana", "source_id": "m-17", "due": "2026-03-02",
     "priority": "high", "flagged": true,
     "links": [{"label": "Deck", "url": "https://example.com/deck"}],
     "status": "open", "origin": "ai", "initiated": "auto",
     "shared": {"with": "sam@example.com", "state": "done_claimed"},
     "created_at": "2026-03-01T09:30:15.250Z", "completed_at": "2026-03-01T10:00:00Z"},
    {"id": "i2", "title": "Budget reply", "section": "waiting", "channel": "teams",
     "priority": "low", "links": [], "status": "done", "origin": "user",
     "created_at": "2026-03-01T09:30:15Z", "deleted_at": "2026-03-03T08:00:00Z"}
  ],
  "rejections": [
    {"at": "2026-03-01T11:00:00Z", "kind": "add_rule"},
    {"id": "r1", "at": "2026-03-01T11:00:00Z", "kind": "add", "title": "Lunch",
     "item_id": "i9", "source": "Bot", "source_id": "s1", "section": "note",
     "channel": "meeting", "priority": "medium", "rule_id": "ru1"}
  ],
  "rules": [
    {"id": "ru1", "status": "paused", "action": "always_keep",
     "match": {"op": "any", "conditions": [
       {"field": "due_relative", "op": "not_equals", "value": ["overdue"]}]},
     "params": {"section": "note", "channel": "other", "priority": "low"},
     "reason": "Keep them", "origin": {"from": "rejections", "rejection_ids": ["r1"], "count": 1},
     "created_by": "ai", "created_at": "2026-02-01T00:00:00Z",
     "updated_at": "2026-02-02T00:00:00Z", "last_applied_at": "2026-02-03T00:00:00Z",
     "apply_count": 4}
  ],
  "suppressions": [
    {"fp": "abc", "reason": "deleted", "title": "Old", "created_at": "2026-01-01T00:00:00Z"},
    {"fp": "def", "reason": "rejected", "created_at": "2026-01-01T00:00:00Z"}
  ],
  "focus": ["i1", "Ship it"],
  "settings": {"hide_done": true}
})";

JsonValue baseValue() {
    return *JsonValue::parse(fullDocument);
}

// Follows a dotted path ("items.0.links") to a value, creating nothing.
JsonValue* follow(JsonValue& root, const QStringList& path) {
    JsonValue* node = &root;
    for (const QString& step : path) {
        bool isIndex = false;
        const int index = step.toInt(&isIndex);
        if (isIndex)
            node = &node->asArray()[index];
        else
            node = const_cast<JsonValue*>(node->find(step));
        if (!node)
            return nullptr;
    }
    return node;
}

// The base document with the key at `path` replaced by `fragment`, or removed when the
// fragment is empty.
QByteArray mutated(const QString& path, const QByteArray& fragment) {
    JsonValue root = baseValue();
    QStringList steps = path.split(QLatin1Char('.'));
    const QString last = steps.takeLast();
    JsonValue* parent = follow(root, steps);
    if (!parent)
        qFatal("bad path %s", qPrintable(path));
    bool isIndex = false;
    const int index = last.toInt(&isIndex);
    if (fragment.isEmpty())
        parent->remove(last);
    else if (isIndex)
        parent->asArray()[index] = *JsonValue::parse(fragment);
    else
        parent->set(last, *JsonValue::parse(fragment));
    return root.toJson();
}

// The decoder's message, or "ok".
template <typename T>
QString outcome(QByteArrayView json) {
    try {
        WireJson::decode<T>(json);
        return QStringLiteral("ok");
    } catch (const DecodingError& error) {
        return error.message();
    }
}

QByteArray nested(int depth) {
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

QByteArray enveloped(const QByteArray& result, const QByteArray& tail = {}) {
    return "{\"result\": " + result + tail + "}";
}

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

QDateTime at(const char* text) {
    return *WireDate::instant(QString::fromLatin1(text));
}

} // namespace

class TestModel : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    // The mapping's days are Berlin's; the zone tables set their own.
    void init() { useZone("Europe/Berlin"); }
    void cleanupTestCase() {
        qunsetenv("TZ");
        tzset();
    }

    void enumWireText_data() {
        QTest::addColumn<QStringList>("actual");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char* name, QStringList actual, QStringList expected) {
            QTest::newRow(name) << actual << expected;
        };
        row("Section", roundTripped<Section>(), {"action", "waiting", "note"});
        row("Channel", roundTripped<Channel>(), {"self", "teams", "email", "meeting", "other"});
        row("Priority", roundTripped<Priority>(), {"low", "medium", "high"});
        row("ItemStatus", roundTripped<ItemStatus>(), {"open", "done"});
        row("Origin", roundTripped<Origin>(), {"user", "ai"});
        row("Initiated", roundTripped<Initiated>(), {"human", "auto"});
        row("SharedState", roundTripped<SharedState>(),
            {"pending", "accepted", "declined", "done_claimed"});
        row("RuleStatus", roundTripped<RuleStatus>(), {"active", "paused"});
        row("RuleAction", roundTripped<RuleAction>(),
            {"exclude", "recategorize", "always_keep", "boost"});
        row("RuleField", roundTripped<RuleField>(),
            {"section", "channel", "source", "title", "priority", "due_relative"});
        row("RuleOp", roundTripped<RuleOp>(), {"equals", "not_equals", "contains"});
        row("MatchOp", roundTripped<MatchOp>(), {"all", "any"});
        row("RuleOriginKind", roundTripped<RuleOriginKind>(), {"rejections", "manual"});
        row("SuppressionReason", roundTripped<SuppressionReason>(), {"rejected", "deleted"});
        row("RejectionKind", roundTripped<RejectionKind>(),
            {"add", "complete", "remove", "update", "add_rule", "update_rule", "remove_rule",
             "pause_rule"});
    }
    void enumWireText() {
        QFETCH(QStringList, actual);
        QFETCH(QStringList, expected);
        QCOMPARE(actual, expected);
    }

    void parseUnknownFails_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("capitalised") << "Action";
        QTest::newRow("other set") << "later";
        QTest::newRow("empty") << "";
        QTest::newRow("trailing blank") << "note ";
        QTest::newRow("blank for underscore") << "done claimed";
        QTest::newRow("code name") << "doneClaimed";
        QTest::newRow("code name of auto") << "automatic";
        QTest::newRow("embedded nul") << QString::fromUtf16(u"note\0x", 6);
    }
    void parseUnknownFails() {
        QFETCH(QString, text);
        QVERIFY(!Wire::parse<Section>(text));
        QVERIFY(!Wire::parse<SharedState>(text));
        QVERIFY(!Wire::parse<Initiated>(text));
        const QByteArray utf8 = text.toUtf8();
        QVERIFY(!Wire::parse<Section>(std::string_view(utf8.constData(), utf8.size())));
    }

    void wireDate_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* text, const char* expected = "null") {
            QTest::newRow(text) << text << expected;
        };
        row("2026-03-01T09:30:15.250Z", "2026-03-01T09:30:15.250Z");
        row("2026-03-01T09:30:15Z", "2026-03-01T09:30:15.000Z");
        row("2026-03-01T09:30:15.5Z", "2026-03-01T09:30:15.500Z");
        row("2026-03-01T09:30:15.123456Z", "2026-03-01T09:30:15.123Z");
        row("2026-03-01T09:30:15+01:00", "2026-03-01T08:30:15.000Z");
        row("2026-03-01T20:30:15.250-05:30", "2026-03-02T02:00:15.250Z");
        row("2026-03-01"); // a plain day, as in `due`
        row("2026-03-01T09:30:15");
        row("2026-03-01T09:30:15.250");
        row("2026-03-01 09:30:15Z");
        row("2026-03-01T09:30:15.Z");
        row("2026-03-01T09:30:15+0100");
        row("2026-03-01T09:30:15+01-00");
        row("2026-03-01T09:30:15Zjunk");
        row("2026-02-30T09:30:15Z");
        row("2026-03-01T25:30:15Z");
        row("yesterday at noon");
        row("");
    }
    void wireDate() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(utcText(WireDate::instant(text)), expected);
    }

    // The day's midnight depends on the zone at the moment of the call.
    void localDayDate_data() {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* zone, const char* text, const char* expected = "null") {
            QTest::addRow("%s %s", zone, text) << QByteArray(zone) << text << expected;
        };
        const char* const ny = "America/New_York";
        const char* const berlin = "Europe/Berlin";
        row(ny, "2026-01-15", "2026-01-15T05:00:00.000Z");
        row(ny, "2026-03-08", "2026-03-08T05:00:00.000Z"); // clocks go forward at 2:00
        row(ny, "2026-03-09", "2026-03-09T04:00:00.000Z");
        row(berlin, "2026-01-15", "2026-01-14T23:00:00.000Z");
        row(berlin, "2026-03-29", "2026-03-28T23:00:00.000Z"); // clocks go forward at 2:00
        row(berlin, "2026-03-30", "2026-03-29T22:00:00.000Z");
        row(berlin, "2024-02-29", "2024-02-28T23:00:00.000Z");
        // Midnight itself was skipped there: the day starts at 01:00.
        row("America/Sao_Paulo", "2018-11-04", "2018-11-04T03:00:00.000Z");
        row(berlin, "2026-02-29");
        row(ny, "2026-04-31");
        row(berlin, "2026-13-01");
        row(berlin, "2026-03-00");
        row(berlin, "2026-3-1");
        row(berlin, "2026-03-01T00:00:00Z");
        row(berlin, "2026/03/01");
        row(berlin, "");
    }
    void localDayDate() {
        QFETCH(QByteArray, zone);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        useZone(zone);
        const auto day = LocalDay::date(std::optional<QString>(text));
        QCOMPARE(utcText(day), expected);
        if (day)
            QCOMPARE(LocalDay::string(*day), text);
        QVERIFY(!LocalDay::date(std::optional<QString>()));
    }

    void localDayString_data() {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("instant");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* zone, const char* instant, const char* expected) {
            QTest::addRow("%s %s", zone, instant) << QByteArray(zone) << instant << expected;
        };
        row("America/New_York", "2026-03-01T03:00:00Z", "2026-02-28");
        row("Europe/Berlin", "2026-03-01T03:00:00Z", "2026-03-01");
        row("America/New_York", "2026-03-01T23:30:00Z", "2026-03-01");
        row("Europe/Berlin", "2026-03-01T23:30:00Z", "2026-03-02");
        row("America/New_York", "2026-03-08T07:30:00Z", "2026-03-08"); // the skipped hour
        row("Europe/Berlin", "2026-07-31T22:00:00Z", "2026-08-01");
    }
    void localDayString() {
        QFETCH(QByteArray, zone);
        QFETCH(QString, instant);
        QFETCH(QString, expected);
        useZone(zone);
        QCOMPARE(LocalDay::string(*WireDate::instant(instant)), expected);
    }

    void localIdIsLocal_data() {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("local");
        const auto row = [](const char* id, bool local) { QTest::newRow(id) << id << local; };
        row("local-0f8fad5b-d9cb-469f-a165-70867728950e", true);
        row("local-", true);
        row("itm_0f8fad5b", false);
        row("Local-abc", false);
        row("localabc", false);
        row("x-local-abc", false);
        row("", false);
    }
    void localIdIsLocal() {
        QFETCH(QString, id);
        QFETCH(bool, local);
        QCOMPARE(LocalID::isLocal(id), local);
        // A made id: "local-" and a lower-case UUID, new at every call.
        const QString made = LocalID::make();
        QVERIFY(made != LocalID::make() && made.startsWith(QLatin1String("local-")));
        QCOMPARE(made.mid(6), made.mid(6).toLower());
        QVERIFY(!QUuid::fromString(made.mid(6)).isNull() && made.size() == 42);
    }

    // Every key is read and written back under its own name, and in the writer's order.
    void fullDocumentRoundTrips() {
        const auto doc = WireJson::decode<WireDocument>(fullDocument);
        QCOMPARE(*JsonValue::parse(WireJson::encode(doc)), baseValue());
        QCOMPARE(doc.items[0].sourceId, QStringLiteral("m-17"));
        QCOMPARE(doc.items[0].initiated, Initiated::automatic);
        QCOMPARE(doc.items[0].shared->state, SharedState::doneClaimed);
        QVERIFY(!doc.items[1].flagged && !doc.items[1].note && !doc.items[1].shared);
        QCOMPARE(doc.rejections[1].channel, Channel::meeting);
        QCOMPARE(doc.rules[0].match.conditions[0].field, RuleField::dueRelative);
        QCOMPARE(doc.rules[0].origin.count, 1ll);
        QCOMPARE(doc.focus, (QStringList{"i1", "Ship it"}));
        QVERIFY(doc.settings.hideDone);
    }

    // One change to the full document, and what the strict read makes of it.
    void strictDecoding_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("fragment"); // empty: the key is removed
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* path, const char* fragment, const char* expected) {
            QTest::addRow("%s = %s", path, *fragment ? fragment : "(absent)")
                << path << QByteArray(fragment) << expected;
        };
        row("schema_version", "", "schema_version: required key is missing");
        row("schema_version", R"("3")", "schema_version: expected an integer");
        row("schema_version", "3.5", "schema_version: expected an integer");
        row("items", "null", "items: required key is null");
        row("rules", "", "rules: required key is missing");
        row("focus", "", "focus: required key is missing");
        row("settings", "null", "settings: required key is null");
        row("settings", "", "settings: required key is missing"); // no healing of a reply
        row("items.1.title", "", "items[1].title: required key is missing");
        row("items.0.title", "null", "items[0].title: required key is null");
        row("items.0.created_at", "", "items[0].created_at: required key is missing");
        row("items.1.section", R"("later")", R"(items[1].section: unknown value "later")");
        row("items.0.channel", R"("Email")", R"(items[0].channel: unknown value "Email")");
        row("items.0.shared.state", R"("done-claimed")",
            R"(items[0].shared.state: unknown value "done-claimed")");
        row("items.0.priority", "2", "items[0].priority: expected a string");
        row("items.0.note", "5", "items[0].note: expected a string");
        row("items.0.flagged", R"("yes")", "items[0].flagged: expected a boolean");
        row("items.0.links", "{}", "items[0].links: expected an array");
        row("items.0.links.0.url", "", "items[0].links[0].url: required key is missing");
        row("items.1", "[]", "items[1]: expected an object");
        row("focus.1", "1", "focus[1]: expected a string");
        row("settings.hide_done", "0", "settings.hide_done: expected a boolean");
        row("rejections.1.kind", R"("pause")", R"(rejections[1].kind: unknown value "pause")");
        row("rejections.0.at", "", "rejections[0].at: required key is missing");
        row("suppressions.1.reason", R"("hidden")",
            R"(suppressions[1].reason: unknown value "hidden")");
        row("rules.0.params.section", R"("later")",
            R"(rules[0].params.section: unknown value "later")");
        row("rules.0.params", "", "rules[0].params: required key is missing");
        row("rules.0.match.conditions.0.value", R"("x")",
            "rules[0].match.conditions[0].value: expected an array");
        row("rules.0.match.conditions.0.field", R"("due relative")",
            R"(rules[0].match.conditions[0].field: unknown value "due relative")");
        row("rules.0.origin.count", "null", "rules[0].origin.count: required key is null");

        row("items.0.colour", R"({"deep": [1, {"x": null}]})", "ok");
        row("owner", R"("u1")", "ok");
        row("rules.0.params", "{}", "ok");
        row("items.0.shared", "null", "ok");
        row("rejections.1.section", "null", "ok");
        row("rules.0.last_applied_at", "null", "ok");
        row("focus", "[]", "ok");
        row("rules.0.apply_count", "4.0", "rules[0].apply_count: expected an integer");
    }
    void strictDecoding() {
        QFETCH(QString, path);
        QFETCH(QByteArray, fragment);
        QFETCH(QString, expected);
        QCOMPARE(outcome<WireDocument>(mutated(path, fragment)), expected);
    }

    void malformedJson_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected");
        const QString invalid = QStringLiteral("the data is not valid JSON");
        QTest::newRow("empty") << QByteArray() << invalid;
        QTest::newRow("truncated") << QByteArray(fullDocument).chopped(2) << invalid;
        QTest::newRow("trailing garbage") << QByteArray(fullDocument) + "x" << invalid;
        QTest::newRow("two documents") << QByteArray(fullDocument) + "{}" << invalid;
        QTest::newRow("single quotes") << QByteArray("{'schema_version': 1}") << invalid;
        QTest::newRow("invalid UTF-8")
            << mutated("items.0.title", "\"x\"").replace("\"x\"", "\"\xC3\x28\"") << invalid;
        const auto inTitle = [](const char* bytes) {
            return mutated("items.0.title", R"("x")").replace(R"("x")", bytes);
        };
        QTest::newRow("overlong UTF-8") << inTitle("\"\xC0\xAF\"") << invalid;
        QTest::newRow("UTF-16 surrogate") << inTitle("\"\xED\xA0\x80\"") << invalid;
        QTest::newRow("past U+10FFFF") << inTitle("\"\xF4\x90\x80\x80\"") << invalid;
        QTest::newRow("cut sequence") << inTitle("\"\xE2\x9C\"") << invalid;
        QTest::newRow("in an unknown key")
            << mutated("owner", R"("x")").replace(R"("x")", "\"\xFF\"") << invalid;
        QTest::newRow("top-level array") << QByteArray("[]") << "expected an object";
        QTest::newRow("top-level null") << QByteArray("null") << "expected an object";
        // Deep nesting fails cleanly instead of exhausting the stack, wherever it is.
        const QString deep = QStringLiteral("the data is nested too deeply");
        QTest::newRow("unclosed nesting") << QByteArray(1'000'000, '[') << deep;
        QTest::newRow("deep unknown key")
            << mutated("owner", R"("x")").replace(R"("x")", nested(64)) << deep;
    }
    void malformedJson() {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        QVERIFY2(outcome<WireDocument>(json).startsWith(expected),
                 qPrintable(outcome<WireDocument>(json)));
        QVERIFY(!WireCompat::decodeDocument(json));
    }

    // A number as written, as an integer field and as the value of an unknown key: what a
    // 64-bit integer or a finite double cannot hold is refused, never infinity or garbage.
    void numbers_data() {
        QTest::addColumn<QByteArray>("number");
        QTest::addColumn<QString>("asCount");
        QTest::addColumn<QString>("asUnknown");
        const QString fraction = QStringLiteral("rules[0].apply_count: expected an integer");
        const QString range = QStringLiteral("the data is not valid JSON (a number out of range");
        const auto row = [](const char* name, const QByteArray& number, const QString& asCount,
                            const QString& asUnknown) {
            QTest::newRow(name) << number << asCount << asUnknown;
        };
        row("whole", "-0", "ok", "ok");
        row("largest 64-bit", "9223372036854775807", "ok", "ok");
        row("past 64 bits", "9223372036854775808", fraction, "ok");
        row("zero fraction", "3.0", fraction, "ok");
        row("exponent", "3e0", fraction, "ok");
        row("350 zeros", "0." + QByteArray(350, '0'), fraction, "ok");
        row("zero, huge exponent", "0e308", fraction, "ok");
        row("smallest subnormal", "5e-324", fraction, "ok");
        row("largest double", "-1.7976931348623157e308", fraction, "ok");
        row("past a double", "4.37e309", range, range);
        row("400 digits", "1" + QByteArray(400, '0'), range, range);
        row("underflow", "1e-400", range, range);
    }
    void numbers() {
        QFETCH(QByteArray, number);
        QFETCH(QString, asCount);
        QFETCH(QString, asUnknown);
        const QByteArray count = mutated("rules.0.apply_count", "7")
                                     .replace("\"apply_count\":7", "\"apply_count\":" + number);
        const QByteArray unknown =
            mutated("owner", "7").replace("\"owner\":7", "\"owner\":" + number);
        QVERIFY2(outcome<WireDocument>(count).startsWith(asCount),
                 qPrintable(outcome<WireDocument>(count)));
        QVERIFY2(outcome<WireDocument>(unknown).startsWith(asUnknown),
                 qPrintable(outcome<WireDocument>(unknown)));
        // What is read is written back as JSON that reads the same.
        if (const auto value = JsonValue::parse(unknown))
            QVERIFY(JsonValue::parse(value->toJson()) == value);
        QCOMPARE(JsonValue(qInf()).toJson(), QByteArray("null"));
    }

    void envelope_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<qint64>("version"); // -1: absent
        QTest::newRow("with version") << enveloped(fullDocument, ", \"version\": 7") << "ok" << 7ll;
        QTest::newRow("no version") << enveloped(fullDocument) << "ok" << -1ll;
        QTest::newRow("null version")
            << enveloped(fullDocument, ", \"version\": null") << "ok" << -1ll;
        QTest::newRow("string version") << enveloped(fullDocument, ", \"version\": \"7\"")
                                        << "version: expected an integer" << -1ll;
        QTest::newRow("no result")
            << QByteArray(R"({"version": 7})") << "result: required key is missing" << -1ll;
        QTest::newRow("null result")
            << QByteArray(R"({"result": null})") << "result: required key is null" << -1ll;
        QTest::newRow("bad result")
            << enveloped(mutated("items.1.section", R"("later")"), ", \"version\": 7")
            << R"(items[1].section: unknown value "later")" << -1ll;
        QTest::newRow("not an object") << QByteArray("[1]") << "expected an object" << -1ll;
    }
    void envelope() {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        QFETCH(qint64, version);
        std::optional<qint64> read;
        try {
            const auto doc = WireJson::decodeEnvelope<WireDocument>(json, &read);
            QCOMPARE(QStringLiteral("ok"), expected);
            QCOMPARE(doc, WireJson::decode<WireDocument>(fullDocument));
            QCOMPARE(read.value_or(-1), version);
        } catch (const DecodingError& error) {
            QCOMPARE(error.message(), expected);
        }
    }

    // Explicit nulls and unknown keys do not survive a re-encoding.
    void reencodingLeavesNullsOut() {
        JsonValue value = baseValue();
        JsonValue& item = value.asObject()[1].value.asArray()[1];
        for (const char* key : {"note", "source", "due", "flagged", "shared", "completed_at"})
            item.set(key, nullptr);
        item.set("colour", "red");
        value.asObject()[2].value.asArray()[0].set("title", nullptr);
        const QByteArray encoded = WireJson::encode(WireJson::decode<WireDocument>(value.toJson()));
        QCOMPARE(*JsonValue::parse(encoded), baseValue());
    }

    void reencodingRoundTrips_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("full") << QByteArray(fullDocument);
        QTest::newRow("empty params") << mutated("rules.0.params", "{}");
        QTest::newRow("flagged false") << mutated("items.0.flagged", "false");
        QTest::newRow("empty deleted_at") << mutated("items.0.deleted_at", R"("")");
        QTest::newRow("non-ASCII text") << mutated("items.0.title", "\"Grüße \\\"quoted\\\" ✓ 😀\"");
        QTest::newRow("no items") << mutated("items", "[]");
    }
    void reencodingRoundTrips() {
        QFETCH(QByteArray, json);
        const auto doc = WireJson::decode<WireDocument>(json);
        const QByteArray encoded = WireJson::encode(doc);
        QCOMPARE(WireJson::decode<WireDocument>(encoded), doc);
        QCOMPARE(WireJson::encode(WireJson::decode<WireDocument>(encoded)), encoded);
    }

    // What the healing read of a stored document makes of one change: null, or the healed
    // settings and focus.
    void compat_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("reads");
        QTest::addColumn<bool>("hideDone");
        QTest::addColumn<QStringList>("focus");
        const QStringList focus{"i1", "Ship it"};
        QTest::newRow("complete") << QByteArray(fullDocument) << true << true << focus;
        QTest::newRow("no focus") << mutated("focus", "") << true << true << QStringList();
        QTest::newRow("no settings") << mutated("settings", "") << true << false << focus;
        JsonValue neither = baseValue();
        neither.remove(u"settings");
        neither.remove(u"focus");
        QTest::newRow("neither") << neither.toJson() << true << false << QStringList();
        QTest::newRow("null focus") << mutated("focus", "null") << false << false << focus;
        QTest::newRow("null settings") << mutated("settings", "null") << false << false << focus;
        QTest::newRow("empty settings") << mutated("settings", "{}") << false << false << focus;
        QTest::newRow("no rules") << mutated("rules", "") << false << false << focus;
        QTest::newRow("no schema_version")
            << mutated("schema_version", "") << false << false << focus;
        QTest::newRow("unknown value")
            << mutated("focus", "").replace("\"note\"", "\"later\"") << false << false << focus;
        QTest::newRow("top-level array") << QByteArray("[]") << false << false << focus;
        QTest::newRow("top-level string") << QByteArray("\"doc\"") << false << false << focus;
        QTest::newRow("invalid JSON") << QByteArray("{\"items\": [") << false << false << focus;
    }
    void compat() {
        QFETCH(QByteArray, json);
        QFETCH(bool, reads);
        QFETCH(bool, hideDone);
        QFETCH(QStringList, focus);
        const auto doc = WireCompat::decodeDocument(json);
        QCOMPARE(doc.has_value(), reads);
        if (!doc)
            return;
        QCOMPARE(doc->settings.hideDone, hideDone);
        QCOMPARE(doc->focus, focus);
        QCOMPARE(doc->items, WireJson::decode<WireDocument>(fullDocument).items);
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
                            at("2026-03-01T09:30:15.250Z"),
                            at("2026-03-01T09:00:00Z")};
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
                                 Origin::ai, 3, 12, at("2026-03-01T09:00:00Z"),
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

QTEST_GUILESS_MAIN(TestModel)
#include "tst_model.moc"
