#pragma once

#include "Storage.h"

#include <QString>

#include <httplib.h>

#include <optional>

class FaultPlan;
class Service;

// `api/people`: display names, invitation codes (kept only as hashes) and the connections
// they make, both ways. Sharing asks it who may send to whom.
namespace PeopleApi {
void install(httplib::Server& server, Service& service, FaultPlan& faults);

// The name others see: the chosen one, else the account's name.
QString displayName(Storage& storage, qint64 user);
bool connected(Storage& storage, qint64 user, qint64 other);
// A person's id as the client holds it, and back; null for anything that is not one.
QString personId(qint64 user);
std::optional<qint64> userOf(const QString& personId);
} // namespace PeopleApi
