#include "WireFormats.h"

#include <QTimeZone>
#include <QUuid>

namespace {

// Reads `count` ASCII digits at `pos`; -1 if any is not a digit.
int digits(QStringView text, qsizetype pos, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const char16_t c = text[pos + i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        value = value * 10 + (c - u'0');
    }
    return value;
}

} // namespace

namespace WireDate {

// RFC 3339 date-time: yyyy-MM-ddTHH:mm:ss[.fraction](Z|±HH:mm). Qt's own ISO reader is
// more lenient (plain days, no zone), which the wire must not accept.
std::optional<QDateTime> instant(QStringView t) {
    if (t.size() < 20 || t[4] != u'-' || t[7] != u'-' || t[10] != u'T' || t[13] != u':' ||
        t[16] != u':')
        return std::nullopt;
    const int year = digits(t, 0, 4), month = digits(t, 5, 2), day = digits(t, 8, 2);
    const int hour = digits(t, 11, 2), minute = digits(t, 14, 2), second = digits(t, 17, 2);
    if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0)
        return std::nullopt;

    qsizetype pos = 19;
    int msec = 0;
    if (t[pos] == u'.') {
        ++pos;
        const qsizetype start = pos;
        while (pos < t.size() && t[pos] >= u'0' && t[pos] <= u'9') {
            if (pos - start < 3)
                msec = msec * 10 + (t[pos].unicode() - u'0');
            ++pos;
        }
        const qsizetype count = pos - start;
        if (count == 0)
            return std::nullopt;
        for (qsizetype i = count; i < 3; ++i)
            msec *= 10;
    }
    if (pos >= t.size())
        return std::nullopt;

    int offsetSeconds = 0;
    if (t[pos] == u'Z') {
        ++pos;
    } else if (t[pos] == u'+' || t[pos] == u'-') {
        if (t.size() - pos != 6 || t[pos + 3] != u':')
            return std::nullopt;
        const int oh = digits(t, pos + 1, 2), om = digits(t, pos + 4, 2);
        if (oh < 0 || om < 0 || oh > 23 || om > 59)
            return std::nullopt;
        offsetSeconds = (oh * 60 + om) * 60 * (t[pos] == u'-' ? -1 : 1);
        pos += 6;
    } else {
        return std::nullopt;
    }
    if (pos != t.size())
        return std::nullopt;

    const QDate date(year, month, day);
    const QTime time(hour, minute, second, msec);
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    QDateTime result(date, time, Qt::OffsetFromUTC, offsetSeconds);
    if (!result.isValid())
        return std::nullopt;
    return result.toUTC();
}

} // namespace WireDate

namespace LocalDay {

QString string(const QDateTime& instant) {
    const QDate day = instant.toLocalTime().date();
    return QStringLiteral("%1-%2-%3")
        .arg(day.year(), 4, 10, QLatin1Char('0'))
        .arg(day.month(), 2, 10, QLatin1Char('0'))
        .arg(day.day(), 2, 10, QLatin1Char('0'));
}

std::optional<QDateTime> date(QStringView t) {
    if (t.size() != 10 || t[4] != u'-' || t[7] != u'-')
        return std::nullopt;
    const int year = digits(t, 0, 4), month = digits(t, 5, 2), day = digits(t, 8, 2);
    if (year < 0 || month < 0 || day < 0)
        return std::nullopt;
    const QDate d(year, month, day);
    if (!d.isValid())
        return std::nullopt;
    // startOfDay copes with zones whose midnight is skipped by a clock change.
    return d.startOfDay(Qt::LocalTime);
}

std::optional<QDateTime> date(const std::optional<QString>& text) {
    if (!text)
        return std::nullopt;
    return date(QStringView(*text));
}

} // namespace LocalDay

namespace LocalID {

QString make() {
    return QStringLiteral("local-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toLower();
}

bool isLocal(QStringView id) {
    return id.startsWith(u"local-");
}

} // namespace LocalID
