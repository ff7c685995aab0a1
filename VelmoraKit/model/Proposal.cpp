#include "Proposal.h"

#include "WireFormats.h"
#include "WireJson.h"

namespace {

const QString yourAgent = QStringLiteral("Your AI agent");
const QString yourAgentLower = QStringLiteral("your AI agent");

} // namespace

QString WireDelta::kindName() const {
    return kind == DeltaKind::unknown ? unknownKind : Wire::string(kind);
}

bool WireDelta::isTaskDelta() const {
    return kind == DeltaKind::complete || kind == DeltaKind::remove || kind == DeltaKind::update;
}

bool WireDelta::isRuleDelta() const {
    return kind == DeltaKind::updateRule || kind == DeltaKind::removeRule ||
           kind == DeltaKind::pauseRule;
}

QString ProposalDelta::makeId(const WireDelta& wire, int position) {
    return wire.kindName() + QLatin1Char(':') + QString::number(position);
}

std::optional<int> ProposalDelta::index() const {
    const QStringList pieces = id.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (pieces.isEmpty())
        return std::nullopt;
    bool ok = false;
    const int value = pieces.last().toInt(&ok, 10);
    return ok ? std::optional<int>(value) : std::nullopt;
}

QString Proposal::agentName() const {
    return agent.value_or(yourAgent);
}

QString Proposal::agentNameLowercased() const {
    return agent.value_or(yourAgentLower);
}

namespace ProposalFormat {

WireDelta decodeDelta(const JsonValue& value) {
    return WireJson::fromJson<WireDelta>(value);
}

JsonValue toJson(const WireDelta& delta) {
    return *JsonValue::parse(WireJson::encode(delta));
}

std::optional<Proposal> readReply(QByteArrayView body) {
    const std::optional<JsonValue> reply = JsonValue::parse(body);
    const JsonValue* result = reply && reply->isObject() ? reply->find("result") : nullptr;
    if (!result)
        throw DecodingError(QStringLiteral("loadProposal reply was not an object"));
    if (result->isNull())
        return std::nullopt;
    const JsonValue* deltas = result->isObject() ? result->find("deltas") : nullptr;
    if (!deltas || !deltas->isArray())
        throw DecodingError(QStringLiteral("proposal had no deltas array"));

    Proposal proposal;
    int position = 0;
    for (const JsonValue& element : deltas->toArray()) {
        ProposalDelta delta;
        delta.raw = element.toJson();
        try {
            delta.wire = WireJson::decode<WireDelta>(delta.raw);
        } catch (const DecodingError& error) {
            throw DecodingError(QStringLiteral("delta %1: %2").arg(position).arg(error.message()));
        }
        delta.id = ProposalDelta::makeId(delta.wire, position);
        proposal.deltas.append(std::move(delta));
        ++position;
    }

    const auto text = [&](const char* key) -> std::optional<QString> {
        const JsonValue* v = result->find(key);
        return v && v->isString() ? std::optional<QString>(v->toString()) : std::nullopt;
    };
    proposal.createdAtRaw = text("created_at");
    if (proposal.createdAtRaw)
        proposal.createdAt = WireDate::instant(*proposal.createdAtRaw);
    proposal.agent = text("agent");
    proposal.summary = text("summary");
    return proposal;
}

} // namespace ProposalFormat
