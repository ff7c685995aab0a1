#pragma once

#include "Service.h"

#include <QDateTime>
#include <QString>

#include <httplib.h>

#include <optional>

class FaultPlan;
class Storage;

// The AI credit ledger. Credits come in lots: the monthly plan lot (its size per user, 0
// by default, set by the admin), one free credit for a new account, and purchases granted
// through the admin listener. A run of an AI feature spends one credit from the lot that
// expires soonest; a plan lot ends at the start of the next month (UTC) and what is left
// of it is lost. `GET api/ai/credits[?lot=]` shows the balance, the lots and their runs.
namespace CreditLedger {

// The ledger's tables, made at start.
void createTables(Storage& storage);
// The plan's monthly allowance; a new size shows from the next month's lot.
void setMonthly(Storage& storage, qint64 userId, qint64 perMonth);
// `{credits, lots, runs}` as the client reads it at `now`; with `lot`, that lot's runs
// (404 for a lot the user has not got). Writes a lot that is due, so it runs in a
// transaction.
Reply snapshot(Storage& storage, qint64 userId, const std::optional<QString>& lot,
               const QDateTime& now);

// Whether the user could pay for a run now.
bool available(Storage& storage, qint64 userId, const QDateTime& now);
// Records one run of `capability` ("briefing"...); `triggerKind` is "on_demand" or
// "scheduled". A run that succeeded spends one credit; a failed one is recorded against
// the lot it would have used and spends nothing. Null when there is no credit to spend:
// nothing is recorded, and the caller answers with `refusal()`. Gives the run's id.
// Called inside the caller's Service::transact, so the run and its work commit together.
std::optional<QString> spend(Storage& storage, qint64 userId, const QString& capability,
                             const QString& triggerKind, bool succeeded, const QDateTime& now);
// 402 `{"ok": false, "reason": "no_credits", "message": ...}`: a run refused for credit.
Reply refusal();

} // namespace CreditLedger

namespace CreditsApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);
void installAdmin(httplib::Server& server, Service& service);
} // namespace CreditsApi
