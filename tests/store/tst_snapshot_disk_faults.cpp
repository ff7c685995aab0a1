// A full disk and a read-only folder under the snapshot. The mounts need a private mount
// namespace: each test runs itself again, alone, inside `unshare`, where it can mount a
// small tmpfs or a read-only bind without touching the machine.
#include "SnapshotSamples.h"
#include "Store.h"

#include "Await.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cstring>

#include <sys/mount.h>

namespace {

constexpr auto childVariable = "VELMORA_MOUNT_NAMESPACE_CHILD";

enum class Fault { fullDisk, readOnly };

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A folder whose disk can be made full or read-only and then healed. The snapshot folder
// is `folder()`; on a full disk a filler file beside it takes the last free byte.
class FaultyFolder {
public:
    explicit FaultyFolder(Fault fault)
        : m_fault(fault) {
        if (!m_root.isValid()) {
            m_error = QStringLiteral("no temporary folder");
            return;
        }
        if (fault == Fault::fullDisk) {
            if (!mount(QStringLiteral("tmpfs"), m_root.path(), "tmpfs", 0, "size=8m"))
                return;
            m_mounted = true;
        }
        QDir(m_root.path()).mkpath(QStringLiteral("Velmora"));
    }
    ~FaultyFolder() {
        heal();
        if (m_mounted)
            ::umount2(QFile::encodeName(m_root.path()).constData(), MNT_DETACH);
    }

    QString error() const { return m_error; }
    QString folder() const { return m_root.filePath(QStringLiteral("Velmora")); }
    QString file() const { return OfflineDisk(folder()).fileURL(); }

    bool breakIt() {
        if (m_fault == Fault::readOnly) {
            // A remount is the only thing that stops root from writing.
            if (!mount(folder(), folder(), nullptr, MS_BIND, nullptr))
                return false;
            m_broken = true;
            return mount({}, folder(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr);
        }
        QFile filler(m_root.filePath(QStringLiteral("filler")));
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return false;
        const QByteArray block(4096, 'x');
        while (filler.write(block) == block.size()) {
        }
        while (filler.write(block.constData(), 1) == 1) {
        }
        m_broken = filler.size() > 0;
        return m_broken;
    }

    void heal() {
        if (!m_broken)
            return;
        m_broken = false;
        if (m_fault == Fault::readOnly)
            ::umount2(QFile::encodeName(folder()).constData(), MNT_DETACH);
        else
            QFile::remove(m_root.filePath(QStringLiteral("filler")));
    }

private:
    bool mount(const QString& source, const QString& target, const char* type, unsigned long flags,
               const char* options) {
        if (::mount(source.isEmpty() ? nullptr : QFile::encodeName(source).constData(),
                    QFile::encodeName(target).constData(), type, flags, options) == 0)
            return true;
        m_error = QStringLiteral("mount %1: %2")
                      .arg(target, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }

    Fault m_fault;
    QTemporaryDir m_root;
    QString m_error;
    bool m_mounted = false;
    bool m_broken = false;
};

} // namespace

Q_DECLARE_METATYPE(Fault)

class TestSnapshotDiskFaults : public QObject {
    Q_OBJECT

private:
    QStringList m_unshare; // the command that gives a private mount namespace

    static bool inChild() { return qEnvironmentVariableIsSet(childVariable); }

    // Runs the current test function and row again in a fresh mount namespace.
    void runInChild() {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QString::fromLatin1(childVariable), QStringLiteral("1"));
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::MergedChannels);
        QString test = QString::fromLatin1(QTest::currentTestFunction());
        if (QTest::currentDataTag())
            test += QLatin1Char(':') + QString::fromLatin1(QTest::currentDataTag());
        process.start(m_unshare.first(),
                      m_unshare.mid(1) +
                          QStringList{QCoreApplication::applicationFilePath(), test});
        const bool finished = process.waitForFinished(120000);
        if (!finished) {
            process.kill();
            process.waitForFinished(5000);
        }
        const QByteArray output = process.readAll();
        QVERIFY2(finished && process.exitStatus() == QProcess::NormalExit &&
                     process.exitCode() == 0,
                 output.constData());
        QVERIFY2(output.contains("PASS   : "), output.constData());
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        if (inChild())
            return;
        QString why;
        for (const QStringList& command :
             {QStringList{QStringLiteral("unshare"), QStringLiteral("-rm")},
              QStringList{QStringLiteral("unshare"), QStringLiteral("-m")}}) {
            QProcess probe;
            probe.setProcessChannelMode(QProcess::MergedChannels);
            probe.start(command.first(), command.mid(1) + QStringList{QStringLiteral("true")});
            if (probe.waitForFinished(10000) && probe.exitStatus() == QProcess::NormalExit &&
                probe.exitCode() == 0) {
                m_unshare = command;
                return;
            }
            probe.kill();
            probe.waitForFinished(5000);
            why += QString::fromLocal8Bit(probe.readAll()) + probe.errorString() + u' ';
        }
        QSKIP(qPrintable(QStringLiteral("no private mount namespace here (unshare -rm and "
                                        "unshare -m both failed: %1)")
                             .arg(why.trimmed())));
    }

