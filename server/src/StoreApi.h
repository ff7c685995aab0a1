#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// The document: `POST /api/store` (the remote methods) and `GET /api/store/version`.
namespace StoreApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);
} // namespace StoreApi
