#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// The admin listener's own routes: scripted faults, users and their caps, and the document
// and proposal as another device or an agent would write them.
namespace AdminApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace AdminApi
