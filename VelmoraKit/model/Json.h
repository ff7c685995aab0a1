#pragma once

#include <QAnyStringView>
#include <QByteArray>
#include <QString>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

// Any JSON value: builds heterogeneous argument lists and objects (an explicit null is
// written as null, which is how a field is cleared) and reads loose JSON. Object members
// keep their order.
class JsonValue {
public:
    struct Member;
    using Array = std::vector<JsonValue>;
    using Object = std::vector<Member>;
    enum class Type { null, boolean, integer, number, string, array, object };

    // Defined below Member: the variant needs every alternative complete (clang insists).
    JsonValue();
    JsonValue(std::nullptr_t);
    JsonValue(bool value);
    JsonValue(int value);
    JsonValue(std::int64_t value);
    JsonValue(long long value);
    JsonValue(double value);
    JsonValue(const QString& value);
    JsonValue(const char* utf8);
    JsonValue(Array value);
    JsonValue(Object value);
    template <typename T>
    JsonValue(const std::optional<T>& value);

    static JsonValue array(std::initializer_list<JsonValue> values);
    static JsonValue object(std::initializer_list<Member> members);

    Type type() const { return static_cast<Type>(m_value.index()); }
    bool isNull() const { return type() == Type::null; }
    bool isBool() const { return type() == Type::boolean; }
    bool isInteger() const { return type() == Type::integer; }
    bool isNumber() const { return type() == Type::integer || type() == Type::number; }
    bool isString() const { return type() == Type::string; }
    bool isArray() const { return type() == Type::array; }
    bool isObject() const { return type() == Type::object; }

    bool toBool(bool fallback = false) const;
    std::int64_t toInteger(std::int64_t fallback = 0) const;
    double toDouble(double fallback = 0) const;
    QString toString(const QString& fallback = {}) const;
    const Array& toArray() const;
    const Object& toObject() const;
    Array& asArray();   // turns this value into an array if it is not one
    Object& asObject(); // turns this value into an object if it is not one

    // Object member lookup; null when this is no object or has no such key.
    const JsonValue* find(QAnyStringView key) const;
    bool contains(QAnyStringView key) const { return find(key) != nullptr; }
    // Sets or replaces a member, turning this value into an object if needed.
    void set(const QString& key, JsonValue value);
    bool remove(QAnyStringView key);

    QByteArray toJson() const;
    // Strict parse of one JSON text; on failure gives null and describes why in *error.
    static std::optional<JsonValue> parse(QByteArrayView json, QString* error = nullptr);

    bool operator==(const JsonValue& other) const;

private:
    std::variant<std::monostate, bool, std::int64_t, double, QString, Array, Object> m_value;
};

struct JsonValue::Member {
    QString key;
    JsonValue value;
    bool operator==(const Member&) const = default;
};

inline JsonValue::JsonValue() = default;
inline JsonValue::JsonValue(std::nullptr_t) {}
inline JsonValue::JsonValue(bool value)
    : m_value(value) {}
inline JsonValue::JsonValue(int value)
    : m_value(std::int64_t(value)) {}
inline JsonValue::JsonValue(std::int64_t value)
    : m_value(value) {}
inline JsonValue::JsonValue(long long value)
    : m_value(std::int64_t(value)) {}
inline JsonValue::JsonValue(double value)
    : m_value(value) {}
inline JsonValue::JsonValue(const QString& value)
    : m_value(value) {}
inline JsonValue::JsonValue(const char* utf8)
    : m_value(QString::fromUtf8(utf8)) {}
inline JsonValue::JsonValue(Array value)
    : m_value(std::move(value)) {}
inline JsonValue::JsonValue(Object value)
    : m_value(std::move(value)) {}
template <typename T>
JsonValue::JsonValue(const std::optional<T>& value) {
    if (value)
        *this = JsonValue(*value);
}
inline JsonValue JsonValue::array(std::initializer_list<JsonValue> values) {
    return Array(values);
}

// The frame's name for a value that can be written as JSON.
using AnyEncodable = JsonValue;
