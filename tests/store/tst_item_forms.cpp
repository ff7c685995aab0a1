#include "Characters.h"
#include "ItemForms.h"

#include <QStandardPaths>
#include <QtTest>

using namespace ItemForms;

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
        QTest::addColumn<bool>("parses");
        QTest::addColumn<QString>("name");
        QTest::newRow("https") << "Doc"
                               << "https://example.com/a" << true << "Doc";
        QTest::newRow("http") << "Doc"
                              << "http://example.com" << true << "Doc";
        QTest::newRow("scheme in capitals") << "Doc"
                                            << "HTTPS://example.com" << true << "Doc";
        QTest::newRow("spaces and tabs trimmed") << " \tDoc \t"
                                                 << "\t https://e.com " << true << "Doc";
        QTest::newRow("ftp") << "Doc"
                             << "ftp://example.com" << false << "";
        QTest::newRow("mailto") << "Doc"
                                << "mailto:ana@example.com" << false << "";
        QTest::newRow("no scheme") << "Doc"
                                   << "example.com" << false << "";
        QTest::newRow("blank label") << " \t "
                                     << "https://example.com" << false << "";
        QTest::newRow("blank address") << "Doc"
                                       << "  " << false << "";
        QTest::newRow("does not parse") << "Doc"
                                        << "https://exa mple.com" << false << "";
    }
    void parsedNewLink() {
        QFETCH(QString, label);
        QFETCH(QString, url);
        QFETCH(bool, parses);
        QFETCH(QString, name);
        const auto parsed = ItemForms::parsedNewLink(label, url);
        QCOMPARE(parsed.has_value(), parses);
        if (parsed) {
            QCOMPARE(parsed->label, name);
            QCOMPARE(parsed->url.scheme().toLower(), url.trimmed().section(u':', 0, 0).toLower());
        }
    }

    void canAddLink_data() {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("new address") << "Spec"
                                     << "https://s.example" << true;
        QTest::newRow("same address, other label") << "Other"
                                                   << "https://d.example" << false;
        QTest::newRow("same address, padded") << "Other"
                                              << " https://t.example\t" << false;
        QTest::newRow("does not parse") << "Spec"
                                        << "s.example" << false;
    }
    void canAddLink() {
        QFETCH(QString, label);
        QFETCH(QString, url);
        QFETCH(bool, allowed);
        QCOMPARE(ItemForms::canAddLink(sample().links, label, url), allowed);
    }

    void dirty_data() {
        QTest::addColumn<int>("change");
        QTest::addColumn<bool>("isDirty");
        QTest::newRow("as loaded") << 0 << false;
        QTest::newRow("title") << 1 << true;
        QTest::newRow("note typed") << 2 << true;
        QTest::newRow("who cleared") << 3 << true;
        QTest::newRow("date cleared") << 4 << true;
        QTest::newRow("priority") << 5 << true;
        QTest::newRow("links reordered") << 6 << true;
        QTest::newRow("missing note taken as empty") << 7 << false;
        QTest::newRow("same day, other zone") << 8 << false;
    }
    void dirty() {
        QFETCH(int, change);
        QFETCH(bool, isDirty);
        const Item item = sample();
        ItemEdits edits = ItemEdits::of(item);
        switch (change) {
        case 1:
            edits.title += u'!';
            break;
        case 2:
            edits.note = QStringLiteral("more");
            break;
        case 3:
            edits.source.clear();
            break;
        case 4:
            edits.due.reset();
            break;
        case 5:
            edits.priority = Priority::low;
            break;
        case 6:
            std::swap(edits.links[0], edits.links[1]);
            break;
        case 7:
            QVERIFY(edits.note.isEmpty() && !item.note);
            break;
        case 8:
            edits.due = item.due->toUTC();
            break;
        }
        QCOMPARE(ItemForms::dirty(edits, item), isDirty);
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
