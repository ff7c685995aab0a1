#include "Credits.h"

#include "APIError.h"
#include "Json.h"
#include "WireFormats.h"

#include <QLocale>

namespace {

// A reply lists no more than this; the server sends far fewer.
constexpr std::size_t maxRows = 1000;
constexpr qint64 maxCount = 1000000000;

[[noreturn]] void fail(const QString& path, const QString& what) {
    throw APIError::decoding(path + QStringLiteral(": ") + what);
}

// Reads one object's members with the path to it, for the failure's text.
struct Reader {
    const JsonValue& object;
    QString path;

    const JsonValue* member(const char* key) const {
        const JsonValue* value = object.find(QLatin1StringView(key));
        return value && !value->isNull() ? value : nullptr;
    }
    QString at(const char* key) const { return path + QLatin1String(key); }

    std::optional<QString> optionalText(const char* key) const {
        const JsonValue* value = member(key);
        if (!value)
            return std::nullopt;
        if (!value->isString())
            fail(at(key), QStringLiteral("expected a string"));
        return value->toString();
    }
    QString text(const char* key) const {
        auto value = optionalText(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        return *value;
    }
    qint64 count(const char* key) const {
        const JsonValue* value = member(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        if (!value->isInteger() || value->toInteger() < -maxCount || value->toInteger() > maxCount)
            fail(at(key), QStringLiteral("expected a whole number"));
        return value->toInteger();
    }
    std::optional<QDateTime> optionalDate(const char* key) const {
        const auto value = optionalText(key);
        if (!value)
            return std::nullopt;
        auto date = ServerDate::parse(*value);
        if (!date)
            fail(at(key), QStringLiteral("bad date: ") + *value);
        return date;
    }
    QDateTime date(const char* key) const {
        auto value = optionalDate(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        return *value;
    }
    template <typename Row>
    QList<Row> rows(const char* key, Row (*read)(const Reader&)) const {
        const JsonValue* value = member(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        if (!value->isArray())
            fail(at(key), QStringLiteral("expected an array"));
        QList<Row> out;
        const auto& array = value->toArray();
        for (std::size_t i = 0; i < array.size() && i < maxRows; ++i) {
            const QString rowPath = at(key) + QStringLiteral("[%1]").arg(i);
            if (!array[i].isObject())
                fail(rowPath, QStringLiteral("expected an object"));
            out.push_back(read(Reader{array[i], rowPath + QLatin1Char('.')}));
        }
        return out;
    }
};

CreditLot readLot(const Reader& r) {
    return CreditLot{r.text("id"),
                     r.text("kind"),
                     r.count("amount"),
                     r.count("used"),
                     r.count("remaining"),
                     r.count("lost"),
                     r.optionalText("period"),
                     r.optionalDate("expires_at"),
                     r.date("created_at"),
                     r.text("status")};
}

CreditRun readRun(const Reader& r) {
    return CreditRun{r.text("id"),     r.text("capability"), r.text("trigger_kind"),
                     r.text("status"), r.date("started_at"), r.optionalDate("finished_at")};
}

} // namespace

CreditsSnapshot CreditsSnapshot::decode(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        fail(QStringLiteral("credits"), QStringLiteral("expected an object"));
    const Reader top{*json, {}};
    const JsonValue* credits = top.member("credits");
    if (!credits || !credits->isObject())
        fail(QStringLiteral("credits"), QStringLiteral("expected an object"));
    const Reader balance{*credits, QStringLiteral("credits.")};
    CreditsSnapshot snapshot;
    snapshot.credits = Credits{balance.count("included"), balance.optionalDate("includedExpiresAt"),
                               balance.count("extra"), balance.count("creditsPerMonth")};
    snapshot.lots = top.rows<CreditLot>("lots", readLot);
    snapshot.runs = top.rows<CreditRun>("runs", readRun);
    return snapshot;
}

namespace ServerDate {

std::optional<QDateTime> parse(const QString& text) {
    if (auto instant = WireDate::instant(text))
        return instant;
    // Read as parts, so a local clock change can never make the time invalid.
    if (text.size() != 19 || text[10] != u' ')
        return std::nullopt;
    const QDate day = QDate::fromString(text.left(10), QStringLiteral("yyyy-MM-dd"));
    const QTime time = QTime::fromString(text.mid(11), QStringLiteral("HH:mm:ss"));
    if (!day.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(day, time, Qt::UTC);
}

} // namespace ServerDate

namespace CreditWords {

QString title(const CreditLot& lot) {
    if (lot.kind == u"plan")
        return lot.period ? monthName(*lot.period) : QStringLiteral("Monthly credits");
    if (lot.kind == u"purchase")
        return QStringLiteral("Credit pack");
    if (lot.kind == u"refund")
        return QStringLiteral("Refund");
    return QStringLiteral("Credits added");
}

QString monthName(const QString& period) {
    const QStringList pieces = period.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    if (pieces.size() != 2)
        return period;
    bool yearOk = false;
    bool monthOk = false;
    const int year = pieces[0].toInt(&yearOk);
    const int month = pieces[1].toInt(&monthOk);
    if (!yearOk || !monthOk || month < 1 || month > 12)
        return period;
    return QLocale().standaloneMonthName(month) + QLatin1Char(' ') + QString::number(year);
}

QString statusLine(const CreditLot& lot) {
    if (lot.lost > 0)
        return QStringLiteral("%1 expired unused").arg(lot.lost);
    if (lot.remaining < 1)
        return QStringLiteral("All used");
    if (lot.expiresAt)
        return QStringLiteral("%1 left · until %2")
            .arg(lot.remaining)
            .arg(shortDate(*lot.expiresAt));
    return QStringLiteral("%1 left · never expire").arg(lot.remaining);
}

QString usedLine(const CreditLot& lot) {
    return QStringLiteral("%1 of %2 used").arg(lot.used).arg(lot.amount);
}

QString runLine(const CreditRun& run) {
    if (run.failed())
        return QStringLiteral("Didn't finish — no credit was used");
    if (run.triggerKind == u"on_demand")
        return QStringLiteral("You asked for it");
    return QStringLiteral("Scheduled");
}

QString shortDate(const QDateTime& at) {
    return QLocale().toString(at.toLocalTime().date(), QStringLiteral("d MMM"));
}

QString headerLine(const Credits& credits) {
    return QStringLiteral("%1 AI credits a month").arg(credits.creditsPerMonth);
}

} // namespace CreditWords
