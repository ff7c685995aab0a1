#include "Json.h"

#include "JsonDetail_p.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace JsonDetail {

namespace {

// RFC 3629 UTF-8 (no overlong forms, surrogates or code points past U+10FFFF), checked in one
// pass ahead of the parser: many times faster than the parser's own check byte by byte.
bool isValidUtf8(QByteArrayView bytes, qsizetype* badOffset) {
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    const qsizetype n = bytes.size();
    qsizetype i = 0;
    while (i < n) {
        std::uint64_t word;
        if (i + 8 <= n && (std::memcpy(&word, s + i, 8), (word & 0x8080808080808080ull) == 0)) {
            i += 8;
            continue;
        }
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80, high = 0xBF; // allowed range of the second byte
        if (c >= 0xC2 && c <= 0xDF)
            length = 2;
        else if (c >= 0xE0 && c <= 0xEF)
            length = 3, low = c == 0xE0 ? 0xA0 : 0x80, high = c == 0xED ? 0x9F : 0xBF;
        else if (c >= 0xF0 && c <= 0xF4)
            length = 4, low = c == 0xF0 ? 0x90 : 0x80, high = c == 0xF4 ? 0x8F : 0xBF;
        bool ok = length > 0 && i + length <= n && s[i + 1] >= low && s[i + 1] <= high;
        for (int k = 2; ok && k < length; ++k)
            ok = (s[i + k] & 0xC0) == 0x80;
        if (!ok) {
            *badOffset = i;
            return false;
        }
        i += length;
    }
    return true;
}

QString invalid(rapidjson::ParseErrorCode code, std::size_t offset) {
    return QStringLiteral("the data is not valid JSON (%1 at offset %2)")
        .arg(QString::fromUtf8(rapidjson::GetParseError_En(code)))
        .arg(offset);
}

// Sits between RapidJSON's reader and the document. Numbers reach it as their text and are
// converted here: RapidJSON's own conversion walks off its tables on a long run of zeros
// or an exponent near the limit (a crash, an assertion, garbage) and turns an overflow into
// infinity, which no JSON writer can write back. Nesting is counted as it opens.
class Builder {
public:
    enum class Fault { none, number, depth };

    explicit Builder(rapidjson::Document& document)
        : m_document(document) {}

    Fault fault() const { return m_fault; }

    bool Null() { return m_document.Null(); }
    bool Bool(bool b) { return m_document.Bool(b); }
    bool Int(int i) { return m_document.Int(i); }
    bool Uint(unsigned i) { return m_document.Uint(i); }
    bool Int64(std::int64_t i) { return m_document.Int64(i); }
    bool Uint64(std::uint64_t i) { return m_document.Uint64(i); }
    bool Double(double d) {
        return std::isfinite(d) ? m_document.Double(d) : refuse(Fault::number);
    }
    bool String(const char* s, rapidjson::SizeType n, bool copy) {
        return m_document.String(s, n, copy);
    }
    bool Key(const char* s, rapidjson::SizeType n, bool copy) { return m_document.Key(s, n, copy); }
    bool StartObject() { return open() && m_document.StartObject(); }
    bool EndObject(rapidjson::SizeType members) {
        --m_depth;
        return m_document.EndObject(members);
    }
    bool StartArray() { return open() && m_document.StartArray(); }
    bool EndArray(rapidjson::SizeType elements) {
        --m_depth;
        return m_document.EndArray(elements);
    }

    // A whole number that fits 64 bits stays whole; anything else must round to a finite
    // double, and a nonzero value that underflows to zero is refused too.
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        const char* end = text + length;
        if (std::none_of(text, end, [](char c) { return c == '.' || c == 'e' || c == 'E'; })) {
            std::int64_t whole = 0;
            const auto [stop, ec] = std::from_chars(text, end, whole);
            if (ec == std::errc() && stop == end)
                return m_document.Int64(whole);
        }
        double value = 0;
        const auto [stop, ec] = std::from_chars(text, end, value);
        if (ec != std::errc() || stop != end)
            return refuse(Fault::number);
        return Double(value);
    }

private:
    bool open() { return ++m_depth <= maxDepth || refuse(Fault::depth); }
    bool refuse(Fault fault) {
        m_fault = fault;
        return false;
    }

    rapidjson::Document& m_document;
    int m_depth = 0;
    Fault m_fault = Fault::none;
};

} // namespace

bool parse(rapidjson::Document& document, QByteArrayView json, QString* error) {
    qsizetype badOffset = 0;
    if (!isValidUtf8(json, &badOffset)) {
        if (error)
            *error = invalid(rapidjson::kParseErrorStringInvalidEncoding, badOffset);
        return false;
    }
    // Iterative, so that the reader's own recursion cannot exhaust the stack either.
    constexpr unsigned flags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    rapidjson::MemoryStream stream(json.data(), static_cast<size_t>(json.size()));
    rapidjson::Reader reader;
    rapidjson::ParseResult result;
    Builder::Fault fault = Builder::Fault::none;
    auto generate = [&](rapidjson::Document& target) {
        Builder builder(target);
        result = reader.Parse<flags>(stream, builder);
        fault = builder.fault();
        return !result.IsError();
    };
    document.Populate(generate);
    if (!result.IsError())
        return true;
    if (error) {
        if (fault == Builder::Fault::depth)
            *error = QStringLiteral("the data is nested too deeply");
        else if (fault == Builder::Fault::number ||
                 result.Code() == rapidjson::kParseErrorNumberTooBig) // RapidJSON's own check
            *error =
                QStringLiteral("the data is not valid JSON (a number out of range at offset %1)")
                    .arg(result.Offset());
        else
            *error = invalid(result.Code(), result.Offset());
    }
    return false;
}

