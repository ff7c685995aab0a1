// The account's schedule, the welcome and the deletion: the pure rules as tables, then the
// calls, the Store and the AI tab's model against a real velmora-server.

#include "AppRig.h"
#include "Schedule.h"
#include "ScheduleSettingsModel.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QtTest>

#include <memory>

using TestAwait::await;

namespace {

using Hour = std::optional<std::optional<int>>;

JsonValue get(ServerProcess& server, const QString& token, const QByteArray& path) {
    return server.request("GET", path, {}, {{"Authorization", "Bearer " + token.toUtf8()}}).json();
}

int post(ServerProcess& server, const QString& token, const QByteArray& path,
         const QByteArray& body) {
    return server.request("POST", path, body, {{"Authorization", "Bearer " + token.toUtf8()}})
        .status;
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
    }

    void settingsBody_data() {
        QTest::addColumn<Hour>("hour");
        QTest::addColumn<std::optional<bool>>("on");
        QTest::addColumn<std::optional<QString>>("zone");
        QTest::addColumn<QByteArray>("body");
        const std::optional<bool> none;
        const std::optional<QString> noZone;
        QTest::newRow("hour 7") << Hour(7) << none << noZone
                                << QByteArray(R"({"schedule_hour":7})");
        QTest::newRow("cleared, off")
            << Hour(std::optional<int>()) << std::optional(false) << noZone
            << QByteArray(R"({"schedule_hour":null,"briefing_enabled":false})");
        QTest::newRow("zone only") << Hour() << none << std::optional(QStringLiteral("Europe/Oslo"))
                                   << QByteArray(R"({"timezone":"Europe/Oslo"})");
        QTest::newRow("nothing") << Hour() << none << noZone << QByteArray("{}");
        QTest::newRow("all three")
            << Hour(0) << std::optional(true) << std::optional(QStringLiteral("UTC"))
            << QByteArray(R"({"schedule_hour":0,"briefing_enabled":true,"timezone":"UTC"})");
    }
    void settingsBody() {
        QFETCH(Hour, hour);
        QFETCH(std::optional<bool>, on);
        QFETCH(std::optional<QString>, zone);
        QFETCH(QByteArray, body);
        const QByteArray built = ScheduleFormat::settingsBody(hour, on, zone);
        QCOMPARE(built, body);
        // What goes on the wire is the text read back and written again: the same bytes.
        QCOMPARE(JsonValue::parse(built)->toJson(), body);
    }

