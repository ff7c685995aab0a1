// What new route families stand on: a write through Service::transact commits or rolls back
// the family's rows and the document together, and moves the version only when the document
// changed; an `api/store` write that fails at its commit leaves nothing of itself in memory;
// a column added later is added once to a database that already exists.

#include "Methods.h"
#include "Service.h"

#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

namespace {

constexpr const char* marksTable =
    "CREATE TABLE IF NOT EXISTS marks(user_id INTEGER NOT NULL, body TEXT NOT NULL)";

qint64 countMarks(Storage& storage) {
    Storage::Statement count(storage, "SELECT count(*) FROM marks");
    return count.step() ? count.integer(0) : -1;
}

std::optional<qint64> signIn(Service& service, const char* name) {
    return service.authenticate(service.issueToken(QString::fromLatin1(name)).token.toUtf8());
}

} // namespace

class TestServerSeams : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void transact_data() {
        QTest::addColumn<bool>("touchDocument");
        QTest::addColumn<int>("status");    // what the work answers
        QTest::addColumn<QString>("fault"); // what it throws instead: "", "refusal", "fault"
        QTest::addColumn<int>("expectedStatus");
        QTest::addColumn<int>("versionMoves");
        QTest::addColumn<int>("marks");
        QTest::newRow("own rows only") << false << 200 << "" << 200 << 0 << 1;
        QTest::newRow("document too") << true << 201 << "" << 201 << 1 << 1;
        QTest::newRow("refused by reply") << true << 409 << "" << 409 << 0 << 0;
        QTest::newRow("refused by throw") << true << 200 << "refusal" << 404 << 0 << 0;
        QTest::newRow("fault") << true << 200 << "fault" << 500 << 0 << 0;
    }

    void transact() {
        QFETCH(bool, touchDocument);
        QFETCH(int, status);
        QFETCH(QString, fault);
        QFETCH(int, expectedStatus);
        QFETCH(int, versionMoves);
        QFETCH(int, marks);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("seams.db"));
        qint64 before = 0;
        {
            Storage storage(path);
            Service service(storage);
            service.migrate([](Storage& s) { s.exec(marksTable); });
            const auto user = signIn(service, "ana");
            QVERIFY(user);
            before = service.state(QStringLiteral("ana"))->version;
            const Reply reply = service.transact(*user, [&](UserState& next, Storage& s) {
                Storage::Statement(s, "INSERT INTO marks VALUES(?, 'seen')").bind(1, *user).run();
                if (touchDocument)
                    next.document.focus.append(QStringLiteral("Dana"));
                if (fault == u"refusal")
                    throw RpcError(404, QStringLiteral("No such invitation."));
                if (fault == u"fault")
                    throw std::runtime_error("disk full");
                return Reply{status, "{}"};
            });
            QCOMPARE(reply.status, expectedStatus);
            const Reply read = service.read(*user, [](const UserState& state, Storage& s) {
                return Reply{200, QByteArray::number(state.document.focus.size()) + ' ' +
                                      QByteArray::number(countMarks(s))};
            });
            QCOMPARE(read.body, QByteArray::number(versionMoves) + ' ' + QByteArray::number(marks));
        }
        // What the cache held is what the disk holds.
        Storage storage(path);
        Service service(storage);
        const auto state = service.state(QStringLiteral("ana"));
        QCOMPARE(state->version - before, versionMoves);
        QCOMPARE(state->document.focus.size(), versionMoves);
        QCOMPARE(countMarks(storage), marks);
    }

    // An `api/store` write changes the kept list in place: when its commit fails after the
    // method changed an item or appended one, the list is as it was, in memory and on disk,
    // and so it stays when the user's state leaves memory and comes back.
    void writeFailingAtCommit_data() {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("args"); // ID stands for the kept item's id
        QTest::newRow("edit") << QString("updateItem") << QString(R"(["ID",{"title":"Doomed"}])");
        QTest::newRow("addition") << QString("addItem")
                                  << QString(R"([{"title":"Doomed","section":"action"}])");
    }
    void writeFailingAtCommit() {
        QFETCH(QString, method);
        QFETCH(QString, args);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("seams.db"));
        const auto titles = [](Service& service, qint64 user) {
            const Reply reply = service.call(user, R"({"method":"load"})", std::nullopt);
            const auto json = JsonValue::parse(reply.body);
            QStringList out;
            for (const JsonValue& item : json->find(u"result")->find(u"items")->toArray())
                out << item.find(u"title")->toString();
            return out;
        };
        Storage storage(path);
        Service service(storage);
        // The disk refuses any row holding that title, as a full disk would refuse the commit.
        storage.exec("CREATE TRIGGER doomed BEFORE INSERT ON items WHEN NEW.body LIKE "
                     "'%Doomed%' BEGIN SELECT RAISE(ABORT, 'disk full'); END");
        const auto user = signIn(service, "ana");
        const auto other = signIn(service, "bo");
        const Reply added = service.call(
            *user, R"({"method":"addItem","args":[{"title":"Kept","section":"action"}]})", {});
        const QString id = JsonValue::parse(added.body)->find(u"result")->find(u"id")->toString();
        QCOMPARE(titles(service, *user), QStringList{QStringLiteral("Kept")});
        const QByteArray body = "{\"method\":\"" + method.toUtf8() +
                                "\",\"args\":" + args.replace(QStringLiteral("ID"), id).toUtf8() +
                                '}';
        QCOMPARE(service.call(*user, body, std::nullopt).status, 500);
        QCOMPARE(titles(service, *user), QStringList{QStringLiteral("Kept")});
        // A later write changes another field: the title it writes is the one in memory.
        const QByteArray note =
            "{\"method\":\"updateItem\",\"args\":[\"" + id.toUtf8() + "\",{\"note\":\"Fine\"}]}";
        QCOMPARE(service.call(*user, note, std::nullopt).status, 200);
        QCOMPARE(titles(service, *user), QStringList{QStringLiteral("Kept")});
        // One state at a time in memory: loading the other user sends this one out.
        service.setCacheBound(1);
        QCOMPARE(titles(service, *other), QStringList());
        QCOMPARE(titles(service, *user), QStringList{QStringLiteral("Kept")});
        Storage again(path);
        const auto stored = Service(again).state(QStringLiteral("ana"))->document.items;
        QCOMPARE(stored.size(), 1);
        QCOMPARE(stored[0].title, QStringLiteral("Kept"));
        QCOMPARE(stored[0].note, QStringLiteral("Fine"));
    }

    void columnAddedOnce() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("seams.db"));
        {
            Storage storage(path);
            storage.exec(marksTable);
            Storage::Statement(storage, "INSERT INTO marks VALUES(1, 'old')").run();
        }
        for (const bool first : {true, false}) {
            Storage storage(path);
            storage.exec(marksTable);
            QCOMPARE(storage.addColumnIfMissing("marks", "seen", "INTEGER NOT NULL DEFAULT 0"),
                     first);
            Storage::Statement row(storage, "SELECT body, seen FROM marks");
            QVERIFY(row.step());
            QCOMPARE(row.text(0), QStringLiteral("old"));
            QCOMPARE(row.integer(1), 0);
        }
    }
};

QTEST_GUILESS_MAIN(TestServerSeams)
#include "tst_server_seams.moc"
