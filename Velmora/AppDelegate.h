#pragma once

#include "PaneRouter.h"
#include "Preferences.h"
#include "Reminder.h"
#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QVariantList>

#include <functional>

// The one object that lives as long as the process: it owns the long-lived state, runs the
// launch order, watches the Store for conflicts, and carries the commands the menus, the
// tray and the panel share. Screens call these rather than re-implementing them.
class AppDelegate : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store CONSTANT)
    Q_PROPERTY(ViewState* view READ view CONSTANT)
    Q_PROPERTY(Preferences* prefs READ prefs CONSTANT)
    Q_PROPERTY(PaneRouter* router READ router CONSTANT)
    Q_PROPERTY(bool hideDone READ hideDone NOTIFY hideDoneChanged)
    Q_PROPERTY(QString webURL READ webURL CONSTANT)
    Q_PROPERTY(QString versionLabel READ versionLabel CONSTANT)

public:
    // `store` and `prefs` outlive this object.
    AppDelegate(Store& store, Preferences& prefs, QObject* parent = nullptr);

    Store* store() const { return &m_store; }
    ViewState* view() const { return m_store.view(); }
    Preferences* prefs() const { return &m_prefs; }
    PaneRouter* router() const { return &m_router; }
    bool conflictSurfaced() const { return m_conflictSurfaced; }
    bool hideDone() const { return m_store.document().settings.hideDone; }
    QString webURL() const;
    QString versionLabel() const;
    Q_INVOKABLE QString hourLabel(int hour) const;

    // Opens and fronts the main window; installed by the shell once the window exists.
    void setOpenMainWindow(std::function<void()> open);
    // Where the daily reminder is shown, and the clock it reads (the system's when empty).
    // `notifications` outlives this object.
    void setNotifications(Notifications* notifications, DailyReminder::Clock clock = {});
    DailyReminder* reminder() const { return m_reminder.get(); }

    // The launch order: the background work starts, then the watch loop arms without
    // waiting for it. `launched` fires when the background work has ended.
    void launch();
    // One pass of the watch loop runs for each change of the conflict, the document or the
    // last refresh; the next is armed only when the pass has ended.
    void watchStore();
    void surfaceConflictIfNeeded();
    // Part of every watch pass and the launch; the daily reminder hooks in here.
    QCoro::Task<> syncNotifications();

    // --- commands ---
    Q_INVOKABLE void openMainWindow();
    Q_INVOKABLE void openAI();
    Q_INVOKABLE void openRules();
    Q_INVOKABLE void openConnections();
    Q_INVOKABLE void openSettings();
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void setHideDone(bool value);
    Q_INVOKABLE void clearFilters();
    Q_INVOKABLE void toggle(const QString& id);
    Q_INVOKABLE void quit();
    // "Got it" on the welcome.
    Q_INVOKABLE void dismissWelcome();
    // "" is every section.
    Q_INVOKABLE QVariantList sectionChoices() const;
    Q_INVOKABLE QVariantList sortChoices() const;
    Q_INVOKABLE QVariantList channelChoices() const;
    // A menu action's shortcut as the desktop writes it ("Ctrl+Z"): a StandardKey or a text.
    Q_INVOKABLE static QString shortcutText(const QVariant& shortcut);

Q_SIGNALS:
    void hideDoneChanged();
    void settingsRequested();
    void launched();
    void passFinished();
    // The AI pane was asked for (tray panel, menu): the main window opens it on waiting
    // suggestions.
    void aiRequested();

private Q_SLOTS:
    // logind's PrepareForSleep: false on resume.
    void sleepChanged(bool sleeping);

private:
    // Posts a notification, once, for each urgent agent task that a refresh brought in.
    void announceUrgentItems();
    QCoro::Task<> launchTasks();
    QCoro::Task<> watchPass();
    void open(std::optional<PaneScreen> screen);

    Store& m_store;
    Preferences& m_prefs;
    mutable PaneRouter m_router;
    bool m_conflictSurfaced = false;
    bool m_watchArmed = false;
    bool m_hideDone = false;
    std::function<void()> m_openMainWindow = [] {};
    std::unique_ptr<DailyReminder> m_reminder;
    QPointer<Notifications> m_notifications;
    // The urgent agent tasks already known; none until a document from the server is held.
    std::optional<QSet<QString>> m_urgentSeen;
    qint64 m_urgentVersion = -1;
};
