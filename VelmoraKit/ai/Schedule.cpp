#include "Schedule.h"

#include "Json.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTime>
#include <QTimeZone>

#include <algorithm>

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
