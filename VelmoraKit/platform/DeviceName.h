#pragma once

#include <QObject>
#include <QString>

#include <functional>

// The name this computer goes by in the account's device list: hostnamed's pretty name over
// D-Bus, else the host name, else "computer". `done` runs once, on the main thread, unless
// `context` is gone by then.
namespace DeviceName {
void fetch(QObject* context, std::function<void(QString)> done);
// The pretty name, else the host name, else "computer", trimmed.
QString choose(const QString& prettyName, const QString& hostName);
} // namespace DeviceName
