#include "GeneralSettings.h"

#include "VelmoraConfig.h"

#include <QRegularExpression>
#include <QTime>

namespace GeneralSettings {

QString hourLabel(int hour, const QLocale& locale) {
    const QTime time(hour, 0);
    if (!time.isValid())
        return {};
    // Some locales' short format carries seconds ("HH:mm:ss" in C); the label wants hours
    // and minutes only.
    QString format = locale.timeFormat(QLocale::ShortFormat);
    format.remove(QRegularExpression(QStringLiteral("[:.]ss?")));
    return locale.toString(time, format.trimmed());
}

QString versionLabel(const QString& shortVersion, const QString& build, const QString& commit) {
    QString label = shortVersion;
    if (!build.isEmpty())
        label += QStringLiteral(" (") + build + QLatin1Char(')');
    // A build from a tree without git history has no commit to show.
    if (!commit.isEmpty() && commit != QLatin1String("unknown"))
        label += QLatin1Char(' ') + commit;
    return label;
}

QString versionLabel() {
    return versionLabel(QStringLiteral(VELMORA_VERSION), QStringLiteral(VELMORA_BUILD_NUMBER),
                        QStringLiteral(VELMORA_GIT_COMMIT));
}

} // namespace GeneralSettings
