#include "UsageApi.h"

#include "McpTools.h"
#include "Methods.h"
#include "Routes.h"
#include "SmartInsertApi.h"

using namespace Routes;

void UsageApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    server.Get("/api/usage",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                   const qint64 smartCap = service.smartInsertCap();
                   return service.read(user, [&](const UserState& state, Storage& storage) {
                       Storage::Statement s(storage, "SELECT name FROM users WHERE id = ?");
                       s.bind(1, user);
                       const QString name = s.step() ? s.text(0) : QString();
                       const JsonValue usage = JsonValue::object(
                           {{QStringLiteral("open_tasks"),
                             std::int64_t(Methods::openCount(state.document))},
                            {QStringLiteral("task_cap"),
                             state.openCap ? JsonValue(std::int64_t(*state.openCap)) : JsonValue()},
                            {QStringLiteral("mcp_used_today"),
                             std::int64_t(McpTools::usedToday(storage, user))},
                            {QStringLiteral("mcp_cap"), std::int64_t(McpTools::dailyCap())},
                            {QStringLiteral("smart_inserts_used"),
                             std::int64_t(SmartInsertApi::usedThisMonth(storage, user))},
                            {QStringLiteral("smart_inserts_cap"), std::int64_t(smartCap)},
                            {QStringLiteral("email"), JsonValue()},
                            {QStringLiteral("name"), name}});
                       return Reply{200, usage.toJson()};
                   });
               }));
}
