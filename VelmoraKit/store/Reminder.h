#pragma once

#include "Notifications.h"

#include <QDate>
#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <optional>

// The daily reminder's rules, as functions of the clock they are given.
namespace Reminder {

inline const QString key = QStringLiteral("velmora.daily");
inline const QString title = QStringLiteral("Velmora");

// "Nothing due today.", "1 item due today.", "3 items due today, 1 overdue."
QString summary(int due, int overdue);
// The next local `hour`:00 strictly after `now`, in the zone `now` is in. An hour that a
// change to summer time skips comes at the first valid time after it.
QDateTime nextFire(const QDateTime& now, int hour);
// Whether the reminder fires at `now`: the day's hour has come and it has not fired on
// that day. This is also what a wake from sleep or a clock change asks, so a missed
// reminder fires once and never twice a day.
bool isDue(const QDateTime& now, int hour, const std::optional<QDate>& lastFired);

// Notifications of urgent agent tasks are keyed by this and the item's id.
inline const QString urgentPrefix = QStringLiteral("velmora.urgent.");
// The open tasks an agent added on its own as urgent (initiated "auto", priority high), as
// id -> title, from a wire document; empty when it does not read.
QMap<QString, QString> urgentAgentItems(const QByteArray& wireDocument);

} // namespace Reminder

// One reminder a day at the hour, counted when it fires. A timer aims at the next hour:00
// but never sleeps longer than `maxSleepMs`, so a changed clock is noticed; `wake()` is
// called on resume from suspend.
class DailyReminder : public QObject {
    Q_OBJECT

public:
    using Clock = std::function<QDateTime()>;
    // `due` and `overdue` counts at the given moment.
    using Counts = std::function<std::pair<int, int>(const QDateTime&)>;
    static constexpr int maxSleepMs = 15 * 60 * 1000;

    DailyReminder(Notifications& notifications, Counts counts, Clock clock = {},
                  QObject* parent = nullptr);

    // On at `hour` (0...23); true when notifications can be shown. Arming again with the
    // same hour keeps what fired today.
    bool arm(int hour);
    // Off: nothing fires and the shown reminder is closed.
    void disarm();
    bool armed() const { return m_hour.has_value(); }
    // Fires if due now, then aims the timer again.
    void check();
    // After a resume from sleep.
    void wake() { check(); }
    const std::optional<QDate>& lastFired() const { return m_lastFired; }
    qint64 timerIntervalMs() const { return m_timer.isActive() ? m_timer.interval() : -1; }

private:
    void aim();

    QPointer<Notifications> m_notifications;
    Counts m_counts;
    Clock m_clock;
    std::optional<int> m_hour;
    std::optional<QDate> m_lastFired;
    QTimer m_timer;
};
