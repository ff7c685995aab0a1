#pragma once

#include "Json.h"
#include "Methods.h"
#include "RuleEngine.h"
#include "UserState.h"

#include <QByteArray>
#include <QDate>
#include <QString>

// The pending proposal of one user: filing it (checked, filtered by suppressions and the
// user's rules) and answering it (accepted deltas applied, rejected ones remembered).
namespace Proposals {

// What makes two deltas "the same suggestion" for suppression: the kind, a colon and 32
// hex digits of SHA-256 over the kind's key (see server/README.md). Empty for a value
// that is no delta.
QString fingerprint(const JsonValue& delta);

// Refuses (RpcError 400, naming the delta and key) a proposal that the client could not
// read: not an object, no `deltas` array, or a delta of a known kind with a bad body.
// Deltas of unknown kinds pass untouched.
void validate(const JsonValue& proposal);

// Files `proposal` as the pending one, replacing any: validates it, stamps `created_at`
// when it has none, drops deltas whose fingerprint is suppressed, applies the active rules
// (counting on the rules in `state`). When no delta is left the slot is cleared. Gives
// what was stored, or null. `filing`, when given, learns what became of each delta.
struct Filing {
    QList<qsizetype> suppressed;                            // indices as filed
    QList<std::pair<qsizetype, RuleEngine::Verdict>> ruled; // each "add" the rules looked at
};
JsonValue file(UserState& state, JsonValue proposal, const QString& now, QDate today,
               Filing* filing = nullptr);

// The remote method "resolveProposal".
QByteArray resolve(UserState& state, const JsonValue::Array& args, const Methods::Context& context);

} // namespace Proposals
