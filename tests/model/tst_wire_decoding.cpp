// Strict reading of the server's document, its re-encoding, and the healing read of a
// stored copy.

#include "WireJson.h"

#include <QStandardPaths>
#include <QTest>

namespace {

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
JsonValue* at(JsonValue& root, const QStringList& path) {
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
    JsonValue* parent = at(root, steps);
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

} // namespace

class TestWireDecoding : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

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

    // A reply from the server gets no healing.
    void strictReadDoesNotHeal() {
        QCOMPARE(outcome<WireDocument>(mutated("settings", "")),
                 "settings: required key is missing");
    }
};

QTEST_GUILESS_MAIN(TestWireDecoding)
#include "tst_wire_decoding.moc"