JsonValue toValue(const RValue& value) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        return {};
    case rapidjson::kFalseType:
        return false;
    case rapidjson::kTrueType:
        return true;
    case rapidjson::kStringType:
        return string(value);
    case rapidjson::kNumberType:
        if (value.IsInt64())
            return std::int64_t(value.GetInt64());
        return value.GetDouble();
    case rapidjson::kArrayType: {
        JsonValue::Array array;
        array.reserve(value.Size());
        for (const auto& element : value.GetArray())
            array.push_back(toValue(element));
        return array;
    }
    case rapidjson::kObjectType: {
        JsonValue::Object object;
        object.reserve(value.MemberCount());
        for (const auto& member : value.GetObject())
            object.push_back({string(member.name), toValue(member.value)});
        return object;
    }
    }
    return {};
}

void write(RWriter& writer, const JsonValue& value) {
    switch (value.type()) {
    case JsonValue::Type::null:
        writer.Null();
        break;
    case JsonValue::Type::boolean:
        writer.Bool(value.toBool());
        break;
    case JsonValue::Type::integer:
        writer.Int64(value.toInteger());
        break;
    case JsonValue::Type::number:
        // JSON has no infinity or NaN: such a value is written as null, never as nothing.
        if (std::isfinite(value.toDouble()))
            writer.Double(value.toDouble());
        else
            writer.Null();
        break;
    case JsonValue::Type::string:
        writeString(writer, value.toString());
        break;
    case JsonValue::Type::array:
        writer.StartArray();
        for (const auto& element : value.toArray())
            write(writer, element);
        writer.EndArray();
        break;
    case JsonValue::Type::object:
        writer.StartObject();
        for (const auto& member : value.toObject()) {
            writeString(writer, member.key);
            write(writer, member.value);
        }
        writer.EndObject();
        break;
    }
}

} // namespace JsonDetail

JsonValue JsonValue::object(std::initializer_list<Member> members) {
    return Object(members);
}

bool JsonValue::toBool(bool fallback) const {
    const auto* v = std::get_if<bool>(&m_value);
    return v ? *v : fallback;
}

std::int64_t JsonValue::toInteger(std::int64_t fallback) const {
    if (const auto* v = std::get_if<std::int64_t>(&m_value))
        return *v;
    return fallback;
}

double JsonValue::toDouble(double fallback) const {
    if (const auto* v = std::get_if<double>(&m_value))
        return *v;
    if (const auto* v = std::get_if<std::int64_t>(&m_value))
        return double(*v);
    return fallback;
}

QString JsonValue::toString(const QString& fallback) const {
    const auto* v = std::get_if<QString>(&m_value);
    return v ? *v : fallback;
}

const JsonValue::Array& JsonValue::toArray() const {
    static const Array empty;
    const auto* v = std::get_if<Array>(&m_value);
    return v ? *v : empty;
}

const JsonValue::Object& JsonValue::toObject() const {
    static const Object empty;
    const auto* v = std::get_if<Object>(&m_value);
    return v ? *v : empty;
}

JsonValue::Array& JsonValue::asArray() {
    if (!isArray())
        m_value = Array();
    return std::get<Array>(m_value);
}

JsonValue::Object& JsonValue::asObject() {
    if (!isObject())
        m_value = Object();
    return std::get<Object>(m_value);
}

const JsonValue* JsonValue::find(QAnyStringView key) const {
    const auto* object = std::get_if<Object>(&m_value);
    if (!object)
        return nullptr;
    for (const auto& member : *object)
        if (QAnyStringView::equal(member.key, key))
            return &member.value;
    return nullptr;
}

void JsonValue::set(const QString& key, JsonValue value) {
    auto& object = asObject();
    for (auto& member : object) {
        if (member.key == key) {
            member.value = std::move(value);
            return;
        }
    }
    object.push_back({key, std::move(value)});
}

bool JsonValue::remove(QAnyStringView key) {
    auto* object = std::get_if<Object>(&m_value);
    if (!object)
        return false;
    return std::erase_if(*object,
                         [&](const Member& m) { return QAnyStringView::equal(m.key, key); }) > 0;
}

QByteArray JsonValue::toJson() const {
    rapidjson::StringBuffer buffer;
    JsonDetail::RWriter writer(buffer);
    JsonDetail::write(writer, *this);
    return JsonDetail::bytes(buffer);
}

std::optional<JsonValue> JsonValue::parse(QByteArrayView json, QString* error) {
    rapidjson::Document document;
    if (!JsonDetail::parse(document, json, error))
        return std::nullopt;
    return JsonDetail::toValue(document);
}

bool JsonValue::operator==(const JsonValue& other) const {
    return m_value == other.m_value;
}
