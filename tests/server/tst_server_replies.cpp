// The whole document's replies: the coding a client's Accept-Encoding asks for, the body the
// same in every coding (a gzip reply joined from blocks too), a write seen at the next load,
// and the cache held to its bound.

#include "ReplyEncoding.h"
#include "ServerProcess.h"
#include "ServerTestUtil.h"
#include "WireJson.h"

#include <QStandardPaths>
#include <QTest>

#include <httplib.h>

#include <array>

using namespace ServerTest;

class TestServerReplies : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void choose_data() {
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("coding");
        const auto row = [](const char* name, const char* header, const char* coding) {
            QTest::newRow(name) << QString(header) << QString(coding);
        };
        row("Qt's", "deflate, gzip, br, zstd", "gzip");
        row("gzip refused", "gzip;q=0, br", "br");
        row("none", "", "");
        row("gzip only", "gzip", "gzip");
        row("br refused", "br;q=0, gzip", "gzip");
        row("br refused, spaced", "gzip ; q=0.5, BR ; Q=0.000", "gzip");
        row("any", "*", "gzip");
        row("any but gzip", "*, gzip;q=0", "br");
        row("garbled weight", "br;q=x, gzip;q=0", "");
        row("look-alikes", "brotli, xgzip, identity", "");
        row("upper case", "gzip ; Q=0, BR", "br");
        row("another parameter", "gzip;qx=1, br", "gzip");
    }
    void choose() {
        QFETCH(QString, header);
        QFETCH(QString, coding);
        QCOMPARE(ReplyEncoding::name(ReplyEncoding::choose(header.toStdString())),
                 coding.toStdString());
    }

    void cacheKeepsTheNewestWithinItsBound() {
        ReplyCache cache(100);
        cache.insert(1, 5, ContentCoding::br, QByteArray(40, 'a'));
        cache.insert(1, 4, ContentCoding::br, QByteArray(10, 'b')); // late: dropped
        QCOMPARE(cache.find(1, 5, ContentCoding::br), QByteArray(40, 'a'));
        QVERIFY(!cache.find(1, 4, ContentCoding::br) && !cache.find(1, 5, ContentCoding::gzip));
        cache.insert(2, 1, ContentCoding::gzip, QByteArray(40, 'c'));
        QVERIFY(cache.find(1, 5, ContentCoding::br)); // now the most recent
        cache.insert(3, 1, ContentCoding::gzip, QByteArray(40, 'd'));
        QCOMPARE(cache.bytes(), std::size_t(80));
        QVERIFY(!cache.find(2, 1, ContentCoding::gzip) && cache.find(3, 1, ContentCoding::gzip));
        cache.insert(4, 1, ContentCoding::gzip, QByteArray(101, 'e')); // over the bound alone
        QVERIFY(!cache.find(4, 1, ContentCoding::gzip));
        // A deleted account's replies go, every coding of them, and only theirs.
        cache.insert(3, 1, ContentCoding::identity, QByteArray(10, 'f'));
        cache.insert(1, 5, ContentCoding::gzip, QByteArray(5, 'g'));
        cache.forgetUser(3);
        QVERIFY(!cache.find(3, 1, ContentCoding::gzip) &&
                !cache.find(3, 1, ContentCoding::identity));
        QVERIFY(cache.find(1, 5, ContentCoding::br) && cache.find(1, 5, ContentCoding::gzip));
        QCOMPARE(cache.bytes(), std::size_t(45));
    }

    void loadsAnswerInTheCodingAskedAndFollowWrites() {
        QStandardPaths::setTestModeEnabled(true);
        ServerProcess server;
        const QString token = server.createUser(QStringLiteral("ana"));
        const std::string load = R"({"method":"load","args":[]})";
        const httplib::Headers auth{{"Authorization", "Bearer " + token.toStdString()}};
        httplib::Client raw("127.0.0.1", server.port());
        raw.set_decompress(false);
        httplib::Client plain("127.0.0.1", server.port());
        // Enough tasks for the reply to span many blocks, so that edits at either end and in
        // the middle reuse some blocks and redo others.
        WireDocument many;
        for (int i = 0; i < 800; ++i) {
            WireItem item;
            item.id = QStringLiteral("t%1").arg(i);
            item.title = QStringLiteral("Task %1").arg(i);
            item.note = QString(i % 300, QLatin1Char('n'));
            item.createdAt = QStringLiteral("2026-01-01T00:00:00Z");
            many.items.push_back(item);
        }
        server.replaceDocument(QStringLiteral("ana"), many);
        for (int round = 0; round < 4; ++round) {
            const QString title = QStringLiteral("Edited %1").arg(round);
            const JsonValue patch = JsonValue::object({{QStringLiteral("title"), title}});
            // Two edits between loads, and an addition.
            for (const int at : {std::array{0, 400, 799, 400}[round], 3 * round + 1}) {
                const QString target = QStringLiteral("t%1").arg(at);
                QCOMPARE(server.call(token, QStringLiteral("updateItem"), {target, patch}).status,
                         200);
            }
            const JsonValue added = JsonValue::object(
                {{QStringLiteral("title"), title}, {QStringLiteral("section"), "action"}});
            QCOMPARE(server.call(token, QStringLiteral("addItem"), {added}).status, 200);
            const auto identity = plain.Post("/api/store", auth, load, "application/json");
            QVERIFY(identity && identity->status == 200);
            QVERIFY(!identity->has_header("Content-Encoding"));
            QCOMPARE(
                WireJson::decodeEnvelope<WireDocument>(QByteArray::fromStdString(identity->body)),
                server.document(QStringLiteral("ana")).document);
            QVERIFY(QByteArray::fromStdString(identity->body).contains(title.toUtf8()));
            for (const char* accept : {"deflate, gzip, br, zstd", "br"}) {
                httplib::Headers headers = auth;
                headers.emplace("Accept-Encoding", accept);
                const std::string expected = ReplyEncoding::name(ReplyEncoding::choose(accept));
                // Twice: the second comes from the cache.
                for (int again = 0; again < 2; ++again) {
                    const auto encoded = raw.Post("/api/store", headers, load, "application/json");
                    QVERIFY(encoded && encoded->status == 200);
                    QCOMPARE(encoded->get_header_value("Content-Encoding"), expected);
                    QVERIFY(encoded->body.size() < identity->body.size());
                    const auto decoded =
                        plain.Post("/api/store", headers, load, "application/json");
                    QVERIFY(decoded && decoded->body == identity->body);
                }
            }
        }
        QCOMPARE(server.stop(), 0);
    }
};

QTEST_MAIN(TestServerReplies)
#include "tst_server_replies.moc"
