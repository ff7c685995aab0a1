#include "Characters.h"
#include "ItemForms.h"

#include <QStandardPaths>
#include <QtTest>

using namespace ItemForms;

Q_DECLARE_METATYPE(ItemEdits)

namespace {

ItemLink link(const QString& label, const QString& url) {
    return {label, QUrl(url)};
}

Item sample() {
    Item item;
    item.id = QStringLiteral("a");
    item.title = QStringLiteral("Call Ana");
    item.source = QStringLiteral("Ana");
    item.due = QDateTime(QDate(2026, 3, 2), QTime(0, 0));
    item.priority = Priority::high;
    item.links = {link(QStringLiteral("Doc"), QStringLiteral("https://d.example")),
                  link(QStringLiteral("Ticket"), QStringLiteral("https://t.example"))};
    return item;
}

} // namespace

class TestItemForms : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void limitedCountsWhatTheReaderSees_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("cut");
        QTest::addColumn<int>("length");
        const QString thumb = QStringLiteral("\U0001F44D\U0001F3FD"); // thumbs up, skin tone
        const QString flag = QStringLiteral("\U0001F1F3\U0001F1F1");  // NL
        const QString family = QStringLiteral("\U0001F469\u200D\U0001F467");
        const QString accent = QStringLiteral("e\u0301");
        QTest::newRow("short text stays") << "abc" << 5 << "abc" << 3;
        QTest::newRow("plain text cut") << "abcdef" << 4 << "abcd" << 6;
        QTest::newRow("skin tone is one") << thumb + thumb + "x" << 2 << thumb + thumb << 3;
        QTest::newRow("flags are one each") << flag + flag + flag << 2 << flag + flag << 3;
        QTest::newRow("joined emoji is one") << family + "ab" << 1 << family << 3;
        QTest::newRow("combining accent kept whole") << accent + accent << 1 << accent << 2;
        QTest::newRow("empty") << "" << 3 << "" << 0;
    }
    void limitedCountsWhatTheReaderSees() {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QFETCH(QString, cut);
        QFETCH(int, length);
        QCOMPARE(Characters::left(text, limit), cut);
        QCOMPARE(Characters::count(text), length);
    }

    void parsedNewLink_data() {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("name"); // empty: refused
        const auto row = [](const char* tag, const char* label, const char* url, const char* name) {
            QTest::newRow(tag) << QString(label) << QString(url) << QString(name);
        };
        row("https", "Doc", "https://example.com/a", "Doc");
        row("http", "Doc", "http://example.com", "Doc");
        row("scheme in capitals", "Doc", "HTTPS://example.com", "Doc");
        row("spaces and tabs trimmed", " \tDoc \t", "\t https://e.com ", "Doc");
        row("ftp", "Doc", "ftp://example.com", "");
        row("mailto", "Doc", "mailto:ana@example.com", "");
        row("no scheme", "Doc", "example.com", "");
        row("blank label", " \t ", "https://example.com", "");
        row("blank address", "Doc", "  ", "");
        row("does not parse", "Doc", "https://exa mple.com", "");
    }
    void parsedNewLink() {
        QFETCH(QString, label);
        QFETCH(QString, url);
        QFETCH(QString, name);
        const auto parsed = ItemForms::parsedNewLink(label, url);
        QCOMPARE(parsed.has_value(), !name.isEmpty());
        if (parsed) {
            QCOMPARE(parsed->label, name);
            QCOMPARE(parsed->url.scheme().toLower(), url.trimmed().section(u':', 0, 0).toLower());
        }
    }

    void canAddLink_data() {
        QTest::addColumn<bool>("allowed");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("url");
        QTest::newRow("new address") << true << "Spec" << QString("https://s.example");
        QTest::newRow("same address, other label")
            << false << "Other" << QString("https://d.example");
        QTest::newRow("same address, padded")
            << false << "Other" << QString(" https://t.example\t");
        QTest::newRow("does not parse") << false << "Spec" << QString("s.example");
    }
    void canAddLink() {
        QFETCH(QString, label);
        QFETCH(QString, url);
        QFETCH(bool, allowed);
        QCOMPARE(ItemForms::canAddLink(sample().links, label, url), allowed);
    }

    void dirty_data() {
        QTest::addColumn<ItemEdits>("edits");
        QTest::addColumn<bool>("isDirty");
        const auto edited = [](const std::function<void(ItemEdits&)>& change) {
            ItemEdits edits = ItemEdits::of(sample());
            change(edits);
            return edits;
        };
        // The sample has no note: "as loaded" also shows a missing note taken as empty.
        QTest::newRow("as loaded") << edited([](ItemEdits&) {}) << false;
        QTest::newRow("title") << edited([](ItemEdits& e) { e.title += u'!'; }) << true;
        QTest::newRow("note typed") << edited([](ItemEdits& e) { e.note = "more"; }) << true;
        QTest::newRow("who cleared") << edited([](ItemEdits& e) { e.source.clear(); }) << true;
        QTest::newRow("date cleared") << edited([](ItemEdits& e) { e.due.reset(); }) << true;
        QTest::newRow("priority") << edited([](ItemEdits& e) { e.priority = Priority::low; })
                                  << true;
        QTest::newRow("links reordered")
            << edited([](ItemEdits& e) { std::swap(e.links[0], e.links[1]); }) << true;
        QTest::newRow("same day, other zone")
            << edited([](ItemEdits& e) { e.due = e.due->toUTC(); }) << false;
    }
    void dirty() {
        QFETCH(ItemEdits, edits);
        QFETCH(bool, isDirty);
        QCOMPARE(ItemForms::dirty(edits, sample()), isDirty);
    }

    void shareStatus_data() {
        QTest::addColumn<SharedState>("state");
        QTest::addColumn<QString>("text");
        QTest::newRow("pending") << SharedState::pending << "Sent to Ana — not accepted yet";
        QTest::newRow("accepted") << SharedState::accepted << "Ana has this";
        QTest::newRow("declined") << SharedState::declined << "Ana said no — it is yours again";
        QTest::newRow("done claimed") << SharedState::doneClaimed << "Ana says this is done";
    }
    void shareStatus() {
        QFETCH(SharedState, state);
        QFETCH(QString, text);
        QCOMPARE(ItemForms::shareStatus({QStringLiteral("Ana"), state}), text);
    }

    void lines() {
        QCOMPARE(limitReachedLine(200), QStringLiteral("Limit reached — 200 characters."));
        QCOMPARE(linksAttachedLine({}), QString());
        QCOMPARE(linksAttachedLine({sample().links.first()}),
                 QStringLiteral("1 link attached: Doc"));
        QCOMPARE(linksAttachedLine(sample().links),
                 QStringLiteral("2 links attached: Doc, Ticket"));
        QCOMPARE(trimmed(QStringLiteral(" \n\tTitle \r\n")), QStringLiteral("Title"));
        QCOMPARE(priorityTitle(Priority::medium), QStringLiteral("Medium"));
        const QDateTime added(QDate(2026, 1, 6), QTime(15, 4));
        QCOMPARE(addedLabel(added, QLocale(QLocale::English, QLocale::UnitedStates)),
                 QStringLiteral("Jan 6, 2026, 3:04\u202FPM"));
    }
};

QTEST_GUILESS_MAIN(TestItemForms)
#include "tst_item_forms.moc"
