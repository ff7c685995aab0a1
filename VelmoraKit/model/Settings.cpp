#include "Settings.h"

#include "Json.h"
#include "WireJson.h"

#include <QList>

AISettings AISettings::decode(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        throw DecodingError(QStringLiteral("settings: expected an object"));
    AISettings settings;
    if (const JsonValue* zone = json->find(u"timezone"); zone && !zone->isNull()) {
        if (!zone->isString() || zone->toString().size() > 64)
            throw DecodingError(QStringLiteral("timezone: expected an identifier"));
        settings.timezone = zone->toString();
    }
    if (const JsonValue* hour = json->find(u"schedule_hour"); hour && !hour->isNull()) {
        if (!hour->isInteger() || hour->toInteger() < 0 || hour->toInteger() > 23)
            throw DecodingError(QStringLiteral("schedule_hour: expected an hour"));
        settings.scheduleHour = int(hour->toInteger());
    }
    const JsonValue* on = json->find(u"briefing_enabled");
    if (!on || !on->isBool())
        throw DecodingError(QStringLiteral("briefing_enabled: expected a boolean"));
    settings.briefingEnabled = on->toBool();
    return settings;
}

namespace ScheduleFormat {

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
