#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// `api/ai/dismiss`: the briefing's findings that the user has acted on, which the briefing
// leaves alone for 30 days. POST records one, DELETE lets it come back, GET lists them.
namespace DismissApi {
inline constexpr int keptDays = 30;
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace DismissApi
