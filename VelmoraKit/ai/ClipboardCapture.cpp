#include "ClipboardCapture.h"

#include <QTextBoundaryFinder>

namespace ClipboardCapture {

namespace {

bool isBlank(QChar c) {
    return c == QLatin1Char('\t') || c.category() == QChar::Separator_Space;
}

// Where a cut at `position` may fall: there, or at the grapheme start before it.
qsizetype boundaryAtOrBefore(const QString& text, qsizetype position) {
    if (position <= 0 || position >= text.size())
        return position;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.setPosition(position);
    if (finder.isAtBoundary())
        return position;
    const qsizetype previous = finder.toPreviousBoundary();
    return previous < 0 ? 0 : previous;
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

QString leftChars(const QString& text, qsizetype limit) {
    if (text.size() <= limit)
        return text;
    return text.left(boundaryAtOrBefore(text, limit));
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

    if (title.size() > titleLimit) {
        // Prefer a word break late in the line; only the stretch from 100 on counts, so a
        // title never shrinks below half its room.
        qsizetype cut = -1;
        for (qsizetype i = titleLimit - 1; i >= titleLimit / 2; --i) {
            if (isBlank(title.at(i))) {
                cut = i;
                break;
            }
        }
        if (cut < 0)
            cut = boundaryAtOrBefore(title, titleLimit);
        const QString overflow = trimBlanks(title.mid(cut));
        title = trimBlanks(title.left(cut));
        note = note.isEmpty() ? overflow : overflow + QLatin1Char('\n') + note;
    }

    note = leftChars(note.trimmed(), noteLimit);
    Draft result{title, std::nullopt};
    if (!note.isEmpty())
        result.note = note;
    return result;
}

} // namespace ClipboardCapture
