#include "Usage.h"

#include "APIError.h"
#include "Json.h"

namespace {

// Counts beyond this are no real account's; refusing them keeps the arithmetic safe.
constexpr qint64 maxCount = 1000000000;

const JsonValue* member(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1StringView(key));
    return value && !value->isNull() ? value : nullptr;
}

std::optional<qint64> count(const JsonValue& object, const char* key, bool required) {
    const JsonValue* value = member(object, key);
    if (!value) {
        if (required)
            throw APIError::decoding(QLatin1String(key) +
                                     QStringLiteral(": required key is missing"));
        return std::nullopt;
    }
    if (!value->isInteger() || value->toInteger() < 0 || value->toInteger() > maxCount)
        throw APIError::decoding(QLatin1String(key) + QStringLiteral(": expected a count"));
    return value->toInteger();
}

std::optional<QString> text(const JsonValue& object, const char* key) {
    const JsonValue* value = member(object, key);
    if (!value)
        return std::nullopt;
    if (!value->isString())
        throw APIError::decoding(QLatin1String(key) + QStringLiteral(": expected a string"));
    return value->toString();
}

} // namespace

bool Usage::tasksFull() const {
    return taskCap && openTasks >= *taskCap;
}

bool Usage::tasksNearCap() const {
    if (!taskCap)
        return false;
    const qint64 margin = *taskCap > 29 ? *taskCap / 10 : 3;
    return openTasks >= *taskCap - margin && openTasks < *taskCap;
}

bool Usage::mcpExhausted() const {
    return mcpUsedToday >= mcpCap;
}

Usage Usage::decode(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        throw APIError::decoding(QStringLiteral("usage: expected an object"));
    Usage usage;
    usage.openTasks = *count(*json, "open_tasks", true);
    usage.taskCap = count(*json, "task_cap", false);
    usage.mcpUsedToday = *count(*json, "mcp_used_today", true);
    usage.mcpCap = *count(*json, "mcp_cap", true);
    usage.email = text(*json, "email");
    usage.name = text(*json, "name");
    return usage;
}
