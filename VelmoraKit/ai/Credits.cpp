#include "Credits.h"

#include <QLocale>

namespace CreditWords {

QString title(const CreditLot& lot) {
    if (lot.kind == u"plan")
        return lot.period ? monthName(*lot.period) : QStringLiteral("Monthly credits");
    if (lot.kind == u"purchase")
        return QStringLiteral("Credit pack");
    if (lot.kind == u"refund")
        return QStringLiteral("Refund");
    return QStringLiteral("Credits added");
}

QString monthName(const QString& period) {
    const QStringList pieces = period.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    if (pieces.size() != 2)
        return period;
    bool yearOk = false;
    bool monthOk = false;
    const int year = pieces[0].toInt(&yearOk);
    const int month = pieces[1].toInt(&monthOk);
    if (!yearOk || !monthOk || month < 1 || month > 12)
        return period;
    return QLocale().standaloneMonthName(month) + QLatin1Char(' ') + QString::number(year);
}

QString statusLine(const CreditLot& lot) {
    if (lot.lost > 0)
        return QStringLiteral("%1 expired unused").arg(lot.lost);
    if (lot.remaining < 1)
        return QStringLiteral("All used");
    if (lot.expiresAt)
        return QStringLiteral("%1 left · until %2")
            .arg(lot.remaining)
            .arg(shortDate(*lot.expiresAt));
    return QStringLiteral("%1 left · never expire").arg(lot.remaining);
}

QString usedLine(const CreditLot& lot) {
    return QStringLiteral("%1 of %2 used").arg(lot.used).arg(lot.amount);
}

QString runLine(const CreditRun& run) {
    if (run.failed())
        return QStringLiteral("Didn't finish — no credit was used");
    if (run.triggerKind == u"on_demand")
        return QStringLiteral("You asked for it");
    return QStringLiteral("Scheduled");
}

QString shortDate(const QDateTime& at) {
    return QLocale().toString(at.toLocalTime().date(), QStringLiteral("d MMM"));
}

QString headerLine(const Credits& credits) {
    return QStringLiteral("%1 AI credits a month").arg(credits.creditsPerMonth);
}

} // namespace CreditWords
