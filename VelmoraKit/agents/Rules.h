#pragma once

#include "Proposal.h"

#include <QList>
#include <QPair>
#include <QString>

#include <optional>

// The four sample rules shown before sign-in, in their order.
const QList<WireNewRule>& showcaseRules();

// What the rule form sends: the value and reason trimmed, and a target only for
// "recategorize".
struct RuleRequest {
    RuleAction action = RuleAction::exclude;
    RuleField field = RuleField::title;
    RuleOp op = RuleOp::contains;
    QString value;
    std::optional<Section> target;
    QString reason;
    bool operator==(const RuleRequest&) const = default;
};

// The state of the form that makes one rule. The screen binds its pickers to these fields
// and calls Store::createRule with request() between begin() and finish().
struct RuleComposer {
    RuleAction action = RuleAction::exclude;
    Section target =
        Section::note; // kept while another action is picked, sent only with recategorize
    RuleField field = RuleField::title;
    RuleOp op = RuleOp::contains;
    QString value;
    QString reason;
    bool busy = false;
    std::optional<QString> error;

    // The choices of each picker with the words the user sees, in order.
    static const QList<QPair<RuleAction, QString>>& actionChoices();
    static const QList<QPair<Section, QString>>& targetChoices();
    static const QList<QPair<RuleField, QString>>& fieldChoices();
    static const QList<QPair<RuleOp, QString>>& opChoices();

    bool showsTarget() const { return action == RuleAction::recategorize; }
    // A reason is required, and so is a value.
    bool canCreate() const;
    RuleRequest request() const;
    void begin() { busy = true; }
    // `created` is Store::createRule's result, `lastError` the Store's words on failure.
    void finish(bool created, const QString& lastError);
    bool operator==(const RuleComposer&) const = default;
};
