#include "Rules.h"

#include "WireJson.h"

namespace {

// Stored as the server would send them, so the sample sentences come from the same code
// as the real ones.
const char* const showcaseJson[] = {
    R"({"action":"exclude","match":{"op":"all","conditions":[{"field":"channel","op":"equals","value":["email"]},{"field":"source","op":"contains","value":["no-reply","notifications"]}]},"params":{},"reason":"Automated mail is never actionable","origin":{"from":"rejections","rejection_ids":[],"count":3}})",
    R"({"action":"exclude","match":{"op":"all","conditions":[{"field":"title","op":"contains","value":["PTO","OOO"]}]},"params":{},"reason":"Out-of-office notes are not tasks","origin":{"from":"rejections","rejection_ids":[],"count":3}})",
    R"({"action":"always_keep","match":{"op":"all","conditions":[{"field":"source","op":"contains","value":["Zokritun"]}]},"params":{},"reason":"Anything from Zokritun matters","origin":{"from":"manual","rejection_ids":[],"count":0}})",
    R"({"action":"boost","match":{"op":"all","conditions":[{"field":"section","op":"equals","value":["waiting"]}]},"params":{"priority":"high"},"reason":"If someone is blocked on me, it is urgent","origin":{"from":"manual","rejection_ids":[],"count":0}})",
};

} // namespace

const QList<WireNewRule>& showcaseRules() {
    static const QList<WireNewRule> rules = [] {
        QList<WireNewRule> out;
        for (const char* text : showcaseJson) {
            // Read through the add_rule delta, the one reader of a new rule.
            JsonValue delta;
            delta.set(QStringLiteral("kind"), QStringLiteral("add_rule"));
            delta.set(QStringLiteral("rule"), JsonValue::parse(text).value_or(JsonValue()));
            try {
                if (const auto rule = ProposalFormat::decodeDelta(delta).rule)
                    out.append(*rule);
            } catch (const DecodingError&) {
                // A sample that doesn't read is left out rather than shown half.
            }
        }
        return out;
    }();
    return rules;
}

const QList<QPair<RuleAction, QString>>& RuleComposer::actionChoices() {
    static const QList<QPair<RuleAction, QString>> choices{
        {RuleAction::exclude, QStringLiteral("Never suggest it")},
        {RuleAction::alwaysKeep, QStringLiteral("Always keep it")},
        {RuleAction::boost, QStringLiteral("Mark it high priority")},
        {RuleAction::recategorize, QStringLiteral("Move it to…")}};
    return choices;
}

const QList<QPair<Section, QString>>& RuleComposer::targetChoices() {
    static const QList<QPair<Section, QString>> choices{
        {Section::action, QStringLiteral("Action items")},
        {Section::waiting, QStringLiteral("Waiting on")},
        {Section::note, QStringLiteral("Notes")}};
    return choices;
}

const QList<QPair<RuleField, QString>>& RuleComposer::fieldChoices() {
    static const QList<QPair<RuleField, QString>> choices{
        {RuleField::title, QStringLiteral("title")},
        {RuleField::source, QStringLiteral("who")},
        {RuleField::section, QStringLiteral("list")},
        {RuleField::channel, QStringLiteral("came from")},
        {RuleField::priority, QStringLiteral("priority")},
        {RuleField::dueRelative, QStringLiteral("when due")}};
    return choices;
}

const QList<QPair<RuleOp, QString>>& RuleComposer::opChoices() {
    static const QList<QPair<RuleOp, QString>> choices{
        {RuleOp::contains, QStringLiteral("contains")},
        {RuleOp::equals, QStringLiteral("is")},
        {RuleOp::notEquals, QStringLiteral("is not")}};
    return choices;
}

bool RuleComposer::canCreate() const {
    return !busy && !value.trimmed().isEmpty() && !reason.trimmed().isEmpty();
}

RuleRequest RuleComposer::request() const {
    return RuleRequest{action,
                       field,
                       op,
                       value.trimmed(),
                       showsTarget() ? std::optional<Section>(target) : std::nullopt,
                       reason.trimmed()};
}

void RuleComposer::finish(bool created, const QString& lastError) {
    error = created ? std::nullopt : std::optional<QString>(lastError);
    busy = false;
}
