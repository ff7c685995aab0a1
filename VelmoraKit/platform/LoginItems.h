#pragma once

#include <QString>

#include <optional>

// Starting the app when the user logs in.
class LoginItems {
public:
    virtual ~LoginItems() = default;
    // Registers (true) or unregisters (false) the app. Returns a description of the failure,
    // or nothing when it worked.
    virtual std::optional<QString> setEnabled(bool enabled) = 0;
};

// XDG autostart: a desktop entry in $XDG_CONFIG_HOME/autostart (~/.config/autostart).
class XdgAutostart final : public LoginItems {
public:
    // `fileName` such as "org.velmora.app.desktop"; `exec` is the entry's Exec line.
    // An empty `configHome` means the user's configuration folder.
    XdgAutostart(QString fileName, QString exec, QString configHome = {});
    std::optional<QString> setEnabled(bool enabled) override;
    QString entryPath() const;

private:
    QString m_fileName;
    QString m_exec;
    QString m_configHome;
};
