#pragma once

#include <QtGlobal>

#include <httplib.h>

class FaultPlan;
class Service;

// Smart Add: `POST /api/ai/smart-insert`, the server's draft of `{"text": ...}`, metered
// per user and calendar month (UTC) against the monthly cap; the admin sets the cap.
class Storage;

namespace SmartInsertApi {
// Smart Adds the user has made this calendar month (UTC).
qint64 usedThisMonth(Storage& storage, qint64 userId);
void install(httplib::Server& server, Service& service, FaultPlan& faults);
void installAdmin(httplib::Server& server, Service& service);
} // namespace SmartInsertApi
