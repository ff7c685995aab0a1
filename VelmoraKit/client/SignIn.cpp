#include "SignIn.h"

#include <QUrlQuery>

namespace SignIn {

QUrl startURL(const QUrl& base, const QString& provider, const QString& deviceName) {
    if (!base.isValid() || base.isRelative())
        return {};
    QUrl url = base;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("auth/app/start"));
    // Fully encoded, so a '+' or '&' in a device name stays what it is.
    url.setQuery(
        QStringLiteral("provider=") + QString::fromLatin1(QUrl::toPercentEncoding(provider)) +
            QStringLiteral("&name=") + QString::fromLatin1(QUrl::toPercentEncoding(deviceName)),
        QUrl::StrictMode);
    return url;
}

std::optional<Link> route(const QString& argument) {
    if (argument.size() > 4096)
        return std::nullopt;
    const QUrl url(argument, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().compare(u"velmora", Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const auto usable = [](const QString& code) {
        return !code.isEmpty() && code.size() <= maxCodeLength;
    };
    if (url.host().compare(u"i", Qt::CaseInsensitive) == 0) {
        const QString code = url.path(QUrl::FullyDecoded).mid(1);
        if (url.path().startsWith(QLatin1Char('/')) && usable(code) && !code.contains(u'/'))
            return Link{Link::Kind::invitation, code};
        return std::nullopt;
    }
    // The callback's host and path are not looked at: the first `code` is the code.
    const QUrlQuery query(url);
    for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded))
        if (key == u"code")
            return usable(value) ? std::optional(Link{Link::Kind::signInCode, value})
                                 : std::nullopt;
    return std::nullopt;
}

QList<Link> links(const QStringList& arguments) {
    QList<Link> found;
    for (const QString& argument : arguments)
        if (const auto link = route(argument))
            found.push_back(*link);
    return found;
}

} // namespace SignIn
