#include "AppEnvironment.h"
#include "VelmoraConfig.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QUrl>

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
    parser.addOption(server);

    // A refused --server is reported before any window system is touched.
    if (parser.parse(arguments) && parser.isSet(server)) {
        const auto override = Environment::parseServerOverride(parser.value(server));
        if (!override.error.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(override.error));
            return 2;
        }
        Environment::setServerOverride(override.url);
    }

    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Velmora"));
    QGuiApplication::setOrganizationName(QStringLiteral("Velmora"));
    QGuiApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    parser.process(app);

    QQmlApplicationEngine engine;
    engine.load(QUrl(QStringLiteral("qrc:/velmora/qml/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    return QGuiApplication::exec();
}
