#pragma once

#include <QString>

#include <optional>

// The plain local reading of pasted text: a title from its first line, the rest as the
// note. It stands ready whatever the server does, so a paste is never lost. Limits count
// characters as the reader sees them.
namespace ClipboardCapture {

inline constexpr qsizetype titleLimit = 200;
inline constexpr qsizetype noteLimit = 2000;

struct Draft {
    QString title;
    std::optional<QString> note;
    bool operator==(const Draft&) const = default;
};

// Null when the text holds nothing but blanks and line ends.
std::optional<Draft> draft(const QString& from);

// Trims spaces, tabs and other space separators, but not line ends.
QString trimBlanks(const QString& text);

} // namespace ClipboardCapture
