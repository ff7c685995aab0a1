#pragma once

#include "Json.h"
#include "Records.h"

#include <QHash>
#include <QList>
#include <QString>

#include <optional>
#include <variant>

// A link as the queue keeps it: plain text, so the round trip through the file is exact.
struct SavedLink {
    QString label;
    QString url;
    bool operator==(const SavedLink&) const = default;
};

// The links whose url parses, in order; the others are dropped in silence.
QList<ItemLink> itemLinks(const QList<SavedLink>& links);
QList<SavedLink> savedLinks(const QList<ItemLink>& links);

// One intended edit of a task: what the edit pipeline applies, the queue holds, the
// snapshot stores and replay sends. Equal edits are one key (strikes count by it).
namespace PendingOps {

struct SetDone {
    QString id;
    bool done = false;
    bool operator==(const SetDone&) const = default;
};
struct SetFlagged {
    QString id;
    bool flagged = false;
    bool operator==(const SetFlagged&) const = default;
};
struct Delete {
    QString id;
    bool operator==(const Delete&) const = default;
};
struct Add {
    QString localID;
    QString title;
    std::optional<QString> note;
    std::optional<QString> source;
    Section section = Section::action;
    std::optional<QString> dueDay; // LocalDay text
    Priority priority = Priority::medium;
    QList<SavedLink> links;
    bool operator==(const Add&) const = default;
};
// Carries every field the detail form edits, not a difference.
struct Update {
    QString id;
    QString title;
    std::optional<QString> note;
    std::optional<QString> source;
    std::optional<QString> dueDay;
    Priority priority = Priority::medium;
    QList<SavedLink> links;
    // Absent: the section stays (and edits queued before sections could move read back).
    std::optional<Section> section;
    bool operator==(const Update&) const = default;
};

} // namespace PendingOps

using PendingOp = std::variant<PendingOps::SetDone, PendingOps::SetFlagged, PendingOps::Delete,
                               PendingOps::Add, PendingOps::Update>;

namespace PendingOps {

// Found by argument-dependent lookup, so the edit can key a QHash.
size_t qHash(const PendingOp& op, size_t seed = 0) noexcept;

// The id the edit names: the local id of an add, the item id of the others.
QString targetID(const PendingOp& op);

// The effect of an edit on a document. An id that is not there is no error.
void apply(const PendingOp& op, Document& document, const QDateTime& now);

// Ids equal to `from` become `to`; an add keeps its local id.
QList<PendingOp> remap(QList<PendingOp> ops, const QString& from, const QString& to);

// The persisted form: one object with exactly one key, the kind's name.
JsonValue toJson(const PendingOp& op);
// Null for anything but that exact form.
std::optional<PendingOp> fromJson(const JsonValue& value);

} // namespace PendingOps
