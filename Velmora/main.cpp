#include "AppEnvironment.h"
#include "SceneGraph.h"
#include "SignIn.h"
#include "SingleInstance.h"
#include "VelmoraApp.h"
#include "VelmoraConfig.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <cstdio>

int main(int argc, char* argv[]) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption server(
        QStringLiteral("server"),
        QStringLiteral("Use the server at URL instead of the built-in one."),
        QStringLiteral("URL"));
    const QCommandLineOption tokenFile(
        QStringLiteral("token-file"),
        QStringLiteral("When no token is stored, connect with the token in FILE."),
        QStringLiteral("FILE"));
    const QCommandLineOption autostart(QStringLiteral("autostart"),
                                       QStringLiteral("Started by the session at login."));
    // Bound to a desktop shortcut, these reach the running app (Wayland has no global keys
    // of an app's own).
    const QCommandLineOption newTask(QStringLiteral("new"),
                                     QStringLiteral("Open the new-task form."));
    const QCommandLineOption smartAdd(QStringLiteral("smart-add"),
                                      QStringLiteral("Turn the clipboard into a new task."));
    QCommandLineOption activationToken(QStringLiteral("activation-token"),
                                       QStringLiteral("Passed on from a later launch."),
                                       QStringLiteral("TOKEN"));
    activationToken.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption startupId(QStringLiteral("startup-id"),
                                 QStringLiteral("Passed on from a later launch."),
                                 QStringLiteral("ID"));
    startupId.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions(
        {server, tokenFile, autostart, newTask, smartAdd, activationToken, startupId});

    // A refused --server is reported before any window system is touched.
    if (parser.parse(arguments) && parser.isSet(server)) {
        const auto override = Environment::parseServerOverride(parser.value(server));
        if (!override.error.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(override.error));
            return 2;
        }
        Environment::setServerOverride(override.url);
    }

    // Qt's X11 connection takes DESKTOP_STARTUP_ID out of the environment as it opens.
    const Handover::Activation activation = Handover::fromEnvironment();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    QApplication::setOrganizationName(QStringLiteral("Velmora"));
    QApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    QApplication::setDesktopFileName(QStringLiteral(VELMORA_APP_ID));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/velmora/icons/org.velmora.app.svg")));
    parser.process(app);

    // The browser's sign-in callback starts `velmora URL` without --server: every running
    // app takes it, and only one that is signing in uses it.
    if (!SignIn::links(parser.positionalArguments()).isEmpty() &&
        SingleInstance::sendToEveryPrimary(
            {Environment::activeKeychainService(),
             Environment::keychainService(AppEnvironment::production),
             Environment::keychainService(AppEnvironment::test),
             Environment::overrideKeychainService()},
            arguments) > 0)
        return 0;

    // A second launch fronts the running app and leaves.
    SingleInstance instance(Environment::activeKeychainService());
    if (!instance.claim()) {
        // The desktop gave this launch the right to raise a window: it goes to the primary.
        if (instance.sendToPrimary(Handover::withActivation(arguments, activation)))
            return 0;
        std::fprintf(stderr, "Velmora is already running but did not answer.\n");
        return 1;
    }

    SceneGraph::chooseBackend();

    LaunchOptions options;
    options.tokenFile = parser.value(tokenFile);
    options.autostart = parser.isSet(autostart);
    VelmoraApp velmora(std::move(options));
    QObject::connect(&instance, &SingleInstance::activated, &velmora, &VelmoraApp::activate);
    [](VelmoraApp* velmora, QStringList arguments) -> QCoro::Task<> {
        auto starting = velmora->start();
        if (!co_await std::move(starting))
            QTimer::singleShot(0, [] { QCoreApplication::exit(1); });
        else {
            velmora->runCommand(arguments);
            velmora->openLinks(arguments);
        }
    }(&velmora, arguments);
    return QApplication::exec();
}
