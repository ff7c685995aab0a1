// Every input of the checked-in fuzz corpus, fed to its target's entry as velmora-fuzz
// does: a crash, a sanitizer report or a broken invariant (abort) fails the run.

#include "FuzzEntries.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTest>

class TestFuzzCorpus : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void replays_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("path"); // empty: the target has no corpus
        for (const auto& target : FuzzEntries::targets()) {
            const QString name = QString::fromLatin1(target.name);
            const QDir folder(QStringLiteral(VELMORA_FUZZ_CORPUS "/") + name);
            const QStringList files = folder.entryList(QDir::Files, QDir::Name);
            if (files.isEmpty())
                QTest::addRow("%s", qPrintable(name)) << name << QString();
            for (const QString& file : files)
                QTest::addRow("%s/%s", qPrintable(name), qPrintable(file))
                    << name << folder.filePath(file);
        }
    }
    void replays() {
        QFETCH(QString, target);
        QFETCH(QString, path);
        QVERIFY2(!path.isEmpty(), "no corpus for this target");
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        FuzzEntries::find(target.toStdString())(file.readAll());
    }
};

QTEST_GUILESS_MAIN(TestFuzzCorpus)
#include "tst_fuzz_corpus.moc"
