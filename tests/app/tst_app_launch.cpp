#include <QProcess>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QStandardPaths>
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

    void startsAndKeepsRunning() {
        QProcess app;
        app.setProcessChannelMode(QProcess::MergedChannels);
        app.start(QStringLiteral(VELMORA_APP_PATH),
                  {QStringLiteral("--server"), QStringLiteral("http://127.0.0.1:9/")});
        QVERIFY(app.waitForStarted(10000));
        QVERIFY2(!app.waitForFinished(3000), app.readAll().constData());
        app.terminate();
        QVERIFY(app.waitForFinished(10000));
    }

    void mainWindowLoadsWithoutWarnings() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        QQmlApplicationEngine engine;
        engine.load(QUrl::fromLocalFile(QStringLiteral(VELMORA_QML_DIR "/Main.qml")));
        QCOMPARE(engine.rootObjects().size(), 1);
        auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
        QVERIFY(window);
        QCOMPARE(window->title(), QStringLiteral("Velmora"));
        QVERIFY(window->minimumWidth() >= 860 && window->minimumHeight() >= 460);
    }
};

QTEST_MAIN(TestAppLaunch)
#include "tst_app_launch.moc"
