#pragma once

#include "AIRecords.h"

#include <QDateTime>
#include <QString>

// The Credits screen's words.
namespace CreditWords {
QString title(const CreditLot& lot);
// "2026-03" as "March 2026"; anything else as it stands.
QString monthName(const QString& period);
QString statusLine(const CreditLot& lot);
QString usedLine(const CreditLot& lot);
QString runLine(const CreditRun& run);
// The one short date of the screen, "4 Mar" in the user's locale.
QString shortDate(const QDateTime& at);
QString headerLine(const Credits& credits);
} // namespace CreditWords
