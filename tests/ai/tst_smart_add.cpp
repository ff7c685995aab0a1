#include "APIError.h"
#include "Await.h"
#include "Clipboard.h"
#include "ClipboardCapture.h"
#include "SmartInsert.h"
#include "SpokenAdd.h"

#include <QClipboard>
#include <QCoroTimer>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>
#include <QStandardPaths>
#include <QtTest>

using namespace std::chrono_literals;
using OptString = std::optional<QString>;
using OptOutcome = std::optional<SmartInsertOutcome>;
// An outcome in a table (null: the call fails, or the body doesn't decode). Wrapped, as
// std::variant's operator< is not one QMetaType can probe.
struct Outcome {
    Outcome() = default;
    Outcome(SmartInsertOutcome outcome)
        : value(std::move(outcome)) {}
    OptOutcome value;
};
Q_DECLARE_METATYPE(OptString)
Q_DECLARE_METATYPE(Outcome)
using OptDraft = std::optional<SmartDraft>;
Q_DECLARE_METATYPE(SmartDraft)
Q_DECLARE_METATYPE(OptDraft)
Q_DECLARE_METATYPE(SpokenAdd::Fields)

namespace {

QString chars(qsizetype count, char c = 'x') {
    return QString(count, QLatin1Char(c));
}

// JSON written with single quotes, for tables that read well.
QByteArray json(const char* text) {
    return QByteArray(text).replace('\'', '"');
}

SmartDraft draftOf(const QString& title, OptString details = {}) {
    SmartDraft draft;
    draft.title = title;
    draft.details = std::move(details);
    return draft;
}

// A stand-in for the server call: answers `outcome` after `delay`, or fails with a
// transport error when there is none. Records what it was sent.
struct FakeCall {
    OptOutcome outcome;
    std::chrono::milliseconds delay{0};
    std::shared_ptr<QStringList> sent = std::make_shared<QStringList>();

    static QCoro::Task<SmartInsertOutcome> answer(OptOutcome outcome,
                                                  std::chrono::milliseconds delay) {
        if (delay > 0ms)
            co_await QCoro::sleepFor(delay);
        if (!outcome)
            throw TransportError(QNetworkReply::ConnectionRefusedError, QStringLiteral("refused"));
        co_return *outcome;
    }

    SmartAdd::Call function() const {
        return [sent = sent, outcome = outcome, delay = delay](QString text) {
            sent->push_back(text);
            return answer(outcome, delay);
        };
    }
};

} // namespace

