#pragma once

#include "Records.h"

#include <QString>
#include <QStringList>

// The focus list: people or projects the briefing weighs more heavily.
namespace FocusLimits {

inline constexpr qsizetype maxTerms = 10;
inline constexpr qsizetype maxLength = 60; // characters, as the reader counts them

// Cleans a whole list in order, keeping the first form of each term: control characters
// and runs of blanks become one blank, terms are trimmed and cut, empty ones and
// duplicates blind to case dropped, ten at most.
QStringList normalise(const QStringList& terms);
// `draft`, trimmed, is already in `focus` (blind to case).
bool isDuplicate(const QString& draft, const QStringList& focus);
// Whether "Add" may run now.
bool addable(const QString& draft, const QStringList& focus, bool saving);

} // namespace FocusLimits

// Which focus terms a task mentions, as whole words blind to case.
namespace FocusMatch {

bool matches(const QString& text, const QString& term);
// The terms found in the task's title, note and source, in the order of `terms`.
QStringList hits(const Item& item, const QStringList& terms);
bool isFocused(const Item& item, const QStringList& terms);

} // namespace FocusMatch
