#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <variant>

// The account's settings as the settings calls exchange them.

// The account's daily schedule as the server keeps it.
struct AISettings {
    std::optional<QString> timezone; // an IANA identifier; none until seeded
    std::optional<int> scheduleHour; // 0...23 in that zone; none: no daily schedule
    bool briefingEnabled = false;
    bool operator==(const AISettings&) const = default;

    // The reply of `api/ai/settings`; throws DecodingError for anything else, an hour
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

// The body of a partial settings update. Each argument left out is absent; the outer
// optional of the hour tells leaving it alone from clearing it. `timezone` must be a
// catalogue identifier: it is written as it is.
QByteArray settingsBody(std::optional<std::optional<int>> scheduleHour,
                        std::optional<bool> briefingEnabled, std::optional<QString> timezone);

} // namespace ScheduleFormat
