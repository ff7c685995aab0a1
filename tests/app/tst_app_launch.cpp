#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

class TestAppLaunch : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void refusesPlainHttpToRemoteHost() {
        QProcess app;
        app.start(QStringLiteral(VELMORA_APP_PATH),
                  {QStringLiteral("--server"), QStringLiteral("http://example.org/")});
        QVERIFY(app.waitForFinished(20000));
        QCOMPARE(app.exitCode(), 2);
        const QString err = QString::fromUtf8(app.readAllStandardError()).trimmed();
        QVERIFY2(err.contains(QStringLiteral("loopback")) && !err.contains(QLatin1Char('\n')),
                 qPrintable(err));
    }

    // Two launches against one server: the second hands over to the first and leaves.
    void secondLaunchHandsOverAndLeaves() {
        QTemporaryDir home;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
            const QString path = home.filePath(QString::fromLatin1(name));
            QVERIFY(QDir().mkpath(path));
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            env.insert(QString::fromLatin1(name), path);
        }
        const QStringList arguments{QStringLiteral("--server"),
                                    QStringLiteral("http://127.0.0.1:9/")};
        QProcess first;
        first.setProcessEnvironment(env);
        first.setProcessChannelMode(QProcess::MergedChannels);
        first.start(QStringLiteral(VELMORA_APP_PATH), arguments);
        QVERIFY(first.waitForStarted(10000));
        // The first one keeps running, and listens once it holds the lock.
        QTRY_VERIFY_WITH_TIMEOUT(
            !QDir(env.value(QStringLiteral("XDG_RUNTIME_DIR"))).entryList(QDir::System).isEmpty(),
            10000);
        QVERIFY2(!first.waitForFinished(1000), first.readAll().constData());

        QProcess second;
        second.setProcessEnvironment(env);
        second.start(QStringLiteral(VELMORA_APP_PATH), arguments);
        QVERIFY(second.waitForFinished(15000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(first.state(), QProcess::Running);

        first.terminate();
        QVERIFY(first.waitForFinished(10000));
    }
};

QTEST_MAIN(TestAppLaunch)
#include "tst_app_launch.moc"
