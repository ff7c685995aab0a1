#pragma once

// Header-only rig for the tests of the app's shell objects; those tests link velmora_shell.
#include "LoginItems.h"
#include "Preferences.h"
#include "StoreRig.h"

#include <QSettings>

// The Store and the preferences the shell reads, their settings and login item in the same
// folder.
struct AppRig : StoreRig {
    QSettings settings{dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
    XdgAutostart login{QStringLiteral("velmora.desktop"), QStringLiteral("velmora"), dir.path()};
    Preferences prefs{settings, login};

    using StoreRig::StoreRig;
};
