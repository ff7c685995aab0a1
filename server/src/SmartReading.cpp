#include "SmartReading.h"

#include "Characters.h"

#include <QRegularExpression>
#include <QSet>
#include <QStringList>
#include <QUrl>

namespace SmartReading {

namespace {

constexpr int maxLinks = 3;

std::optional<QDate> dayIn(const QString& text, const QDate& today) {
    static const QRegularExpression words(
        QStringLiteral("\\b(today|tomorrow|monday|tuesday|wednesday|thursday|friday|saturday|"
                       "sunday|\\d{4}-\\d{2}-\\d{2})\\b"),
        QRegularExpression::CaseInsensitiveOption);
    static const QStringList weekdays{QStringLiteral("monday"),    QStringLiteral("tuesday"),
                                      QStringLiteral("wednesday"), QStringLiteral("thursday"),
                                      QStringLiteral("friday"),    QStringLiteral("saturday"),
                                      QStringLiteral("sunday")};
    for (auto it = words.globalMatch(text); it.hasNext();) {
        const QString word = it.next().captured(1).toLower();
        if (word == u"today")
            return today;
        if (word == u"tomorrow")
            return today.addDays(1);
        if (const qsizetype weekday = weekdays.indexOf(word); weekday >= 0) {
            // The next such day: today's own name means a week on.
            const int ahead = (int(weekday) + 1 - today.dayOfWeek() + 7) % 7;
            return today.addDays(ahead == 0 ? 7 : ahead);
        }
        const QDate day = QDate::fromString(word, QStringLiteral("yyyy-MM-dd"));
        if (day.isValid())
            return day;
    }
    return std::nullopt;
}

JsonValue linksIn(const QString& text) {
    static const QRegularExpression urls(QStringLiteral("https?://[^\\s<>\"'()\\[\\]]+"),
                                         QRegularExpression::CaseInsensitiveOption);
    JsonValue::Array links;
    QSet<QString> seen;
    for (auto it = urls.globalMatch(text); it.hasNext() && links.size() < maxLinks;) {
        QString found = it.next().captured(0);
        // Sentence punctuation after a link is not part of it.
        while (!found.isEmpty() && QStringLiteral(".,;:!?").contains(found.back()))
            found.chop(1);
        const QUrl url(found, QUrl::StrictMode);
        if (!url.isValid() || url.host().isEmpty() || seen.contains(url.toString()))
            continue;
        seen.insert(url.toString());
        JsonValue link;
        link.set(QStringLiteral("label"), url.host());
        link.set(QStringLiteral("url"), url.toString());
        links.push_back(std::move(link));
    }
    return links;
}

bool mentions(const QString& text, const char* pattern) {
    const QRegularExpression expression(QString::fromLatin1(pattern),
                                        QRegularExpression::CaseInsensitiveOption);
    return expression.match(text).hasMatch();
}

} // namespace

std::optional<Reading> read(const QString& text, const QDate& today) {
    const QString input = Characters::left(text, maxInputChars);
    const bool truncated = input.size() < text.size();

    std::optional<QString> who;
    QStringList lines;
    static const QRegularExpression lineEnds(QStringLiteral("\\r\\n|\\r|\\n"));
    for (const QString& line : input.split(lineEnds)) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(QLatin1String("From:"), Qt::CaseInsensitive)) {
            const QString name = trimmed.mid(5).trimmed();
            if (!who && !name.isEmpty())
                who = name;
            continue;
        }
        lines.push_back(line);
    }
    while (!lines.isEmpty() && lines.front().trimmed().isEmpty())
        lines.pop_front();
    if (lines.isEmpty())
        return std::nullopt;
    const QString title = lines.takeFirst().trimmed();
    const QString details = lines.join(QLatin1Char('\n')).trimmed();

    JsonValue draft;
    draft.set(QStringLiteral("title"), title);
    draft.set(QStringLiteral("details"), details.isEmpty() ? JsonValue() : JsonValue(details));
    draft.set(QStringLiteral("who"), who);
    const auto day = dayIn(input, today);
    draft.set(QStringLiteral("when"),
              day ? JsonValue(day->toString(QStringLiteral("yyyy-MM-dd"))) : JsonValue());
    draft.set(QStringLiteral("section"),
              mentions(input, "\\bwaiting (for|on)\\b") ? "waiting" : "action");
    draft.set(QStringLiteral("priority"),
              mentions(input, "\\b(urgent|asap)\\b") ? "high" : "medium");
    draft.set(QStringLiteral("links"), linksIn(input));
    return Reading{std::move(draft), truncated};
}

} // namespace SmartReading
