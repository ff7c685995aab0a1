#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// Smart Add: `POST /api/ai/smart-insert`, the server's draft of `{"text": ...}`, metered
// per user and calendar month (UTC) against the monthly cap; the admin sets the cap.
namespace SmartInsertApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);
void installAdmin(httplib::Server& server, Service& service);
} // namespace SmartInsertApi
