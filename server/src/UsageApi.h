#pragma once

#include <QtGlobal>

#include <httplib.h>

class FaultPlan;
class Service;

// `GET api/usage`: what the account has used of its caps (open tasks, Smart Adds this
// month, agent calls today) and who it is.
namespace UsageApi {
// Agent (MCP) calls each user may make a day.
inline constexpr qint64 agentCallsPerDay = 200;
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace UsageApi
