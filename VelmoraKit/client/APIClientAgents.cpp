// Agent proposals and standing rules, on api/store.

#include "APIClient.h"

#include "WireFormats.h"

QCoro::Task<std::optional<Proposal>> APIClient::loadProposal() {
    // Read by hand: a strict decoder would drop the kinds of delta this client doesn't know.
    auto task = post(QStringLiteral("loadProposal"), {}, {});
    const QByteArray body = co_await std::move(task);
    co_return ProposalFormat::readReply(body);
}

QCoro::Task<> APIClient::resolveProposal(QString createdAt, QList<int> accepted,
                                         QList<int> rejected, QMap<QString, QString> titleEdits) {
    const auto indices = [](const QList<int>& list) {
        JsonValue::Array array;
        for (const int index : list)
            array.push_back(index);
        return array;
    };
    JsonValue body;
    body.set(QStringLiteral("created_at"), createdAt);
    body.set(QStringLiteral("accepted"), indices(accepted));
    body.set(QStringLiteral("rejected"), indices(rejected));
    if (!titleEdits.isEmpty()) {
        JsonValue edits;
        for (auto it = titleEdits.cbegin(); it != titleEdits.cend(); ++it)
            edits.set(it.key(), it.value());
        body.set(QStringLiteral("title_edits"), std::move(edits));
    }
    JsonValue::Array args{std::move(body)};
    auto task = sendIgnoringResult(QStringLiteral("resolveProposal"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<WireRule> APIClient::createRule(RuleAction action, RuleField field, RuleOp op,
                                            QString value, std::optional<Section> target,
                                            QString reason) {
    JsonValue condition;
    condition.set(QStringLiteral("field"), Wire::string(field));
    condition.set(QStringLiteral("op"), Wire::string(op));
    condition.set(QStringLiteral("value"), JsonValue::Array{value});
    JsonValue match;
    match.set(QStringLiteral("op"), Wire::string(MatchOp::all));
    match.set(QStringLiteral("conditions"), JsonValue::Array{std::move(condition)});
    JsonValue params = JsonValue::Object{};
    if (action == RuleAction::recategorize)
        params.set(QStringLiteral("section"), Wire::string(target.value_or(Section::note)));
    JsonValue origin;
    origin.set(QStringLiteral("from"), Wire::string(RuleOriginKind::manual));
    origin.set(QStringLiteral("rejection_ids"), JsonValue::Array{});
    origin.set(QStringLiteral("count"), 0);
    JsonValue rule;
    rule.set(QStringLiteral("action"), Wire::string(action));
    rule.set(QStringLiteral("match"), std::move(match));
    rule.set(QStringLiteral("params"), std::move(params));
    rule.set(QStringLiteral("reason"), reason);
    rule.set(QStringLiteral("origin"), std::move(origin));
    JsonValue::Array args{std::move(rule)};
    auto task = send<WireRule>(QStringLiteral("addRule"), std::move(args));
    co_return co_await std::move(task);
}

QCoro::Task<> APIClient::setRulePaused(QString id, bool paused) {
    JsonValue patch;
    patch.set(QStringLiteral("status"),
              Wire::string(paused ? RuleStatus::paused : RuleStatus::active));
    JsonValue::Array args{id, std::move(patch)};
    auto task = sendIgnoringResult(QStringLiteral("updateRule"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::deleteRule(QString id) {
    JsonValue::Array args{id};
    auto task = sendIgnoringResult(QStringLiteral("deleteRule"), std::move(args));
    co_await std::move(task);
}
