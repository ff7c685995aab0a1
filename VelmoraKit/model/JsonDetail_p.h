#pragma once

// Internal to the model: the one place that touches RapidJSON.

#include "Json.h"

#include <QByteArray>
#include <QString>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace JsonDetail {

using RValue = rapidjson::Value;
using RWriter = rapidjson::Writer<rapidjson::StringBuffer>;

// Values are built, copied and destroyed recursively, and nothing this kit reads comes
// near this depth, so parse() refuses deeper nesting as it opens.
constexpr int maxDepth = 64;

// Parses strictly: valid UTF-8, nesting up to maxDepth, and numbers that a 64-bit integer
// or a finite double holds. On failure returns false and describes the fault in *error.
bool parse(rapidjson::Document& document, QByteArrayView json, QString* error);

inline QString string(const RValue& value) {
    return QString::fromUtf8(value.GetString(), static_cast<qsizetype>(value.GetStringLength()));
}

inline void writeString(RWriter& writer, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    writer.String(utf8.constData(), static_cast<rapidjson::SizeType>(utf8.size()));
}

inline QByteArray bytes(const rapidjson::StringBuffer& buffer) {
    return QByteArray(buffer.GetString(), static_cast<qsizetype>(buffer.GetSize()));
}

JsonValue toValue(const RValue& value);
void write(RWriter& writer, const JsonValue& value);

} // namespace JsonDetail
