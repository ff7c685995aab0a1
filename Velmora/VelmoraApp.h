#pragma once

#include "AppDelegate.h"
#include "Clipboard.h"
#include "DesktopSettings.h"
#include "Keychain.h"
#include "LoginItems.h"
#include "MenuBarPanel.h"
#include "Notifications.h"
#include "Preferences.h"
#include "SecretStore.h"
#include "Store.h"
#include "TokenSetup.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QSettings>
#include <QTimer>

#include <memory>
#include <optional>
#include <vector>

class Tray;
class MainWindow;

struct LaunchOptions {
    // Read once, when no token is stored, and connected as a pasted token would be.
    QString tokenFile;
    // Started by the session at login: the tray host may not be up yet.
    bool autostart = false;

    // Tests: a keychain, a data folder and a settings file of their own, and no tray.
    SecretStore* secrets = nullptr;
    std::optional<QString> dataDirectory;
    QString settingsFile;
    bool useTray = true;
    // Where notifications go; none: the desktop's, on the session bus.
    Notifications* notifications = nullptr;
};

// The application: the long-lived state, the three windows (main, tray panel, settings) and
// the tray item, put together in the launch order.
class VelmoraApp : public QObject {
    Q_OBJECT

public:
    explicit VelmoraApp(LaunchOptions options, QObject* parent = nullptr);
    ~VelmoraApp() override;

    // Reads the token from the keychain, builds the state and the windows, opens the main
    // window and starts the launch order. False when the windows could not be loaded.
    QCoro::Task<bool> start();

    AppDelegate* delegate() const { return m_delegate.get(); }
    Store* store() const { return m_store.get(); }
    Preferences* prefs() const { return m_prefs.get(); }
    MenuBarPanel* panel() const { return m_panel.get(); }
    TokenSetup* tokenSetup() const { return m_tokenSetup.get(); }
    Tray* tray() const { return m_tray.get(); }
    MainWindow* mainModel() const { return m_mainWindowModel.get(); }
    QQmlEngine& engine() { return *m_engine; }
    QQuickWindow* mainWindow() const { return m_mainWindow; }
    // Both built on first use.
    QQuickWindow* panelWindow();
    QQuickWindow* settingsWindow();
    bool darkScheme() const { return m_dark; }

    void openMainWindow();
    void showPanel();
    void openSettings();
    // A later `velmora` launch handed its arguments over.
    void activate(const QStringList& arguments);
    // `--new` opens the new-task form, `--smart-add` runs Smart Add, in the main window.
    void runCommand(const QStringList& arguments);
    // The `velmora://` addresses among a launch's arguments: a sign-in's code goes to the
    // sign-in window (taken only while it waits for one), an invitation to invitationOpened.
    // True when there was any.
    bool openLinks(const QStringList& arguments);

    // Appearance picked in the settings, or the desktop's own when "Match system".
    static bool isDark(Appearance appearance, bool desktopPrefersDark);

Q_SIGNALS:
    void started();
    // `velmora://i/<code>`: an invitation link opened on this computer, for the people
    // screens to show.
    void invitationOpened(const QString& code);

private:
    QQuickWindow* load(const QString& file);
    void applyScheme();
    void applyTaskbarEntry();
    void connectFromTokenFile();
    QCoro::Task<> setUpTray();

    LaunchOptions m_options;
    std::unique_ptr<SecretStore> m_ownSecrets;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<XdgAutostart> m_loginItems;
    std::unique_ptr<DesktopSettings> m_desktop;
    std::unique_ptr<Store> m_store;
    std::unique_ptr<Preferences> m_prefs;
    std::unique_ptr<AppDelegate> m_delegate;
    std::unique_ptr<MenuBarPanel> m_panel;
    std::unique_ptr<TokenSetup> m_tokenSetup;
    std::unique_ptr<Clipboard> m_clipboard;
    std::unique_ptr<MainWindow> m_mainWindowModel;
    std::unique_ptr<QQmlEngine> m_engine;
    // The loaded windows, deleted before the engine.
    std::vector<std::unique_ptr<QObject>> m_roots;
    std::unique_ptr<Tray> m_tray;
    std::unique_ptr<Notifications> m_ownNotifications;
    QPointer<QQuickWindow> m_mainWindow;
    QPointer<QQuickWindow> m_panelWindow;
    QPointer<QQuickWindow> m_settingsWindow;
    QTimer m_heapTrim;
    QObject* m_style = nullptr;
    bool m_dark = false;
};
