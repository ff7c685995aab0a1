#pragma once

#include <httplib.h>

class FaultPlan;

// `api/prompts`: the sample prompts for agents, public. The client's own four unless the
// admin listener set others (`PUT /admin/prompts`, the same body; `DELETE` goes back).
namespace PromptsApi {
inline constexpr int maxPrompts = 50;
void install(httplib::Server& server, FaultPlan& faults);
void installAdmin(httplib::Server& server);
} // namespace PromptsApi
