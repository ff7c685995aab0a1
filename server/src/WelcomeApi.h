#pragma once

#include <QString>

#include <httplib.h>

class FaultPlan;
class Service;

// `api/onboarded`: whether the account has seen the welcome. A new account has not.
namespace WelcomeApi {

void install(httplib::Server& server, Service& service, FaultPlan& faults);
// Marks the named account welcomed (the demo, which shows its list at once).
void markWelcomed(Service& service, const QString& userName);

} // namespace WelcomeApi
