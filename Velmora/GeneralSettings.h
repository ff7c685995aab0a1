#pragma once

#include <QLocale>
#include <QString>

namespace GeneralSettings {

// "9:00 AM", or "09:00" under a 24-hour locale.
QString hourLabel(int hour, const QLocale& locale = QLocale());
// "0.1.0 (57) 1a2b3c4", or "0.1.0 (57)" without a commit.
QString versionLabel(const QString& shortVersion, const QString& build, const QString& commit);
// The label of this build: the project version, the build number and the git commit.
QString versionLabel();

} // namespace GeneralSettings
