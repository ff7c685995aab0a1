#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

#include <optional>

// The words of the badge shown while the app is offline.
namespace OfflineBadge {

// "Offline", or "Offline — 2 edits saved locally" while edits wait.
QString label(int queuedEdits);
// "Last synced 14:05" (the short time of day, no date); none before the first sync.
std::optional<QString> lastSyncedLine(const std::optional<QDateTime>& since,
                                      const QLocale& locale = QLocale());
// Both lines as the badge shows them.
QString text(int queuedEdits, const std::optional<QDateTime>& since,
             const QLocale& locale = QLocale());
QString tooltip();

} // namespace OfflineBadge
