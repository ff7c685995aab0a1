#include "DueLabel.h"

#include "SkeletonFormat.h"

namespace DueLabel {

std::optional<int> dayOffset(const QDateTime& date, const QDateTime& today) {
    if (!date.isValid() || !today.isValid())
        return std::nullopt;
    // Days of the calendar, not 24-hour spans: whole across a daylight-saving change.
    return int(today.toLocalTime().date().daysTo(date.toLocalTime().date()));
}

QString shortDate(const QDate& day, const QLocale& locale) {
    if (!day.isValid())
        return {};
    if (auto worded = SkeletonFormat::format(day, QTime(12, 0), u"EEEMMMd", locale))
        return *worded;
    return locale.toString(day, QStringLiteral("ddd, MMM d"));
}

QString text(const QDateTime& date, const QDateTime& today, const QLocale& locale) {
    const auto n = dayOffset(date, today);
    if (!n || *n == 0)
        return QStringLiteral("Today");
    if (*n == 1)
        return QStringLiteral("Tomorrow");
    if (*n == -1)
        return QStringLiteral("Yesterday");
    if (*n <= -2 && *n >= -6)
        return QString::number(-*n) + QStringLiteral(" days ago");
    return shortDate(date.toLocalTime().date(), locale);
}

std::optional<QString> of(const Item& item, const QDateTime& today) {
    if (!item.due)
        return std::nullopt;
    return text(*item.due, today, QLocale());
}

} // namespace DueLabel
