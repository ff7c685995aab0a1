#include "OfflineBadge.h"

namespace OfflineBadge {

QString label(int queuedEdits) {
    if (queuedEdits <= 0)
        return QStringLiteral("Offline");
    return QStringLiteral("Offline \u2014 %1 %2 saved locally")
        .arg(queuedEdits)
        .arg(queuedEdits == 1 ? QStringLiteral("edit") : QStringLiteral("edits"));
}

std::optional<QString> lastSyncedLine(const std::optional<QDateTime>& since,
                                      const QLocale& locale) {
    if (!since || !since->isValid())
        return std::nullopt;
    return QStringLiteral("Last synced ") +
           locale.toString(since->toLocalTime().time(), QLocale::ShortFormat);
}

QString text(int queuedEdits, const std::optional<QDateTime>& since, const QLocale& locale) {
    const auto second = lastSyncedLine(since, locale);
    return second ? label(queuedEdits) + QLatin1Char('\n') + *second : label(queuedEdits);
}

QString tooltip() {
    return QStringLiteral("Changes will sync when the connection returns");
}

} // namespace OfflineBadge
