#pragma once

#include "Records.h"

#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QString>

#include <optional>

// The rules behind the two right-pane forms, the item editor and the new-task form: how
// their texts are held to a length, when a typed link may be added, when the editor holds
// unsaved edits, and the lines they show.
namespace ItemForms {

// Trimmed of white space and line breaks, as titles are before they are sent.
QString trimmed(const QString& text);
// Empty text is sent as no value.
std::optional<QString> nullIfEmpty(const QString& text);

// The link typed into the editor's add line: both parts trimmed of spaces and tabs, both
// present, and an http or https address. A bare address has no name, so it is refused.
std::optional<ItemLink> parsedNewLink(const QString& label, const QString& url);
// The typed link parses and its address isn't in `links` yet, under any label.
bool canAddLink(const QList<ItemLink>& links, const QString& label, const QString& url);

// The footer line of a shared item.
std::optional<QString> shareStatus(const WireSharedMark& shared);
// "Limit reached — 200 characters."
QString limitReachedLine(int limit);
// "Action item", "Waiting on" or "Note".
QString sectionTitle(Section section);
// The wire word with a capital initial: "Low", "Medium", "High".
QString priorityTitle(Priority priority);
// An abbreviated date with a short time, in the order of `locale` ("Jan 6, 2026, 3:04 PM").
QString addedLabel(const QDateTime& createdAt, const QLocale& locale = QLocale());
// "1 link attached: Doc" or "2 links attached: Doc, Ticket"; empty without links.
QString linksAttachedLine(const QList<ItemLink>& links);

// What the editor holds apart from the item until "Save".
struct ItemEdits {
    QString title;
    QString note;
    QString source;
    std::optional<QDateTime> due;
    Priority priority = Priority::medium;
    QList<ItemLink> links;
    Section section = Section::action;

    static ItemEdits of(const Item& item);
    bool operator==(const ItemEdits&) const = default;
};
// The edits differ from the item; a missing note or who counts as empty text.
bool dirty(const ItemEdits& edits, const Item& item);

// What the new-task form starts with: a Smart Add draft, or the add row's text.
struct DraftSeed {
    QString title;
    QString note;
    QString source;
    std::optional<QDateTime> due;
    Priority priority = Priority::medium;
    Section section = Section::action;
    QList<ItemLink> links;
    std::optional<QString> notice;
};

} // namespace ItemForms
