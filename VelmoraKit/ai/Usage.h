#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// What the account has used of its caps, as the server counts it.
struct Usage {
    qint64 openTasks = 0;
    std::optional<qint64> taskCap; // none: no limit
    qint64 mcpUsedToday = 0;       // agent calls today
    qint64 mcpCap = 0;             // agent calls allowed a day
    std::optional<QString> email;
    std::optional<QString> name;
    bool operator==(const Usage&) const = default;

    bool tasksFull() const;
    // Close to the cap but not at it: full isn't near.
    bool tasksNearCap() const;
    bool mcpExhausted() const;

    // The reply of `api/usage`; throws APIError::decoding for anything else, a count out
    // of range included.
    static Usage decode(const QByteArray& body);
};
