#pragma once

// The app shell started offline and repeatably, for the benchmarks that run it whole: a stored
// token in an in-memory keychain, a snapshot of generated tasks in a private data folder, a
// private settings file, no tray, and a server on loopback port 9 (discard), where every request
// is refused at once. So the window shows the list from the snapshot, as on a launch without
// network.

#include "SecretStore.h"
#include "VelmoraApp.h"

#include <QString>

#include <functional>
#include <memory>

namespace ShellHarness {

// Writes a snapshot of `itemCount` sample tasks, synced an hour ago, into `folder`/data. False
// when it cannot be read back. Needs no application object.
bool writeSnapshot(const QString& folder, int itemCount);

// Before the application object: the software scene graph unless the caller chose a backend,
// and the unreachable server.
void prepareProcess();

// After the application object: named as `velmora` names itself, with the standard folders in
// test mode so nothing of the user's own is read or written.
void nameApplication();

} // namespace ShellHarness

// The app on a folder that writeSnapshot() filled.
class BenchShell {
public:
    explicit BenchShell(const QString& folder);
    ~BenchShell();
    BenchShell(const BenchShell&) = delete;
    BenchShell& operator=(const BenchShell&) = delete;

    VelmoraApp& app() { return *m_app; }

    // Starts the app and runs the event loop until the main window's first frame, for 30 s at
    // most. `windowsBuilt` and `firstFrame` run as those happen. Empty when it got there,
    // otherwise why not.
    QString start(const std::function<void()>& windowsBuilt = {},
                  const std::function<void()>& firstFrame = {});

private:
    MemorySecretStore m_secrets;
    std::unique_ptr<VelmoraApp> m_app;
};
