#pragma once

#include "Settings.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTime>

#include <optional>

namespace ScheduleFormat {

// The hour in the locale's short time form: "9:00 AM", "09:00", or the locale's midnight.
QString hourLabel(int hour);
// A time in the locale's short form, hours and minutes only (C's short form has seconds).
QString shortTime(const QTime& time);

} // namespace ScheduleFormat

namespace TimeZoneCatalog {

// The system's known zone identifiers, sorted, worked out once.
const QStringList& identifiers();
// The identifiers holding the trimmed query, ignoring case, in catalogue order; all of
// them for an empty query.
QStringList matching(const QString& query);
// "America/New York" for "America/New_York".
QString displayName(const QString& identifier);

} // namespace TimeZoneCatalog
