#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

#include <optional>

// Dates and times worded by an ICU skeleton ("EEEMMMd", "yMMMdjmm"): the locale picks the
// order, punctuation and words, which Qt's fixed formats can't.
namespace SkeletonFormat {

// The wall-clock date and time as written, read as is: no time zone enters. None when ICU
// has no formatter for the locale, so the caller falls back to Qt's wording.
std::optional<QString> format(const QDate& date, const QTime& time, const char16_t* skeleton,
                              const QLocale& locale);

} // namespace SkeletonFormat
