#include "Focus.h"

#include "Characters.h"

#include <QSet>

namespace FocusLimits {

QStringList normalise(const QStringList& terms) {
    QStringList out;
    QSet<QString> seen;
    for (QString term : terms) {
        for (QChar& c : term)
            if (c.category() == QChar::Other_Control)
                c = QLatin1Char(' ');
        // The cut counts characters as the reader sees them, so it never splits an emoji.
        term = Characters::left(term.simplified(), maxLength).trimmed();
        const QString folded = term.toLower();
        if (term.isEmpty() || seen.contains(folded))
            continue;
        seen.insert(folded);
        out.push_back(term);
        if (out.size() == maxTerms)
            break;
    }
    return out;
}

bool isDuplicate(const QString& draft, const QStringList& focus) {
    const QString folded = draft.trimmed().toLower();
    if (folded.isEmpty())
        return false;
    for (const QString& term : focus)
        if (term.toLower() == folded)
            return true;
    return false;
}

bool addable(const QString& draft, const QStringList& focus, bool saving) {
    return focus.size() < maxTerms && !saving && !isDuplicate(draft, focus) &&
           !draft.trimmed().isEmpty();
}

} // namespace FocusLimits

namespace FocusMatch {

namespace {

// A letter, mark or digit in any of the character's code points.
bool isWordCharacter(QStringView character) {
    for (const char32_t scalar : character.toUcs4())
        if (QChar::isLetterOrNumber(scalar) || QChar::isMark(scalar))
            return true;
    return false;
}

} // namespace

bool matches(const QString& text, const QString& term) {
    const QString haystack = text.toLower();
    const QString needle = term.trimmed().toLower();
    if (haystack.isEmpty() || needle.isEmpty())
        return false;
    // Hits start and end between characters as the reader sees them; overlapping hits are
    // tried too.
    const QList<qsizetype> starts = Characters::starts(haystack);
    const auto character = [&](qsizetype index) {
        return QStringView(haystack).mid(starts[index], starts[index + 1] - starts[index]);
    };
    for (qsizetype i = 0; i + 1 < starts.size(); ++i) {
        if (!QStringView(haystack).mid(starts[i]).startsWith(needle))
            continue;
        const qsizetype end = starts[i] + needle.size();
        const qsizetype after = starts.indexOf(end, i);
        if (after < 0)
            continue;
        const bool leftEdge = i == 0 || !isWordCharacter(character(i - 1));
        const bool rightEdge = after == starts.size() - 1 || !isWordCharacter(character(after));
        if (leftEdge && rightEdge)
            return true;
    }
    return false;
}

QStringList hits(const Item& item, const QStringList& terms) {
    if (terms.isEmpty())
        return {};
    QStringList fields;
    for (const QString& field :
         {item.title, item.note.value_or(QString()), item.source.value_or(QString())})
        if (!field.isEmpty())
            fields << field;
    // A line feed between fields keeps a term from matching across two of them.
    const QString text = fields.join(QLatin1Char('\n'));
    if (text.isEmpty())
        return {};
    QStringList found;
    for (const QString& term : terms)
        if (matches(text, term))
            found << term;
    return found;
}

bool isFocused(const Item& item, const QStringList& terms) {
    return !hits(item, terms).isEmpty();
}

} // namespace FocusMatch
