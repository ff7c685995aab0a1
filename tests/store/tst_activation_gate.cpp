#include "ActivationGate.h"
#include "Await.h"

#include <QCoroTimer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

class TestActivationGate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void overlappingCallsShareOneRun() {
        ActivationGate gate;
        int runs = 0;
        QList<bool> results;
        const std::function<QCoro::Task<>()> work = [&]() -> QCoro::Task<> {
            ++runs;
            QTimer timer;
            timer.start(50);
            co_await timer;
        };
        auto caller = [&]() -> QCoro::Task<> {
            auto task = gate.run(work);
            results << co_await std::move(task);
        };
        auto first = caller();
        auto second = caller();
        auto third = caller();
        QVERIFY(gate.isRunning());
        TestAwait::await(std::move(first));
        TestAwait::await(std::move(second));
        TestAwait::await(std::move(third));
        QCOMPARE(runs, 1);
        QCOMPARE(results, (QList<bool>{true, false, false}));
        QVERIFY(!gate.isRunning());

        // Once it has ended, the next activation runs the work again.
        QVERIFY(TestAwait::await(gate.run(work)));
        QCOMPARE(runs, 2);
    }
};

QTEST_GUILESS_MAIN(TestActivationGate)
#include "tst_activation_gate.moc"
