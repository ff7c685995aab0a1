#pragma once

#include <httplib.h>

class FaultPlan;
class Service;

// `api/account/delete`: erases every row of the user in every table and revokes its
// tokens. An account marked provider-linked (admin) answers 428 unless `force` is true or
// an `apple_code` is given.
namespace AccountApi {

void install(httplib::Server& server, Service& service, FaultPlan& faults);
void installAdmin(httplib::Server& server, Service& service);

} // namespace AccountApi
