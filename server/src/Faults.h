#pragma once

#include "Json.h"

#include <QByteArray>
#include <QString>

#include <deque>
#include <mutex>
#include <optional>

// One scripted misbehaviour for the next `count` requests that match it.
struct Fault {
    QString method = QStringLiteral("*"); // HTTP method, or "*" for any
    QString path;                         // exact request path, as "/api/store"
    QString rpc;                          // for api/store: the remote method; empty for any
    int count = 1;
    int delayMs = 0;              // wait first, then go on as below
    std::optional<int> status;    // answer this instead of handling the request
    QByteArray body;              // with this body (JSON unless it does not parse)
    bool closeAfterWrite = false; // handle the request, then close without a reply
    bool cutAfterHeaders = false; // handle it, send the headers and half the body, then close

    // From the admin listener's JSON; throws std::invalid_argument with a message.
    static Fault fromJson(const JsonValue& json);
};

// The scripted faults, consumed in the order they were added. Thread-safe.
class FaultPlan {
public:
    void add(Fault fault);
    void clear();
    // The first fault that matches, with its count taken down by one.
    std::optional<Fault> take(const QString& method, const QString& path, const QString& rpc);
    int pending() const;

private:
    mutable std::mutex m_mutex;
    std::deque<Fault> m_faults;
};
