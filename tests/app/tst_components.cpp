#include <QAccessible>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlExpression>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

#include <memory>

namespace {

const QString qmlRoot = QStringLiteral("qrc:/velmora/qml/");
// What the gallery holds, in its order ("Sample" is its ItemRow).
const QStringList galleryTypes{"Sample",     "SectionChip", "ChannelPill",   "PriorityStars",
                               "LinkChip",   "IconButton",  "SectionStripe", "OfflineBadge",
                               "FlashBadge", "UndoToast",   "EmptyState",    "ScreenHint",
                               "HelpCard"};

// A list row, as wide as the list: an open action item with nothing extra.
QVariantMap plainRow(const QVariantMap& changes = {}) {
    QVariantMap row = QJsonDocument::fromJson(R"({"width": 680, "index": 0, "itemId": "i1",
        "title": "Send the budget", "source": "Priya", "done": false, "section": "action",
        "priority": "medium", "flagged": false, "channel": "teams", "channelLabel": "Teams",
        "dueLabel": "", "overdue": false, "ai": false, "firstLinkLabel": "", "firstLinkUrl": "",
        "moreLinks": 0, "sectionRedundant": false})")
                          .object()
                          .toVariantMap();
    row.insert(changes);
    return row;
}

} // namespace

class TestComponents : public QObject {
    Q_OBJECT

    std::unique_ptr<QQmlEngine> m_engine;
    QObject* m_style = nullptr;
    std::unique_ptr<QQuickWindow> m_host;
    QList<QObject*> m_made;

    QColor styleColor(const char* name) const { return m_style->property(name).value<QColor>(); }

