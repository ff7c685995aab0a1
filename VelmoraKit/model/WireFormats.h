#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// An instant as ISO 8601 internet date-time, with or without a fraction.
namespace WireDate {
std::optional<QDateTime> instant(QStringView text);
}

// A day as "yyyy-MM-dd" in the device's current zone (read afresh at each call).
namespace LocalDay {
QString string(const QDateTime& instant);
// Local midnight of the day; null in or text that does not parse gives null.
std::optional<QDateTime> date(const std::optional<QString>& text);
std::optional<QDateTime> date(QStringView text);
} // namespace LocalDay

// Ids of items the server has not seen yet.
namespace LocalID {
QString make();
bool isLocal(QStringView id);
} // namespace LocalID
