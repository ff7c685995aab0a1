#include "People.h"

#include "WireJson.h"

#include <QRegularExpression>

namespace {

[[noreturn]] void fail(const QString& where, const QString& what) {
    throw DecodingError(where + QStringLiteral(": ") + what);
}

JsonValue parseObject(QByteArrayView body, const char* what) {
    QString error;
    auto json = JsonValue::parse(body, &error);
    if (!json)
        throw DecodingError(QLatin1String(what) + QStringLiteral(": ") + error);
    if (!json->isObject())
        throw DecodingError(QLatin1String(what) + QStringLiteral(": expected an object"));
    return std::move(*json);
}

// One object's keys, named by path in every failure.
class Reader {
public:
    Reader(const JsonValue& value, QString path)
        : m_value(value)
        , m_path(std::move(path)) {
        if (!value.isObject())
            fail(m_path, QStringLiteral("expected an object"));
    }

    const JsonValue& required(const char* key) const {
        const JsonValue* v = m_value.find(QLatin1StringView(key));
        if (!v)
            fail(at(key), QStringLiteral("required key is missing"));
        if (v->isNull())
            fail(at(key), QStringLiteral("required key is null"));
        return *v;
    }
    QString string(const char* key) const {
        const JsonValue& v = required(key);
        if (!v.isString())
            fail(at(key), QStringLiteral("expected a string"));
        return v.toString();
    }
    std::optional<QString> nullableString(const char* key) const {
        const JsonValue* v = m_value.find(QLatin1StringView(key));
        if (!v || v->isNull())
            return std::nullopt;
        if (!v->isString())
            fail(at(key), QStringLiteral("expected a string"));
        return v->toString();
    }
    bool boolean(const char* key) const {
        const JsonValue& v = required(key);
        if (!v.isBool())
            fail(at(key), QStringLiteral("expected a boolean"));
        return v.toBool();
    }
    qint64 integer(const char* key) const {
        const JsonValue& v = required(key);
        if (!v.isInteger())
            fail(at(key), QStringLiteral("expected an integer"));
        return v.toInteger();
    }
    QDateTime date(const char* key) const { return PeopleFormat::parseDate(string(key)); }
    const JsonValue::Array& array(const char* key) const {
        const JsonValue& v = required(key);
        if (!v.isArray())
            fail(at(key), QStringLiteral("expected an array"));
        return v.toArray();
    }
    QString at(const char* key) const {
        const QString name = QString::fromLatin1(key);
        return m_path.isEmpty() ? name : m_path + QLatin1Char('.') + name;
    }

private:
    const JsonValue& m_value;
    QString m_path;
};

template <typename T, typename F>
QList<T> list(const Reader& r, const char* key, F read) {
    QList<T> out;
    const JsonValue::Array& values = r.array(key);
    out.reserve(qsizetype(values.size()));
    for (std::size_t i = 0; i < values.size(); ++i)
        out.push_back(read(Reader(values[i], r.at(key) + QStringLiteral("[%1]").arg(i))));
    return out;
}

Person person(const Reader& r) {
    return Person{r.string("id"), r.string("name"), r.date("connected_at"),
                  r.boolean("invited_by_me")};
}

} // namespace

PeopleRefusal::PeopleRefusal(QString message, std::optional<QString> reason)
    : m_message(std::move(message))
    , m_reason(std::move(reason))
    , m_what(m_message.toUtf8()) {}

ShareRefusal::ShareRefusal(QString message)
    : m_message(std::move(message))
    , m_what(m_message.toUtf8()) {}

QString MintedInvite::url(const QString& origin) const {
    return PeopleFormat::inviteURL(origin, code);
}

QString MintedInvite::message(const QString& origin) const {
    return PeopleFormat::inviteMessage(url(origin));
}

std::optional<QString> InviteLook::refusal() const {
    if (state == u"ok")
        return std::nullopt;
    if (state == u"own")
        return QStringLiteral("That is your own invitation — send it to someone else.");
    if (state == u"connected")
        return QStringLiteral("You are already connected.");
    if (state == u"used")
        return QStringLiteral("That invitation has already been used.");
    if (state == u"expired")
        return QStringLiteral("That invitation has expired. Ask them for a fresh one.");
    return QStringLiteral("That invitation is not one of ours.");
}

