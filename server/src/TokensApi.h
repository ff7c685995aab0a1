#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// `api/tokens`: the account's long-lived tokens by fingerprint. GET lists them with the caps
// of each kind, POST makes a named agent ("mcp") token and shows it this once, DELETE
// revokes one by its fingerprint. `connections` and `account/delete` are the website's
// pages for the same, kept plain here.
namespace TokensApi {
inline constexpr int maxNameLength = 100;
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace TokensApi
