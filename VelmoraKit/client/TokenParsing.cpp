#include "TokenParsing.h"

#include <QStringList>

namespace {

// Blanks and tabs only, not line breaks.
bool isBlank(char32_t c) {
    return c == U'\t' || QChar::category(c) == QChar::Separator_Space;
}

QString trimBlanks(const QString& text) {
    const auto codePoints = text.toUcs4();
    qsizetype start = 0, end = codePoints.size();
    while (start < end && isBlank(codePoints[start]))
        ++start;
    while (end > start && isBlank(codePoints[end - 1]))
        --end;
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(codePoints.constData()) + start,
                             end - start);
}

// Splits on `separator` without empty pieces and keeps the first or last one; with no
// pieces the text stays as it was.
QString keepPiece(const QString& text, QChar separator, bool last) {
    const QStringList pieces = text.split(separator, Qt::SkipEmptyParts);
    if (pieces.isEmpty())
        return text;
    return last ? pieces.last() : pieces.first();
}

} // namespace

namespace TokenParsing {

std::optional<QString> extract(const QString& input) {
    QString text = input.trimmed();
    if (text.toLower().startsWith(QLatin1String("bearer ")))
        text = trimBlanks(text.mid(7));
    if (text.contains(QLatin1Char('/'))) {
        text = keepPiece(text, QLatin1Char('?'), false);
        text = keepPiece(text, QLatin1Char('#'), false);
        text = keepPiece(text, QLatin1Char('/'), true);
    }
    const auto codePoints = text.toUcs4();
    if (codePoints.size() < 32)
        return std::nullopt;
    for (const char32_t c : codePoints) {
        if (c != U'-' && !QChar::isLetterOrNumber(c))
            return std::nullopt;
    }
    return text;
}

} // namespace TokenParsing
