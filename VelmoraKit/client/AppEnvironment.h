#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// Which server this build talks to, worked out from the application id.
enum class AppEnvironment { production, test };

namespace Environment {

QString rawValue(AppEnvironment environment);
// org.velmora.app(.ios) is production, org.velmora.app(.ios).test is test, anything else null.
std::optional<AppEnvironment> forBundle(const std::optional<QString>& identifier);
// forBundle of this build's application id, worked out once.
std::optional<AppEnvironment> current();
QUrl baseURL(AppEnvironment environment);
// A placeholder on the reserved .invalid domain: requests to it fail as transport errors.
QUrl unresolvedBaseURL();
QString keychainService(std::optional<AppEnvironment> environment);

// A development server given with --server. Plain http is accepted for loopback hosts only.
struct ServerOverride {
    QUrl url;
    QString error; // set when the URL is refused
};
// The URL comes back without a trailing "/", so "<base>/mcp" never reads "//mcp".
ServerOverride parseServerOverride(const QString& text);
QUrl withoutTrailingSlash(QUrl url);
// The keychain service of an override: never the production or test one.
QString overrideKeychainService();

// What this run talks to: the override when one was set, else the build's environment.
void setServerOverride(const std::optional<QUrl>& url);
QUrl activeBaseURL();
QString activeKeychainService();

} // namespace Environment
