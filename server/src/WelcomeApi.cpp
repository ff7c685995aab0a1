#include "WelcomeApi.h"

#include "Routes.h"

using namespace Routes;

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS welcomed(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    at TEXT NOT NULL);
)sql";

bool welcomed(Storage& storage, qint64 user) {
    Storage::Statement s(storage, "SELECT 1 FROM welcomed WHERE user_id = ?");
    s.bind(1, user);
    return s.step();
}

void mark(Storage& storage, qint64 user) {
    Storage::Statement(storage, "INSERT OR IGNORE INTO welcomed(user_id, at) VALUES(?, ?)")
        .bind(1, user)
        .bind(2, Service::now())
        .run();
}

QByteArray answer(bool onboarded) {
    return JsonValue::object({{QStringLiteral("onboarded"), onboarded}}).toJson();
}

} // namespace

void WelcomeApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    server.Get("/api/onboarded",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                   return service.read(user, [&](const UserState&, Storage& storage) {
                       return Reply{200, answer(welcomed(storage, user))};
                   });
               }));
    server.Post("/api/onboarded",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                    return service.transact(user, [&](UserState&, Storage& storage) {
                        mark(storage, user);
                        return Reply{200, answer(true)};
                    });
                }));
}

void WelcomeApi::markWelcomed(Service& service, const QString& userName) {
    const auto user = service.findUser(userName);
    if (!user)
        return;
    service.migrate([&](Storage& storage) {
        storage.exec(schema);
        mark(storage, *user);
    });
}
