#include "VelmoraApp.h"

#include "StartupNotice.h"
#include "TaskbarHint.h"

#include "AppEnvironment.h"
#include "BriefingPanelModel.h"
#include "ConnectionsModel.h"
#include "DraftEditor.h"
#include "HelpPages.h"
#include "ItemEditor.h"
#include "MainWindow.h"
#include "PeoplePaneModel.h"
#include "ReviewPaneModel.h"
#include "RulesViewModel.h"
#include "ScheduleSettingsModel.h"
#include "SignIn.h"
#include "SingleInstance.h"
#include "Tray.h"
#include "TunePanelModel.h"
#include "VelmoraConfig.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQuickStyle>
#include <QStandardPaths>
#include <QtQml>

#include <malloc.h>

namespace {

// The demo run hands over a token file; anything longer than this is not a token.
constexpr qint64 tokenFileLimit = 4096;

int styleTypeId() {
    static const int id = qmlRegisterSingletonType(
        QUrl(QStringLiteral("qrc:/velmora/qml/Style.qml")), "Velmora", 1, 0, "Style");
    return id;
}

} // namespace

VelmoraApp::VelmoraApp(LaunchOptions options, QObject* parent)
    : QObject(parent)
    , m_options(std::move(options)) {}

VelmoraApp::~VelmoraApp() {
    // Windows go before the objects their bindings read.
    m_tray.reset();
    m_roots.clear();
    m_engine.reset();
}

bool VelmoraApp::isDark(Appearance appearance, bool desktopPrefersDark) {
    switch (appearance) {
    case Appearance::light:
        return false;
    case Appearance::dark:
        return true;
    case Appearance::system:
        break;
    }
    return desktopPrefersDark;
}

namespace {
// Smart Add runs on a client of its own, made from the base URL and the token at the call.
QCoro::Task<SmartInsertOutcome> smartInsert(QString token, QString text) {
    APIClient client(APIClient::defaultBaseURL(),
                     token.isEmpty() ? std::nullopt : std::optional(token));
    auto call = client.smartInsert(std::move(text));
    co_return co_await std::move(call);
}
} // namespace

