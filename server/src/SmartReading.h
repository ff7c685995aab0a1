#pragma once

#include "Json.h"

#include <QDate>
#include <QString>

#include <optional>

// The server's own reading of a pasted text for Smart Add: plain rules, no model. It
// answers with the draft the client expects, so the client's flow can be exercised end to
// end.
namespace SmartReading {

// Only this much of the text is read.
inline constexpr qsizetype maxInputChars = 1000;
// Smart Adds a user may make in a calendar month (UTC) unless the server is told otherwise.
inline constexpr qint64 defaultMonthlyCap = 30;

struct Reading {
    JsonValue draft; // {title, details, who, when, section, priority, links}
    bool truncated = false;
};

// Null when the text holds no line to make a title of. Day words count from `today`.
std::optional<Reading> read(const QString& text, const QDate& today);

} // namespace SmartReading
