#include "OfflineSnapshot.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace PendingOps;

namespace {

OfflineSnapshot sample() {
    OfflineSnapshot s;
    s.wireDocument =
        R"({"schema_version":1,"items":[],"rejections":[],"rules":[],"suppressions":[]})";
    s.syncedVersion = 42;
    s.syncedAt = QDateTime(QDate(2026, 3, 1), QTime(9, 30, 15, 250), Qt::UTC);
    s.queue = {SetDone{"a", true}, Delete{"b"},
               Add{"local-1", "T", {}, {}, Section::action, "2026-03-02", Priority::high, {}}};
    return s;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int mode(const QString& path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? int(status.st_mode & 0777)
                                                                     : -1;
}

} // namespace

class TestOfflineDisk : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void encodedForm() {
        OfflineSnapshot s = sample();
        const auto json = *JsonValue::parse(s.encode());
        QCOMPARE(json.find(u"queue")->toArray().size(), 3u);
        QVERIFY(!json.contains(u"strikes"));
        QCOMPARE(json.find(u"syncedVersion")->toInteger(), 42);
        // Seconds since 2001-01-01T00:00:00Z.
        QCOMPARE(json.find(u"syncedAt")->toDouble(), 794050215.25);
        QCOMPARE(QByteArray::fromBase64(json.find(u"wireDocument")->toString().toLatin1()),
                 s.wireDocument);

        s.strikes.insert(SetDone{"a", true}, 3);
        s.strikes.insert(Delete{"b"}, 1);
        const auto flat = JsonValue::parse(s.encode())->find(u"strikes")->toArray();
        QCOMPARE(flat.size(), 4u);
        QCOMPARE(OfflineSnapshot::decode(s.encode()), std::optional(s));
    }

    void decodeRefuses_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("not json") << QByteArray("{");
        QTest::newRow("missing queue")
            << QByteArray(R"({"wireDocument":"e30=","syncedVersion":1,"syncedAt":0})");
        QTest::newRow("bad base64")
            << QByteArray(R"({"wireDocument":"***","syncedVersion":1,"syncedAt":0,"queue":[]})");
        QTest::newRow("version as text")
            << QByteArray(R"({"wireDocument":"e30=","syncedVersion":"1","syncedAt":0,"queue":[]})");
        QTest::newRow("bad op") << QByteArray(
            R"({"wireDocument":"e30=","syncedVersion":1,"syncedAt":0,"queue":[{"x":{}}]})");
        QTest::newRow("odd strikes") << QByteArray(
            R"({"wireDocument":"e30=","syncedVersion":1,"syncedAt":0,"queue":[],"strikes":[{"delete":{"id":"a"}}]})");
    }

    void decodeRefuses() {
        QFETCH(QByteArray, json);
        QCOMPARE(OfflineSnapshot::decode(json), std::nullopt);
    }

    void decodeWithoutStrikes() {
        const auto s = OfflineSnapshot::decode(
            R"({"wireDocument":"e30=","syncedVersion":3,"syncedAt":1.5,"queue":[]})");
        QVERIFY(s);
        QVERIFY(s->strikes.isEmpty());
        QCOMPARE(s->wireDocument, QByteArray("{}"));
        QCOMPARE(s->syncedAt, QDateTime(QDate(2001, 1, 1), QTime(0, 0, 1, 500), Qt::UTC));
    }

    void defaultLocation() {
        const OfflineDisk disk;
        QCOMPARE(disk.fileURL(),
                 QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                     QStringLiteral("/Velmora/offline-snapshot.json"));
    }

    void saveLoadClear() {
        QTemporaryDir dir;
        const OfflineDisk disk(dir.filePath(QStringLiteral("nested/Velmora")));
        QCOMPARE(disk.load(), std::nullopt);
        disk.save(sample());
        QCOMPARE(disk.load(), std::optional(sample()));
        // Owner only, also where an earlier version left the folder and the file open.
        const QString folder = QFileInfo(disk.fileURL()).absolutePath();
        for (int round = 0; round < 2; ++round) {
            QCOMPARE(mode(folder), 0700);
            QCOMPARE(mode(disk.fileURL()), 0600);
            ::chmod(QFile::encodeName(folder).constData(), 0755);
            ::chmod(QFile::encodeName(disk.fileURL()).constData(), 0644);
            disk.save(sample());
        }

        // A file that does not decode stays on disk and reads as nothing.
        QFile file(disk.fileURL());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("garbage");
        file.close();
        QCOMPARE(disk.load(), std::nullopt);
        QVERIFY(QFile::exists(disk.fileURL()));

        disk.clear();
        QVERIFY(!QFile::exists(disk.fileURL()));
        disk.clear(); // a missing file is no error
    }

    // An unreadable file goes aside, the three newest kept, and out of the start's sweep.
    void setAside() {
        QTemporaryDir dir;
        const OfflineDisk disk(dir.path());
        QVERIFY(!disk.setAside());
        for (const char* bytes : {"first", "second", "third", "fourth"}) {
            QFile file(disk.fileURL());
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
            file.close();
            QVERIFY(disk.setAside());
            QVERIFY(!QFile::exists(disk.fileURL()));
        }
        disk.removeStrayTemporaries();
        QCOMPARE(
            QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
            (QStringList{"offline-snapshot.unreadable-1.json", "offline-snapshot.unreadable-2.json",
                         "offline-snapshot.unreadable-3.json"}));
        QCOMPARE(readAll(disk.asideURL(1)), "fourth");
        QCOMPARE(readAll(disk.asideURL(3)), "second");
        QCOMPARE(mode(disk.asideURL(1)), 0600);
    }

    void strayTemporariesRemoved() {
        QTemporaryDir dir;
        const OfflineDisk disk(dir.path());
        disk.save(sample());
        const QByteArray saved = readAll(disk.fileURL());
        for (const char* name :
             {"offline-snapshot.json.Xa81bQ", "offline-snapshot.json.tmp", "notes.txt"}) {
            QFile stray(dir.filePath(QString::fromLatin1(name)));
            QVERIFY(stray.open(QIODevice::WriteOnly));
        }
        disk.removeStrayTemporaries();
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"notes.txt", "offline-snapshot.json"}));
        QCOMPARE(readAll(disk.fileURL()), saved);
    }
};

QTEST_GUILESS_MAIN(TestOfflineDisk)
#include "tst_offline_disk.moc"