QCoro::Task<bool> VelmoraApp::start() {
    QPointer<VelmoraApp> self(this);
    SecretStore* secrets = m_options.secrets;
    if (!secrets) {
        m_ownSecrets = std::make_unique<QtKeychainStore>();
        secrets = m_ownSecrets.get();
    }
    Keychain keychain(*secrets, Environment::activeKeychainService());
    auto reading = keychain.readToken();
    const std::optional<QString> token = co_await std::move(reading);
    if (!self)
        co_return false;

    // A run against another server keeps its own offline file, never the real one's.
    std::optional<QString> dataDirectory = m_options.dataDirectory;
    if (!dataDirectory &&
        Environment::activeKeychainService() == Environment::overrideKeychainService())
        dataDirectory = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                        QStringLiteral("/Velmora/server-override");

    m_settings = m_options.settingsFile.isEmpty()
                     ? std::make_unique<QSettings>()
                     : std::make_unique<QSettings>(m_options.settingsFile, QSettings::IniFormat);
    // The path quoted, as a desktop entry's Exec wants when it holds spaces.
    m_loginItems =
        std::make_unique<XdgAutostart>(QStringLiteral(VELMORA_APP_ID ".desktop"),
                                       QLatin1Char('"') + QCoreApplication::applicationFilePath() +
                                           QStringLiteral("\" --autostart"));
    m_desktop = std::make_unique<DesktopSettings>();

    auto* client = new APIClient(APIClient::defaultBaseURL(), token);
    m_store = std::make_unique<Store>(client, OfflineDisk(dataDirectory), std::move(keychain));
    // An edit's snapshot is written after the frame that shows it (see below), or after
    // 100 ms when no frame comes, as when the window is hidden.
    m_store->setDeferredSaves(true, 100);
    m_prefs = std::make_unique<Preferences>(*m_settings, *m_loginItems);
    m_delegate = std::make_unique<AppDelegate>(*m_store, *m_prefs);
    m_panel = std::make_unique<MenuBarPanel>(*m_delegate);
    m_tokenSetup = std::make_unique<TokenSetup>(*m_store);
    m_clipboard = std::make_unique<SystemClipboard>();
    m_mainWindowModel = std::make_unique<MainWindow>(
        *m_store, *m_delegate->router(), *m_prefs, *m_clipboard,
        [store = QPointer<Store>(m_store.get())](QString text) {
            return smartInsert(store ? store->client().token() : QString(), std::move(text));
        });
    connect(m_delegate.get(), &AppDelegate::aiRequested, m_mainWindowModel.get(),
            &MainWindow::openAI);
    m_tokenSetup->setReduceMotion(m_desktop->reduceMotion());
    connect(m_desktop.get(), &DesktopSettings::reduceMotionChanged, this,
            [this] { m_tokenSetup->setReduceMotion(m_desktop->reduceMotion()); });

    static const bool styled = [] {
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
        return true;
    }();
    Q_UNUSED(styled)
    const int styleId = styleTypeId();
    ItemEditor::registerType();
    ReviewPaneModel::registerType();
    RulesViewModel::registerType();
    TunePanelModel::registerType();
    BriefingPanelModel::registerType();
    HelpPages::registerType();
    PeoplePaneModel::registerType();
    DraftEditor::registerType();
    ConnectionsModel::registerType();
    ScheduleSettingsModel::registerType();
    // A plain engine: QQmlApplicationEngine adds a file selector that looks every QML file
    // and image up again under each selector folder (+linux, +fusion, the locale...), a third
    // of a millisecond per URL, a fifth of the start's instructions; the app ships none.
    m_engine = std::make_unique<QQmlEngine>();
    QQmlContext* context = m_engine->rootContext();
    context->setContextProperty(QStringLiteral("app"), m_delegate.get());
    context->setContextProperty(QStringLiteral("store"), m_store.get());
    context->setContextProperty(QStringLiteral("prefs"), m_prefs.get());
    context->setContextProperty(QStringLiteral("panel"), m_panel.get());
    context->setContextProperty(QStringLiteral("tokenSetup"), m_tokenSetup.get());
    context->setContextProperty(QStringLiteral("mainWindow"), m_mainWindowModel.get());
    m_style = m_engine->singletonInstance<QObject*>(styleId);
    applyScheme();
    connect(m_prefs.get(), &Preferences::appearanceChanged, this, &VelmoraApp::applyScheme);
    connect(m_desktop.get(), &DesktopSettings::prefersDarkChanged, this, &VelmoraApp::applyScheme);

    m_mainWindow = load(QStringLiteral("Main.qml"));
    // The tray panel and the settings window are built when first opened: most launches never
    // show them, and without a tray the panel cannot be opened at all.
    if (!m_mainWindow)
        co_return false;
    // Reading a document (the snapshot at launch, each full reply) leaves most of the parse's
    // memory free but kept by malloc, scattered between what stays: at 50,000 tasks some
    // 80 MiB. Once the changes stop, the free pages go back to the system.
    m_heapTrim.setSingleShot(true);
    m_heapTrim.setInterval(200);
    connect(&m_heapTrim, &QTimer::timeout, this, [] { malloc_trim(0); });
    connect(m_store.get(), &Store::documentChanged, &m_heapTrim, qOverload<>(&QTimer::start));
    m_heapTrim.start();
    connect(
        m_mainWindow, &QQuickWindow::frameSwapped, m_store.get(),
        [store = m_store.get()] {
            if (store->savePending())
                store->flushSnapshot();
        },
        Qt::QueuedConnection);

    m_delegate->setOpenMainWindow([this] { openMainWindow(); });
    if (!m_options.notifications) {
        const QString entry = QGuiApplication::desktopFileName();
        m_ownNotifications = std::make_unique<FreedesktopNotifications>(
            QDBusConnection::sessionBus(), QStringLiteral("Velmora"),
            QStringLiteral("org.velmora.app"), entry.isEmpty() ? QStringLiteral("velmora") : entry);
    }
    m_delegate->setNotifications(m_options.notifications ? m_options.notifications
                                                         : m_ownNotifications.get());
    connect(m_delegate.get(), &AppDelegate::settingsRequested, this, &VelmoraApp::openSettings);
    applyTaskbarEntry();
    connect(m_prefs.get(), &Preferences::showInDockChanged, this, &VelmoraApp::applyTaskbarEntry);

    // Without a tray nothing could bring a closed window back, so closing it quits.
    QGuiApplication::setQuitOnLastWindowClosed(true);
    if (m_options.useTray) {
        auto trayReady = setUpTray();
        co_await std::move(trayReady);
        if (!self)
            co_return false;
    }

    m_delegate->launch();
    openMainWindow();
    // The briefing's unread mark is read at launch and each time the main window comes up.
    m_store->refreshLatestBriefing();
    connect(m_mainWindow, &QWindow::visibleChanged, m_store.get(),
            [store = m_store.get()](bool visible) {
                if (visible)
                    store->refreshLatestBriefing();
            });
    if (!m_store->hasToken() && !m_options.tokenFile.isEmpty())
        connectFromTokenFile();
    Q_EMIT started();
    co_return true;
}

QCoro::Task<> VelmoraApp::setUpTray() {
    QPointer<VelmoraApp> self(this);
    if (m_options.autostart) {
        auto waiting = TrayPlacement::waitForStatusNotifierHost(5000);
        co_await std::move(waiting);
        if (!self)
            co_return;
    }
    if (!Tray::isAvailable())
        co_return;
    m_tray = std::make_unique<Tray>(*m_panel);
    connect(m_tray.get(), &Tray::panelRequested, this, &VelmoraApp::showPanel);
    connect(m_tray.get(), &Tray::openRequested, this, &VelmoraApp::openMainWindow);
    connect(m_tray.get(), &Tray::quitRequested, m_delegate.get(), &AppDelegate::quit);
    m_tray->show();
    QGuiApplication::setQuitOnLastWindowClosed(false);
}

