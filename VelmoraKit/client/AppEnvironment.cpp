#include "AppEnvironment.h"

#include "VelmoraConfig.h"

#include <QHostAddress>

namespace Environment {

QString rawValue(AppEnvironment environment) {
    return environment == AppEnvironment::production ? QStringLiteral("production")
                                                     : QStringLiteral("test");
}

std::optional<AppEnvironment> forBundle(const std::optional<QString>& identifier) {
    if (!identifier)
        return std::nullopt;
    if (*identifier == u"org.velmora.app" || *identifier == u"org.velmora.app.ios")
        return AppEnvironment::production;
    if (*identifier == u"org.velmora.app.test" || *identifier == u"org.velmora.app.ios.test")
        return AppEnvironment::test;
    return std::nullopt;
}

std::optional<AppEnvironment> current() {
    static const auto environment = forBundle(QStringLiteral(VELMORA_APP_ID));
    return environment;
}

QUrl baseURL(AppEnvironment environment) {
    return QUrl(environment == AppEnvironment::production ? QStringLiteral(VELMORA_PRODUCTION_URL)
                                                          : QStringLiteral(VELMORA_TEST_URL));
}

QUrl unresolvedBaseURL() {
    return QUrl(QStringLiteral("https://unconfigured.velmora.invalid"));
}

QString keychainService(std::optional<AppEnvironment> environment) {
    if (!environment)
        return QStringLiteral("org.velmora.app.unconfigured");
    return *environment == AppEnvironment::production ? QStringLiteral("org.velmora.app")
                                                      : QStringLiteral("org.velmora.app.test");
}

namespace {

bool isLoopback(const QString& host) {
    if (host.compare(u"localhost", Qt::CaseInsensitive) == 0)
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

} // namespace

QUrl withoutTrailingSlash(QUrl url) {
    QString path = url.path();
    while (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    url.setPath(path);
    return url;
}

ServerOverride parseServerOverride(const QString& text) {
    const QUrl url = withoutTrailingSlash(QUrl(text, QUrl::StrictMode));
    if (!url.isValid() || url.host().isEmpty())
        return {{}, QStringLiteral("--server: not a URL: %1").arg(text)};
    const QString scheme = url.scheme().toLower();
    if (scheme == u"https")
        return {url, {}};
    if (scheme == u"http" && isLoopback(url.host()))
        return {url, {}};
    if (scheme == u"http")
        return {{},
                QStringLiteral("--server: plain http is only allowed for loopback hosts: %1")
                    .arg(text)};
    return {{}, QStringLiteral("--server: unsupported scheme: %1").arg(text)};
}

QString overrideKeychainService() {
    return QStringLiteral("org.velmora.app.server-override");
}

namespace {
std::optional<QUrl>& serverOverride() {
    static std::optional<QUrl> url;
    return url;
}
} // namespace

void setServerOverride(const std::optional<QUrl>& url) {
    serverOverride() = url ? std::optional(withoutTrailingSlash(*url)) : std::nullopt;
}

QUrl activeBaseURL() {
    if (serverOverride())
        return *serverOverride();
    if (const auto environment = current())
        return baseURL(*environment);
    return unresolvedBaseURL();
}

QString activeKeychainService() {
    return serverOverride() ? overrideKeychainService() : keychainService(current());
}

} // namespace Environment
