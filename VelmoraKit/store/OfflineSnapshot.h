#pragma once

#include "PendingOp.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

// The client's one file: the last document the server confirmed (kept as its JSON bytes)
// and the edits not yet sent. What the screen shows is derived from these two.
struct OfflineSnapshot {
    QByteArray wireDocument;
    qint64 syncedVersion = 0;
    QDateTime syncedAt;
    QList<PendingOp> queue;
    QHash<PendingOp, int> strikes;

    bool operator==(const OfflineSnapshot&) const = default;

    // syncedAt is written as seconds since 2001-01-01T00:00:00Z with a fraction; strikes as
    // a flat array of edit, count, edit, count..., and left out when empty.
    QByteArray encode() const;
    static std::optional<OfflineSnapshot> decode(QByteArrayView json);
};

// Where the snapshot lives and how it is written: whole, atomically, never reporting.
class OfflineDisk {
public:
    static constexpr auto fileName = "offline-snapshot.json";
    // Far above any real list; a larger file is not read at all.
    static constexpr qint64 maxFileBytes = 256 * 1024 * 1024;
    // How many unreadable files are kept aside, newest first.
    static constexpr int keptAside = 3;

    // Null picks the folder "Velmora" in the per-user data directory. Nothing is created yet.
    explicit OfflineDisk(const std::optional<QString>& directory = std::nullopt);

    const QString& fileURL() const { return m_file; }

    void save(const OfflineSnapshot& snapshot) const;
    std::optional<OfflineSnapshot> load() const;
    void clear() const;
    // Moves a file that could not be read out of the way of the next save, as
    // "offline-snapshot.unreadable-1.json" (older ones move up to -3, and the oldest goes).
    // False when there was no file to move.
    bool setAside() const;
    QString asideURL(int n) const;
    // A crash between a save's link and rename leaves a temporary file; removed at start.
    void removeStrayTemporaries() const;

private:
    QString m_file;
};
