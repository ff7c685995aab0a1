#pragma once

#include "Records.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QString>

#include <optional>

// How a due day is worded in the list. Days are counted in the system time zone as it is at
// the call, between the starts of two days, so a change of zone or of daylight saving never
// gives a part of a day.
namespace DueLabel {

// Whole days from the day of `today` to the day of `date`, negative for the past; none
// when either instant is invalid.
std::optional<int> dayOffset(const QDateTime& date, const QDateTime& today);

// "Today", "Tomorrow", "Yesterday", "N days ago" up to six, otherwise the short date. The
// words are English at every locale; only the date follows `locale`.
QString text(const QDateTime& date, const QDateTime& today, const QLocale& locale = QLocale());

// Abbreviated weekday, abbreviated month and day, no year, in the order and punctuation of
// `locale` ("Mon, Jan 6" in English).
QString shortDate(const QDate& day, const QLocale& locale);

// The label of an item's due day in the user's current locale; none without a due day.
std::optional<QString> of(const Item& item, const QDateTime& today);

} // namespace DueLabel
