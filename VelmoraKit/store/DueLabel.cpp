#include "DueLabel.h"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <map>
#include <memory>
#include <string>

namespace DueLabel {

namespace {

// One formatter per locale: building the pattern generator costs milliseconds, and a list
// words many dates at once. The formatter works in GMT on the day's noon, so the day it
// prints is exactly the local day it is given, whatever zone ICU believes the machine has.
icu::SimpleDateFormat* formatterFor(const QLocale& locale) {
    thread_local std::map<std::string, std::unique_ptr<icu::SimpleDateFormat>> formatters;
    const std::string tag = locale.bcp47Name().toStdString();
    auto it = formatters.find(tag);
    if (it != formatters.end())
        return it->second.get();

    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale icuLocale = icu::Locale::forLanguageTag(tag, status);
    std::unique_ptr<icu::SimpleDateFormat> formatter;
    if (U_SUCCESS(status)) {
        std::unique_ptr<icu::DateTimePatternGenerator> generator(
            icu::DateTimePatternGenerator::createInstance(icuLocale, status));
        if (U_SUCCESS(status) && generator) {
            const icu::UnicodeString pattern =
                generator->getBestPattern(icu::UnicodeString(u"EEEMMMd"), status);
            if (U_SUCCESS(status)) {
                formatter = std::make_unique<icu::SimpleDateFormat>(pattern, icuLocale, status);
                if (U_FAILURE(status))
                    formatter.reset();
                else
                    formatter->setTimeZone(*icu::TimeZone::getGMT());
            }
        }
    }
    // A failed locale is remembered as such and falls back to Qt's wording.
    return formatters.emplace(tag, std::move(formatter)).first->second.get();
}

} // namespace

std::optional<int> dayOffset(const QDateTime& date, const QDateTime& today) {
    if (!date.isValid() || !today.isValid())
        return std::nullopt;
    // Days of the calendar, not 24-hour spans: whole across a daylight-saving change.
    return int(today.toLocalTime().date().daysTo(date.toLocalTime().date()));
}

QString shortDate(const QDate& day, const QLocale& locale) {
    if (!day.isValid())
        return {};
    if (icu::SimpleDateFormat* formatter = formatterFor(locale)) {
        const auto noon = QDateTime(day, QTime(12, 0), Qt::UTC).toMSecsSinceEpoch();
        icu::UnicodeString out;
        formatter->format(UDate(noon), out);
        return QString(reinterpret_cast<const QChar*>(out.getBuffer()), out.length());
    }
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
