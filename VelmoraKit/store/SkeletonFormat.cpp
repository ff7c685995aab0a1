#include "SkeletonFormat.h"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <map>
#include <memory>
#include <string>

namespace SkeletonFormat {

namespace {

// One formatter per locale and skeleton: building the pattern generator costs milliseconds,
// and a list words many dates at once. Formatters work in GMT on a wall-clock time handed
// over as GMT, so ICU's own idea of the machine's zone never enters.
icu::SimpleDateFormat* formatterFor(const char16_t* skeleton, const QLocale& locale) {
    thread_local std::map<std::pair<std::u16string, std::string>,
                          std::unique_ptr<icu::SimpleDateFormat>>
        formatters;
    const auto key = std::pair(std::u16string(skeleton), locale.bcp47Name().toStdString());
    if (auto it = formatters.find(key); it != formatters.end())
        return it->second.get();

    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale icuLocale = icu::Locale::forLanguageTag(key.second, status);
    std::unique_ptr<icu::SimpleDateFormat> formatter;
    if (U_SUCCESS(status)) {
        std::unique_ptr<icu::DateTimePatternGenerator> generator(
            icu::DateTimePatternGenerator::createInstance(icuLocale, status));
        if (U_SUCCESS(status) && generator) {
            const icu::UnicodeString pattern =
                generator->getBestPattern(icu::UnicodeString(skeleton), status);
            if (U_SUCCESS(status)) {
                formatter = std::make_unique<icu::SimpleDateFormat>(pattern, icuLocale, status);
                if (U_FAILURE(status))
                    formatter.reset();
                else
                    formatter->setTimeZone(*icu::TimeZone::getGMT());
            }
        }
    }
    // A failed locale is remembered as such.
    return formatters.emplace(key, std::move(formatter)).first->second.get();
}

} // namespace

std::optional<QString> format(const QDate& date, const QTime& time, const char16_t* skeleton,
                              const QLocale& locale) {
    icu::SimpleDateFormat* formatter = formatterFor(skeleton, locale);
    if (!formatter || !date.isValid())
        return std::nullopt;
    const QDateTime wallClock(date, time, Qt::UTC);
    icu::UnicodeString out;
    formatter->format(UDate(wallClock.toMSecsSinceEpoch()), out);
    return QString(reinterpret_cast<const QChar*>(out.getBuffer()), out.length());
}

} // namespace SkeletonFormat
