#pragma once

#include <QSet>
#include <QString>

#include <httplib.h>

class FaultPlan;
class Service;
class Storage;

// `api/ai/dismiss`: the briefing's findings that the user has acted on, which the briefing
// leaves alone for 30 days. POST records one, DELETE lets it come back, GET lists them.
// With `briefing_id`, the card in that stored briefing is marked (or opened) as well.
namespace DismissApi {
inline constexpr int keptDays = 30;
void install(httplib::Server& server, Service& service, FaultPlan& faults);
// The findings a briefing leaves out now, as "<finding>:<target>".
QSet<QString> handled(Storage& storage, qint64 userId);
} // namespace DismissApi
