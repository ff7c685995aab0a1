#pragma once

#include "AIRecords.h"

#include <QString>

namespace FindingWords {
// The label of a kind of finding: "critical" is "Do today"; an unknown word stays.
QString word(const QString& finding);
// The Tune screen's line under a handled finding: its word, the day, "summarised".
QString subtitle(const HandledFinding& finding);
} // namespace FindingWords
