#pragma once

#include "Enums.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The server's JSON records, field for field. Nullable keys are optionals; when a record
// is written back, an empty optional leaves its key out.

struct WireLink {
    QString label;
    QString url;
    bool operator==(const WireLink&) const = default;
};

struct WireSharedMark {
    QString with;
    SharedState state = SharedState::pending;
    bool operator==(const WireSharedMark&) const = default;
};

struct WireItem {
    QString id;
    QString title;
    std::optional<QString> note;
    Section section = Section::action;
    Channel channel = Channel::self;
    std::optional<QString> source;
    std::optional<QString> sourceId;
    std::optional<QString> due;
    Priority priority = Priority::medium;
    std::optional<bool> flagged;
    QList<WireLink> links;
    ItemStatus status = ItemStatus::open;
    Origin origin = Origin::user;
    std::optional<Initiated> initiated;
    std::optional<WireSharedMark> shared;
    QString createdAt;
    std::optional<QString> completedAt;
    std::optional<QString> deletedAt;
    bool operator==(const WireItem&) const = default;
};

struct WireSettings {
    bool hideDone = false;
    bool operator==(const WireSettings&) const = default;
};

struct WireRejection {
    std::optional<QString> id;
    QString at;
    RejectionKind kind = RejectionKind::add;
    std::optional<QString> title;
    std::optional<QString> itemId;
    std::optional<QString> source;
    std::optional<QString> sourceId;
    std::optional<Section> section;
    std::optional<Channel> channel;
    std::optional<Priority> priority;
    std::optional<QString> ruleId;
    bool operator==(const WireRejection&) const = default;
};

struct WireSuppression {
    QString fp;
    SuppressionReason reason = SuppressionReason::rejected;
    std::optional<QString> title;
    QString createdAt;
    bool operator==(const WireSuppression&) const = default;
};

struct WireRuleCondition {
    RuleField field = RuleField::section;
    RuleOp op = RuleOp::equals;
    QStringList value;
    bool operator==(const WireRuleCondition&) const = default;
};

struct WireRuleMatch {
    MatchOp op = MatchOp::all;
    QList<WireRuleCondition> conditions;
    bool operator==(const WireRuleMatch&) const = default;
};

struct WireRuleParams {
    std::optional<Section> section;
    std::optional<Channel> channel;
    std::optional<Priority> priority;
    bool operator==(const WireRuleParams&) const = default;
};

struct WireRuleOrigin {
    RuleOriginKind from = RuleOriginKind::manual;
    QStringList rejectionIds;
    qint64 count = 0;
    bool operator==(const WireRuleOrigin&) const = default;
};

struct WireRule {
    QString id;
    RuleStatus status = RuleStatus::active;
    RuleAction action = RuleAction::exclude;
    WireRuleMatch match;
    WireRuleParams params;
    QString reason;
    WireRuleOrigin origin;
    Origin createdBy = Origin::user;
    QString createdAt;
    QString updatedAt;
    std::optional<QString> lastAppliedAt;
    qint64 applyCount = 0;
    bool operator==(const WireRule&) const = default;
};

struct WireDocument {
    qint64 schemaVersion = 1;
    QList<WireItem> items;
    QList<WireRejection> rejections;
    QList<WireRule> rules;
    QList<WireSuppression> suppressions;
    QStringList focus;
    WireSettings settings;
    bool operator==(const WireDocument&) const = default;
};

// The `GET api/store/version` reply.
struct VersionReply {
    qint64 version = 0;
    bool operator==(const VersionReply&) const = default;
};
