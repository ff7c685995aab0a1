#pragma once

#include <QList>
#include <QString>

// Text lengths as the reader sees them: a flag, an emoji with a skin tone or a letter with a
// combining accent is one character, and no cut ever falls inside one.
namespace Characters {

// Where each character starts, in UTF-16 units, followed by the text's size.
QList<qsizetype> starts(const QString& text);
qsizetype count(const QString& text);
// The first `n` characters, or the text itself when it is no longer.
QString left(const QString& text, qsizetype n);

} // namespace Characters
