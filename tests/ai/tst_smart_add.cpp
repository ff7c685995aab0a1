#include "APIClient.h"
#include "Await.h"
#include "Clipboard.h"
#include "ClipboardCapture.h"
#include "ServerProcess.h"
#include "SmartInsert.h"
#include "SpokenAdd.h"

#include <QClipboard>
#include <QCoroTimer>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>
#include <QStandardPaths>
#include <QtTest>

using OptString = std::optional<QString>;
using OptDraft = std::optional<SmartDraft>;
// An outcome in a table; null: the call fails, or the body doesn't decode. Wrapped, as
// QMetaType cannot probe std::variant's operator<.
struct Outcome {
    Outcome() = default;
    Outcome(SmartInsertOutcome outcome)
        : value(std::move(outcome)) {}
    std::optional<SmartInsertOutcome> value;
};
Q_DECLARE_METATYPE(OptString)
Q_DECLARE_METATYPE(Outcome)
Q_DECLARE_METATYPE(SmartDraft)
Q_DECLARE_METATYPE(OptDraft)

namespace {

QString chars(qsizetype count) {
    return QString(count, QLatin1Char('x'));
}

// JSON written with single quotes, so that tables read well.
QByteArray json(const char* text) {
    return QByteArray(text).replace('\'', '"');
}

SmartDraft draftOf(const QString& title, OptString details = {},
                   Priority priority = Priority::medium) {
    SmartDraft draft;
    draft.title = title;
    draft.details = std::move(details);
    draft.priority = priority;
    return draft;
}

QDateTime inDays(qint64 days) {
    return QDateTime(QDate::currentDate().addDays(days), QTime(0, 0));
}

QCoro::Task<SmartInsertOutcome> answer(Outcome outcome, int delayMs) {
    if (delayMs > 0)
        co_await QCoro::sleepFor(std::chrono::milliseconds(delayMs));
    if (!outcome.value)
        throw TransportError(QNetworkReply::ConnectionRefusedError, QStringLiteral("refused"));
    co_return *outcome.value;
}

// A stand-in for the server call that records what it was sent.
SmartAdd::Call fakeCall(Outcome outcome, std::shared_ptr<QStringList> sent, int delayMs = 0) {
    return [=](QString text) {
        sent->push_back(text);
        return answer(outcome, delayMs);
    };
}

} // namespace

