#pragma once

#include "Wire.h"

#include <QDate>
#include <QDateTime>

// The sample list of the demo account: a dozen tasks over the three sections, due days
// relative to `today` (some overdue, some today), timestamps shortly before `now`.
namespace Demo {
inline const QString userName = QStringLiteral("demo");
WireDocument document(const QDate& today, const QDateTime& now);
} // namespace Demo
