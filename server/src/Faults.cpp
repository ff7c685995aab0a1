#include "Faults.h"

#include <stdexcept>

namespace {

[[noreturn]] void invalid(const char* what) {
    throw std::invalid_argument(what);
}

} // namespace

Fault Fault::fromJson(const JsonValue& json) {
    if (!json.isObject())
        invalid("a fault must be a JSON object");
    Fault fault;
    if (const JsonValue* v = json.find(u"method")) {
        if (!v->isString())
            invalid("method must be a string");
        fault.method = v->toString().toUpper();
    }
    const JsonValue* path = json.find(u"path");
    if (!path || !path->isString() || !path->toString().startsWith(QLatin1Char('/')))
        invalid("path must be a string that starts with /");
    fault.path = path->toString();
    if (const JsonValue* v = json.find(u"rpc"); v && !v->isNull()) {
        if (!v->isString())
            invalid("rpc must be a string");
        fault.rpc = v->toString();
    }
    if (const JsonValue* v = json.find(u"count")) {
        if (!v->isInteger() || v->toInteger() < 1 || v->toInteger() > 100000)
            invalid("count must be a positive integer");
        fault.count = int(v->toInteger());
    }
    if (const JsonValue* v = json.find(u"delay_ms")) {
        if (!v->isInteger() || v->toInteger() < 0 || v->toInteger() > 120000)
            invalid("delay_ms must be an integer from 0 to 120000");
        fault.delayMs = int(v->toInteger());
    }
    if (const JsonValue* v = json.find(u"status"); v && !v->isNull()) {
        if (!v->isInteger() || v->toInteger() < 100 || v->toInteger() > 599)
            invalid("status must be an HTTP status");
        fault.status = int(v->toInteger());
    }
    if (const JsonValue* v = json.find(u"body"); v && !v->isNull()) {
        if (!v->isString())
            invalid("body must be a string");
        fault.body = v->toString().toUtf8();
    }
    if (const JsonValue* v = json.find(u"close_after_write")) {
        if (!v->isBool())
            invalid("close_after_write must be a boolean");
        fault.closeAfterWrite = v->toBool();
    }
    if (const JsonValue* v = json.find(u"cut_after_headers")) {
        if (!v->isBool())
            invalid("cut_after_headers must be a boolean");
        fault.cutAfterHeaders = v->toBool();
    }
    if (int(fault.status.has_value()) + int(fault.closeAfterWrite) + int(fault.cutAfterHeaders) > 1)
        invalid("a fault answers a status, closes after the write or cuts the reply: one of them");
    return fault;
}

void FaultPlan::add(Fault fault) {
    std::lock_guard lock(m_mutex);
    m_faults.push_back(std::move(fault));
}

void FaultPlan::clear() {
    std::lock_guard lock(m_mutex);
    m_faults.clear();
}

std::optional<Fault> FaultPlan::take(const QString& method, const QString& path,
                                     const QString& rpc) {
    std::lock_guard lock(m_mutex);
    for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
        if (it->method != u"*" && it->method != method)
            continue;
        if (it->path != path || (!it->rpc.isEmpty() && it->rpc != rpc))
            continue;
        Fault taken = *it;
        if (--it->count <= 0)
            m_faults.erase(it);
        return taken;
    }
    return std::nullopt;
}

int FaultPlan::pending() const {
    std::lock_guard lock(m_mutex);
    int total = 0;
    for (const Fault& fault : m_faults)
        total += fault.count;
    return total;
}
