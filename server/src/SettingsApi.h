#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QTimeZone>

#include <httplib.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

class FaultPlan;
class Service;
class Storage;
struct UserState;

// `api/ai/settings` and `api/timezone`: the account's daily hour, its zone and whether the
// daily briefing runs. The stored zone is the user's day for every family that asks what
// "today" is; an account with no zone yet has the server's.
namespace SettingsApi {

struct Settings {
    std::optional<QString> timezone;
    std::optional<int> scheduleHour;
    bool briefingEnabled = false;
    bool operator==(const Settings&) const = default;
};

Settings settingsOf(Storage& storage, qint64 userId);
// True for a known zone identifier of plain characters and bounded length.
bool isZone(const QString& identifier);
QTimeZone zoneOf(Storage& storage, qint64 userId);
// The calendar day at `now` in the user's zone.
QDate userDay(Storage& storage, qint64 userId, const QDateTime& now);
// The day whose scheduled run is due at `now` and has not run yet, if any: the schedule
// is on, the local hour has come, and no scheduled run was made for that local day.
std::optional<QDate> dueScheduledDay(const Settings& settings,
                                     const std::optional<QString>& lastRunDay,
                                     const QDateTime& now);
// Runs the scheduled briefing when one is due at `now`; true when it ran. A run the ledger
// refuses still counts as that day's, so nothing retries it every request.
bool settleSchedule(Storage& storage, const UserState& state, qint64 userId, const QDateTime& now);

// Runs every scheduled briefing that is due at `now`.
void tickAll(Service& service, const QDateTime& now);

void install(httplib::Server& server, Service& service, FaultPlan& faults);
void installAdmin(httplib::Server& server, Service& service);

// While it lives, a thread asks once a minute which scheduled briefings are due, so a run
// lands at its hour even when no device asks.
class ScheduleClock {
public:
    explicit ScheduleClock(Service& service);
    ~ScheduleClock();
    ScheduleClock(const ScheduleClock&) = delete;
    ScheduleClock& operator=(const ScheduleClock&) = delete;

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace SettingsApi
