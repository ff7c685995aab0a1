#pragma once

#include <QString>

#include <httplib.h>

class FaultPlan;
class Service;
class Storage;

// Sign-in through the browser: `auth/app/start` is the server's own page, which ends in a
// redirect to `velmora://auth?code=X`; `api/auth/pair` trades that one-time code for a
// device token. The identity providers' own calls (`api/auth/apple`, `api/auth/google`)
// are refused: this server has no provider set up. With an automatic user (the demo and
// the tests), the start page signs straight in as that user.
namespace AuthApi {

inline constexpr int codeLifetimeSeconds = 5 * 60;
inline constexpr int maxPendingCodes = 1000;
inline constexpr int maxDeviceNameLength = 100;
inline constexpr qint64 deviceCap = 10;
inline constexpr qint64 mcpCap = 10;

// The account the start page signs into; empty (the default) shows the page that says no
// provider is set up.
void setAutoSignIn(const QString& userName);

// A token of `kind` for the user, named, within the kind's cap: a device over its cap
// gives up the slot used least recently; an agent token over its cap is refused (409).
// Gives the plain token. Runs inside the caller's transaction.
QString mintToken(Storage& storage, qint64 userId, const QString& name, const QString& kind);
// A device name as the start page takes it: control characters gone, blanks folded,
// trimmed, cut to maxDeviceNameLength; "computer" when nothing is left.
QString cleanDeviceName(const QString& text);

void install(httplib::Server& server, Service& service, FaultPlan& faults);

} // namespace AuthApi