QQuickWindow* VelmoraApp::load(const QString& file) {
    QQmlComponent component(m_engine.get(), QUrl(QStringLiteral("qrc:/velmora/qml/") + file));
    std::unique_ptr<QObject> root(component.beginCreate(m_engine->rootContext()));
    if (!root) {
        qWarning().noquote() << component.errorString();
        return nullptr;
    }
    auto* window = qobject_cast<QQuickWindow*>(root.get());
    // As with QQmlApplicationEngine, the first window paces what QML makes asynchronously (the
    // list's rows beyond the view) between its frames; without a controller all of it would be
    // made at once. Set before the window's items complete, when the list lays out.
    if (window && !m_engine->incubationController())
        m_engine->setIncubationController(window->incubationController());
    component.completeCreate();
    m_roots.push_back(std::move(root));
    return window;
}

void VelmoraApp::applyScheme() {
    m_dark = isDark(m_prefs->appearance(), m_desktop->prefersDark());
    if (m_style)
        m_style->setProperty("dark", m_dark);
}

void VelmoraApp::applyTaskbarEntry() {
    if (!m_mainWindow)
        return;
    // A tool window carrying the skip-taskbar hint has no taskbar entry (some taskbars list
    // tool windows all the same). Window managers read both when a window maps, so a shown
    // window is mapped again to take the change at once.
    const Qt::WindowFlags type = m_prefs->showInDock() ? Qt::Window : Qt::Tool;
    const Qt::WindowFlags flags = (m_mainWindow->flags() & ~Qt::WindowType_Mask) | type;
    if (flags == m_mainWindow->flags())
        return;
    const bool visible = m_mainWindow->isVisible();
    if (visible)
        m_mainWindow->hide();
    m_mainWindow->setFlags(flags);
    TaskbarHint::apply(m_mainWindow, !m_prefs->showInDock());
    if (visible)
        m_mainWindow->show();
}

void VelmoraApp::openMainWindow() {
    if (!m_mainWindow)
        return;
    if (m_mainWindow->windowStates() & Qt::WindowMinimized)
        m_mainWindow->setWindowStates(m_mainWindow->windowStates() & ~Qt::WindowMinimized);
    m_mainWindow->show();
    m_mainWindow->raise();
    m_mainWindow->requestActivate();
}

QQuickWindow* VelmoraApp::panelWindow() {
    if (!m_panelWindow && m_engine) {
        m_panelWindow = load(QStringLiteral("MenuBarPanel.qml"));
        if (m_panelWindow)
            connect(m_panelWindow, &QWindow::visibleChanged, m_panel.get(),
                    &MenuBarPanel::setShown);
    }
    return m_panelWindow;
}

void VelmoraApp::showPanel() {
    QQuickWindow* window = panelWindow();
    if (!window)
        return;
    if (window->isVisible()) {
        window->hide();
        return;
    }
    if (m_tray)
        window->setPosition(m_tray->panelOrigin(window->size()));
    window->show();
    window->raise();
    window->requestActivate();
}

QQuickWindow* VelmoraApp::settingsWindow() {
    if (!m_settingsWindow && m_engine)
        m_settingsWindow = load(QStringLiteral("settings/SettingsWindow.qml"));
    return m_settingsWindow;
}

void VelmoraApp::openSettings() {
    QQuickWindow* window = settingsWindow();
    if (!window)
        return;
    window->show();
    window->raise();
    window->requestActivate();
}

void VelmoraApp::activate(const QStringList& arguments) {
    // The launcher's activation token lets a Wayland desktop front the window; Qt spends
    // it on the next activation. On X11 the launch's startup id does, once the window
    // carries it.
    const Handover::Activation activation = Handover::activationOf(arguments);
    if (!activation.token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", activation.token.toLatin1());
    openLinks(arguments);
    openMainWindow();
    if (!activation.startupId.isEmpty())
        StartupNotice::finish(m_mainWindow, activation.startupId);
    runCommand(arguments);
}

void VelmoraApp::runCommand(const QStringList& arguments) {
    if (!m_mainWindowModel || !m_store->hasToken())
        return;
    if (arguments.contains(QLatin1String("--smart-add")))
        m_mainWindowModel->smartAdd();
    else if (arguments.contains(QLatin1String("--new")))
        m_mainWindowModel->openNewTask();
}

bool VelmoraApp::openLinks(const QStringList& arguments) {
    const QList<SignIn::Link> links = SignIn::links(arguments);
    for (const SignIn::Link& link : links) {
        if (link.kind == SignIn::Link::Kind::invitation)
            Q_EMIT invitationOpened(link.code);
        else if (m_tokenSetup)
            m_tokenSetup->acceptCode(link.code);
    }
    return !links.isEmpty();
}

void VelmoraApp::connectFromTokenFile() {
    QFile file(m_options.tokenFile);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("velmora: cannot read the token file: %s", qPrintable(file.errorString()));
        return;
    }
    const QString text = QString::fromUtf8(file.read(tokenFileLimit)).trimmed();
    file.close();
    m_tokenSetup->connectWith(text);
}
