// The Store's offline file: restore at start, deferred and immediate saves, and the
// document rebuilt from the baseline and the queue.

#include "Store.h"

#include "WireFormats.h"
#include "WireJson.h"

namespace {
// The baseline with the queued edits applied on top.
Document replayed(const WireDocument& wire, const QList<PendingOp>& queue) {
    Document document = WireMapping::document(wire);
    for (const auto& op : queue)
        PendingOps::apply(op, document, QDateTime::currentDateTimeUtc());
    return document;
}
} // namespace

void Store::restore() {
    m_disk.removeStrayTemporaries();
    const auto snapshot = m_disk.load();
    // Decoded once: the check that the baseline reads is also the document shown.
    const auto wire = snapshot ? WireCompat::decodeDocument(snapshot->wireDocument) : std::nullopt;
    if (!wire) {
        // The start is empty, but the file may hold queued edits: it goes aside instead of
        // being overwritten by the next save, and the user hears of it after the first load.
        if (m_disk.setAside())
            m_setAsideNotice =
                QStringLiteral("The offline copy of your list couldn't be read, so it was loaded "
                               "afresh from the server. Any changes not yet sent are kept in %1.")
                    .arg(m_disk.asideURL(1));
        return;
    }
    m_syncedWire = snapshot->wireDocument;
    m_syncedVersion = snapshot->syncedVersion;
    m_lastSyncedAt = snapshot->syncedAt;
    m_queue = snapshot->queue;
    m_strikes = snapshot->strikes;
    m_savedQueue = m_queue;
    m_savedStrikes = m_strikes;
    m_document = replayed(*wire, m_queue);
}

void Store::persist() {
    // The queue and its strike counts are the user's unsent work: on disk before anything
    // goes out. Only a new baseline may wait for the frame.
    if (!m_deferredSaves || m_queue != m_savedQueue || m_strikes != m_savedStrikes)
        return flushSnapshot();
    if (!m_saveTimer.isActive())
        m_saveTimer.start();
}

void Store::flushSnapshot() {
    m_saveTimer.stop();
    if (!m_syncedWire)
        return;
    m_strikes.removeIf([this](const auto& entry) { return !m_queue.contains(entry.key()); });
    OfflineSnapshot snapshot;
    snapshot.wireDocument = *m_syncedWire;
    snapshot.syncedVersion = m_syncedVersion;
    snapshot.syncedAt = m_lastSyncedAt.isValid() ? m_lastSyncedAt : QDateTime::currentDateTimeUtc();
    snapshot.queue = m_queue;
    snapshot.strikes = m_strikes;
    m_disk.save(snapshot);
    m_savedQueue = m_queue;
    m_savedStrikes = m_strikes;
}

std::optional<Document> Store::rebuiltFromBaseline() const {
    if (!m_syncedWire)
        return std::nullopt;
    const auto wire = WireCompat::decodeDocument(*m_syncedWire);
    if (!wire)
        return std::nullopt;
    return replayed(*wire, m_queue);
}
