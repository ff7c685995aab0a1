#include "LoginItems.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <filesystem>

XdgAutostart::XdgAutostart(QString fileName, QString exec, QString configHome)
    : m_fileName(std::move(fileName))
    , m_exec(std::move(exec))
    , m_configHome(std::move(configHome)) {}

QString XdgAutostart::entryPath() const {
    const QString home =
        m_configHome.isEmpty()
            ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
            : m_configHome;
    return home + QStringLiteral("/autostart/") + m_fileName;
}

std::optional<QString> XdgAutostart::setEnabled(bool enabled) {
    const QString path = entryPath();
    if (!enabled) {
        QFile file(path);
        const QFileInfo info(path);
        if ((!info.exists() && !info.isSymLink()) || file.remove())
            return std::nullopt;
        return QStringLiteral("cannot remove %1: %2").arg(path, file.errorString());
    }

    const QString folder = QFileInfo(path).absolutePath();
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(folder).toStdString(), error);
    if (error)
        return QStringLiteral("cannot create %1: %2")
            .arg(folder, QString::fromLocal8Bit(error.message()));

    const QString entry = QStringLiteral("[Desktop Entry]\n"
                                         "Type=Application\n"
                                         "Name=Velmora\n"
                                         "Exec=%1\n"
                                         "Icon=org.velmora.app\n"
                                         "X-GNOME-Autostart-enabled=true\n"
                                         "NoDisplay=false\n")
                              .arg(m_exec);
    // Written whole or not at all, so a login never meets half an entry.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(entry.toUtf8()) < 0 || !file.commit())
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    return std::nullopt;
}
