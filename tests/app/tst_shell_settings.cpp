#include "GeneralSettings.h"
#include "LoginItems.h"
#include "Preferences.h"
#include "SingleInstance.h"
#include "VelmoraApp.h"

#include <QCoreApplication>
#include <QFile>
#include <QMetaProperty>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <cstdlib>

namespace {

struct FakeLoginItems final : LoginItems {
    std::optional<QString> setEnabled(bool enabled) override {
        calls << enabled;
        return std::nullopt;
    }
    QList<bool> calls;
};

void writeFile(const QString& path, const QByteArray& text) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

QString describe(const Preferences& prefs) {
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(prefs.appearanceText())
        .arg(prefs.showInDock())
        .arg(prefs.launchAtLogin())
        .arg(prefs.dailyReminder())
        .arg(prefs.reminderHour());
}

// The test binary runs itself with VELMORA_TEST_CHILD set, to play a second process.
int runChild(const QStringList& args) {
    const QString mode = args.value(1);
    if (mode == QLatin1String("read-prefs")) {
        QSettings settings(args.value(2), QSettings::IniFormat);
        FakeLoginItems login;
        std::printf("%s\n", qPrintable(describe(Preferences(settings, login))));
        return 0;
    }
    if (mode == QLatin1String("turn-on-login")) {
        QSettings settings(args.value(2), QSettings::IniFormat);
        XdgAutostart login(QStringLiteral("org.velmora.app.desktop"), QStringLiteral("velmora"),
                           args.value(3));
        Preferences prefs(settings, login);
        prefs.setLaunchAtLogin(true);
        std::printf("%d\n", prefs.launchAtLogin());
        return 0;
    }
    if (mode == QLatin1String("claim-and-crash")) {
        SingleInstance instance(args.value(3), args.value(2));
        if (!instance.claim())
            return 1;
        std::fflush(stdout);
        std::_Exit(0); // no destructors: the lock and the socket file stay behind
    }
    return 3;
}

QProcess* startChild(const QStringList& args) {
    auto* child = new QProcess;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("VELMORA_TEST_CHILD"), QStringLiteral("1"));
    child->setProcessEnvironment(env);
    child->start(QCoreApplication::applicationFilePath(), args);
    return child;
}

} // namespace

class TestShellSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void readsFromText_data() {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("expected");
        QTest::newRow("first launch") << QByteArray() << "system 1 0 0 9";
        QTest::newRow("nonsense is the default")
            << QByteArray("appearance=sepia\nshowInDock=maybe\nlaunchAtLogin=1\n"
                          "dailyReminder=yes\nreminderHour=abc\n")
            << "system 1 0 0 9";
        QTest::newRow("hour past the day") << QByteArray("reminderHour=24\n") << "system 1 0 0 9";
        QTest::newRow("a list is the wrong type")
            << QByteArray("appearance=light, dark\n") << "system 1 0 0 9";
        QTest::newRow("false and 0 are values, not absence")
            << QByteArray("appearance=dark\nshowInDock=false\nlaunchAtLogin=true\n"
                          "dailyReminder=true\nreminderHour=0\n")
            << "dark 0 1 1 0";
    }
    void readsFromText() {
        QFETCH(QByteArray, ini);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("prefs.ini"));
        writeFile(path, "[General]\n" + ini);
        QSettings settings(path, QSettings::IniFormat);
        FakeLoginItems login;
        const Preferences prefs(settings, login);
        QCOMPARE(describe(prefs), expected);
        QVERIFY(login.calls.isEmpty()); // never applied at launch
    }

    void typedReads_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<bool>("boolean");
        QTest::addColumn<int>("integer");
        QTest::addColumn<double>("real");
        QTest::addColumn<QString>("text");
        // Fallbacks: true, 7, 0.5, "fb"; ranges 0...10.
        QTest::newRow("absent") << QVariant() << true << 7 << 0.5 << "fb";
        QTest::newRow("bool") << QVariant(false) << false << 7 << 0.5 << "fb";
        QTest::newRow("int") << QVariant(3) << true << 3 << 3.0 << "fb";
        QTest::newRow("text of a number")
            << QVariant(QStringLiteral("0")) << true << 0 << 0.0 << "0";
        QTest::newRow("double") << QVariant(0.42) << true << 7 << 0.42 << "fb";
        QTest::newRow("out of range") << QVariant(11) << true << 7 << 0.5 << "fb";
        QTest::newRow("list") << QVariant(QStringList{QStringLiteral("a")}) << true << 7 << 0.5
                              << "fb";
    }
    void typedReads() {
        QFETCH(QVariant, stored);
        QTemporaryDir dir;
        QSettings settings(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
        if (stored.isValid())
            settings.setValue(QStringLiteral("k"), stored);
        const QString k = QStringLiteral("k");
        QTEST(SettingsRead::boolean(settings, k, true), "boolean");
        QTEST(SettingsRead::integer(settings, k, 0, 10, 7), "integer");
        QTEST(SettingsRead::real(settings, k, 0, 10, 0.5), "real");
        QTEST(SettingsRead::text(settings, k, QStringLiteral("fb")), "text");
    }

    void roundTripInFreshProcess() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("prefs.ini"));
        QSettings settings(path, QSettings::IniFormat);
        FakeLoginItems login;
        Preferences prefs(settings, login);
        prefs.setAppearance(Appearance::dark);
        prefs.setShowInDock(false);
        prefs.setDailyReminder(true);
        prefs.setReminderHour(0);
        // `settings` is still open: the child sees only what was written through at once.
        std::unique_ptr<QProcess> child(startChild({QStringLiteral("read-prefs"), path}));
        QVERIFY(child->waitForFinished(20000));
        QCOMPARE(child->readAllStandardOutput(), QByteArray("dark 0 0 1 0\n"));
    }

    void notifiesOnlyOnChange_data() {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("changed");
        QTest::addColumn<QVariant>("ignored"); // rejected input, or the same as `changed`
        QTest::newRow("appearance") << QByteArray("appearance") << QVariant(QStringLiteral("light"))
                                    << QVariant(QStringLiteral("sepia"));
        QTest::newRow("showInDock")
            << QByteArray("showInDock") << QVariant(false) << QVariant(false);
        QTest::newRow("launchAtLogin")
            << QByteArray("launchAtLogin") << QVariant(true) << QVariant(true);
        QTest::newRow("dailyReminder")
            << QByteArray("dailyReminder") << QVariant(true) << QVariant(true);
        QTest::newRow("reminderHour") << QByteArray("reminderHour") << QVariant(0) << QVariant(24);
    }
    void notifiesOnlyOnChange() {
        QFETCH(QByteArray, property);
        QFETCH(QVariant, changed);
        QFETCH(QVariant, ignored);
        QTemporaryDir dir;
        QSettings settings(dir.filePath(QStringLiteral("prefs.ini")), QSettings::IniFormat);
        FakeLoginItems login;
        Preferences prefs(settings, login);
        const QMetaProperty meta =
            prefs.metaObject()->property(prefs.metaObject()->indexOfProperty(property));
        QSignalSpy spy(&prefs, meta.notifySignal());

        QVERIFY(prefs.setProperty(property, prefs.property(property))); // the same value
        QCOMPARE(spy.count(), 0);
        prefs.setProperty(property, changed);
        QCOMPARE(spy.count(), 1);
        prefs.setProperty(property, ignored);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(prefs.property(property), changed);
        QCOMPARE(settings.value(QString::fromLatin1(property)).toString(), changed.toString());
        QCOMPARE(login.calls, property == "launchAtLogin" ? QList<bool>{true} : QList<bool>{});
    }

    void loginFailureIsOneLineOnStderr() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("prefs.ini"));
        // A file where the autostart folder should be.
        writeFile(dir.filePath(QStringLiteral("autostart")), "x");
        std::unique_ptr<QProcess> child(
            startChild({QStringLiteral("turn-on-login"), path, dir.path()}));
        QVERIFY(child->waitForFinished(20000));
        const QString err = QString::fromLocal8Bit(child->readAllStandardError());
        QVERIFY2(err.startsWith(QStringLiteral("launch-at-login failed: ")) &&
                     err.count(QLatin1Char('\n')) == 1 && err.endsWith(QLatin1Char('\n')) &&
                     err.contains(dir.path()),
                 qPrintable(err));
        QCOMPARE(child->readAllStandardOutput(), QByteArray("1\n")); // the choice stays
        QCOMPARE(QSettings(path, QSettings::IniFormat).value("launchAtLogin").toString(),
                 QStringLiteral("true"));
    }

    void autostartEntryComesAndGoes() {
        QTemporaryDir dir;
        XdgAutostart entry(QStringLiteral("org.velmora.app.desktop"),
                           QStringLiteral("/opt/velmora/bin/velmora --minimized"), dir.path());
        QCOMPARE(entry.entryPath(), dir.path() + "/autostart/org.velmora.app.desktop");
        QCOMPARE(entry.setEnabled(true), std::nullopt);
        QFile file(entry.entryPath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.first(), QByteArray("[Desktop Entry]"));
        for (const char* line : {"Type=Application", "Exec=/opt/velmora/bin/velmora --minimized",
                                 "Icon=org.velmora.app", "X-GNOME-Autostart-enabled=true"})
            QVERIFY2(lines.contains(line), line);
        QCOMPARE(entry.setEnabled(false), std::nullopt);
        QVERIFY(!QFile::exists(entry.entryPath()));
        QCOMPARE(entry.setEnabled(false), std::nullopt); // already gone is fine

        const XdgAutostart userEntry(QStringLiteral("a.desktop"), QStringLiteral("velmora"));
        QCOMPARE(userEntry.entryPath(),
                 QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                     "/autostart/a.desktop");
    }

    void secondInstanceHandsOver() {
        QTemporaryDir dir;
        const QString key = QStringLiteral("org.velmora.app@http://127.0.0.1:8080/");
        auto primary = std::make_unique<SingleInstance>(key, dir.path());
        QVERIFY(primary->claim());
        QSignalSpy activated(primary.get(), &SingleInstance::activated);

        SingleInstance secondary(key, dir.path());
        QVERIFY(!secondary.claim());
        const QStringList args = Handover::withActivation(
            {QStringLiteral("velmora"), QStringLiteral("--server"), QStringLiteral("a b/ä")},
            {QStringLiteral("token-1"), QStringLiteral("launch_TIME7")});
        QVERIFY(secondary.sendToPrimary(args, 10000));
        QCOMPARE(activated.count(), 1);
        QCOMPARE(activated.first().first().toStringList(), args);

        SingleInstance otherServer(QStringLiteral("org.velmora.app@other"), dir.path());
        QVERIFY(otherServer.claim());

        primary.reset(); // a clean exit frees the key at once
        QVERIFY(!secondary.sendToPrimary(args, 300));
        QVERIFY(secondary.claim());
    }

    void recoversAfterCrash() {
        QTemporaryDir dir;
        const QString key = QStringLiteral("org.velmora.app");
        std::unique_ptr<QProcess> child(
            startChild({QStringLiteral("claim-and-crash"), dir.path(), key}));
        QVERIFY(child->waitForFinished(20000));
        QCOMPARE(child->exitCode(), 0);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::System).size(), 2);

        SingleInstance restarted(key, dir.path());
        QVERIFY(restarted.claim());
        QSignalSpy activated(&restarted, &SingleInstance::activated);
        SingleInstance later(key, dir.path());
        QVERIFY(later.sendToPrimary({QStringLiteral("velmora")}, 10000));
        QCOMPARE(activated.count(), 1);
    }

    // A later launch's leave to front a window, from its environment through its arguments
    // (which cross the channel whole: secondInstanceHandsOver): what the primary reads back,
    // and the launch's X server time.
    void activationIsHandedOver_data() {
        QTest::addColumn<QString>("token");
        QTest::addColumn<QString>("startupId");
        QTest::addColumn<QString>("readToken");
        QTest::addColumn<QString>("readStartupId");
        QTest::addColumn<qint64>("time"); // -1: none
        const QString x11 = QStringLiteral("xfce4-panel/velmora/1234-0-host_TIME4123456789");
        QTest::newRow("Wayland") << "a1-b2"
                                 << ""
                                 << "a1-b2"
                                 << "" << qint64(-1);
        QTest::newRow("X11") << "" << x11 << "" << x11 << qint64(4123456789);
        QTest::newRow("both") << "a1-b2" << x11 << "a1-b2" << x11 << qint64(4123456789);
        QTest::newRow("X11, no time") << ""
                                      << "kde-42"
                                      << ""
                                      << "kde-42" << qint64(-1);
        QTest::newRow("time past 32 bits") << ""
                                           << "x_TIME4294967296"
                                           << ""
                                           << "x_TIME4294967296" << qint64(-1);
        QTest::newRow("not plain") << "a b"
                                   << "c\td\u00e9"
                                   << ""
                                   << "" << qint64(-1);
        QTest::newRow("too long") << QString(257, u'x') << ""
                                  << ""
                                  << "" << qint64(-1);
    }
    void activationIsHandedOver() {
        QFETCH(QString, token);
        QFETCH(QString, startupId);
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
        qputenv("DESKTOP_STARTUP_ID", startupId.toUtf8());
        const Handover::Activation read = Handover::activationOf(
            Handover::withActivation({QStringLiteral("velmora")}, Handover::fromEnvironment()));
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
        QTEST(read.token, "readToken");
        QTEST(read.startupId, "readStartupId");
        const auto time = Handover::startupTime(startupId);
        QTEST(time ? qint64(*time) : -1, "time");
    }

    // The settings' words and the scheme as functions, one row each.
    void words_data() {
        QTest::addColumn<QString>("got");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QString& got, const char* expected) {
            QTest::newRow(name) << got << expected;
        };
        const auto hour = [](int hour, const char* locale) {
            return GeneralSettings::hourLabel(hour, QLocale(QString::fromLatin1(locale)));
        };
        row("morning", hour(9, "en_US"), "9:00 AM");
        row("midnight", hour(0, "en_US"), "12:00 AM");
        row("24-hour", hour(9, "de_DE"), "09:00");
        row("seconds dropped", hour(21, "C"), "21:00");
        row("no such hour", hour(24, "en_US"), "");
        const auto version = [](const char* build, const char* commit) {
            return GeneralSettings::versionLabel(QStringLiteral("0.1.0"), build, commit);
        };
        row("version", version("57", "1a2b3c4"), "0.1.0 (57) 1a2b3c4");
        row("no commit", version("57", ""), "0.1.0 (57)");
        row("built without git", version("0", "unknown"), "0.1.0 (0)");
        // A chosen scheme holds whatever the desktop prefers; "system" follows it.
        QString dark;
        for (const bool desktopDark : {false, true})
            for (const Appearance chosen :
                 {Appearance::light, Appearance::dark, Appearance::system})
                dark += VelmoraApp::isDark(chosen, desktopDark) ? u'D' : u'L';
        row("schemes", dark, "LDLLDD");
    }
    void words() {
        QFETCH(QString, got);
        QTEST(got, "expected");
    }
};

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("VELMORA_TEST_CHILD"))
        return runChild(QCoreApplication::arguments());
    TestShellSettings test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shell_settings.moc"
