#include "HandledFindings.h"

#include "APIError.h"
#include "Json.h"
#include "WireFormats.h"

#include <QLocale>

namespace {

constexpr std::size_t maxRows = 5000;

QString text(const JsonValue& row, const char* key, const QString& path) {
    const JsonValue* value = row.find(QLatin1StringView(key));
    if (!value || !value->isString())
        throw APIError::decoding(path + QLatin1String(key) + QStringLiteral(": expected a string"));
    return value->toString();
}

} // namespace

QList<HandledFinding> HandledFinding::decodeList(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    const JsonValue* rows = json ? json->find(u"dismissals") : nullptr;
    if (!rows || !rows->isArray())
        throw APIError::decoding(QStringLiteral("dismissals: expected an array"));
    QList<HandledFinding> out;
    const auto& array = rows->toArray();
    for (std::size_t i = 0; i < array.size() && i < maxRows; ++i) {
        const QString path = QStringLiteral("dismissals[%1].").arg(i);
        const JsonValue* approximate = array[i].find(u"approximate");
        if (!approximate || !approximate->isBool())
            throw APIError::decoding(path + QStringLiteral("approximate: expected a boolean"));
        out.push_back(HandledFinding{text(array[i], "target", path),
                                     text(array[i], "finding", path), text(array[i], "label", path),
                                     approximate->toBool(), text(array[i], "created_at", path)});
    }
    return out;
}

namespace FindingWords {

QString word(const QString& finding) {
    if (finding == u"critical")
        return QStringLiteral("Do today");
    if (finding == u"chase")
        return QStringLiteral("Chase");
    if (finding == u"drop")
        return QStringLiteral("Drop");
    if (finding == u"observation")
        return QStringLiteral("Observation");
    return finding;
}

QString subtitle(const HandledFinding& finding) {
    QStringList parts{word(finding.finding)};
    if (const auto at = WireDate::instant(finding.createdAt))
        parts << QLocale().toString(at->toLocalTime().date(), QStringLiteral("MMM d"));
    if (finding.approximate)
        parts << QStringLiteral("summarised");
    return parts.join(QStringLiteral(" · "));
}

} // namespace FindingWords
