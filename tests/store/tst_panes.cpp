#include "Panes.h"

#include <QtTest>

class TestPanes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void resolveTakesTheFormFirstThenTheScreenThenTheItem() {
        using P = PaneContent;
        QCOMPARE(PaneContents::resolve(true, true, true), P::draft);
        QCOMPARE(PaneContents::resolve(false, true, true), P::screen);
        QCOMPARE(PaneContents::resolve(false, false, true), P::item);
        QCOMPARE(PaneContents::resolve(false, false, false), P::placeholder);
        QCOMPARE(PaneContents::resolve(true, false, false), P::draft);
    }

    void paneWidth_data() {
        QTest::addColumn<double>("total");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<double>("width");
        QTest::newRow("default split") << 1000.0 << 0.42 << 420.0;
        QTest::newRow("the list's floor binds exactly") << 1000.0 << 0.7 << 620.0;
        QTest::newRow("the list keeps 380") << 860.0 << 0.7 << 480.0;
        QTest::newRow("the pane keeps its floor") << 600.0 << 0.3 << 340.0;
        QTest::newRow("a fraction beyond the range is held") << 1000.0 << 0.95 << 620.0;
        QTest::newRow("below the range too") << 2000.0 << 0.1 << 600.0;
    }
    void paneWidth() {
        QFETCH(double, total);
        QFETCH(double, fraction);
        QFETCH(double, width);
        QCOMPARE(PaneSplit::paneWidth(total, fraction, 380, 340), width);
    }

    void chromeSpecs() {
        using S = AppChrome::Screen;
        const AppChrome::Spec settings = AppChrome::spec(S::settings);
        QVERIFY(!settings.settingsEnabled && settings.aiEnabled && !settings.showsPeople);
        QCOMPARE(settings.buttonCount(), 2);
        const AppChrome::Spec updates = AppChrome::spec(S::updates);
        QVERIFY(updates.showsHelp && updates.showsPeople);
        QCOMPARE(updates.buttonCount(), 3);
        QVERIFY(!AppChrome::spec(S::aiAssistant).aiEnabled);
        QCOMPARE(PaneSplit::clamp(0.1), 0.3);
        QCOMPARE(PaneSplit::clamp(0.5), 0.5);
        QCOMPARE(Wire::string(S::briefingHistory), QStringLiteral("briefingHistory"));
    }
};

QTEST_MAIN(TestPanes)
#include "tst_panes.moc"
