// The text conventions of the wire: enumeration values, instants, days and local ids.

#include "Enums.h"
#include "WireFormats.h"

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

} // namespace

class TestWireFormats : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
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

    void labels_data() {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("expected");
        const auto row = [](const QString& label, const char* expected) {
            QTest::newRow(expected) << label << expected;
        };
        row(label(Section::action), "Action");
        row(plural(Section::action), "Actions");
        row(label(Section::waiting), "Waiting");
        row(plural(Section::waiting), "Waiting on");
        row(label(Section::note), "Note");
        row(plural(Section::note), "Notes");
        row(label(Channel::self), "Me");
        row(label(Channel::teams), "Teams");
        row(label(Channel::email), "Email");
        row(label(Channel::meeting), "Meeting");
        row(label(Channel::other), "Other");
    }
    void labels() {
        QFETCH(QString, label);
        QFETCH(QString, expected);
        QCOMPARE(label, expected);
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
    }

    void localDayNullIn() { QVERIFY(!LocalDay::date(std::optional<QString>())); }

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

    void localIdMake() {
        const QString first = LocalID::make();
        const QString second = LocalID::make();
        QVERIFY(first != second);
        for (const QString& id : {first, second}) {
            QVERIFY(id.startsWith(QLatin1String("local-")));
            const QString uuid = id.mid(6);
            QCOMPARE(uuid.size(), 36);
            QCOMPARE(uuid, uuid.toLower());
            QVERIFY(!QUuid::fromString(uuid).isNull());
            QVERIFY(LocalID::isLocal(id));
        }
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
    }
};

QTEST_GUILESS_MAIN(TestWireFormats)
#include "tst_wire_formats.moc"
