#pragma once

#include "HttpServer.h"

#include <QByteArray>

#include <cstddef>

class FaultPlan;
class Service;

namespace HttpApi {

constexpr std::size_t maxBodyBytes = 1024 * 1024;

// What both listeners hold requests to: a pool of `threads` for complete requests, the
// body cap (413) and the read deadlines.
HttpServer::Limits limits(std::size_t threads);

// JSON bodies `{"message": ...}` on every error the library raises itself.
void configure(httplib::Server& server);

// Every family's routes (the document, Smart Add...), with the scripted faults applied.
void installApi(httplib::Server& server, Service& service, FaultPlan& faults);

// The admin listener's routes of every family, each guarded by
// `Authorization: Bearer <secret>`.
void installAdmin(httplib::Server& server, Service& service, FaultPlan& faults,
                  const QByteArray& secret);

} // namespace HttpApi
