#include "AdminApi.h"

#include "Methods.h"
#include "Routes.h"
#include "WireJson.h"

#include <QSet>

using namespace Routes;

namespace {

QByteArray versionBody(qint64 version) {
    return JsonValue::object({{QStringLiteral("version"), std::int64_t(version)}}).toJson();
}

} // namespace

void AdminApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    server.Post("/admin/faults", [&](const httplib::Request& req, httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        try {
            faults.add(Fault::fromJson(*json));
        } catch (const std::invalid_argument& error) {
            return sendMessage(res, 400, QString::fromUtf8(error.what()));
        }
        send(res, 200, JsonValue::object({{QStringLiteral("pending"), faults.pending()}}).toJson());
    });
    server.Get("/admin/faults", [&](const httplib::Request&, httplib::Response& res) {
        send(res, 200, JsonValue::object({{QStringLiteral("pending"), faults.pending()}}).toJson());
    });
    server.Delete("/admin/faults", [&](const httplib::Request&, httplib::Response& res) {
        faults.clear();
        send(res, 200, JsonValue::object({{QStringLiteral("pending"), 0}}).toJson());
    });

    server.Post("/admin/users", [&](const httplib::Request& req, httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        const JsonValue* name = json->find(u"name");
        if (!name || !name->isString() || name->toString().trimmed().isEmpty())
            return sendMessage(res, 400, QStringLiteral("name must be a non-empty string"));
        const auto issued = service.issueToken(name->toString().trimmed());
        if (const JsonValue* cap = json->find(u"cap"); cap && cap->isInteger())
            service.setOpenCap(issued.user, cap->toInteger());
        send(res, 200,
             JsonValue::object(
                 {{QStringLiteral("name"), issued.user}, {QStringLiteral("token"), issued.token}})
                 .toJson());
    });

    server.Put(R"(/admin/users/([^/]+)/cap)",
               [&](const httplib::Request& req, httplib::Response& res) {
                   const auto json = jsonBody(req, res);
                   if (!json)
                       return;
                   const JsonValue* cap = json->find(u"cap");
                   if (!cap || !(cap->isNull() || (cap->isInteger() && cap->toInteger() >= 0)))
                       return sendMessage(res, 400, QStringLiteral("cap must be a count or null"));
                   std::optional<qint64> value;
                   if (cap->isInteger())
                       value = cap->toInteger();
                   if (!service.setOpenCap(userName(req), value))
                       return sendMessage(res, 404, QStringLiteral("No such user."));
                   send(res, 200, JsonValue::object({{QStringLiteral("cap"), *cap}}).toJson());
               });

    server.Get(R"(/admin/users/([^/]+)/document)",
               [&](const httplib::Request& req, httplib::Response& res) {
                   const auto state = service.state(userName(req));
                   if (!state)
                       return sendMessage(res, 404, QStringLiteral("No such user."));
                   send(res, 200,
                        "{\"document\":" + WireJson::encode(state->document) +
                            ",\"version\":" + QByteArray::number(state->version) + '}');
               });

    server.Put(R"(/admin/users/([^/]+)/document)", [&](const httplib::Request& req,
                                                       httplib::Response& res) {
        WireDocument document;
        try {
            document = WireJson::decode<WireDocument>(bodyOf(req));
        } catch (const DecodingError& error) {
            return sendMessage(res, 400, error.message());
        }
        // Ids are row keys: a duplicate would not survive a restart.
        QSet<QString> itemIds, ruleIds;
        for (const WireItem& item : document.items)
            itemIds.insert(item.id);
        for (const WireRule& rule : document.rules)
            ruleIds.insert(rule.id);
        if (itemIds.size() != document.items.size() || ruleIds.size() != document.rules.size())
            return sendMessage(res, 400, QStringLiteral("item and rule ids must be unique"));
        const auto version = service.replaceDocument(userName(req), document);
        if (!version)
            return sendMessage(res, 404, QStringLiteral("No such user."));
        send(res, 200, versionBody(*version));
    });

    server.Put(R"(/admin/users/([^/]+)/proposal)", [&](const httplib::Request& req,
                                                       httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        std::optional<Service::FiledProposal> filed;
        try {
            filed = service.setProposal(userName(req), *json);
        } catch (const RpcError& refusal) {
            return sendMessage(res, refusal.status(), refusal.message());
        }
        if (!filed)
            return sendMessage(res, 404, QStringLiteral("No such user."));
        send(res, 200,
             JsonValue::object({{QStringLiteral("proposal"), filed->proposal},
                                {QStringLiteral("version"), std::int64_t(filed->version)}})
                 .toJson());
    });

    server.Delete(R"(/admin/users/([^/]+)/proposal)",
                  [&](const httplib::Request& req, httplib::Response& res) {
                      const auto filed = service.setProposal(userName(req), std::nullopt);
                      if (!filed)
                          return sendMessage(res, 404, QStringLiteral("No such user."));
                      send(res, 200, versionBody(filed->version));
                  });
}
