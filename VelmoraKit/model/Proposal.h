#pragma once

#include "Enums.h"
#include "Json.h"
#include "Wire.h"

#include <QByteArray>
#include <QDateTime>
#include <QHashFunctions>
#include <QList>
#include <QString>

#include <optional>

// What an agent proposes: one batch of suggested changes ("deltas") that waits for the
// user's review. The Wire records are the server's JSON; Proposal and ProposalDelta are
// what the Store holds, each delta with the JSON it came as.

// The task that an "add" would create.
struct WireNewItem {
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
    std::optional<Initiated> initiated;
    std::optional<ItemStatus> status;
    bool operator==(const WireNewItem&) const = default;
};

// The fields that an "update" would change. A missing key and a null one read the same
// here; only the delta's raw JSON tells them apart.
struct WireItemPatch {
    std::optional<QString> title;
    std::optional<Section> section;
    std::optional<Channel> channel;
    std::optional<Priority> priority;
    std::optional<bool> flagged;
    std::optional<QList<WireLink>> links;
    std::optional<QString> note;
    std::optional<QString> source;
    std::optional<QString> due;
    bool operator==(const WireItemPatch&) const = default;
};

struct WireNewRule {
    RuleAction action = RuleAction::exclude;
    WireRuleMatch match;
    WireRuleParams params;
    QString reason;
    WireRuleOrigin origin;
    std::optional<RuleStatus> status;
    bool operator==(const WireNewRule&) const = default;
};

struct WireRulePatch {
    std::optional<QString> reason;
    std::optional<RuleStatus> status;
    std::optional<RuleAction> action;
    std::optional<WireRuleMatch> match;
    std::optional<WireRuleParams> params;
    bool operator==(const WireRulePatch&) const = default;
};

// The kinds of delta, in the order switches over them keep. The set is open: a kind this
// client does not know is `unknown` and keeps its text in WireDelta::unknownKind.
enum class DeltaKind {
    add,
    complete,
    remove,
    update,
    addRule,
    updateRule,
    removeRule,
    pauseRule,
    unknown
};

template <>
struct EnumWire<DeltaKind> {
    // `unknown` has no wire text of its own.
    static constexpr auto names =
        std::to_array<std::string_view>({"add", "complete", "remove", "update", "add_rule",
                                         "update_rule", "remove_rule", "pause_rule"});
    static constexpr std::string_view typeName = "DeltaKind";
};

// A tagged record: `kind` decides which of the payload fields are set.
//   add: item; complete, remove: itemId; update: itemId, patch; add_rule: rule;
//   update_rule: ruleId, rulePatch; remove_rule, pause_rule: ruleId; unknown: nothing.
struct WireDelta {
    DeltaKind kind = DeltaKind::unknown;
    QString unknownKind; // the kind as it came, for `unknown` only
    std::optional<QString> reason;
    std::optional<WireNewItem> item;
    QString itemId;
    std::optional<WireItemPatch> patch;
    std::optional<WireNewRule> rule;
    QString ruleId;
    std::optional<WireRulePatch> rulePatch;

    QString kindName() const;
    bool isTaskDelta() const;
    bool isRuleDelta() const;
    bool operator==(const WireDelta&) const = default;
};

// The server's strict record of a pending proposal.
struct WireProposal {
    qint64 schemaVersion = 1;
    QString createdAt;
    std::optional<QString> agent;
    std::optional<QString> summary;
    QList<WireDelta> deltas;
    bool operator==(const WireProposal&) const = default;
};

struct ProposalDelta {
    QString id; // "<kindName>:<position in the reply's deltas>"
    WireDelta wire;
    QByteArray raw; // this delta's own JSON; key order is not meaningful

    static QString makeId(const WireDelta& wire, int position);
    // The delta's position read back from its id; null when the id holds none.
    std::optional<int> index() const;
    bool operator==(const ProposalDelta&) const = default;
};

// Identified by id: equal deltas share one.
inline size_t qHash(const ProposalDelta& delta, size_t seed = 0) {
    return qHash(delta.id, seed);
}

struct Proposal {
    std::optional<QDateTime> createdAt;
    std::optional<QString> createdAtRaw; // what goes back to the server, byte for byte
    std::optional<QString> agent;
    std::optional<QString> summary;
    QList<ProposalDelta> deltas;

    QString agentName() const;
    QString agentNameLowercased() const;
    bool operator==(const Proposal&) const = default;
};

// Read and written by the model's one JSON reader and writer (WireJson), on both sides of
// the wire: the server files only what readReply takes.
namespace ProposalFormat {

// Strict reader of one delta; throws DecodingError.
WireDelta decodeDelta(const JsonValue& value);
// `kind` first; `unknown` writes its kind alone.
JsonValue toJson(const WireDelta& delta);

// Reads the reply of "loadProposal" loosely, so that unknown kinds survive. Null when
// nothing is pending; throws DecodingError with one of three texts otherwise.
std::optional<Proposal> readReply(QByteArrayView body);

} // namespace ProposalFormat
