// The daily reminder: its hours as a table, then the reminder and the app's wiring against
// a fake notification server on this private session bus, with an injected clock.

#include "AppDelegate.h"
#include "AppRig.h"
#include "Reminder.h"
#include "WireJson.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QStandardPaths>
#include <QTimeZone>
#include <QtTest>

namespace {

// org.freedesktop.Notifications as a desktop would serve it, recording what it was asked.
class FakeServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Shown {
        QString app;
        uint replaces = 0;
        QString body;
        QStringList actions;
        QVariantMap hints;
        uint id = 0;
    };
    QList<Shown> shown;
    QList<uint> closed;
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake"));

    bool start() {
        return bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this,
                                  QDBusConnection::ExportAllSlots) &&
               bus.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    void emitSignal(const QString& name, const QVariantList& args) {
        QDBusMessage signal =
            QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/Notifications"),
                                       QStringLiteral("org.freedesktop.Notifications"), name);
        signal.setArguments(args);
        bus.send(signal);
    }

public Q_SLOTS:
    uint Notify(const QString& app, uint replaces, const QString&, const QString&,
                const QString& body, const QStringList& actions, const QVariantMap& hints, int) {
        const uint id = replaces ? replaces : uint(shown.size() + 100);
        shown.append({app, replaces, body, actions, hints, id});
        return id;
    }
    void CloseNotification(uint id) { closed << id; }
};

QDateTime at(int day, int hour, int minute = 0) {
    return QDateTime(QDate(2030, 3, day), QTime(hour, minute), QTimeZone("Europe/Oslo"));
}

} // namespace

