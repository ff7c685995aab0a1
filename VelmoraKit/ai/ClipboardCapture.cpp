#include "ClipboardCapture.h"

#include "Characters.h"

namespace ClipboardCapture {

namespace {

bool isBlank(QChar c) {
    return c == QLatin1Char('\t') || c.category() == QChar::Separator_Space;
}

} // namespace

QString trimBlanks(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text.at(begin)))
        ++begin;
    while (end > begin && isBlank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

std::optional<Draft> draft(const QString& from) {
    QString text = from;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    text = text.trimmed();
    if (text.isEmpty())
        return std::nullopt;

    const qsizetype lineEnd = text.indexOf(QLatin1Char('\n'));
    QString title = trimBlanks(lineEnd < 0 ? text : text.left(lineEnd));
    QString note = lineEnd < 0 ? QString() : text.mid(lineEnd + 1);

    if (const QList<qsizetype> at = Characters::starts(title); at.size() - 1 > titleLimit) {
        // Prefer a word break late in the line; only the stretch from 100 on counts, so a
        // title never shrinks below half its room.
        qsizetype cut = at[titleLimit];
        for (qsizetype i = titleLimit - 1; i >= titleLimit / 2; --i) {
            if (isBlank(title.at(at[i]))) {
                cut = at[i];
                break;
            }
        }
        const QString overflow = trimBlanks(title.mid(cut));
        title = trimBlanks(title.left(cut));
        note = note.isEmpty() ? overflow : overflow + QLatin1Char('\n') + note;
    }

    note = Characters::left(note.trimmed(), noteLimit);
    Draft result{title, std::nullopt};
    if (!note.isEmpty())
        result.note = note;
    return result;
}

} // namespace ClipboardCapture
