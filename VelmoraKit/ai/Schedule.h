#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTime>

#include <optional>
#include <variant>

// The account's daily schedule as the server keeps it.
struct AISettings {
    std::optional<QString> timezone; // an IANA identifier; none until seeded
    std::optional<int> scheduleHour; // 0...23 in that zone; none: no daily schedule
    bool briefingEnabled = false;
    bool operator==(const AISettings&) const = default;

    // The reply of `api/ai/settings`; throws APIError::decoding for anything else, an hour
    // outside the day included.
    static AISettings decode(const QByteArray& body);
};

// What the account's deletion answered.
struct AccountDeleted {
    std::optional<bool> revoked; // the provider's authorisation revoked; none: not linked
    bool operator==(const AccountDeleted&) const = default;
};
struct AppleAuthRequired {
    bool operator==(const AppleAuthRequired&) const = default;
};
using DeleteAccountOutcome = std::variant<AccountDeleted, AppleAuthRequired>;

namespace ScheduleFormat {

// The hour in the locale's short time form: "9:00 AM", "09:00", or the locale's midnight.
QString hourLabel(int hour);
// A time in the locale's short form, hours and minutes only (C's short form has seconds).
QString shortTime(const QTime& time);
// The body of a partial settings update. Each argument left out is absent; the outer
// optional of the hour tells leaving it alone from clearing it. `timezone` must be a
// catalogue identifier: it is written as it is.
QByteArray settingsBody(std::optional<std::optional<int>> scheduleHour,
                        std::optional<bool> briefingEnabled, std::optional<QString> timezone);

} // namespace ScheduleFormat

namespace TimeZoneCatalog {

// The system's known zone identifiers, sorted, worked out once.
const QStringList& identifiers();
// The identifiers holding the trimmed query, ignoring case, in catalogue order; all of
// them for an empty query.
QStringList matching(const QString& query);
// "America/New York" for "America/New_York".
QString displayName(const QString& identifier);

} // namespace TimeZoneCatalog
