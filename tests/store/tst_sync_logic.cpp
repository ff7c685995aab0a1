#include "APIError.h"
#include "Sync.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

Q_DECLARE_METATYPE(SyncDecision)

class TestSyncLogic : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void decision_data() {
        QTest::addColumn<qint64>("server");
        QTest::addColumn<qint64>("synced");
        QTest::addColumn<bool>("queueEmpty");
        QTest::addColumn<SyncDecision>("expected");
        QTest::newRow("same, queue") << 7LL << 7LL << false << SyncDecision::replaySilently;
        QTest::newRow("moved, empty") << 8LL << 7LL << true << SyncDecision::adoptServerSilently;
        QTest::newRow("moved, queue") << 8LL << 7LL << false << SyncDecision::askUser;
        QTest::newRow("same, empty") << 7LL << 7LL << true << SyncDecision::nothingToDo;
        // Versions are opaque: a smaller one is just as much a change.
        QTest::newRow("went back") << 3LL << 7LL << true << SyncDecision::adoptServerSilently;
        QTest::newRow("first sync, server at 0") << 0LL << 0LL << true << SyncDecision::nothingToDo;
    }

    void decision() {
        QFETCH(qint64, server);
        QFETCH(qint64, synced);
        QFETCH(bool, queueEmpty);
        QFETCH(SyncDecision, expected);
        QCOMPARE(Sync::decide(server, synced, queueEmpty), expected);
    }

    // The titled form is checked where the Store sets an edit aside (tst_store_sync); here
    // only a title that looks like a placeholder.
    void texts() {
        QCOMPARE(Sync::setAsideMessage(std::nullopt),
                 QStringLiteral(
                     "One change couldn't be saved after 5 tries \u2014 it's been set aside."));
        QCOMPARE(Sync::setAsideMessage(QStringLiteral("Cut 50%1 of %2")),
                 QStringLiteral("Couldn't save \u201cCut 50%1 of %2\u201d after 5 tries \u2014 "
                                "it's been set aside."));
    }

    void limitText_data() {
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("expected");
        QTest::newRow("message") << R"({"message":"You have reached 50 open tasks.","cap":50})"
                                 << QString("You have reached 50 open tasks.");
        // Anything else is shown as it came.
        for (const char* body : {"Upgrade to add more.", R"({"message":50})", R"(["message"])", ""})
            QTest::addRow("as is: %s", body) << QString(body) << QString(body);
    }

    void limitText() {
        QFETCH(QString, body);
        QFETCH(QString, expected);
        QCOMPARE(Sync::limitText(body), expected);
    }

    void unreachable_data() {
        QTest::addColumn<QNetworkReply::NetworkError>("code");
        QTest::addColumn<bool>("offline");
        using E = QNetworkReply;
        QTest::newRow("refused") << E::ConnectionRefusedError << true;
        QTest::newRow("closed") << E::RemoteHostClosedError << true;
        QTest::newRow("no host") << E::HostNotFoundError << true;
        QTest::newRow("time-out") << E::TimeoutError << true;
        QTest::newRow("session failed") << E::NetworkSessionFailedError << true;
        QTest::newRow("temporary failure") << E::TemporaryNetworkFailureError << true;
        QTest::newRow("network unreachable") << E::UnknownNetworkError << true;
        QTest::newRow("proxy refused") << E::ProxyConnectionRefusedError << true;
        QTest::newRow("background not allowed") << E::BackgroundRequestNotAllowedError << true;
        QTest::newRow("tls") << E::SslHandshakeFailedError << false;
        QTest::newRow("cancelled") << E::OperationCanceledError << false;
        QTest::newRow("http 404 code") << E::ContentNotFoundError << false;
        QTest::newRow("protocol") << E::ProtocolFailure << false;
    }

    void unreachable() {
        QFETCH(QNetworkReply::NetworkError, code);
        QFETCH(bool, offline);
        QCOMPARE(Sync::isUnreachable(code), offline);
        QCOMPARE(Sync::isUnreachable(TransportError(code, QStringLiteral("x"))), offline);
    }

    void apiErrorsAreNeverOffline() {
        for (const auto& error :
             {APIError::server(503, {}), APIError::unauthorised(), APIError::notConfigured(),
              APIError::decoding(QStringLiteral("x"))})
            QVERIFY(!Sync::isUnreachable(error));
        QVERIFY(!Sync::isUnreachable(std::make_exception_ptr(std::runtime_error("x"))));
        QVERIFY(Sync::isUnreachable(std::make_exception_ptr(
            TransportError(QNetworkReply::TimeoutError, QStringLiteral("x")))));
    }
};

QTEST_GUILESS_MAIN(TestSyncLogic)
#include "tst_sync_logic.moc"
