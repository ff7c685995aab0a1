// People and task sharing: the rules as tables, the two frames' reading of statuses, and
// the whole story between two accounts on one server, driven through the screens' models.

#include "Await.h"
#include "ItemForms.h"
#include "PeoplePaneModel.h"
#include "PeopleScreen.h"
#include "PeopleWords.h"
#include "SendTaskModel.h"
#include "ServerProcess.h"
#include "SharedInboxModel.h"
#include "StoreRig.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QtTest>

using TestAwait::await;

namespace {

// What a call threw, in words a row can name.
QString outcome(const std::function<QCoro::Task<>()>& call) {
    try {
        await(call());
    } catch (const PeopleRefusal& refusal) {
        return QStringLiteral("people refusal: ") + refusal.message() + u'/' +
               refusal.reason().value_or(QStringLiteral("-"));
    } catch (const ShareRefusal& refusal) {
        return QStringLiteral("share refusal: ") + refusal.message();
    } catch (const APIError& error) {
        return QStringLiteral("api %1 %2: %3")
            .arg(int(error.kind()))
            .arg(error.status())
            .arg(error.body());
    }
    return QStringLiteral("ok");
}

const Item* titled(const Store& store, const QString& title) {
    for (const Item& item : store.document().items)
        if (item.title == title)
            return &item;
    return nullptr;
}

QString line(const Store& store, const QString& title) {
    const Item* item = titled(store, title);
    return item && item->shared ? ItemForms::shareStatus(*item->shared).value_or(QString())
                                : QString();
}

} // namespace

