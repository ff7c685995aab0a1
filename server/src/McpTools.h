#pragma once

#include "Json.h"
#include "Service.h"

#include <QString>

#include <optional>

// What agents can do on a user's list over MCP: six tools, one guide, and the daily count of
// their calls. Bad arguments and refusals come back as tool results with `isError` and a
// sentence saying what to fix, so that the model can act on them.
namespace McpTools {

inline constexpr qint64 defaultDailyCap = 200; // tool calls per user and day
inline constexpr int maxDeltas = 100;          // suggestions in one proposal
inline const QString guideUri = QStringLiteral("guide://velmora");

// The family's table, made at start.
void migrate(Service& service);

// Tool calls each user may make a day (the admin listener changes it), and the user's
// count of today, the user's day.
qint64 dailyCap();
void setDailyCap(qint64 cap);
qint64 usedToday(Storage& storage, qint64 userId);

QString instructions();
QString guide(); // Markdown
// The `tools` array of tools/list.
JsonValue list();

// Runs tool `name` for the user and gives the CallToolResult; null when there is no such
// tool. Each call counts toward the user's day; past the daily cap it is refused.
std::optional<JsonValue> call(Service& service, qint64 userId, const QString& name,
                              const JsonValue& arguments);

} // namespace McpTools
