#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// The browser sign-in's pure parts: the start page's address, and what a `velmora://`
// address handed to the app asks for.
namespace SignIn {

inline constexpr int waitMs = 5 * 60 * 1000;
inline constexpr qsizetype maxCodeLength = 256;

// `<base>/auth/app/start?provider=<provider>&name=<device>`; invalid when `base` is.
QUrl startURL(const QUrl& base, const QString& provider, const QString& deviceName);

// A `velmora://` address: a sign-in's callback with its code, or an invitation's link
// (`velmora://i/<code>`). Anything else, or a code that is empty or too long, is nothing.
struct Link {
    enum class Kind { signInCode, invitation };
    Kind kind;
    QString code;
    bool operator==(const Link&) const = default;
};
std::optional<Link> route(const QString& argument);
// The addresses among a launch's arguments that route somewhere, in their order.
QList<Link> links(const QStringList& arguments);

} // namespace SignIn
