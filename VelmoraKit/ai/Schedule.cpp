#include "Schedule.h"

#include "APIError.h"
#include "Json.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTime>
#include <QTimeZone>

#include <algorithm>

AISettings AISettings::decode(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        throw APIError::decoding(QStringLiteral("settings: expected an object"));
    AISettings settings;
    if (const JsonValue* zone = json->find(u"timezone"); zone && !zone->isNull()) {
        if (!zone->isString() || zone->toString().size() > 64)
            throw APIError::decoding(QStringLiteral("timezone: expected an identifier"));
        settings.timezone = zone->toString();
    }
    if (const JsonValue* hour = json->find(u"schedule_hour"); hour && !hour->isNull()) {
        if (!hour->isInteger() || hour->toInteger() < 0 || hour->toInteger() > 23)
            throw APIError::decoding(QStringLiteral("schedule_hour: expected an hour"));
        settings.scheduleHour = int(hour->toInteger());
    }
    const JsonValue* on = json->find(u"briefing_enabled");
    if (!on || !on->isBool())
        throw APIError::decoding(QStringLiteral("briefing_enabled: expected a boolean"));
    settings.briefingEnabled = on->toBool();
    return settings;
}

namespace ScheduleFormat {

QString shortTime(const QTime& time) {
    const QLocale locale;
    QString format = locale.timeFormat(QLocale::ShortFormat);
    format.remove(QRegularExpression(QStringLiteral("[:.]ss?")));
    return locale.toString(time, format.trimmed());
}

QString hourLabel(int hour) {
    const QTime time(hour, 0);
    if (!time.isValid())
        return QString::number(hour) + QStringLiteral(":00");
    return shortTime(time);
}

QByteArray settingsBody(std::optional<std::optional<int>> scheduleHour,
                        std::optional<bool> briefingEnabled, std::optional<QString> timezone) {
    // Written by hand so that a cleared hour is an explicit null beside absent keys.
    QList<QByteArray> fragments;
    if (scheduleHour)
        fragments << "\"schedule_hour\":" +
                         (*scheduleHour ? QByteArray::number(**scheduleHour) : "null");
    if (briefingEnabled)
        fragments << QByteArray("\"briefing_enabled\":") + (*briefingEnabled ? "true" : "false");
    if (timezone)
        fragments << "\"timezone\":\"" + timezone->toUtf8() + '"';
    return '{' + fragments.join(',') + '}';
}

} // namespace ScheduleFormat

namespace TimeZoneCatalog {

const QStringList& identifiers() {
    static const QStringList all = [] {
        QStringList ids;
        for (const QByteArray& id : QTimeZone::availableTimeZoneIds())
            ids << QString::fromUtf8(id);
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
        return ids;
    }();
    return all;
}

QStringList matching(const QString& query) {
    const QString wanted = query.trimmed();
    if (wanted.isEmpty())
        return identifiers();
    QStringList found;
    for (const QString& id : identifiers())
        if (id.contains(wanted, Qt::CaseInsensitive))
            found << id;
    return found;
}

QString displayName(const QString& identifier) {
    return QString(identifier).replace(u'_', u' ');
}

} // namespace TimeZoneCatalog