    // The settings reply as read: anything but the three keys' own types is refused.
    void settingsReply_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("read");
        QTest::newRow("full")
            << QByteArray(R"({"timezone":"Europe/Oslo","schedule_hour":9,"briefing_enabled":true})")
            << true;
        QTest::newRow("nulls")
            << QByteArray(R"({"timezone":null,"schedule_hour":null,"briefing_enabled":false})")
            << true;
        QTest::newRow("no switch") << QByteArray(R"({"schedule_hour":9})") << false;
        QTest::newRow("switch not a boolean") << QByteArray(R"({"briefing_enabled":1})") << false;
        QTest::newRow("hour 24") << QByteArray(R"({"schedule_hour":24,"briefing_enabled":true})")
                                 << false;
        QTest::newRow("zone a number")
            << QByteArray(R"({"timezone":5,"briefing_enabled":true})") << false;
        QTest::newRow("not an object") << QByteArray("[]") << false;
    }
    void settingsReply() {
        QFETCH(QByteArray, body);
        QFETCH(bool, read);
        bool ok = true;
        try {
            AISettings::decode(body);
        } catch (const DecodingError&) {
            ok = false;
        }
        QCOMPARE(ok, read);
    }

    void zonesAndHours() {
        QVERIFY(TimeZoneCatalog::matching(QStringLiteral("  york ")).contains(u"America/New_York"));
        QVERIFY(TimeZoneCatalog::matching(QStringLiteral("new york")).isEmpty());
        QVERIFY(TimeZoneCatalog::matching(QStringLiteral("OSLO")) ==
                QStringList{QStringLiteral("Europe/Oslo")});
        QCOMPARE(TimeZoneCatalog::matching(QString()), TimeZoneCatalog::identifiers());
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(ScheduleFormat::hourLabel(0), QStringLiteral("12:00 AM"));
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QCOMPARE(ScheduleFormat::hourLabel(7), QStringLiteral("07:00"));
        QLocale::setDefault(QLocale::c());
        QCOMPARE(ScheduleFormat::hourLabel(9), QStringLiteral("09:00"));
    }

    // The server's settings: defaults, the launch seed, partial updates and refusals.
    void serverSettings() {
        AccountRig account(*server, false);
        const QString token = account.token();
        APIClient& client = account.store.client();
        QVERIFY(await(client.aiSettings()) == AISettings{});
        await(client.seedTimeZone(QStringLiteral("Europe/Oslo")));
        await(client.seedTimeZone(QStringLiteral("America/New_York")));
        QVERIFY(await(client.aiSettings()).timezone == QStringLiteral("Europe/Oslo"));
        const AISettings seven = await(client.setAISettings(7, true));
        QVERIFY(seven == (AISettings{QStringLiteral("Europe/Oslo"), 7, true}));
        const AISettings cleared = await(client.setAISettings(std::optional<int>(), false));
        QVERIFY(cleared == (AISettings{QStringLiteral("Europe/Oslo"), std::nullopt, false}));

        for (const QByteArray& bad :
             {QByteArray(R"({"schedule_hour":24})"), QByteArray(R"({"schedule_hour":-1})"),
              QByteArray(R"({"schedule_hour":"7"})"), QByteArray(R"({"timezone":"Mars/Olympus"})"),
              QByteArray(R"({"timezone":"../../etc"})"), QByteArray(R"({"briefing_enabled":1})"),
              QByteArray("[1]"), QByteArray("{")})
            QVERIFY2(post(*server, token, "/api/ai/settings", bad) == 400, bad.constData());
        QCOMPARE(post(*server, token, "/api/timezone", R"({"tz":"Nowhere/Land"})"), 400);

        // Push registration: stored, removed, refused when malformed; no token, no request.
        await(client.registerPush(QStringLiteral("device-1"), QStringLiteral("production"),
                                  {{QStringLiteral("daily"), true}}, 8,
                                  QStringLiteral("Europe/Oslo")));
        await(client.unregisterPush(QStringLiteral("device-1")));
        // Each body lacks only the one thing named: an hour of the day, boolean kinds.
        for (const char* bad :
             {R"("daily_hour":24,"kinds":{})", R"("daily_hour":8,"kinds":{"a":1})"})
            QCOMPARE(post(*server, token, "/api/push/register",
                          R"({"device_token":"d","environment":"p","tz":"UTC",)" + QByteArray(bad) +
                              "}"),
                     400);
        APIClient signedOut(server->baseURL());
        QVERIFY_THROWS_EXCEPTION(APIError, await(signedOut.unregisterPush(QStringLiteral("d"))));
        QVERIFY(await(client.aiSettings()).timezone == QStringLiteral("Europe/Oslo"));
    }

    // The AI tab: nothing is sent while loading, a failure keeps the value and says so.
    void scheduleScreen() {
        AccountRig account(*server, false);
        ScheduleSettingsModel model;
        model.setStore(&account.store);
        server->injectOn("GET", "/api/ai/settings", std::nullopt, 1, 300);
        model.load();
        model.setOn(true); // during the load: not sent, then overwritten by the load
        QTRY_VERIFY_WITH_TIMEOUT(model.loaded(), 5000);
        QVERIFY(!model.on() && !model.failed());
        QCOMPARE(
            get(*server, account.token(), "/api/ai/settings").find(u"briefing_enabled")->toBool(),
            false);

        QSignalSpy saved(&model, &ScheduleSettingsModel::saved);
        model.setHour(9);
        QVERIFY(saved.wait(5000));
        QCOMPARE(
            get(*server, account.token(), "/api/ai/settings").find(u"schedule_hour")->toInteger(),
            9);

        server->injectOn("POST", "/api/ai/settings", 500);
        model.setHour(10);
        QVERIFY(saved.wait(5000));
        QVERIFY(model.failed());
        QVERIFY(model.hour() == 10);
        QCOMPARE(ScheduleSettingsModel::failureText,
                 QStringLiteral("Couldn't reach the server. Your schedule is unchanged."));
        QCOMPARE(
            get(*server, account.token(), "/api/ai/settings").find(u"schedule_hour")->toInteger(),
            9);
        model.pickZone(QStringLiteral("Asia/Tokyo"));
        QVERIFY(saved.wait(5000));
        QVERIFY(!model.failed());
        QCOMPARE(model.zoneLabel(), QStringLiteral("Asia/Tokyo"));
    }

    // A failed load still counts as loaded: the user's next change is sent.
    void scheduleScreenAfterAFailedLoad() {
        AccountRig account(*server, false);
        ScheduleSettingsModel model;
        model.setStore(&account.store);
        server->injectOn("GET", "/api/ai/settings", 503);
        model.load();
        QTRY_VERIFY_WITH_TIMEOUT(model.loaded(), 5000);
        QVERIFY(model.failed());
        QSignalSpy saved(&model, &ScheduleSettingsModel::saved);
        model.setHour(6);
        QVERIFY(saved.wait(5000));
        QVERIFY(!model.failed());
    }

    void welcome() {
        AccountRig account(*server, false);
        QVERIFY(!account.store.needsWelcome());
        await(account.store.refreshWelcome());
        QVERIFY(account.store.needsWelcome() == true);
        await(account.store.dismissWelcome());
        QVERIFY(account.store.needsWelcome() == false);
        StoreRig later(server->baseURL(), account.token());
        await(later.store.refreshWelcome());
        QVERIFY(later.store.needsWelcome() == false);

        // Dismissed while the server is down: shown again at the next launch.
        AccountRig other(*server, false);
        server->injectOn("POST", "/api/onboarded", 503);
        await(other.store.dismissWelcome());
        QVERIFY(other.store.needsWelcome() == false);
        StoreRig next(server->baseURL(), other.token());
        await(next.store.refreshWelcome());
        QVERIFY(next.store.needsWelcome() == true);
    }

    void deletion() {
        AccountRig account(*server);
        QVERIFY(account.add(QStringLiteral("Keep me")));
        const QString token = account.token();
        server->admin("PUT", QStringLiteral("/admin/users/%1/provider").arg(account.user),
                      R"({"provider":"apple"})");
        QCOMPARE(await(account.store.deleteAccount(std::nullopt, false)),
                 Store::AccountDeletion::appleAuthRequired);
        QVERIFY(account.store.hasToken());
        QCOMPARE(account.serverTitles(), QStringList{QStringLiteral("Keep me")});

        QCOMPARE(await(account.store.deleteAccount(std::nullopt, true)),
                 Store::AccountDeletion::deleted);
        QVERIFY(!account.store.hasToken());
        QVERIFY(account.store.document().items.isEmpty());
        QVERIFY(!account.store.disk().load());
        QCOMPARE(
            server
                ->request("GET", "/api/usage", {}, {{"Authorization", "Bearer " + token.toUtf8()}})
                .status,
            401);
        QCOMPARE(server->admin("GET", QStringLiteral("/admin/users/%1/document").arg(account.user))
                     .status,
                 404);
    }

    // The scheduled briefing runs once a day at the user's hour, in the user's zone.
    void scheduledBriefing() {
        AccountRig account(*server);
        APIClient& client = account.store.client();
        await(client.seedTimeZone(QStringLiteral("Europe/Oslo")));
        server->grantCredits(account.user, 5);
        await(client.setAISettings(9, true));
        const auto tick = [&](const char* at) {
            const auto reply = server->admin(
                "POST", QStringLiteral("/admin/users/%1/schedule/tick").arg(account.user),
                QByteArray(R"({"now":")") + at + "\"}");
            return reply.json().find(u"ran") && reply.json().find(u"ran")->toBool();
        };
        // Summer time in Oslo is UTC+2: 09:00 there is 07:00Z.
        QVERIFY(!tick("2030-06-03T06:59:00Z"));
        QVERIFY(tick("2030-06-03T07:00:00Z"));
        QVERIFY(!tick("2030-06-03T20:00:00Z"));
        QVERIFY(tick("2030-06-04T11:00:00Z"));
        QVERIFY(!tick("2030-06-04T21:59:00Z"));
        await(client.setAISettings(std::nullopt, false));
        QVERIFY(!tick("2030-06-05T08:00:00Z"));
    }
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
