#include "AppRig.h"
#include "Await.h"
#include "DraftEditor.h"
#include "ItemEditor.h"
#include "ServerProcess.h"
#include "WireFormats.h"

#include <QDir>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

using TestAwait::await;

namespace {

// A signed-in Store of its own user on the shared server.
struct Fixture : StoreRig {
    ServerProcess& server;
    QString user;

    Fixture(ServerProcess& server, const QString& user)
        : StoreRig(server.baseURL(), server.createUser(user))
        , server(server)
        , user(user) {
        await(store.refresh(false));
    }
    QString add(const QString& title, const std::optional<QString>& who = std::nullopt) {
        if (!await(store.add(title, {}, who, Section::action, {}, Priority::medium, {},
                             LocalID::make())))
            throw std::runtime_error("add refused");
        for (const Item& item : store.document().items)
            if (item.title == title)
                return item.id;
        throw std::runtime_error("added item missing");
    }
    WireItem stored(const QString& id) {
        for (const WireItem& item : server.document(user).document.items)
            if (item.id == id)
                return item;
        throw std::runtime_error("not on the server");
    }
    // Another device renames the item; the Store hears of it on a refresh.
    void renameElsewhere(const QString& id, const QString& title) {
        auto stored = server.document(user).document;
        for (WireItem& item : stored.items)
            if (item.id == id)
                item.title = title;
        server.replaceDocument(user, stored);
        await(store.refresh(false));
    }
};

} // namespace

