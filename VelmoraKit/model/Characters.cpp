#include "Characters.h"

#include <QTextBoundaryFinder>

namespace Characters {

QList<qsizetype> starts(const QString& text) {
    QList<qsizetype> out;
    out.reserve(text.size() + 1);
    out.push_back(0);
    if (text.isEmpty())
        return out;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (qsizetype at = finder.toNextBoundary(); at != -1; at = finder.toNextBoundary())
        out.push_back(at);
    return out;
}

qsizetype count(const QString& text) {
    if (text.isEmpty())
        return 0;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype n = 0;
    while (finder.toNextBoundary() != -1)
        ++n;
    return n;
}

QString left(const QString& text, qsizetype n) {
    if (n <= 0)
        return {};
    if (text.size() <= n) // never more characters than code units
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype seen = 0;
    for (qsizetype at = finder.toNextBoundary(); at != -1; at = finder.toNextBoundary())
        if (++seen == n)
            return text.left(at);
    return text;
}

} // namespace Characters
