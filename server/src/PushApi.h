#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// `api/push/register`: a device's push registration, stored per device token and removed
// with `remove`. The reference server sends no pushes; it keeps what it was told.
namespace PushApi {

void install(httplib::Server& server, Service& service, FaultPlan& faults);

} // namespace PushApi
