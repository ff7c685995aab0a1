#pragma once

#include <QString>

#include <array>
#include <optional>
#include <string_view>

// Closed value sets. Each enumerator's position is its order (pickers, sorting and
// priority rank rest on it) and its wire text is exactly the lower-case name below.

enum class Section { action, waiting, note };
enum class Channel { self, teams, email, meeting, other };
enum class Priority { low, medium, high };
enum class ItemStatus { open, done };
enum class Origin { user, ai };
enum class Initiated { human, automatic };
enum class SharedState { pending, accepted, declined, doneClaimed };
enum class RuleStatus { active, paused };
enum class RuleAction { exclude, recategorize, alwaysKeep, boost };
enum class RuleField { section, channel, source, title, priority, dueRelative };
enum class RuleOp { equals, notEquals, contains };
enum class MatchOp { all, any };
enum class RuleOriginKind { rejections, manual };
enum class SuppressionReason { rejected, deleted };
enum class RejectionKind {
    add,
    complete,
    remove,
    update,
    addRule,
    updateRule,
    removeRule,
    pauseRule
};

template <typename E>
struct EnumWire;

#define VELMORA_ENUM_WIRE(E, ...)                                                                  \
    template <>                                                                                    \
    struct EnumWire<E> {                                                                           \
        static constexpr auto names = std::to_array<std::string_view>({__VA_ARGS__});              \
        static constexpr std::string_view typeName = #E;                                           \
    };

VELMORA_ENUM_WIRE(Section, "action", "waiting", "note")
VELMORA_ENUM_WIRE(Channel, "self", "teams", "email", "meeting", "other")
VELMORA_ENUM_WIRE(Priority, "low", "medium", "high")
VELMORA_ENUM_WIRE(ItemStatus, "open", "done")
VELMORA_ENUM_WIRE(Origin, "user", "ai")
VELMORA_ENUM_WIRE(Initiated, "human", "auto")
VELMORA_ENUM_WIRE(SharedState, "pending", "accepted", "declined", "done_claimed")
VELMORA_ENUM_WIRE(RuleStatus, "active", "paused")
VELMORA_ENUM_WIRE(RuleAction, "exclude", "recategorize", "always_keep", "boost")
VELMORA_ENUM_WIRE(RuleField, "section", "channel", "source", "title", "priority", "due_relative")
VELMORA_ENUM_WIRE(RuleOp, "equals", "not_equals", "contains")
VELMORA_ENUM_WIRE(MatchOp, "all", "any")
VELMORA_ENUM_WIRE(RuleOriginKind, "rejections", "manual")
VELMORA_ENUM_WIRE(SuppressionReason, "rejected", "deleted")
VELMORA_ENUM_WIRE(RejectionKind, "add", "complete", "remove", "update", "add_rule", "update_rule",
                  "remove_rule", "pause_rule")

#undef VELMORA_ENUM_WIRE

namespace Wire {

// Every value of E, in order.
template <typename E>
constexpr auto allValues() {
    std::array<E, EnumWire<E>::names.size()> values{};
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<E>(i);
    return values;
}

template <typename E>
constexpr std::string_view text(E value) {
    return EnumWire<E>::names[static_cast<std::size_t>(value)];
}

template <typename E>
QString string(E value) {
    const auto t = text(value);
    return QString::fromLatin1(t.data(), static_cast<qsizetype>(t.size()));
}

template <typename E>
constexpr std::optional<E> parse(std::string_view wire) {
    const auto& names = EnumWire<E>::names;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == wire)
            return static_cast<E>(i);
    return std::nullopt;
}

template <typename E>
std::optional<E> parse(const QString& wire) {
    const QByteArray utf8 = wire.toUtf8();
    return parse<E>(std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
}

} // namespace Wire

QString label(Section section);
QString plural(Section section);
QString label(Channel channel);
