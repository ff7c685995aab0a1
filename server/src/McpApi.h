#pragma once

#include "Faults.h"
#include "Service.h"

#include <httplib.h>

// The agents' door: a stateless MCP endpoint (Streamable HTTP, JSON replies) at
// `/mcp/<token>` and at `/mcp` with a bearer token. Every POST carries one JSON-RPC message
// and gets one reply; nothing is kept between requests but the user's data.
namespace McpApi {

void install(httplib::Server& server, Service& service, FaultPlan& faults);
// `PUT /admin/mcp/cap`: the agent calls each user may make a day.
void installAdmin(httplib::Server& server);

} // namespace McpApi
