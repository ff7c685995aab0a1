#include "HandledFindings.h"

#include "WireFormats.h"

#include <QLocale>

namespace FindingWords {

QString word(const QString& finding) {
    if (finding == u"critical")
        return QStringLiteral("Do today");
    if (finding == u"chase")
        return QStringLiteral("Chase");
    if (finding == u"drop")
        return QStringLiteral("Drop");
    if (finding == u"observation")
        return QStringLiteral("Observation");
    return finding;
}

QString subtitle(const HandledFinding& finding) {
    QStringList parts{word(finding.finding)};
    if (const auto at = WireDate::instant(finding.createdAt))
        parts << QLocale().toString(at->toLocalTime().date(), QStringLiteral("MMM d"));
    if (finding.approximate)
        parts << QStringLiteral("summarised");
    return parts.join(QStringLiteral(" · "));
}

} // namespace FindingWords
