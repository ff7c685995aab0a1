#include "Reminder.h"

#include "WireJson.h"

#include <QTimeZone>

#include <algorithm>

namespace Reminder {

QString summary(int due, int overdue) {
    if (due == 0)
        return QStringLiteral("Nothing due today.");
    const QString count = due == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(due);
    if (overdue < 1)
        return count + QStringLiteral(" due today.");
    return count + QStringLiteral(" due today, %1 overdue.").arg(overdue);
}

QDateTime nextFire(const QDateTime& now, int hour) {
    for (int days = 0; days < 3; ++days) {
        const QDate day = now.date().addDays(days);
        QDateTime at(day, QTime(hour, 0), now.timeZone());
        // An hour the change to summer time skips: that many hours after midnight.
        if (!at.isValid())
            at = QDateTime(day, QTime(0, 0), now.timeZone()).addSecs(hour * 3600);
        if (at > now)
            return at;
    }
    return now.addDays(1);
}

bool isDue(const QDateTime& now, int hour, const std::optional<QDate>& lastFired) {
    return now.time().hour() >= hour && lastFired != now.date();
}

QMap<QString, QString> urgentAgentItems(const QByteArray& wireDocument) {
    QMap<QString, QString> urgent;
    try {
        const auto document = WireJson::decode<WireDocument>(wireDocument);
        for (const WireItem& item : document.items)
            if (item.origin == Origin::ai && item.initiated == Initiated::automatic &&
                item.priority == Priority::high && item.status == ItemStatus::open &&
                !item.deletedAt)
                urgent.insert(item.id, item.title);
    } catch (...) {
    }
    return urgent;
}

} // namespace Reminder

DailyReminder::DailyReminder(Notifications& notifications, Counts counts, Clock clock,
                             QObject* parent)
    : QObject(parent)
    , m_notifications(&notifications)
    , m_counts(std::move(counts))
    , m_clock(clock ? std::move(clock) : Clock([] { return QDateTime::currentDateTime(); })) {
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &DailyReminder::check);
}

bool DailyReminder::arm(int hour) {
    if (hour < 0 || hour > 23 || !m_notifications || !m_notifications->available())
        return false;
    if (m_hour != hour) {
        m_hour = hour;
        // Armed at 10:00 for 9:00: today's hour has passed before it was asked for.
        const QDateTime now = m_clock();
        if (Reminder::isDue(now, hour, m_lastFired))
            m_lastFired = now.date();
    }
    aim();
    return true;
}

void DailyReminder::disarm() {
    m_hour.reset();
    m_timer.stop();
    if (m_notifications)
        m_notifications->close(Reminder::key);
}

void DailyReminder::check() {
    if (!m_hour)
        return;
    const QDateTime now = m_clock();
    if (Reminder::isDue(now, *m_hour, m_lastFired) && m_notifications) {
        m_lastFired = now.date();
        const auto [due, overdue] = m_counts(now);
        m_notifications->show(Reminder::key, Reminder::title, Reminder::summary(due, overdue));
    }
    aim();
}

void DailyReminder::aim() {
    if (!m_hour)
        return;
    const QDateTime now = m_clock();
    const qint64 wait = now.msecsTo(Reminder::nextFire(now, *m_hour));
    m_timer.start(int(std::clamp<qint64>(wait, 1000, maxSleepMs)));
}
