#pragma once

#include <QByteArray>

#include <cstddef>

namespace httplib {
class Server;
}
class FaultPlan;
class Service;

namespace HttpApi {

constexpr std::size_t maxBodyBytes = 1024 * 1024;

// Limits shared by both listeners: a bounded pool of `threads`, the body cap (413) and JSON
// bodies `{"message": ...}` on every error the library raises itself.
void configure(httplib::Server& server, std::size_t threads);

// `POST /api/store`, `GET /api/store/version` and `POST /api/ai/smart-insert`, with the
// scripted faults applied.
void installApi(httplib::Server& server, Service& service, FaultPlan& faults);

// The admin listener's routes, each guarded by `Authorization: Bearer <secret>`.
void installAdmin(httplib::Server& server, Service& service, FaultPlan& faults,
                  const QByteArray& secret);

} // namespace HttpApi
