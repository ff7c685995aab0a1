#pragma once

#include "OfflineSnapshot.h"
#include "WireJson.h"

// Deterministic snapshots for the crash and disk-fault tests, shared with the writer
// helper so that both sides know exactly what "old" and "new" look like.
namespace SnapshotSamples {

// A baseline of `items` tasks and a queue of `edits` edits; `generation` makes two samples
// of the same size differ in every record.
inline OfflineSnapshot make(int generation, int items, int edits) {
    const QString tag = QStringLiteral("g%1").arg(generation);
    WireDocument wire;
    wire.items.reserve(items);
    for (int i = 0; i < items; ++i) {
        WireItem item;
        item.id = QStringLiteral("%1-item-%2").arg(tag).arg(i);
        item.title = QStringLiteral("Task %1 of %2").arg(i).arg(tag);
        item.note = QStringLiteral("Note %1 ").arg(i).repeated(20);
        item.createdAt = QStringLiteral("2026-03-01T09:30:00Z");
        wire.items.push_back(std::move(item));
    }

    OfflineSnapshot s;
    s.wireDocument = WireJson::encode(wire);
    s.syncedVersion = 1000 + generation;
    s.syncedAt = QDateTime(QDate(2026, 3, 1), QTime(9, 30, generation % 60, 250), Qt::UTC);
    for (int i = 0; i < edits; ++i) {
        const QString id = QStringLiteral("%1-item-%2").arg(tag).arg(i);
        switch (i % 3) {
        case 0:
            s.queue.push_back(PendingOps::SetDone{id, true});
            break;
        case 1:
            s.queue.push_back(PendingOps::Add{QStringLiteral("%1-local-%2").arg(tag).arg(i),
                                              QStringLiteral("Added %1").arg(i),
                                              QStringLiteral("offline"),
                                              {},
                                              Section::action,
                                              QStringLiteral("2026-03-02"),
                                              Priority::high,
                                              {}});
            break;
        default:
            s.queue.push_back(PendingOps::Delete{id});
        }
    }
    if (!s.queue.isEmpty())
        s.strikes.insert(s.queue.front(), 1 + generation % 4);
    return s;
}

} // namespace SnapshotSamples
