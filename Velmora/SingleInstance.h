#pragma once

#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QObject>
#include <QStringList>

#include <memory>
#include <optional>

// One running app per user and server: a lock file in $XDG_RUNTIME_DIR decides the primary,
// which listens on a local socket; a later process hands its arguments over and exits.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    // `key` names the lock and the socket (the keychain service, so a run against another
    // server is another app). `directory` defaults to the runtime folder.
    explicit SingleInstance(QString key, QString directory = {}, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is now the primary and listens. A lock left by a crashed
    // process is recovered, and its stale socket removed.
    bool claim();
    // From a secondary process: delivers the arguments to the primary; false when no primary
    // answered within `timeoutMs`.
    bool sendToPrimary(const QStringList& arguments, int timeoutMs = 3000);

    // Delivers the arguments to the primary of each key that has one (a `velmora://` address
    // from the browser, which knows no server); gives how many took them. Keys without a
    // running primary are skipped at once.
    static int sendToEveryPrimary(const QStringList& keys, const QStringList& arguments,
                                  const QString& directory = {}, int timeoutMs = 3000);

Q_SIGNALS:
    // In the primary, for each later launch.
    void activated(const QStringList& arguments);

private:
    QString socketPath() const;
    void serve(QLocalSocket* socket);

    QString m_key;
    QString m_directory;
    std::unique_ptr<QLockFile> m_lock;
    std::unique_ptr<QLocalServer> m_server;
};

// What a later launch hands over besides its arguments: the desktop's leave to front a
// window. On Wayland that is the launcher's XDG_ACTIVATION_TOKEN; on X11 the startup
// notification's DESKTOP_STARTUP_ID, which Qt's X11 connection takes out of the environment
// as it opens, so a launch reads both before its QApplication exists.
namespace Handover {

struct Activation {
    QString token;     // XDG_ACTIVATION_TOKEN
    QString startupId; // DESKTOP_STARTUP_ID
    bool operator==(const Activation&) const = default;
};

Activation fromEnvironment();
// The arguments with the activation added as --activation-token= and --startup-id=.
QStringList withActivation(QStringList arguments, const Activation& activation);
// Back from the arguments of another process: only plain printable ASCII of up to 256
// characters counts, anything else is dropped.
Activation activationOf(const QStringList& arguments);
// The X server time of the launch, which a startup id carries as "..._TIME<n>".
std::optional<quint32> startupTime(const QString& startupId);

} // namespace Handover
