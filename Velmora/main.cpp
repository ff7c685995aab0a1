#include "APIClient.h"
#include "AppEnvironment.h"
#include "VelmoraConfig.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QUrl>

#include <cstdio>

int main(int argc, char* argv[]) {
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Velmora"));
    QGuiApplication::setOrganizationName(QStringLiteral("Velmora"));
    QGuiApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption server(
        QStringLiteral("server"),
        QStringLiteral("Use the server at URL instead of the built-in one."),
        QStringLiteral("URL"));
    parser.addOption(server);
    parser.process(app);

    if (parser.isSet(server)) {
        const auto override = Environment::parseServerOverride(parser.value(server));
        if (!override.error.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(override.error));
            return 2;
        }
        APIClient::setBaseURLOverride(override.url);
    }

    QQmlApplicationEngine engine;
    engine.load(QUrl(QStringLiteral("qrc:/velmora/qml/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    return QGuiApplication::exec();
}