    void storeKeepsQueue_data() {
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<int>("items");
        for (const auto& [name, fault] : {std::pair{"full disk", Fault::fullDisk},
                                          std::pair{"read-only folder", Fault::readOnly}})
            for (int items : {10, 2000})
                QTest::addRow("%s, %d items", name, items) << fault << items;
    }

    // Offline edits go on while every persist fails: the queue in memory stays whole, the
    // file stays as it was with no temporary beside it, and the first persist that works
    // writes all of it.
    void storeKeepsQueue() {
        if (!inChild())
            return runInChild();
        QFETCH(Fault, fault);
        QFETCH(int, items);
        FaultyFolder place(fault);
        QVERIFY2(place.error().isEmpty(), qPrintable(place.error()));
        const OfflineSnapshot old = SnapshotSamples::make(1, items, items / 3);
        OfflineDisk(place.folder()).save(old);
        const QByteArray oldBytes = readAll(place.file());

        MemorySecretStore secrets;
        // Nothing listens there, and nothing is sent: offline edits only queue.
        auto* client = new APIClient(QUrl(QStringLiteral("http://127.0.0.1:9")),
                                     QStringLiteral("unused-token"));
        Store store(client, OfflineDisk(place.folder()), Keychain(secrets, QStringLiteral("svc")));
        QCOMPARE(store.queue(), old.queue);
        store.pathUpdated(false);
        QVERIFY(store.isOffline());

        QVERIFY2(place.breakIt(), qPrintable(place.error()));
        const auto addTask = [&store](int n) {
            return store.add(QStringLiteral("Offline %1").arg(n), QStringLiteral("note"), {},
                             Section::action, {}, Priority::low, {},
                             QStringLiteral("local-%1").arg(n));
        };
        for (int n = 0; n < 3; ++n)
            QVERIFY(TestAwait::await(addTask(n)));
        const Item first = store.document().items.front();
        TestAwait::await(store.toggle(first));
        TestAwait::await(store.setFlagged(first, true));
        QCOMPARE(store.queue().size(), old.queue.size() + 5);
        QCOMPARE(readAll(place.file()) == oldBytes, true);
        QCOMPARE(QDir(place.folder()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{QString::fromLatin1(OfflineDisk::fileName)});
        QCOMPARE(store.lastError(), QString());

        place.heal();
        QVERIFY(TestAwait::await(addTask(3)));
        const QList<PendingOp> expected = store.queue();
        QCOMPARE(expected.size(), old.queue.size() + 6);
        QCOMPARE(expected.mid(0, old.queue.size()), old.queue);
        // The whole snapshot: the old one with the longer queue.
        OfflineSnapshot whole = old;
        whole.queue = expected;
        QCOMPARE(OfflineDisk(place.folder()).load(), std::optional(whole));

        // A relaunch shows every edit.
        Store relaunched(new APIClient(QUrl(QStringLiteral("http://127.0.0.1:9"))),
                         OfflineDisk(place.folder()), Keychain(secrets, QStringLiteral("svc")));
        QCOMPARE(relaunched.queue(), expected);
        for (int n = 0; n < 4; ++n)
            QVERIFY(std::any_of(relaunched.document().items.cbegin(),
                                relaunched.document().items.cend(), [n](const Item& item) {
                                    return item.title == QStringLiteral("Offline %1").arg(n);
                                }));
    }
};

QTEST_GUILESS_MAIN(TestSnapshotDiskFaults)
#include "tst_snapshot_disk_faults.moc"
