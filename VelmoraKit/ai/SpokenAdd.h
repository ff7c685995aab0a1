#pragma once

#include "SmartInsert.h"

#include <QCoroTask>

#include <chrono>
#include <optional>

// Task fields from a dictated sentence, without making the speaker wait. There is no
// grammar here: the server's draft is the only reader, and the spoken text is the title
// when no draft comes in time.
namespace SpokenAdd {

struct Fields {
    QString title;
    std::optional<QString> note;
    std::optional<QString> source;
    Section section = Section::action;
    std::optional<QDateTime> due;
    Priority priority = Priority::medium;
    QList<ItemLink> links;
    bool operator==(const Fields&) const = default;
};

// How long the speaker waits for the server's reading.
inline constexpr std::chrono::milliseconds budget{3000};

// The draft's fields when it has a title that is not blank, else the spoken text alone.
Fields fields(const QString& spoken, const std::optional<SmartDraft>& draft);

// The server's draft of `spoken`, or null when offline, refused, failed or later than
// `budget`. Must run on a thread with an event loop. A call still running at the budget
// cannot be cancelled from here: it is abandoned, and its late result is dropped.
QCoro::Task<std::optional<SmartDraft>>
enrich(QString spoken, bool isOffline, std::chrono::milliseconds budget, SmartAdd::Call call);

} // namespace SpokenAdd
