// Kills or fails the snapshot writer at numbered system calls (strace's fault injection)
// and checks what a restart finds: the old snapshot or the new one, never a mix, and no
// temporary file once the start-up clean-up has run.
#include "SnapshotSamples.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

struct Size {
    int items;
    int edits;
};
Q_DECLARE_METATYPE(Size)

namespace {

// Each family is counted per system call by strace, so a list of several calls with
// when=N stops at the Nth of whichever comes first; one family per row reaches them all.
const QList<std::pair<const char*, const char*>> families = {
    {"write", "write,writev,pwrite64"},      {"fdatasync", "fdatasync"}, {"linkat", "link,linkat"},
    {"rename", "rename,renameat,renameat2"}, {"fsync", "fsync"},
};

const QList<std::pair<const char*, Size>> sizes = {
    {"small", {3, 2}},
    {"1MB", {2000, 60}},
    {"4MB", {8000, 200}},
};

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Run {
    bool finished = false;
    QProcess::ExitStatus status = QProcess::NormalExit;
    int code = -1;
    QByteArray output;
};

} // namespace

class TestSnapshotCrash : public QObject {
    Q_OBJECT

private:
    QString m_strace;

    // strace exits the way its tracee did, so a kill shows as a crash (or code 137).
    static bool killed(const Run& run) {
        return run.status == QProcess::CrashExit || run.code == 128 + 9;
    }

    Run writer(const QString& folder, int generation, Size size, const QString& inject) {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // LeakSanitizer cannot work under a tracer.
        env.insert(QStringLiteral("ASAN_OPTIONS"),
                   env.value(QStringLiteral("ASAN_OPTIONS")) + QStringLiteral(":detect_leaks=0"));
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(m_strace,
                      {QStringLiteral("-f"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
                       QStringLiteral("-e"), inject, QStringLiteral(VELMORA_SNAPSHOT_WRITER),
                       folder, QString::number(generation), QString::number(size.items),
                       QString::number(size.edits)});
        Run run;
        run.finished = process.waitForFinished(60000);
        if (!run.finished) {
            process.kill();
            process.waitForFinished(5000);
        }
        run.status = process.exitStatus();
        run.code = process.exitCode();
        run.output = process.readAll();
        return run;
    }

    // The folder holds exactly the old snapshot and nothing else.
    static void startFromOld(const QString& folder, const QByteArray& oldBytes) {
        QDir dir(folder);
        for (const auto& name : dir.entryList(QDir::Files | QDir::Hidden))
            dir.remove(name);
        QFile file(OfflineDisk(folder).fileURL());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(oldBytes) == oldBytes.size());
    }

    static QStringList filesIn(const QString& folder) {
        return QDir(folder).entryList(QDir::Files | QDir::Hidden);
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        m_strace = QStandardPaths::findExecutable(QStringLiteral("strace"));
        if (m_strace.isEmpty())
            QSKIP("strace is not installed (scripts/packages.txt lists it)");
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const Run probe =
            writer(dir.path(), 1, {1, 1}, QStringLiteral("inject=write:signal=SIGKILL:when=1"));
        if (probe.finished && killed(probe))
            return;
        const QString output = QString::fromLocal8Bit(probe.output);
        // A container may forbid tracing; anything else is a fault of the writer or the test.
        if (output.contains(QLatin1String("ptrace")) ||
            output.contains(QLatin1String("not permitted")))
            QSKIP(qPrintable(QStringLiteral("strace cannot trace here: ") + output));
        QFAIL(qPrintable(QStringLiteral("the injected kill did not happen: ") + output));
    }

    void killAtEveryCall_data() {
        QTest::addColumn<Size>("size");
        QTest::addColumn<QString>("calls");
        QTest::addColumn<bool>("beforeRename"); // every call of the family precedes the rename
        for (const auto& [sizeName, size] : sizes)
            for (const auto& [family, calls] : families)
                QTest::addRow("%s %s", sizeName, family)
                    << size << QString::fromLatin1(calls) << (qstrcmp(family, "fsync") != 0);
    }

    // For N = 1, 2, ... the writer dies on entering the Nth call of the family, until a run
    // gets through the whole save; then (before the rename) every call of the family fails.
    void killAtEveryCall() {
        QFETCH(Size, size);
        QFETCH(QString, calls);
        QFETCH(bool, beforeRename);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QByteArray oldBytes = SnapshotSamples::make(1, size.items, size.edits).encode();
        const QByteArray newBytes = SnapshotSamples::make(2, size.items, size.edits).encode();
        const QString file = OfflineDisk(dir.path()).fileURL();

        int kills = 0;
        bool sawStray = false;
        for (int n = 1;; ++n) {
            QVERIFY2(n <= 50, "the save never completed");
            startFromOld(dir.path(), oldBytes);
            const Run run =
                writer(dir.path(), 2, size,
                       QStringLiteral("inject=%1:signal=SIGKILL:when=%2").arg(calls).arg(n));
            QVERIFY2(run.finished, run.output.constData());
            if (!killed(run)) {
                QVERIFY2(run.code == 0, run.output.constData());
                QCOMPARE(readAll(file) == newBytes, true);
                break;
            }
            ++kills;
            const QByteArray found = readAll(file);
            if (beforeRename)
                QVERIFY2(found == oldBytes, qPrintable(QStringLiteral("kill %1").arg(n)));
            else
                QVERIFY2(found == oldBytes || found == newBytes,
                         qPrintable(QStringLiteral("kill %1").arg(n)));

            sawStray = sawStray || filesIn(dir.path()).size() > 1;
            // What the Store does first when it is built.
            OfflineDisk(dir.path()).removeStrayTemporaries();
            QCOMPARE(filesIn(dir.path()), QStringList{QString::fromLatin1(OfflineDisk::fileName)});
            QCOMPARE(readAll(file), found);
        }
        QVERIFY(kills > 0);
        // Dying between the link of the temporary file and the rename leaves it behind.
        if (calls.startsWith(QLatin1String("rename")))
            QVERIFY(sawStray);
        if (!beforeRename)
            return;

        // Every call of the family fails (no space for writes, an I/O error for the others):
        // the save gives up in silence, leaves the old bytes and no temporary file, and the
        // next save that works holds the new snapshot.
        startFromOld(dir.path(), oldBytes);
        const QString error = calls.startsWith(QLatin1String("write")) ? QStringLiteral("ENOSPC")
                                                                       : QStringLiteral("EIO");
        const Run run =
            writer(dir.path(), 2, size, QStringLiteral("inject=%1:error=%2").arg(calls, error));
        QVERIFY2(run.finished && !killed(run) && run.code == 0, run.output.constData());
        QCOMPARE(readAll(file) == oldBytes, true);
        QCOMPARE(filesIn(dir.path()), QStringList{QString::fromLatin1(OfflineDisk::fileName)});
        const Run retry = writer(dir.path(), 2, size, QStringLiteral("trace=none"));
        QVERIFY2(retry.finished && retry.code == 0, retry.output.constData());
        QCOMPARE(OfflineDisk(dir.path()).load(),
                 std::optional(SnapshotSamples::make(2, size.items, size.edits)));
    }
};

QTEST_GUILESS_MAIN(TestSnapshotCrash)
#include "tst_snapshot_crash.moc"