class TestItemEditor : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;
    QString nextUser() { return QStringLiteral("forms%1").arg(++users); }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
        ItemEditor::registerType();
        DraftEditor::registerType();
        qmlRegisterSingletonType(QUrl(QStringLiteral("qrc:/velmora/qml/Style.qml")), "Velmora", 1,
                                 0, "Style");
    }
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanupTestCase() { server.reset(); }

    // The form is rebuilt only when the pane moves to another item; a newer copy of the same
    // item leaves the fields and brings up the save bar, and "Revert" takes the newer copy.
    void editsResetOnlyOnAnotherItem() {
        Fixture f(*server, nextUser());
        const QString a = f.add(QStringLiteral("First"));
        const QString b = f.add(QStringLiteral("Second"));
        ItemEditor editor;
        editor.setStore(&f.store);
        editor.setItemId(a);
        QVERIFY(editor.exists() && !editor.dirty());
        QCOMPARE(editor.title(), QStringLiteral("First"));

        f.renameElsewhere(a, QStringLiteral("Newer"));
        QCOMPARE(editor.title(), QStringLiteral("First"));
        QVERIFY(editor.dirty());
        editor.setItemId(a); // the same id: nothing is dropped
        QCOMPARE(editor.title(), QStringLiteral("First"));
        editor.reset();
        QCOMPARE(editor.title(), QStringLiteral("Newer"));
        QVERIFY(!editor.dirty());

        editor.setNewLabel(QStringLiteral("half-typed")); // not an edit of the item
        QVERIFY(!editor.dirty());
        editor.setTitle(QStringLiteral("Unsaved"));
        editor.setItemId(b);
        QCOMPARE(editor.title(), QStringLiteral("Second"));
        QVERIFY(editor.newLabel().isEmpty() && !editor.dirty());

        editor.setItemId(QStringLiteral("gone"));
        QVERIFY(!editor.exists() && editor.title().isEmpty() && !editor.canSave());
    }

    void saveSendsTrimmedTitleAndNullForClearedWho() {
        Fixture f(*server, nextUser());
        const QString id = f.add(QStringLiteral("Call"), QStringLiteral("Ana"));
        ItemEditor editor;
        editor.setStore(&f.store);
        editor.setItemId(id);
        editor.setTitle(QStringLiteral(" \n "));
        QVERIFY(editor.dirty() && !editor.canSave());
        editor.setTitle(QStringLiteral("  Call Ana \n"));
        editor.setSource({});
        editor.setDateToToday();
        QVERIFY(editor.canSave());
        editor.save();
        // The Store applies the edits at once, so the form is clean before the server answers.
        QVERIFY(!editor.dirty());
        QCOMPARE(editor.title(), QStringLiteral("Call Ana"));
        QVERIFY(f.store.item(id)->isToday(QDateTime::currentDateTime()));
        QTRY_VERIFY_WITH_TIMEOUT(f.stored(id).title == QStringLiteral("Call Ana"), 5000);
        QVERIFY(!f.stored(id).source.has_value());
    }

    void linksChangeOnlyTheFormUntilSaved() {
        Fixture f(*server, nextUser());
        ItemEditor editor;
        editor.setStore(&f.store);
        editor.setItemId(f.add(QStringLiteral("Read up")));
        for (int i = 1; i <= 3; ++i) {
            QVERIFY(editor.hasRoomForLink());
            editor.setNewLabel(QStringLiteral("Doc %1").arg(i));
            editor.setNewURL(QStringLiteral("https://example.com/%1").arg(i));
            QVERIFY(editor.canAddLink());
            editor.addLink();
            QVERIFY(editor.newLabel().isEmpty() && editor.newURL().isEmpty());
        }
        QCOMPARE(editor.links().size(), 3);
        QVERIFY(!editor.hasRoomForLink() && editor.dirty());

        editor.removeLink(0);
        QVERIFY(editor.hasRoomForLink());
        QVERIFY(f.store.item(editor.itemId())->links.isEmpty());
        editor.setNewLabel(QStringLiteral("Again"));
        editor.setNewURL(QStringLiteral("https://example.com/2"));
        QVERIFY(!editor.canAddLink()); // the same address under another label
        editor.setNewURL(QStringLiteral("ftp://example.com/2"));
        QVERIFY(!editor.canAddLink());
    }

    void draftAddsOnceAndReportsDone() {
        Fixture f(*server, nextUser());
        DraftEditor draft;
        draft.setStore(&f.store);
        ItemForms::DraftSeed seed;
        seed.title = QStringLiteral("  Chase invoice ");
        seed.section = Section::waiting;
        seed.links = {{QStringLiteral("Invoice"), QUrl(QStringLiteral("https://i.example"))}};
        seed.notice = QStringLiteral("Filled in from your clipboard");
        draft.fill(seed);
        QCOMPARE(draft.linksLine(), QStringLiteral("1 link attached: Invoice"));
        QCOMPARE(draft.notice(), *seed.notice);
        QSignalSpy done(&draft, &DraftEditor::done);

        draft.add();
        QVERIFY(draft.adding() && !draft.canAdd());
        draft.add(); // a second press while the first is on its way
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 5000);
        QVERIFY(!draft.adding());
        const QList<Item> items = f.store.document().items;
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.first().title, QStringLiteral("Chase invoice"));
        QCOMPARE(items.first().section, Section::waiting);
        QCOMPARE(items.first().links, seed.links);
        QVERIFY(!items.first().source.has_value());
    }

    void draftStaysWhenTheStoreRefuses() {
        Fixture f(*server, nextUser());
        DraftEditor draft;
        draft.setStore(&f.store);
        draft.setTitle(QStringLiteral("Kept"));
        draft.setNote(QStringLiteral("Typed"));
        QSignalSpy done(&draft, &DraftEditor::done);
        QSignalSpy cancelled(&draft, &DraftEditor::cancelled);
        f.server.failNext(QStringLiteral("addItem"), 500);
        draft.add();
        QTRY_VERIFY_WITH_TIMEOUT(!draft.adding(), 5000);
        QCOMPARE(done.count(), 0);
        QVERIFY(draft.canAdd() && draft.note() == QStringLiteral("Typed"));
        draft.cancel();
        QCOMPARE(cancelled.count(), 1);
    }

    void formsLoadWithoutWarnings_data() {
        QTest::addColumn<QString>("file");
        QTest::newRow("item detail") << "ItemDetail.qml";
        QTest::newRow("draft pane") << "DraftPane.qml";
    }
    void formsLoadWithoutWarnings() {
        QFETCH(QString, file);
        Fixture f(*server, nextUser());
        const QString id = f.add(QStringLiteral("Shown"));
        QQmlEngine engine;
        QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/velmora/qml/") + file));
        QQuickWindow window;
        window.resize(420, 600);
        QVariantMap initial{{QStringLiteral("store"), QVariant::fromValue(&f.store)}};
        if (file == u"ItemDetail.qml")
            initial.insert(QStringLiteral("itemId"), id);
        std::unique_ptr<QObject> root(component.createWithInitialProperties(initial));
        QVERIFY2(root, qPrintable(component.errorString()));
        auto* item = qobject_cast<QQuickItem*>(root.get());
        item->setParentItem(window.contentItem());
        item->setSize(window.size());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window, 5000));

        auto* editor = root->property("editor").value<QObject*>();
        QVERIFY(editor);
        editor->setProperty("title", QStringLiteral("Edited"));
        editor->setProperty("due", QDateTime::currentDateTime());
        QVERIFY(editor->property("due").toDateTime().isValid());
        if (const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOT_DIR");
            !folder.isEmpty()) {
            QTest::qWait(400); // the switch's handle slides
            window.grabWindow().save(QDir(folder).filePath(file + QStringLiteral(".png")));
        }
        if (file != u"ItemDetail.qml") {
            // The form opens with the title field taking the keys.
            QTRY_VERIFY_WITH_TIMEOUT(
                root->findChild<QQuickItem*>(QStringLiteral("titleField"))->hasActiveFocus(), 2000);
            QSignalSpy cancelled(root.get(), SIGNAL(cancelled()));
            QTest::keyClick(&window, Qt::Key_Escape);
            QCOMPARE(cancelled.count(), 1);
            return;
        }
        QVERIFY(editor->property("dirty").toBool());
        QTRY_VERIFY_WITH_TIMEOUT(root->findChild<QQuickItem*>("saveBar")->isVisible(), 2000);
        // A link chip and the limit line draw without complaint.
        editor->setProperty("newLabel", QStringLiteral("Spec"));
        editor->setProperty("newURL", QStringLiteral("https://example.com/spec"));
        QMetaObject::invokeMethod(editor, "addLink");
        editor->setProperty("title", QString(250, u'x'));
        QCOMPARE(editor->property("title").toString().size(), FieldLimits::title);
        QTRY_COMPARE_WITH_TIMEOUT(
            root->findChild<QQuickItem*>(QStringLiteral("linkCount"))->property("text").toString(),
            QStringLiteral("1 of 3"), 2000);
        auto* dueButton = root->findChild<QQuickItem*>(QStringLiteral("dueButton"));
        QMetaObject::invokeMethod(dueButton, "clicked");
        auto* calendar = dueButton->findChild<QObject*>(QStringLiteral("calendar"));
        QTRY_VERIFY_WITH_TIMEOUT(calendar->property("opened").toBool(), 2000);
        if (const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOT_DIR");
            !folder.isEmpty())
            window.grabWindow().save(QDir(folder).filePath(QStringLiteral("calendar.png")));
        QMetaObject::invokeMethod(calendar, "close");
        // The popover and the confirmation open on the editor's flags and report back.
        for (const char* flag : {"sending", "confirmingDelete"}) {
            editor->setProperty(flag, true);
            auto* popup = root->findChild<QObject*>(flag == QByteArray("sending")
                                                        ? QStringLiteral("sendPopup")
                                                        : QStringLiteral("deleteDialog"));
            QTRY_VERIFY_WITH_TIMEOUT(popup->property("opened").toBool(), 2000);
        }
        QSignalSpy deleted(root.get(), SIGNAL(deleteRequested(QString)));
        QMetaObject::invokeMethod(editor, "confirmDelete");
        QCOMPARE(deleted.count(), 1);
        QCOMPARE(deleted.first().first().toString(), id);
        QTRY_VERIFY_WITH_TIMEOUT(
            !root->findChild<QObject*>("deleteDialog")->property("visible").toBool(), 2000);
    }
};

QTEST_MAIN(TestItemEditor)
#include "tst_item_editor.moc"