class TestReminder : public QObject {
    Q_OBJECT
    FakeServer fake;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
        QVERIFY(fake.start());
    }

    // Summer time starts in Oslo on 31 March 2030: 02:00 becomes 03:00.
    void nextFire_data() {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<int>("hour");
        QTest::addColumn<QDateTime>("next");
        QTest::newRow("later today") << at(4, 8, 59) << 9 << at(4, 9);
        QTest::newRow("at the hour: tomorrow") << at(4, 9) << 9 << at(5, 9);
        QTest::newRow("across the change") << at(30, 12) << 9 << at(31, 9);
        QTest::newRow("a skipped hour") << at(31, 1) << 2 << at(31, 3);
        QTest::newRow("midnight") << at(4, 23, 30) << 0 << at(5, 0);
    }
    void nextFire() {
        QFETCH(QDateTime, now);
        QFETCH(int, hour);
        QFETCH(QDateTime, next);
        QCOMPARE(Reminder::nextFire(now, hour).toUTC(), next.toUTC());
    }

    // Only an open task an agent added on its own as urgent is worth interrupting for.
    void urgentAgentItems() {
        WireDocument document;
        const std::tuple<const char*, Origin, Initiated, Priority, ItemStatus> items[] = {
            {"urgent", Origin::ai, Initiated::automatic, Priority::high, ItemStatus::open},
            {"asked", Origin::ai, Initiated::human, Priority::high, ItemStatus::open},
            {"medium", Origin::ai, Initiated::automatic, Priority::medium, ItemStatus::open},
            {"mine", Origin::user, Initiated::automatic, Priority::high, ItemStatus::open},
            {"done", Origin::ai, Initiated::automatic, Priority::high, ItemStatus::done}};
        for (const auto& [id, origin, initiated, priority, status] : items) {
            WireItem& added = document.items.emplace_back();
            added.id = QString::fromLatin1(id);
            added.title = added.id + QStringLiteral(" title");
            added.origin = origin;
            added.initiated = initiated;
            added.priority = priority;
            added.status = status;
            added.createdAt = QStringLiteral("2030-01-01T00:00:00Z");
        }
        const auto urgent = Reminder::urgentAgentItems(WireJson::encode(document));
        QCOMPARE(urgent.keys(), QStringList{QStringLiteral("urgent")});
        QCOMPARE(urgent.value(QStringLiteral("urgent")), QStringLiteral("urgent title"));
        QVERIFY(Reminder::urgentAgentItems("{").isEmpty());
    }

    // At the hour it posts what is due then; a later day counts afresh and replaces it; a
    // wake after the hour fires once. The counts walk the summary's wordings: plural with
    // overdue, singular, and nothing due whatever is overdue.
    void firesAtTheHourCountedThen() {
        FreedesktopNotifications notifications(
            QDBusConnection::sessionBus(), QStringLiteral("Velmora"),
            QStringLiteral("org.velmora.app"), QStringLiteral("org.velmora.app"));
        QDateTime now = at(4, 8, 59);
        std::pair<int, int> counts{3, 1};
        DailyReminder reminder(
            notifications, [&](const QDateTime&) { return counts; }, [&] { return now; });
        QVERIFY(reminder.arm(9));
        QCOMPARE(reminder.timerIntervalMs(), 60 * 1000);
        reminder.check();
        now = at(4, 9);
        reminder.check();
        QTRY_COMPARE_WITH_TIMEOUT(fake.shown.size(), 1, 5000);
        QTest::qWait(100); // the server's id comes back asynchronously
        const FakeServer::Shown first = fake.shown.last();
        QCOMPARE(first.body, QStringLiteral("3 items due today, 1 overdue."));
        QCOMPARE(first.app, QStringLiteral("Velmora"));
        QCOMPARE(first.replaces, 0u);
        QCOMPARE(first.hints.value(QStringLiteral("desktop-entry")).toString(),
                 QStringLiteral("org.velmora.app"));
        QVERIFY(first.actions.contains(QStringLiteral("default")));

        now = at(4, 18);
        reminder.check(); // fired today already
        counts = {1, 0};
        now = at(5, 9, 1);
        reminder.check();
        QTRY_COMPARE_WITH_TIMEOUT(fake.shown.size(), 2, 5000);
        QCOMPARE(fake.shown.last().body, QStringLiteral("1 item due today."));
        QCOMPARE(fake.shown.last().replaces, first.id);

        now = at(6, 8);
        counts = {0, 5};
        reminder.check();
        QCOMPARE(reminder.timerIntervalMs(), DailyReminder::maxSleepMs);
        now = at(6, 10, 30); // asleep through the hour
        reminder.wake();
        reminder.wake();
        QTRY_COMPARE_WITH_TIMEOUT(fake.shown.size(), 3, 5000);
        QTest::qWait(200);
        QCOMPARE(fake.shown.size(), 3);
        QCOMPARE(fake.shown.last().body, QStringLiteral("Nothing due today."));
    }

    // The app's wiring: the setting switches it, a click opens the main window, off closes it.
    void theAppSwitchesAndOpensIt() {
        fake.shown.clear();
        AppRig rig(QUrl(QStringLiteral("http://127.0.0.1:9/")), std::nullopt);
        AppDelegate app(rig.store, rig.prefs);
        int opened = 0;
        app.setOpenMainWindow([&] { ++opened; });
        FreedesktopNotifications notifications(
            QDBusConnection::sessionBus(), QStringLiteral("Velmora"),
            QStringLiteral("org.velmora.app"), QStringLiteral("org.velmora.app"));
        QDateTime now = at(7, 7);
        app.setNotifications(&notifications, [&] { return now; });
        rig.prefs.setReminderHour(8);
        rig.prefs.setDailyReminder(true);
        QVERIFY(app.reminder()->armed());
        now = at(7, 8);
        app.reminder()->check();
        QTRY_COMPARE_WITH_TIMEOUT(fake.shown.size(), 1, 5000);
        QCOMPARE(fake.shown.last().body, QStringLiteral("Nothing due today."));
        QTest::qWait(100); // the id comes back asynchronously

        const uint id = fake.shown.last().id;
        fake.emitSignal(QStringLiteral("ActivationToken"), {id, QStringLiteral("token-1")});
        fake.emitSignal(QStringLiteral("ActionInvoked"), {id, QStringLiteral("default")});
        QTRY_COMPARE_WITH_TIMEOUT(opened, 1, 5000);
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), QByteArray("token-1"));

        rig.prefs.setDailyReminder(false);
        QVERIFY(!app.reminder()->armed());
        QTRY_VERIFY_WITH_TIMEOUT(fake.closed.contains(id), 5000);
    }
};

QTEST_MAIN(TestReminder)
#include "tst_reminder.moc"
