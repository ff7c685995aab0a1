#pragma once

// Header-only rigs for the tests of the app's shell objects; those tests link velmora_shell.
#include "LoginItems.h"
#include "Preferences.h"
#include "SecretStore.h"
#include "Store.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QUrl>

#include <optional>

// A Store of its own over `server`, its offline copy and keychain in a temporary folder.
struct StoreRig {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    Store store;

    StoreRig(const QUrl& server, const std::optional<QString>& token)
        : store(new APIClient(server, token), OfflineDisk(dir.path()),
                Keychain(secrets, QStringLiteral("svc"))) {}
};

// The Store and the preferences the shell reads, their settings and login item in the same
// folder.
struct AppRig : StoreRig {
    QSettings settings{dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
    XdgAutostart login{QStringLiteral("velmora.desktop"), QStringLiteral("velmora"), dir.path()};
    Preferences prefs{settings, login};

    using StoreRig::StoreRig;
};