class TestSmartAdd : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server; // one for every call against the real server

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }
    void cleanupTestCase() { server.reset(); }

    void capture_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<OptString>("title"); // null: no draft at all
        QTest::addColumn<OptString>("note");
        const QString blankAt150 = chars(150) + ' ' + chars(50);
        const QString blankAt50 = chars(50) + ' ' + chars(199);
        const QString emoji = QStringLiteral("\U0001F600");
        QTest::newRow("one line") << "Buy milk" << OptString("Buy milk") << OptString();
        QTest::newRow("crlf and blanks") << "Buy milk\r\n\r\n  from the shop  "
                                         << OptString("Buy milk") << OptString("from the shop");
        QTest::newRow("lone cr") << "Title\rnote" << OptString("Title") << OptString("note");
        QTest::newRow("blank") << "   \n " << OptString() << OptString();
        QTest::newRow("200 stays")
            << blankAt150.left(200) << OptString(blankAt150.left(200)) << OptString();
        QTest::newRow("201, blank at 150")
            << blankAt150 << OptString(chars(150)) << OptString(chars(50));
        QTest::newRow("overflow before note")
            << blankAt150 + "\nold" << OptString(chars(150)) << OptString(chars(50) + "\nold");
        QTest::newRow("300 without blank")
            << chars(300) << OptString(chars(200)) << OptString(chars(100));
        QTest::newRow("blank before 100 ignored")
            << blankAt50 << OptString(blankAt50.left(200)) << OptString(chars(50));
        QTest::newRow("emoji counts once") << chars(199) + emoji + chars(10)
                                           << OptString(chars(199) + emoji) << OptString(chars(10));
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
        QTest::addColumn<Outcome>("expected"); // null: DecodingError
        const auto refused = [](SmartInsertRefusal why, qint64 used = 0, qint64 cap = 0) {
            return Outcome(SmartInsertRefused{why, used, cap});
        };
        SmartDraft full = draftOf("Send deck", "the Q3 one", Priority::high);
        full.who = "Dana";
        full.due = QDateTime(QDate(2026, 12, 1), QTime(0, 0));
        full.section = Section::waiting;
        SmartDraft linked = draftOf("L");
        linked.links = {{"Doc", QUrl("https://a.example/x")}};

        QTest::newRow("no allowance")
            << json("{'ok':false,'reason':'no_allowance','used':30,'cap':30}")
            << refused(SmartInsertRefusal::noAllowance, 30, 30);
        QTest::newRow("not configured") << json("{'ok':false,'reason':'not_configured'}")
                                        << refused(SmartInsertRefusal::notConfigured);
        QTest::newRow("ok, no draft") << json("{'ok':true}") << refused(SmartInsertRefusal::failed);
        QTest::newRow("unknown reason, draft")
            << json("{'ok':false,'reason':'later','draft':{'title':'t','section':'action',"
                    "'priority':'low'}}")
            << refused(SmartInsertRefusal::failed);
        QTest::newRow("full draft")
            << json("{'ok':true,'truncated':true,'used':3,'cap':30,'draft':{'title':'Send deck',"
                    "'details':'the Q3 one','who':'Dana','when':'2026-12-01','section':'waiting',"
                    "'priority':'high','links':null}}")
            << Outcome(SmartInsertDrafted{full, true, 3, 30});
        QTest::newRow("unknown section, priority, day")
            << json("{'ok':true,'draft':{'title':'t','when':'soon','section':'someday',"
                    "'priority':'urgent'}}")
            << Outcome(SmartInsertDrafted{draftOf("t"), false, 0, 0});
        QTest::newRow("links: first three, web, labelled")
            << json("{'ok':true,'draft':{'title':'L','section':'action','priority':'medium',"
                    "'links':[{'label':'x','url':'ftp://a'},{'label':'Doc','url':'HTTPS://"
                    "a.example/x'},{'label':' \\t','url':'https://b'},{'label':'4','url':'https://"
                    "c.example'}]}}")
            << Outcome(SmartInsertDrafted{linked, false, 0, 0});
        QTest::newRow("links: no scheme, bad url")
            << json(
                   "{'ok':true,'draft':{'title':'t','section':'action','priority':'medium',"
                   "'links':[{'label':'a','url':'a.example/x'},{'label':'b','url':'http://a b'}]}}")
            << Outcome(SmartInsertDrafted{draftOf("t"), false, 0, 0});
        QTest::newRow("not json") << QByteArray("{") << Outcome();
        QTest::newRow("ok missing") << json("{'reason':'failed'}") << Outcome();
        QTest::newRow("cap as text") << json("{'ok':false,'cap':'30'}") << Outcome();
        QTest::newRow("link without url")
            << json("{'ok':true,'draft':{'title':'t','section':'action','priority':'low',"
                    "'links':[{'label':'x'}]}}")
            << Outcome();
    }

    void decode() {
        QFETCH(QByteArray, body);
        QFETCH(Outcome, expected);
        try {
            const auto outcome = SmartInsert::decode(body);
            QVERIFY(expected.value);
            QCOMPARE(outcome, *expected.value);
        } catch (const DecodingError& error) {
            QVERIFY2(!expected.value, qPrintable(error.message()));
        }
    }

    void paste_data() {
        QTest::addColumn<OptString>("clipboard");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<OptString>("sent"); // null: no call
        QTest::addColumn<SmartDraft>("draft");
        QTest::addColumn<OptString>("notice");
        const QString text1001 = "Call Dana\n" + chars(991);
        const SmartDraft server = draftOf("From the server", {}, Priority::high);
        const Outcome drafted(SmartInsertDrafted{server, false, 1, 30});
        const auto refused = [](SmartInsertRefusal why) {
            return Outcome(SmartInsertRefused{why, 30, 30});
        };
        const OptString longPaste(
            QStringLiteral("Long paste \u2014 only the first 1000 characters were read."));
        const OptString notRun(
            QStringLiteral("Smart Add could not run just now, so this was pasted as it came."));

        QTest::newRow("nothing") << OptString() << drafted << OptString() << SmartDraft()
                                 << OptString(QStringLiteral("Copy some text first \u2014 Smart "
                                                             "Add turns it into a task for you."));
        QTest::newRow("blank") << OptString(" \n\t") << drafted << OptString() << SmartDraft()
                               << OptString(SmartAdd::emptyNotice());
        QTest::newRow("drafted") << OptString("  Call Dana\n") << drafted << OptString("Call Dana")
                                 << server << OptString();
        QTest::newRow("server cut it")
            << OptString("Call Dana") << Outcome(SmartInsertDrafted{server, true, 1, 30})
            << OptString("Call Dana") << server << longPaste;
        QTest::newRow("1001 drafted") << OptString(text1001) << drafted
                                      << OptString(text1001.left(1000)) << server << longPaste;
        // Characters as the reader sees them: 600 emoji are 1,200 code units but fit.
        const QString emoji = QString(QStringLiteral("\U0001F600")).repeated(600);
        QTest::newRow("600 emoji")
            << OptString(emoji) << drafted << OptString(emoji) << server << OptString();
        QTest::newRow("1001 refused")
            << OptString(text1001) << refused(SmartInsertRefusal::failed)
            << OptString(text1001.left(1000)) << draftOf("Call Dana", chars(991)) << notRun;
        QTest::newRow("no allowance")
            << OptString("Call Dana\nabout it") << refused(SmartInsertRefusal::noAllowance)
            << OptString("Call Dana\nabout it") << draftOf("Call Dana", "about it")
            << OptString(QStringLiteral("All 30 Smart Adds used this month \u2014 pasted as it "
                                        "came. Resets on the 1st."));
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
        auto calls = std::make_shared<QStringList>();
        const auto result = TestAwait::await(SmartAdd::run(clipboard, fakeCall(outcome, calls)));
        QCOMPARE(*calls, sent ? QStringList{*sent} : QStringList{});
        QCOMPARE(result, (SmartAdd::Result{draft, notice}));
    }

    void spokenFields() {
        SmartDraft full = draftOf("Call Dana", "about the lease", Priority::low);
        full.who = "Sam";
        full.section = Section::waiting;
        full.due = inDays(1);
        full.links = {{"Lease", QUrl("https://a.example")}};
        const SpokenAdd::Fields plain{"call dana",      {}, {}, Section::action, {},
                                      Priority::medium, {}};
        QCOMPARE(SpokenAdd::fields("call dana", std::nullopt), plain);
        QCOMPARE(SpokenAdd::fields("call dana", draftOf("   ", "x")), plain);
        QCOMPARE(SpokenAdd::fields("call dana", full),
                 (SpokenAdd::Fields{"Call Dana", "about the lease", "Sam", Section::waiting,
                                    full.due, Priority::low, full.links}));
    }

    void enrich_data() {
        QTest::addColumn<bool>("offline");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<int>("budgetMs");
        QTest::addColumn<bool>("drafted");
        const Outcome drafted(SmartInsertDrafted{draftOf("Call Dana"), false, 1, 30});
        const Outcome refused(SmartInsertRefused{SmartInsertRefusal::failed, 1, 30});
        QTest::newRow("offline") << true << drafted << 0 << 5000 << false;
        QTest::newRow("in time") << false << drafted << 50 << 5000 << true;
        QTest::newRow("fast refusal") << false << refused << 50 << 5000 << false;
        QTest::newRow("fails at once") << false << Outcome() << 0 << 5000 << false;
        QTest::newRow("too slow") << false << drafted << 400 << 100 << false;
    }

    void enrich() {
        QFETCH(bool, offline);
        QFETCH(Outcome, outcome);
        QFETCH(int, delayMs);
        QFETCH(int, budgetMs);
        QFETCH(bool, drafted);
        auto calls = std::make_shared<QStringList>();
        QElapsedTimer clock;
        clock.start();
        const auto draft = TestAwait::await(SpokenAdd::enrich(chars(1200), offline,
                                                              std::chrono::milliseconds(budgetMs),
                                                              fakeCall(outcome, calls, delayMs)));
        // Whichever ends first decides: well before the slower one.
        QVERIFY2(clock.elapsed() < std::min(delayMs, budgetMs) + 250,
                 qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(draft.has_value(), drafted);
        QCOMPARE(*calls, offline ? QStringList{} : QStringList{chars(1000)});
        // A call left behind ends later on its own and must find its state intact.
        QTest::qWait(std::max(0, delayMs - int(clock.elapsed())) + 50);
    }

    void systemClipboard() {
        auto* data = new QMimeData;
        data->setHtml(QStringLiteral("<b>rich</b>"));
        data->setText(QStringLiteral("rich"));
        QGuiApplication::clipboard()->setMimeData(data);
        SystemClipboard clipboard;
        QCOMPARE(clipboard.text(), OptString("rich"));
        clipboard.setText(QStringLiteral("plain"));
        QCOMPARE(clipboard.text(), OptString("plain"));
        QVERIFY(!QGuiApplication::clipboard()->mimeData()->hasHtml());
    }

    // The call against velmora-server, whose own reading stands in for the model.
    void serverReads_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<SmartDraft>("draft");
        QTest::addColumn<bool>("truncated");
        SmartDraft deck = draftOf("Send the deck tomorrow", "Draft: https://docs.example.com/d.");
        deck.due = inDays(1);
        deck.links = {{"docs.example.com", QUrl("https://docs.example.com/d")}};
        SmartDraft contract =
            draftOf("Waiting for the contract, urgent", "2026-12-01", Priority::high);
        contract.who = "Dana";
        contract.section = Section::waiting;
        contract.due = QDateTime(QDate(2026, 12, 1), QTime(0, 0));
        QTest::newRow("tomorrow, link")
            << "Send the deck tomorrow\nDraft: https://docs.example.com/d." << deck << false;
        QTest::newRow("who, waiting, day")
            << "From: Dana\n\nWaiting for the contract, urgent\n2026-12-01" << contract << false;
        QTest::newRow("long") << "Long\n" + chars(1200) << draftOf("Long", chars(995)) << true;
        // A weekday is the next such day; today's own name means a week on.
        const auto dayName = [](qint64 days) {
            return QLocale::c().dayName(QDate::currentDate().addDays(days).dayOfWeek()).toLower();
        };
        for (const qint64 days : {1, 3, 7}) {
            SmartDraft call = draftOf("Call Ana on " + dayName(days));
            call.due = inDays(days);
            QTest::addRow("weekday %lld days on", days) << call.title << call << false;
        }
    }

    void serverReads() {
        QFETCH(QString, text);
        QFETCH(SmartDraft, draft);
        QFETCH(bool, truncated);
        APIClient client(server->baseURL(), server->createUser(QStringLiteral("reader")));
        const auto outcome = TestAwait::await(client.smartInsert(text));
        const auto* drafted = std::get_if<SmartInsertDrafted>(&outcome);
        QVERIFY(drafted);
        QCOMPARE(drafted->draft, draft);
        QCOMPARE(drafted->truncated, truncated);
        QCOMPARE(drafted->cap, qint64(30));
    }

    void serverRefusals() {
        const QString token = server->createUser(QStringLiteral("ana"));
        APIClient client(server->baseURL(), token);
        const auto call = [&client](QString text) { return client.smartInsert(text); };
        using Kind = std::optional<APIError::Kind>;
        const auto kindOf = [](QCoro::Task<SmartInsertOutcome> task) -> Kind {
            try {
                TestAwait::await(std::move(task));
            } catch (const APIError& error) {
                return error.kind();
            }
            return std::nullopt;
        };
        APIClient noToken(server->baseURL()), wrongToken(server->baseURL(), "vl-wrong");
        QCOMPARE(kindOf(noToken.smartInsert("x")), Kind(APIError::Kind::notConfigured));
        QCOMPARE(kindOf(wrongToken.smartInsert("x")), Kind(APIError::Kind::unauthorised));
        server->injectOn("POST", "/api/ai/smart-insert", 503);
        QCOMPARE(kindOf(client.smartInsert("x")), Kind(APIError::Kind::server));
        QCOMPARE(TestAwait::await(client.smartInsert(" \n")),
                 SmartInsertOutcome(SmartInsertRefused{SmartInsertRefusal::failed, 0, 30}));

        const ServerProcess::Headers auth{{"Authorization", "Bearer " + token.toUtf8()}};
        for (int i = 0; i < 29; ++i)
            QCOMPARE(
                server->request("POST", "/api/ai/smart-insert", json("{'text':'t'}"), auth).status,
                200);
        const auto last = TestAwait::await(SmartAdd::run(QStringLiteral("Last one"), call));
        QCOMPARE(last.draft.title, QStringLiteral("Last one"));
        QVERIFY(!last.notice);
        const auto spent = TestAwait::await(SmartAdd::run(QStringLiteral("One more"), call));
        QCOMPARE(spent, (SmartAdd::Result{draftOf("One more"), SmartAdd::noAllowanceNotice(30)}));
    }
};

QTEST_MAIN(TestSmartAdd)
#include "tst_smart_add.moc"
