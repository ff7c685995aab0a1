#pragma once

#include "Enums.h"
#include "Wire.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// The domain records every screen and the Store work with: plain values compared field
// by field (array order counts, change detection relies on it).

struct ItemLink {
    QString label;
    QUrl url;
    // Two links with one URL are the same link in a list.
    // Fully encoded: the decoded form turns "%20" into a space that no longer parses.
    QString id() const { return url.toString(QUrl::FullyEncoded); }
    bool operator==(const ItemLink&) const = default;
};

struct Item {
    QString id;
    QString title;
    std::optional<QString> note;
    Priority priority = Priority::medium;
    QList<ItemLink> links;
    Section section = Section::action;
    Channel channel = Channel::self;
    std::optional<QString> source;
    std::optional<QDateTime> due; // local midnight of the due day
    ItemStatus status = ItemStatus::open;
    Origin origin = Origin::user;
    bool flagged = false;
    std::optional<WireSharedMark> shared;
    QDateTime createdAt;
    std::optional<QDateTime> completedAt;

    bool isDone() const { return status == ItemStatus::done; }
    // High sorts first: high 0, medium 1, low 2.
    int priorityRank() const { return 2 - static_cast<int>(priority); }
    // Compared as days in the system zone as it stands at the call.
    bool isOverdue(const QDateTime& today) const;
    // Due today or earlier, done or not: overdue items count too, on purpose.
    bool isToday(const QDateTime& today) const;

    bool operator==(const Item&) const = default;
};

struct Settings {
    bool hideDone = false;
    bool operator==(const Settings&) const = default;
};

struct Rule {
    QString id;
    RuleStatus status = RuleStatus::active;
    RuleAction action = RuleAction::exclude;
    QString reason;
    Origin createdBy = Origin::user;
    qint64 learnedFrom = 0;
    qint64 applyCount = 0;
    std::optional<QDateTime> lastAppliedAt;
    QString sentence;

    bool isPaused() const { return status == RuleStatus::paused; }
    // The readable sentence of a rule, e.g. "Exclude items where section is note".
    static QString describe(RuleAction action, const WireRuleMatch& match);

    bool operator==(const Rule&) const = default;
};

struct Document {
    QList<Item> items;
    QList<Rule> rules;
    QStringList focus;
    Settings settings;
    bool operator==(const Document&) const = default;
};

// What the forms hold text to while the user types.
namespace FieldLimits {
inline constexpr int title = 200;
inline constexpr int note = 2000;
inline constexpr int url = 1000;
inline constexpr int source = 200;
inline constexpr int linkLabel = 80;
inline constexpr int links = 3;
} // namespace FieldLimits

// Wire to domain.
namespace WireMapping {
std::optional<Item> item(const WireItem& wire);
Rule rule(const WireRule& wire);
Document document(const WireDocument& wire);
} // namespace WireMapping