namespace PeopleFormat {

QDateTime parseDate(const QString& text) {
    // An internet date-time: date, "T", time, optional fraction, and a zone.
    static const QRegularExpression form(QStringLiteral(
        "^\\d{4}-\\d{2}-\\d{2}[Tt]\\d{2}:\\d{2}:\\d{2}(\\.\\d+)?([Zz]|[+-]\\d{2}:\\d{2})$"));
    if (text.size() <= 64 && form.match(text).hasMatch()) {
        QString normal = text.toUpper();
        // Qt reads at most milliseconds; further digits only refine below them.
        const qsizetype dot = normal.indexOf(u'.');
        if (dot > 0) {
            qsizetype end = dot + 1;
            while (end < normal.size() && normal[end].isDigit())
                ++end;
            if (end - dot > 4)
                normal.remove(dot + 4, end - dot - 4);
        }
        QDateTime at = QDateTime::fromString(normal, Qt::ISODateWithMs);
        if (at.isValid())
            return at.toUTC();
    }
    throw DecodingError(QStringLiteral("unparseable date: ") + text);
}

PeopleSnapshot snapshot(QByteArrayView body) {
    const JsonValue json = parseObject(body, "people");
    const Reader r(json, {});
    const Reader p(r.required("profile"), QStringLiteral("profile"));
    PeopleSnapshot s;
    s.profile = PeopleProfile{p.nullableString("display_name"), p.string("suggestion"),
                              p.boolean("needs_name")};
    s.people = list<Person>(r, "people", person);
    s.invites = list<OutstandingInvite>(r, "invites", [](const Reader& i) {
        return OutstandingInvite{i.string("code_hash"), i.date("created_at"), i.date("expires_at")};
    });
    s.origin = r.string("origin");
    s.ttlDays = r.integer("ttl_days");
    return s;
}

MintedInvite minted(QByteArrayView body) {
    const JsonValue json = parseObject(body, "invite");
    const Reader r(json, {});
    return MintedInvite{r.string("code"), r.date("expires_at")};
}

Connected connected(QByteArrayView body) {
    const JsonValue json = parseObject(body, "redeem");
    const Reader r(json, {});
    return Connected{person(Reader(r.required("person"), QStringLiteral("person"))),
                     r.boolean("already")};
}

InviteLook look(QByteArrayView body) {
    const JsonValue json = parseObject(body, "look");
    const Reader r(json, {});
    return InviteLook{r.string("state"), r.nullableString("inviter_name")};
}

PeopleProfile nameReply(QByteArrayView body) {
    const JsonValue json = parseObject(body, "name");
    const Reader r(json, {});
    if (!json.contains(u"display_name"))
        fail(QStringLiteral("display_name"), QStringLiteral("required key is missing"));
    PeopleProfile profile;
    profile.displayName = r.nullableString("display_name");
    profile.needsName = !profile.displayName.has_value();
    return profile;
}

void requireBool(QByteArrayView body, const char* key) {
    const JsonValue json = parseObject(body, key);
    Reader(json, {}).boolean(key);
}

std::optional<PeopleRefusal> peopleRefusal(QByteArrayView body) {
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        return std::nullopt;
    const JsonValue* message = json->find(u"message");
    const JsonValue* reason = json->find(u"reason");
    if (!message || !message->isString() || (reason && !reason->isNull() && !reason->isString()))
        return std::nullopt;
    return PeopleRefusal(message->toString(), reason && reason->isString()
                                                  ? std::optional(reason->toString())
                                                  : std::nullopt);
}

std::optional<ShareRefusal> shareRefusal(QByteArrayView body) {
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        return std::nullopt;
    const JsonValue* message = json->find(u"message");
    if (!message || !message->isString())
        return std::nullopt;
    return ShareRefusal(message->toString());
}

ShareInbox inbox(QByteArrayView body) {
    const JsonValue json = parseObject(body, "inbox");
    const Reader r(json, {});
    ShareInbox inbox;
    inbox.incoming = list<Incoming>(r, "incoming", [](const Reader& i) {
        WireNewItem item;
        try {
            item = WireJson::fromJson<WireNewItem>(i.required("item"));
        } catch (const DecodingError& error) {
            fail(i.at("item"), error.message());
        }
        return Incoming{i.string("id"), i.string("from"), std::move(item),
                        i.nullableString("message"), i.date("created_at")};
    });
    inbox.returned = list<Returned>(r, "returned", [](const Reader& i) {
        return Returned{i.string("id"), i.string("from"), i.string("title"), i.string("item_id"),
                        i.date("completed_at")};
    });
    return inbox;
}

QString sentId(QByteArrayView body) {
    const JsonValue json = parseObject(body, "send");
    return Reader(json, {}).string("id");
}

WireItem acceptedItem(QByteArrayView body) {
    const JsonValue json = parseObject(body, "accept");
    const JsonValue& item = Reader(json, {}).required("item");
    try {
        return WireJson::fromJson<WireItem>(item);
    } catch (const DecodingError& error) {
        fail(QStringLiteral("item"), error.message());
    }
}

QString inviteURL(const QString& origin, const QString& code) {
    QString base = origin;
    while (base.endsWith(u'/'))
        base.chop(1);
    return base + QStringLiteral("/i/") + code;
}

QString inviteMessage(const QString& url) {
    return QStringLiteral("I'd like to connect on Velmora so we can send each other things to "
                          "do.\n") +
           url;
}

std::optional<QString> inviteCode(const QUrl& url) {
    QStringList parts;
    if (!url.host().isEmpty())
        parts.push_back(url.host());
    const QStringList path = url.path().split(u'/', Qt::SkipEmptyParts);
    for (qsizetype i = 0; i < path.size() && i < 2; ++i)
        parts.push_back(path[i]);
    const qsizetype at = parts.indexOf(QStringLiteral("i"));
    if (at < 0 || at + 1 >= parts.size() || parts[at + 1].isEmpty())
        return std::nullopt;
    return parts[at + 1];
}

} // namespace PeopleFormat