class TestSmartAdd : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void capture_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<OptString>("title"); // null: no draft at all
        QTest::addColumn<OptString>("note");
        const QString line200 = chars(150) + ' ' + chars(49);
        const QString blankAt150 = chars(150) + ' ' + chars(50);
        const QString blankAt50 = chars(50) + ' ' + chars(199);
        const QString emoji = QStringLiteral("\U0001F600");
        QTest::newRow("one line") << "Buy milk" << OptString("Buy milk") << OptString();
        QTest::newRow("crlf and blanks") << "Buy milk\r\n\r\n  from the shop  "
                                         << OptString("Buy milk") << OptString("from the shop");
        QTest::newRow("lone cr") << "Title\rnote" << OptString("Title") << OptString("note");
        QTest::newRow("blank") << "   \n " << OptString() << OptString();
        QTest::newRow("200 stays") << line200 << OptString(line200) << OptString();
        QTest::newRow("201, blank at 150")
            << blankAt150 << OptString(chars(150)) << OptString(chars(50));
        QTest::newRow("overflow before note")
            << blankAt150 + "\nold" << OptString(chars(150)) << OptString(chars(50) + "\nold");
        QTest::newRow("300 without blank")
            << chars(300) << OptString(chars(200)) << OptString(chars(100));
        QTest::newRow("blank before 100 ignored")
            << blankAt50 << OptString(blankAt50.left(200)) << OptString(chars(50));
        QTest::newRow("pair across 200") << chars(199) + emoji + chars(10) << OptString(chars(199))
                                         << OptString(emoji + chars(10));
        QTest::newRow("note cut at 2000")
            << "T\n" + chars(2500) << OptString("T") << OptString(chars(2000));
    }

    void capture() {
        QFETCH(QString, input);
        QFETCH(OptString, title);
        QFETCH(OptString, note);
        const auto draft = ClipboardCapture::draft(input);
        QCOMPARE(draft.has_value(), title.has_value());
        if (draft)
            QCOMPARE(*draft, (ClipboardCapture::Draft{*title, note}));
    }

    void decode_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<Outcome>("expected"); // null: APIError::decoding
        const auto refused = [](SmartInsertRefusal why, qint64 used = 0, qint64 cap = 0) {
            return Outcome(SmartInsertRefused{why, used, cap});
        };
        SmartDraft full = draftOf("Send deck", "the Q3 one");
        full.who = "Dana";
        full.due = QDateTime(QDate(2026, 12, 1), QTime(0, 0));
        full.section = Section::waiting;
        full.priority = Priority::high;
        SmartDraft linked = draftOf("L");
        linked.links = {{"Doc", QUrl("https://a.example/x")}};

        QTest::newRow("no allowance")
            << json("{'ok':false,'reason':'no_allowance', 'used':30,'cap':30}")
            << refused(SmartInsertRefusal::noAllowance, 30, 30);
        QTest::newRow("not configured") << json("{'ok':false,'reason':'not_configured'}")
                                        << refused(SmartInsertRefusal::notConfigured);
        QTest::newRow("ok without draft")
            << json("{'ok':true}") << refused(SmartInsertRefusal::failed);
        QTest::newRow("unknown reason")
            << json("{'ok':false,'reason':'later'}") << refused(SmartInsertRefusal::failed);
        QTest::newRow("draft but not ok")
            << json("{'ok':false,'draft':{'title':'t','section':'action', 'priority':'low'}}")
            << refused(SmartInsertRefusal::failed);
        QTest::newRow("full draft")
            << json("{'ok':true,'truncated':true,'used':3,'cap':30,'draft':{ 'title':'Send "
                    "deck','details':'the Q3 one','who':'Dana','when':'2026-12-01', "
                    "'section':'waiting','priority':'high','links':null}}")
            << Outcome(SmartInsertDrafted{full, true, 3, 30});
        QTest::newRow("unknown section, priority, day")
            << json("{'ok':true,'draft':{'title':'t','when':'next week', "
                    "'section':'someday','priority':'urgent'}}")
            << Outcome(SmartInsertDrafted{draftOf("t"), false, 0, 0});
        QTest::newRow("links filtered")
            << json("{'ok':true,'draft':{'title':'L','section':'action', "
                    "'priority':'medium','links':[{'label':'x','url':'ftp://a'}, "
                    "{'label':'Doc','url':'HTTPS://a.example/x'},{'label':' "
                    "\\t','url':'https://b'}, {'label':'fourth','url':'https://c.example'}]}}")
            << Outcome(SmartInsertDrafted{linked, false, 0, 0});
        QTest::newRow("no scheme, bad url")
            << json("{'ok':true,'draft':{'title':'L','section':'action', "
                    "'priority':'medium','links':[{'label':'a','url':'a.example/x'}, "
                    "{'label':'b','url':'http://exa mple'}]}}")
            << Outcome(SmartInsertDrafted{draftOf("L"), false, 0, 0});
        QTest::newRow("not json") << QByteArray("{") << Outcome();
        QTest::newRow("array") << QByteArray("[]") << Outcome();
        QTest::newRow("ok missing") << json("{'reason':'failed'}") << Outcome();
        QTest::newRow("ok as text") << json("{'ok':'true'}") << Outcome();
        QTest::newRow("cap as text") << json("{'ok':false,'cap':'30'}") << Outcome();
        QTest::newRow("draft without title")
            << json("{'ok':true,'draft':{'section':'action','priority':'low'}}") << Outcome();
        QTest::newRow("link without url")
            << json("{'ok':true,'draft':{'title':'t','section':'action', "
                    "'priority':'low','links':[{'label':'x'}]}}")
            << Outcome();
    }

    void decode() {
        QFETCH(QByteArray, body);
        QFETCH(Outcome, expected);
        if (!expected.value) {
            try {
                SmartInsert::decode(body);
                QFAIL("decoded a bad reply");
            } catch (const APIError& error) {
                QCOMPARE(error.kind(), APIError::Kind::decoding);
            }
            return;
        }
        QCOMPARE(SmartInsert::decode(body), *expected.value);
    }

    void paste_data() {
        QTest::addColumn<OptString>("clipboard");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<OptString>("sent"); // null: no call
        QTest::addColumn<SmartDraft>("draft");
        QTest::addColumn<OptString>("notice");
        const QString text1001 = "Call Dana\n" + chars(991);
        SmartDraft server = draftOf("From the server");
        server.priority = Priority::high;
        const Outcome drafted(SmartInsertDrafted{server, false, 1, 30});
        const Outcome truncated(SmartInsertDrafted{server, true, 1, 30});
        const auto refused = [](SmartInsertRefusal why) {
            return Outcome(SmartInsertRefused{why, 30, 30});
        };
        const OptString notRun(
            QStringLiteral("Smart Add could not run just now, so this was pasted as it came."));

        QTest::newRow("nothing") << OptString() << drafted << OptString() << SmartDraft()
                                 << OptString(QStringLiteral(
                                        "Copy some text first \u2014 Smart Add turns it "
                                        "into a task for you."));
        QTest::newRow("blank") << OptString(" \n\t") << drafted << OptString() << SmartDraft()
                               << OptString(SmartAdd::emptyNotice());
        QTest::newRow("drafted") << OptString("  Call Dana\n") << drafted << OptString("Call Dana")
                                 << server << OptString();
        QTest::newRow("server cut it")
            << OptString("Call Dana") << truncated << OptString("Call Dana") << server
            << OptString(QStringLiteral("Long paste \u2014 only the first 1000 "
                                        "characters were read."));
        QTest::newRow("1001 drafted")
            << OptString(text1001) << drafted << OptString(text1001.left(1000)) << server
            << OptString(SmartAdd::longPasteNotice());
        QTest::newRow("1001 refused")
            << OptString(text1001) << refused(SmartInsertRefusal::failed)
            << OptString(text1001.left(1000)) << draftOf("Call Dana", chars(991)) << notRun;
        QTest::newRow("no allowance")
            << OptString("Call Dana\nabout it") << refused(SmartInsertRefusal::noAllowance)
            << OptString("Call Dana\nabout it") << draftOf("Call Dana", "about it")
            << OptString(
                   QStringLiteral("All 30 Smart Adds used this month \u2014 pasted as it came. "
                                  "Resets on the 1st."));
        QTest::newRow("not configured")
            << OptString("Call Dana") << refused(SmartInsertRefusal::notConfigured)
            << OptString("Call Dana") << draftOf("Call Dana") << notRun;
        QTest::newRow("call fails")
            << OptString("Call Dana") << Outcome() << OptString("Call Dana") << draftOf("Call Dana")
            << OptString(QStringLiteral(
                   "Smart Add could not be reached, so this was pasted as it came."));
    }

    void paste() {
        QFETCH(OptString, clipboard);
        QFETCH(Outcome, outcome);
        QFETCH(OptString, sent);
        QFETCH(SmartDraft, draft);
        QFETCH(OptString, notice);
        FakeCall call{outcome.value};
        const auto result = TestAwait::await(SmartAdd::run(clipboard, call.function()));
        QCOMPARE(*call.sent, sent ? QStringList{*sent} : QStringList{});
        QCOMPARE(result.draft, draft);
        QCOMPARE(result.notice, notice);
    }

    void spokenFields_data() {
        QTest::addColumn<OptDraft>("draft");
        QTest::addColumn<SpokenAdd::Fields>("fields");
        SmartDraft full = draftOf("Call Dana", "about the lease");
        full.who = "Sam";
        full.section = Section::waiting;
        full.priority = Priority::low;
        full.due = QDateTime(QDate(2026, 5, 4), QTime(0, 0));
        full.links = {{"Lease", QUrl("https://a.example")}};
        const SpokenAdd::Fields plain{"call dana",      {}, {}, Section::action, {},
                                      Priority::medium, {}};
        QTest::newRow("no draft") << OptDraft() << plain;
        QTest::newRow("blank title") << std::optional(draftOf("   ", "x")) << plain;
        QTest::newRow("draft") << std::optional(full)
                               << SpokenAdd::Fields{
                                      "Call Dana", "about the lease", "Sam",     Section::waiting,
                                      full.due,    Priority::low,     full.links};
    }

    void spokenFields() {
        QFETCH(OptDraft, draft);
        QFETCH(SpokenAdd::Fields, fields);
        QCOMPARE(SpokenAdd::fields(QStringLiteral("call dana"), draft), fields);
    }

    void enrich_data() {
        QTest::addColumn<bool>("offline");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<int>("budgetMs");
        QTest::addColumn<bool>("drafted");
        QTest::addColumn<int>("calls");
        QTest::addColumn<int>("withinMs");
        const Outcome drafted(SmartInsertDrafted{draftOf("Call Dana"), false, 1, 30});
        const Outcome refused(SmartInsertRefused{SmartInsertRefusal::failed, 1, 30});
        QTest::newRow("offline") << true << drafted << 0 << 5000 << false << 0 << 1000;
        QTest::newRow("in time") << false << drafted << 50 << 5000 << true << 1 << 1000;
        QTest::newRow("fast refusal") << false << refused << 50 << 5000 << false << 1 << 1000;
        QTest::newRow("fails at once") << false << Outcome() << 0 << 5000 << false << 1 << 1000;
        QTest::newRow("too slow") << false << drafted << 400 << 100 << false << 1 << 350;
    }

    void enrich() {
        QFETCH(bool, offline);
        QFETCH(Outcome, outcome);
        QFETCH(int, delayMs);
        QFETCH(int, budgetMs);
        QFETCH(bool, drafted);
        QFETCH(int, calls);
        QFETCH(int, withinMs);
        FakeCall call{outcome.value, std::chrono::milliseconds(delayMs)};
        QElapsedTimer clock;
        clock.start();
        const auto draft = TestAwait::await(SpokenAdd::enrich(
            chars(1200), offline, std::chrono::milliseconds(budgetMs), call.function()));
        QVERIFY2(clock.elapsed() < withinMs, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(draft.has_value(), drafted);
        QCOMPARE(call.sent->size(), calls);
        if (calls)
            QCOMPARE(call.sent->first().size(), 1000);
        // A call left behind ends later on its own; it must find its state intact.
        QTest::qWait(std::max(0, delayMs - int(clock.elapsed())) + 50);
    }

    void clipboards() {
        MemoryClipboard memory(QStringLiteral("a"));
        memory.setText(QStringLiteral("b"));
        QCOMPARE(memory.text(), OptString("b"));

        auto* data = new QMimeData;
        data->setHtml(QStringLiteral("<b>rich</b>"));
        data->setText(QStringLiteral("rich"));
        QGuiApplication::clipboard()->setMimeData(data);
        SystemClipboard system;
        QCOMPARE(system.text(), OptString("rich"));
        system.setText(QStringLiteral("plain"));
        QCOMPARE(system.text(), OptString("plain"));
        QVERIFY(!QGuiApplication::clipboard()->mimeData()->hasHtml());
    }
};

QTEST_MAIN(TestSmartAdd)
#include "tst_smart_add.moc"
