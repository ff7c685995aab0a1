#pragma once

#include <QtGlobal>

#include <httplib.h>

class FaultPlan;
class Service;

// `GET api/usage`: what the account has used of its caps (open tasks, Smart Adds this
// month, agent calls today) and who it is.
namespace UsageApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace UsageApi
