#include "ItemForms.h"

#include <QUrl>

#include "SkeletonFormat.h"

#include <algorithm>

namespace ItemForms {

namespace {

QString trimmedOfSpacesAndTabs(const QString& text) {
    const auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace

QString trimmed(const QString& text) {
    return text.trimmed();
}

std::optional<QString> nullIfEmpty(const QString& text) {
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

std::optional<ItemLink> parsedNewLink(const QString& label, const QString& url) {
    const QString name = trimmedOfSpacesAndTabs(label);
    const QString address = trimmedOfSpacesAndTabs(url);
    if (name.isEmpty() || address.isEmpty())
        return std::nullopt;
    const QUrl parsed(address, QUrl::StrictMode);
    if (!parsed.isValid() || parsed.scheme().isEmpty())
        return std::nullopt;
    const QString scheme = parsed.scheme().toLower();
    if (scheme != u"http" && scheme != u"https")
        return std::nullopt;
    return ItemLink{name, parsed};
}

bool canAddLink(const QList<ItemLink>& links, const QString& label, const QString& url) {
    const auto link = parsedNewLink(label, url);
    return link && std::none_of(links.begin(), links.end(),
                                [&](const ItemLink& held) { return held.url == link->url; });
}

std::optional<QString> shareStatus(const WireSharedMark& shared) {
    switch (shared.state) {
    case SharedState::pending:
        return QStringLiteral("Sent to ") + shared.with + QStringLiteral(" — not accepted yet");
    case SharedState::accepted:
        return shared.with + QStringLiteral(" has this");
    case SharedState::declined:
        return shared.with + QStringLiteral(" said no — it is yours again");
    case SharedState::doneClaimed:
        return shared.with + QStringLiteral(" says this is done");
    }
    return std::nullopt;
}

QString limitReachedLine(int limit) {
    return QStringLiteral("Limit reached — %1 characters.").arg(limit);
}

QString sectionTitle(Section section) {
    switch (section) {
    case Section::action:
        return QStringLiteral("Action item");
    case Section::waiting:
        return QStringLiteral("Waiting on");
    case Section::note:
        return QStringLiteral("Note");
    }
    return {};
}

QString priorityTitle(Priority priority) {
    const QString word = Wire::string(priority);
    return word.left(1).toUpper() + word.mid(1);
}

QString addedLabel(const QDateTime& createdAt, const QLocale& locale) {
    if (!createdAt.isValid())
        return {};
    const QDateTime local = createdAt.toLocalTime();
    if (auto worded = SkeletonFormat::format(local.date(), local.time(), u"yMMMdjmm", locale))
        return *worded;
    return locale.toString(local.date(), QStringLiteral("MMM d, yyyy")) + QStringLiteral(", ") +
           locale.toString(local.time(), QLocale::ShortFormat);
}

QString linksAttachedLine(const QList<ItemLink>& links) {
    if (links.isEmpty())
        return {};
    QStringList labels;
    for (const ItemLink& link : links)
        labels << link.label;
    const QString count = links.size() == 1
                              ? QStringLiteral("1 link attached")
                              : QString::number(links.size()) + QStringLiteral(" links attached");
    return count + QStringLiteral(": ") + labels.join(QStringLiteral(", "));
}

ItemEdits ItemEdits::of(const Item& item) {
    return {item.title,
            item.note.value_or(QString()),
            item.source.value_or(QString()),
            item.due,
            item.priority,
            item.links,
            item.section};
}

bool dirty(const ItemEdits& edits, const Item& item) {
    return edits != ItemEdits::of(item);
}

} // namespace ItemForms