class TestPeople : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
        server->start();
    }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    // An invitation's look, its code in a link and the link and message it makes.
    void invitations_data() {
        QTest::addColumn<QString>("got");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QString& got, const QString& expected) {
            QTest::newRow(name) << got << expected;
        };
        // The refusal, when open and refused agree.
        const auto look = [](const char* state) {
            const InviteLook look{QString::fromLatin1(state), std::nullopt};
            return look.isOpen() == !look.refusal() ? look.refusal().value_or(QString())
                                                    : QStringLiteral("open and refused");
        };
        const QString notOurs = QStringLiteral("That invitation is not one of ours.");
        row("ok", look("ok"), {});
        row("own", look("own"), "That is your own invitation — send it to someone else.");
        row("connected", look("connected"), "You are already connected.");
        row("used", look("used"), "That invitation has already been used.");
        row("expired", look("expired"), "That invitation has expired. Ask them for a fresh one.");
        row("unknown word", look("revoked"), notOurs);
        row("case matters", look("OK"), notOurs);
        const auto code = [](const char* url) {
            return APIClient::inviteCode(QUrl(QString::fromLatin1(url))).value_or(QString());
        };
        row("web", code("https://host/i/CODE"), "CODE");
        row("scheme", code("velmora://i/CODE"), "CODE");
        row("third part unread", code("https://host/i/CODE/more"), "CODE");
        row("too deep", code("https://host/x/i/CODE"), {});
        row("scheme, no code", code("velmora://i/"), {});
        row("web, no code", code("https://host/i"), {});
        row("other path", code("https://host/a/b"), {});
        // The link, when the message ends with it.
        const auto link = [](const char* origin) {
            const MintedInvite minted{QStringLiteral("AB CD"), {}};
            const QString url = minted.url(QString::fromLatin1(origin));
            return minted.message(QString::fromLatin1(origin)) ==
                           "I'd like to connect on Velmora so we can send each other things to "
                           "do.\n" +
                               url
                       ? url
                       : QStringLiteral("another message");
        };
        row("plain origin", link("https://a.example"), "https://a.example/i/AB CD");
        row("one slash", link("https://a.example/"), "https://a.example/i/AB CD");
        row("two slashes", link("https://x//"), "https://x/i/AB CD");
        row("only slashes", link("///"), "/i/AB CD");
    }
    void invitations() {
        QFETCH(QString, got);
        QTEST(got, "expected");
    }

    void dates_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("msecs"); // -1: refused
        QTest::newRow("fraction") << "2026-03-01T09:30:15.250Z" << qint64(1772357415250);
        QTest::newRow("no fraction") << "2026-03-01T09:30:15Z" << qint64(1772357415000);
        QTest::newRow("offset") << "2026-03-01T10:30:15+01:00" << qint64(1772357415000);
        QTest::newRow("micro") << "2026-03-01T09:30:15.250999Z" << qint64(1772357415250);
        QTest::newRow("day only") << "2026-01-01" << qint64(-1);
        QTest::newRow("no zone") << "2026-03-01T09:30:15" << qint64(-1);
        QTest::newRow("database form") << "2026-03-01 09:30:15" << qint64(-1);
    }
    void dates() {
        QFETCH(QString, text);
        QFETCH(qint64, msecs);
        try {
            QCOMPARE(PeopleFormat::parseDate(text).toMSecsSinceEpoch(), msecs);
        } catch (const DecodingError& error) {
            QCOMPARE(msecs, qint64(-1));
            QCOMPARE(error.message(), "unparseable date: " + text);
        }
    }

    // Each family reads a refusal of its own shape only; the rest are the frame's errors.
    void frames_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");
        const QByteArray refusal = R"({"message":"Too many.","reason":"too_many"})";
        QTest::newRow("people 429")
            << "/api/people" << 429 << refusal << "people refusal: Too many./too_many";
        QTest::newRow("people 400, no reason")
            << "/api/people" << 400 << QByteArray(R"({"message":"No."})")
            << "people refusal: No./-";
        QTest::newRow("people 400 text")
            << "/api/people" << 400 << QByteArray("plain words") << "api 0 400: plain words";
        QTest::newRow("people 401") << "/api/people" << 401 << refusal << "api 3 0: ";
        QTest::newRow("people 500")
            << "/api/people" << 500 << refusal << "api 0 500: " + QString::fromUtf8(refusal);
        QTest::newRow("people 2xx bad") << "/api/people" << 200 << QByteArray("{}")
                                        << "api 1 0: profile: required key is missing";
        QTest::newRow("share 429") << "/api/share" << 429 << refusal << "share refusal: Too many.";
        QTest::newRow("share 400 text")
            << "/api/share" << 400 << QByteArray("[1]") << "api 0 400: [1]";
        QTest::newRow("share 403")
            << "/api/share" << 403 << refusal << "api 0 403: " + QString::fromUtf8(refusal);
    }
    void frames() {
        QFETCH(QString, path);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        APIClient client(server->baseURL(), server->createUser(QStringLiteral("framed")));
        server->injectOn("GET", path, status, 1, 0, body);
        const QString got = outcome([&]() -> QCoro::Task<> {
            if (path == u"/api/people") {
                auto task = client.people();
                co_await std::move(task);
            } else {
                auto task = client.shareInbox();
                co_await std::move(task);
            }
        });
        QCOMPARE(got, expected);
        APIClient none(server->baseURL());
        QCOMPARE(outcome([&]() -> QCoro::Task<> {
                     auto task = none.people();
                     co_await std::move(task);
                 }),
                 "api 2 0: ");
    }

    // A look at the inbox that fails keeps the last count: a brief outage must not clear it.
    void waitingCountSurvivesAFailedLook() {
        AccountRig a(*server, false, 5000);
        a.store.setSharedWaitingFromInbox(ShareInbox{QList<Incoming>(3), {}});
        QCOMPARE(a.store.sharedWaiting(), 3);
        server->injectOn("GET", "/api/share", 500);
        await(a.store.refresh(false));
        QTRY_COMPARE_WITH_TIMEOUT(server->pendingFaults(), 0, 5000);
        QTest::qWait(50);
        QCOMPARE(a.store.sharedWaiting(), 3);
        await(a.store.refresh(false));
        QTRY_COMPARE_WITH_TIMEOUT(a.store.sharedWaiting(), 0, 5000);
    }

    // Two people meet, send a task, answer it and close it, through the screens' models.
    void twoAccounts() {
        AccountRig a(*server, true, 5000, QStringLiteral("ana"));
        AccountRig b(*server, true, 5000, QStringLiteral("ben"));

        PeoplePaneModel paneA;
        paneA.setStore(&a.store);
        QTRY_COMPARE_WITH_TIMEOUT(paneA.stage(), QStringLiteral("name"), 5000);
        QCOMPARE(paneA.nameField(), QStringLiteral("ana"));
        QVERIFY(paneA.canSavePrompt());
        paneA.setNameField(QStringLiteral("Ana"));
        await(paneA.runSaveName());
        QCOMPARE(paneA.stage(), QStringLiteral("full"));
        await(paneA.runMint());
        const PeopleSnapshot snapshot = *paneA.snapshot();
        QCOMPARE(paneA.inviteMessage(), PeopleWords::inviteMessage(PeopleWords::inviteURL(
                                            snapshot.origin, paneA.mintedCode())));
        QCOMPARE(snapshot.invites.size(), 1);
        QCOMPARE(paneA.copyLabel(), PeopleWords::copyMessage);
        paneA.copyInvitation();
        QCOMPARE(paneA.copyLabel(), PeopleWords::copied);

        // A's own code is refused with the look's sentence, and the code stays typed.
        const QString code = paneA.mintedCode();
        paneA.setTypedCode(code);
        await(paneA.runRedeem());
        QCOMPARE(paneA.refusal(), (InviteLook{QStringLiteral("own"), {}}.refusal().value()));
        QCOMPARE(paneA.typedCode(), code);

        PeoplePaneModel paneB;
        paneB.setStore(&b.store);
        QTRY_COMPARE_WITH_TIMEOUT(paneB.stage(), QStringLiteral("name"), 5000);
        paneB.setNameField(QStringLiteral("Ben"));
        await(paneB.runSaveName());
        paneB.setTypedCode(QStringLiteral("  ") + code.toLower() + QStringLiteral(" "));
        await(paneB.runRedeem());
        QCOMPARE(paneB.refusal(), QString());
        QCOMPARE(paneB.typedCode(), QString());
        QCOMPARE(paneB.people().size(), 1);
        QCOMPARE(paneB.people()[0].toMap()[QStringLiteral("name")].toString(),
                 QStringLiteral("Ana"));
        await(paneA.runLoad());
        QCOMPARE(paneA.people().size(), 1);
        QVERIFY(paneA.invites().isEmpty());

        // Ten open invitations are the most; the eleventh is the server's sentence.
        for (int i = 0; i < 10; ++i)
            await(a.store.client().mintInvite());
        await(paneA.runMint());
        QVERIFY2(paneA.refusal().startsWith(QStringLiteral("You have ten invitations out.")),
                 qPrintable(paneA.refusal()));

        // A sends a task with no line; it waits on B.
        QVERIFY(a.add(QStringLiteral("Book the venue")));
        QTRY_COMPARE_WITH_TIMEOUT(a.store.queuedEdits(), 0, 5000);
        const QString itemId = titled(a.store, QStringLiteral("Book the venue"))->id;
        SendTaskModel send;
        send.setStore(&a.store);
        send.setItemId(itemId);
        await(send.runLoad());
        QVERIFY(send.canSend());
        QSignalSpy sent(&send, &SendTaskModel::sent);
        await(send.runSend());
        QCOMPARE(send.refusal(), QString());
        QCOMPARE(sent.count(), 1);
        await(a.store.refresh(false));
        QCOMPARE(line(a.store, QStringLiteral("Book the venue")),
                 QStringLiteral("Sent to Ben — not accepted yet"));
        await(send.runSend());
        QCOMPARE(send.refusal(), QStringLiteral("That task has been sent already."));

        // B sees it waiting, accepts it, and has it; A sees that on a refresh.
        await(b.store.refresh(false));
        QTRY_COMPARE_WITH_TIMEOUT(b.store.sharedWaiting(), 1, 5000);
        SharedInboxModel inboxB;
        inboxB.setStore(&b.store);
        QTRY_VERIFY_WITH_TIMEOUT(inboxB.shown(), 5000);
        const QVariantMap row = inboxB.incoming()[0].toMap();
        QCOMPARE(row[QStringLiteral("line")].toString(), QStringLiteral("Ana sent this"));

        // A failed accept says so and keeps the row.
        server->injectOn("POST", "/api/share", 500);
        const QString shareId = row[QStringLiteral("id")].toString();
        inboxB.accept(shareId);
        QTRY_COMPARE_WITH_TIMEOUT(inboxB.refusal(), PeopleScreen::shareFailed, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(inboxB.busyId(), QString(), 5000);
        QCOMPARE(inboxB.incoming().size(), 1);

        inboxB.accept(shareId);
        QTRY_VERIFY_WITH_TIMEOUT(!inboxB.shown() && inboxB.busyId().isEmpty(), 5000);
        QCOMPARE(inboxB.refusal(), QString());
        QVERIFY(titled(b.store, QStringLiteral("Book the venue")));
        QCOMPARE(b.store.sharedWaiting(), 0);
        await(a.store.refresh(false));
        QCOMPARE(line(a.store, QStringLiteral("Book the venue")), QStringLiteral("Ben has this"));

        // B's done comes back to A as a question; A's "Mark it done" closes it.
        await(b.store.toggle(*titled(b.store, QStringLiteral("Book the venue"))));
        QTRY_COMPARE_WITH_TIMEOUT(b.store.queuedEdits(), 0, 5000);
        await(a.store.refresh(false));
        QCOMPARE(line(a.store, QStringLiteral("Book the venue")),
                 QStringLiteral("Ben says this is done"));
        SharedInboxModel inboxA;
        inboxA.setStore(&a.store);
        QTRY_COMPARE_WITH_TIMEOUT(inboxA.returned().size(), 1, 5000);
        const QVariantMap back = inboxA.returned()[0].toMap();
        QCOMPARE(back[QStringLiteral("line")].toString(), QStringLiteral("Ben says this is done"));
        inboxA.answer(back[QStringLiteral("id")].toString(), true);
        QTRY_VERIFY_WITH_TIMEOUT(!inboxA.shown() && inboxA.busyId().isEmpty(), 5000);
        QCOMPARE(titled(a.store, QStringLiteral("Book the venue"))->status, ItemStatus::done);

        // A takes back a share B has not answered: the mark goes, and so does B's row.
        QVERIFY(a.add(QStringLiteral("Order chairs")));
        QTRY_COMPARE_WITH_TIMEOUT(a.store.queuedEdits(), 0, 5000);
        send.setItemId(titled(a.store, QStringLiteral("Order chairs"))->id);
        await(send.runLoad());
        await(send.runSend());
        QCOMPARE(send.refusal(), QString());
        await(b.store.refresh(false));
        QTRY_COMPARE_WITH_TIMEOUT(inboxB.incoming().size(), 1, 5000);
        const auto client = a.store.freshClient();
        await(
            client->withdrawShared(inboxB.incoming()[0].toMap()[QStringLiteral("id")].toString()));
        await(a.store.refresh(false));
        QVERIFY(!titled(a.store, QStringLiteral("Order chairs"))->shared);
        await(b.store.refresh(false));
        QTRY_COMPARE_WITH_TIMEOUT(b.store.sharedWaiting(), 0, 5000);

        // Removing ends it for both.
        paneA.askRemove(paneA.people()[0].toMap()[QStringLiteral("id")].toString());
        QCOMPARE(paneA.confirmRemoveTitle(), QStringLiteral("Remove Ben?"));
        await(paneA.runRemove());
        QTRY_VERIFY_WITH_TIMEOUT(paneA.people().isEmpty(), 5000);
        await(paneB.runLoad());
        QVERIFY(paneB.people().isEmpty());
    }
};

QTEST_MAIN(TestPeople)
#include "tst_people.moc"
