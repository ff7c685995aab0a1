#include "BriefingAction.h"

#include "BriefingHelp.h"

namespace BriefingAction {

QDateTime chaseDue(const QDateTime& now) {
    const QDateTime due = now.addDays(chaseDays);
    return due.isValid() ? due : now.addSecs(qint64(chaseDays) * 86400);
}

std::optional<QString> person(const std::optional<QString>& source) {
    if (!source)
        return std::nullopt;
    const QString text = source->trimmed();
    if (text.isEmpty())
        return std::nullopt;
    // A handover: the person is the one the arrow points at.
    const qsizetype arrow = text.indexOf(QChar(0x2192));
    if (arrow >= 0) {
        const QString after = text.mid(arrow + 1).trimmed();
        return after.isEmpty() ? std::nullopt : std::optional(after);
    }
    const QString lower = text.toLower();
    static const char16_t* const events[] = {u"standup", u"meeting", u"call with the",
                                             u"review",  u"sync",    u"'s "};
    for (const char16_t* event : events)
        if (lower.contains(QStringView(event)))
            return std::nullopt;
    return text;
}

QString escalationTitle(const Item& item) {
    const QString title = item.title.trimmed();
    if (const auto who = person(item.source))
        return QStringLiteral("Schedule a call with ") + *who + QStringLiteral(" about ") + title;
    return QStringLiteral("Schedule a call about ") + title;
}

QString recordLine(const std::optional<QString>& disposition, const std::optional<Item>& item) {
    QString line = QStringLiteral("No action");
    if (disposition)
        if (const auto word = BriefingHelp::historyWord(*disposition))
            line = *word;
    if (item)
        line += item->isDone() ? QStringLiteral(" · done since") : QStringLiteral(" · still open");
    return line;
}

bool isAnswered(bool locally, const std::optional<QString>& disposition) {
    return locally || disposition.has_value();
}

QString answerKey(Kind kind, const QString& target) {
    return BriefingKinds::text(kind) + QLatin1Char(':') + target;
}

namespace Receipt {
QString dropped(const QString& title) {
    return QStringLiteral("Deleted “") + title + QStringLiteral("”");
}
} // namespace Receipt

} // namespace BriefingAction
