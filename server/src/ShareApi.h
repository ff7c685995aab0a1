#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// `api/share`: a task sent to a connected person, their answer, and the completion that
// comes back to the sender. Every step moves both users' versions.
namespace ShareApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace ShareApi
