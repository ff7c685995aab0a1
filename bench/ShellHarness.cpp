#include "ShellHarness.h"

#include "AppEnvironment.h"
#include "Keychain.h"
#include "OfflineSnapshot.h"
#include "SampleDocument.h"
#include "VelmoraConfig.h"
#include "WireJson.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QIcon>
#include <QPointer>
#include <QStandardPaths>
#include <QTimer>

namespace {

constexpr auto unreachableServer = "http://127.0.0.1:9/";
// Well-formed (32+ letters and digits), so the app takes it as a stored token.
constexpr auto sampleToken = "benchtoken0123456789abcdefghijklmnopqrstuv";
constexpr int startTimeoutMs = 30000;

QString dataFolder(const QString& folder) {
    return QDir(folder).filePath(QStringLiteral("data"));
}

} // namespace

bool ShellHarness::writeSnapshot(const QString& folder, int itemCount) {
    OfflineSnapshot snapshot;
    snapshot.wireDocument = WireJson::encode(sampleDocument(itemCount));
    snapshot.syncedVersion = 1;
    snapshot.syncedAt = QDateTime::currentDateTimeUtc().addSecs(-3600);
    const OfflineDisk disk(dataFolder(folder));
    disk.save(snapshot);
    return disk.load().has_value();
}

void ShellHarness::prepareProcess() {
    // The software scene graph is what a machine without a usable GPU gets, and what a
    // virtual X server offers.
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    Environment::setServerOverride(QUrl(QString::fromLatin1(unreachableServer)));
}

void ShellHarness::nameApplication() {
    QStandardPaths::setTestModeEnabled(true);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    QApplication::setOrganizationName(QStringLiteral("Velmora"));
    QApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    QApplication::setDesktopFileName(QStringLiteral(VELMORA_APP_ID));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/velmora/icons/org.velmora.app.svg")));
}

BenchShell::BenchShell(const QString& folder) {
    // The token is where the keychain would hold it: the app reads it at start.
    {
        Keychain keychain(m_secrets, Environment::activeKeychainService());
        auto storing = keychain.store(QString::fromLatin1(sampleToken));
        (void)storing; // the in-memory store finishes before it returns
    }
    LaunchOptions options;
    options.secrets = &m_secrets;
    options.dataDirectory = dataFolder(folder);
    options.settingsFile = QDir(folder).filePath(QStringLiteral("settings.ini"));
    options.useTray = false;
    m_app = std::make_unique<VelmoraApp>(std::move(options));
}

BenchShell::~BenchShell() = default;

QString BenchShell::start(const std::function<void()>& windowsBuilt,
                          const std::function<void()>& firstFrame) {
    QEventLoop untilFirstFrame;
    bool drawn = false;
    // Shared with the start below, which may end after this returns.
    const auto failed = std::make_shared<bool>(false);
    VelmoraApp* app = m_app.get();
    QObject::connect(app, &VelmoraApp::started, &untilFirstFrame, [&] {
        if (windowsBuilt)
            windowsBuilt();
        QObject::connect(app->mainWindow(), &QQuickWindow::frameSwapped, &untilFirstFrame, [&] {
            if (drawn)
                return;
            drawn = true;
            if (firstFrame)
                firstFrame();
            untilFirstFrame.quit();
        });
    });
    [](VelmoraApp* app, std::shared_ptr<bool> failed, QPointer<QEventLoop> loop) -> QCoro::Task<> {
        auto starting = app->start();
        if (!co_await std::move(starting)) {
            *failed = true;
            if (loop)
                loop->quit();
        }
    }(app, failed, &untilFirstFrame);
    QTimer::singleShot(startTimeoutMs, &untilFirstFrame, &QEventLoop::quit);
    if (!*failed && !drawn)
        untilFirstFrame.exec();
    if (*failed)
        return QStringLiteral("the windows did not load");
    if (!drawn)
        return QStringLiteral("the main window drew no frame within 30 s (is a display set?)");
    return {};
}