    // One of the components, from the resources, on the host window.
    template <typename T = QQuickItem>
    T* make(const QString& file, const QVariantMap& properties = {}) {
        QQmlComponent component(m_engine.get(), QUrl(qmlRoot + file));
        QObject* object = component.createWithInitialProperties(properties);
        if (!object)
            qFatal("%s", qPrintable(component.errorString()));
        m_made.append(object);
        if (auto* item = qobject_cast<QQuickItem*>(object))
            item->setParentItem(m_host->contentItem());
        return qobject_cast<T*>(object);
    }
    static QQuickItem* part(QQuickItem* row, const char* name) {
        auto* item = row->findChild<QQuickItem*>(QString::fromLatin1(name));
        if (!item)
            qFatal("no part %s", name);
        return item;
    }
    // A loaded part shows; a Loader that isn't active shows nothing.
    static bool shows(QQuickItem* item) {
        if (item->inherits("QQuickLoader"))
            item = item->property("item").value<QQuickItem*>();
        return item && item->isVisible();
    }
    static QPoint centreOf(QQuickItem* item) {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
        const int styleId = qmlRegisterSingletonType(QUrl(qmlRoot + QStringLiteral("Style.qml")),
                                                     "Velmora", 1, 0, "Style");
        m_engine = std::make_unique<QQmlEngine>();
        m_style = m_engine->singletonInstance<QObject*>(styleId);
        QVERIFY(m_style);
        QQmlComponent host(m_engine.get(), QUrl(qmlRoot + QStringLiteral("VWindow.qml")));
        m_host.reset(qobject_cast<QQuickWindow*>(host.create()));
        QVERIFY2(m_host, qPrintable(host.errorString()));
        m_host->resize(700, 200);
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get(), 5000));
    }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanup() {
        qDeleteAll(m_made);
        m_made.clear();
        m_style->setProperty("dark", false);
        QTest::mouseMove(m_host.get(), QPoint(699, 199));
    }
    void cleanupTestCase() {
        m_host.reset();
        m_engine.reset();
    }

    // Which parts a row shows: "stripe flag stars ai link" as present, the "+N" of further
    // links, the due label's colour and the check button's name.
    void rowParts_data() {
        QTest::addColumn<QVariantMap>("changes");
        QTest::addColumn<QString>("parts");
        QTest::addColumn<QString>("more");
        QTest::addColumn<QString>("dueColour");
        QTest::addColumn<QString>("check");
        const auto row = [](const char* name, const QVariantMap& changes, const char* parts,
                            const char* more = "", const char* due = "",
                            const char* check = "Mark as done") {
            QTest::newRow(name) << changes << QString(parts) << QString(more) << QString(due)
                                << QString(check);
        };
        row("plain", {}, "stripe");
        row("section redundant", {{"sectionRedundant", true}}, "");
        row("flagged", {{"flagged", true}}, "stripe flag");
        row("high", {{"priority", "high"}}, "stripe stars");
        row("low", {{"priority", "low"}}, "stripe");
        row("three links",
            {{"firstLinkLabel", "Doc"}, {"firstLinkUrl", "https://example.com"}, {"moreLinks", 2}},
            "stripe link", "+2");
        row("due", {{"dueLabel", "Tomorrow"}}, "stripe", "", "secondaryText");
        row("overdue", {{"dueLabel", "Yesterday"}, {"overdue", true}}, "stripe", "", "warning");
        row("ai, done", {{"ai", true}, {"done", true}}, "stripe ai", "", "", "Mark as not done");
    }
    void rowParts() {
        QFETCH(QVariantMap, changes);
        QFETCH(QString, parts);
        QFETCH(QString, more);
        QFETCH(QString, dueColour);
        QQuickItem* row = make(QStringLiteral("list/ItemRow.qml"), plainRow(changes));

        QStringList shown;
        for (const char* name : {"stripe", "flag", "stars", "aiMark", "link"})
            if (shows(part(row, name)))
                shown << QString::fromLatin1(name).replace(QLatin1String("aiMark"), "ai");
        QCOMPARE(shown.join(u' '), parts);
        QQuickItem* moreLinks = part(row, "moreLinks");
        QCOMPARE(moreLinks->isVisible() ? moreLinks->property("text").toString() : QString(), more);
        QQuickItem* due = part(row, "due");
        QCOMPARE(due->isVisible(), !dueColour.isEmpty());
        if (!dueColour.isEmpty())
            QCOMPARE(due->property("color").value<QColor>(), styleColor(qPrintable(dueColour)));
        QAccessibleInterface* checkButton =
            QAccessible::queryAccessibleInterface(part(row, "check"));
        QVERIFY(checkButton);
        QTEST(checkButton->text(QAccessible::Name), "check");
    }

    // The flag comes with the pointer and stays while it's on the flag itself; the row's
    // controls and clicks come out as its signals.
    void rowInteraction() {
        QQuickItem* row = make(QStringLiteral("list/ItemRow.qml"), plainRow());
        QSignalSpy activated(row, SIGNAL(activated()));
        QSignalSpy toggle(row, SIGNAL(toggleRequested()));
        QSignalSpy flag(row, SIGNAL(flagRequested()));
        QSignalSpy menu(row, SIGNAL(contextMenuRequested(qreal, qreal)));
        QQuickItem* flagSlot = part(row, "flag");
        QQuickItem* title = part(row, "title");

        QTest::mouseMove(m_host.get(), centreOf(title));
        QTRY_VERIFY_WITH_TIMEOUT(shows(flagSlot), 2000);
        QTest::mouseMove(m_host.get(), centreOf(flagSlot));
        QTest::qWait(20);
        QVERIFY(shows(flagSlot));
        QTest::mouseClick(m_host.get(), Qt::LeftButton, {}, centreOf(flagSlot));
        QTRY_COMPARE_WITH_TIMEOUT(flag.count(), 1, 2000);

        QTest::mouseClick(m_host.get(), Qt::LeftButton, {}, centreOf(part(row, "check")));
        QTest::mouseClick(m_host.get(), Qt::LeftButton, {}, centreOf(title));
        QTest::mouseClick(m_host.get(), Qt::RightButton, {}, centreOf(title));
        QCOMPARE(toggle.count(), 1);
        QCOMPARE(activated.count(), 1);
        QCOMPARE(menu.count(), 1);
        QCOMPARE(menu.at(0).at(0).toReal(), row->mapFromScene(centreOf(title)).x());

        QTest::mouseMove(m_host.get(), QPoint(699, 199));
        QTRY_VERIFY_WITH_TIMEOUT(!shows(flagSlot), 2000);
    }

    // An icon button's tooltip comes with the pointer, goes with a press (it would stand over
    // what the click opened), and comes back once the pointer leaves and returns.
    void iconButtonTooltip() {
        QQuickItem* button =
            make(QStringLiteral("IconButton.qml"), {{"toolTipText", "Connections and Settings"}});
        QQmlExpression shown(qmlContext(button), button, QStringLiteral("ToolTip.visible"));
        const auto hover = [&] {
            QTest::mouseMove(m_host.get(), QPoint(300, 150));
            QTest::mouseMove(m_host.get(), centreOf(button));
            QTRY_VERIFY_WITH_TIMEOUT(shown.evaluate().toBool(), 3000);
        };
        hover();
        QTest::mouseClick(m_host.get(), Qt::LeftButton, {}, centreOf(button));
        QTRY_VERIFY_WITH_TIMEOUT(!shown.evaluate().toBool(), 2000);
        QTest::qWait(700);
        QVERIFY(!shown.evaluate().toBool());
        hover();
    }

    void contextMenu_data() {
        QTest::addColumn<bool>("done");
        QTest::addColumn<bool>("flagged");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("open") << false << false
                              << QStringList{"Mark as done", "Flag as urgent", "Copy title", "",
                                             "Delete"};
        QTest::newRow("done, flagged")
            << true << true
            << QStringList{"Mark as not done", "Unflag", "Copy title", "", "Delete"};
    }
    void contextMenu() {
        QFETCH(bool, done);
        QFETCH(bool, flagged);
        QFETCH(QStringList, texts);
        QObject* menu = make<QObject>(QStringLiteral("list/ItemContextMenu.qml"));
        QSignalSpy remove(menu, SIGNAL(remove()));
        menu->setProperty("done", done);
        menu->setProperty("flagged", flagged);
        const auto itemAt = [menu](int index) {
            QQuickItem* item = nullptr;
            QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem*, item),
                                      Q_ARG(int, index));
            return item;
        };
        QStringList shown;
        for (int i = 0; i < menu->property("count").toInt(); ++i)
            shown << itemAt(i)->property("text").toString();
        QCOMPARE(shown, texts);
        QMetaObject::invokeMethod(itemAt(int(texts.size()) - 1), "triggered");
        QCOMPARE(remove.count(), 1);
    }

    // The date picker from the keyboard, opened on 31 March 2026: the day the keys end on,
    // the day picked (none: null) and whether the calendar is still open.
    void datePickerKeys_data() {
        QTest::addColumn<QList<int>>("keys");
        QTest::addColumn<QDate>("cursor");
        QTest::addColumn<QDate>("picked");
        QTest::addColumn<bool>("open");
        const auto row = [](const char* name, QList<int> keys, QDate cursor, QDate picked = {}) {
            QTest::newRow(name) << keys << cursor << picked << !picked.isValid();
        };
        row("left", {Qt::Key_Left}, QDate(2026, 3, 30));
        row("right, into April", {Qt::Key_Right}, QDate(2026, 4, 1));
        row("up a week", {Qt::Key_Up}, QDate(2026, 3, 24));
        row("down a week", {Qt::Key_Down}, QDate(2026, 4, 7));
        row("page up: February's last day", {Qt::Key_PageUp}, QDate(2026, 2, 28));
        row("page down: April's last day", {Qt::Key_PageDown}, QDate(2026, 4, 30));
        row("home", {Qt::Key_Home}, QDate(2026, 3, 1));
        row("home, end", {Qt::Key_Home, Qt::Key_End}, QDate(2026, 3, 31));
        row("return picks", {Qt::Key_Right, Qt::Key_Return}, QDate(2026, 4, 1), QDate(2026, 4, 1));
        row("enter picks", {Qt::Key_Enter}, QDate(2026, 3, 31), QDate(2026, 3, 31));
        row("space picks", {Qt::Key_Left, Qt::Key_Space}, QDate(2026, 3, 30), QDate(2026, 3, 30));
        QTest::newRow("escape closes")
            << QList<int>{Qt::Key_Left, Qt::Key_Escape} << QDate(2026, 3, 30) << QDate() << false;
    }
    void datePickerKeys() {
        QFETCH(QList<int>, keys);
        QFETCH(QDate, cursor);
        QFETCH(QDate, picked);
        QFETCH(bool, open);
        QQuickItem* button =
            make(QStringLiteral("DateButton.qml"),
                 {{"title", "Due"}, {"date", QDateTime(QDate(2026, 3, 31), QTime(0, 0))}});
        auto* calendar = button->findChild<QObject*>(QStringLiteral("calendar"));
        QVERIFY(calendar);
        QSignalSpy pickedSpy(button, SIGNAL(picked(QVariant)));
        QTest::mouseClick(m_host.get(), Qt::LeftButton, {}, centreOf(button));
        QTRY_VERIFY_WITH_TIMEOUT(calendar->property("opened").toBool(), 2000);
        for (const int key : keys)
            QTest::keyClick(m_host.get(), Qt::Key(key));
        QCOMPARE(calendar->property("cursor").toDateTime().date(), cursor);
        QCOMPARE(pickedSpy.size() ? pickedSpy.at(0).at(0).toDateTime().date() : QDate(), picked);
        QTRY_COMPARE_WITH_TIMEOUT(calendar->property("visible").toBool(), open, 2000);
    }

    // Everything side by side in both schemes, for a person to look at.
    void screenshots() {
        const QString dir = qEnvironmentVariable("VELMORA_SCREENSHOT_DIR");
        for (const bool dark : {false, true}) {
            m_style->setProperty("dark", dark);
            // Beside the components in the resources, so it finds them by name.
            QQmlComponent component(m_engine.get(),
                                    QUrl(qmlRoot + QStringLiteral("ComponentGallery.qml")));
            std::unique_ptr<QQuickWindow> window(qobject_cast<QQuickWindow*>(component.create()));
            QVERIFY2(window, qPrintable(component.errorString()));
            QVERIFY(QTest::qWaitForWindowExposed(window.get(), 5000));
            // Each component (not a spacer) has a size of its own, in both schemes.
            QStringList sized;
            for (QQuickItem* line : window->findChild<QQuickItem*>("gallery")->childItems())
                for (QQuickItem* item :
                     line->inherits("QQuickRow") ? line->childItems() : QList{line})
                    if (const QString type = item->metaObject()->className();
                        !type.startsWith("QQuick")) {
                        QVERIFY2(item->implicitWidth() > 0 && item->implicitHeight() > 0,
                                 qPrintable(type));
                        if (!sized.contains(type.section(u'_', 0, 0)))
                            sized << type.section(u'_', 0, 0);
                    }
            QCOMPARE(sized, galleryTypes);
            auto* hoverMe = window->findChild<QQuickItem*>(QStringLiteral("hoverMe"));
            QVERIFY(hoverMe);
            // The first move only brings the pointer into the window.
            QTest::mouseMove(window.get(), QPoint(1, 1));
            QTest::mouseMove(window.get(), centreOf(hoverMe));
            QTRY_VERIFY_WITH_TIMEOUT(hoverMe->property("hovered").toBool(), 2000);
            QTest::qWait(50);
            const QImage image = window->grabWindow();
            QVERIFY(!image.isNull());
            if (!dir.isEmpty())
                QVERIFY(QDir().mkpath(dir) &&
                        image.save(QDir(dir).filePath(dark ? "components-dark.png"
                                                           : "components-light.png")));
        }
    }
};

QTEST_MAIN(TestComponents)
#include "tst_components.moc"
