#pragma once

#include "Json.h"

#include <QList>
#include <QString>

#include <optional>

// The records of sign-in, connections and sample prompts, shared by the client's calls and
// the server's replies so that both read and write them alike. Every reader throws
// DecodingError for a reply it cannot take.

// One ready-made prompt for an agent: a card's heading and the text that gets copied.
struct RemotePrompt {
    QString id;
    QString title;
    QString subtitle;
    QString text;
    bool operator==(const RemotePrompt&) const = default;
};

// One long-lived token of the account. Any kind but "mcp" is a device.
struct TokenInfo {
    QString hash;
    std::optional<QString> name;
    QString createdAt;
    std::optional<QString> lastUsedAt;
    bool current = false;
    QString kind;
    bool isDevice() const { return kind != u"mcp"; }
    bool operator==(const TokenInfo&) const = default;
};

struct TokenCaps {
    qint64 device = 0;
    qint64 mcp = 0;
    bool operator==(const TokenCaps&) const = default;
};

struct TokenList {
    QList<TokenInfo> tokens;
    qint64 max = 0;
    std::optional<TokenCaps> caps;
    bool operator==(const TokenList&) const = default;
};

// A new agent token: the plain token is given once, in this reply only.
struct CreatedToken {
    QString token;
    QString hash;
    QString name;
    bool operator==(const CreatedToken&) const = default;
};

// What `listConnections` gives: the list split by kind, each in the server's order.
struct Connections {
    QList<TokenInfo> tokens;
    QList<TokenInfo> devices;
    qint64 deviceMax = 0;
    qint64 mcpMax = 0;
    bool operator==(const Connections&) const = default;
};

namespace ConnectionsFormat {

// The four prompts every client carries, so the panel never stands empty.
const QList<RemotePrompt>& bundledPrompts();

QList<RemotePrompt> readPrompts(const QByteArray& body);
JsonValue promptsJson(const QList<RemotePrompt>& prompts);

TokenList readTokenList(const QByteArray& body);
JsonValue tokenJson(const TokenInfo& token);
CreatedToken readCreatedToken(const QByteArray& body);
// The `token` of a sign-in reply.
QString readSignInToken(const QByteArray& body);

// MCP tokens to `tokens`, the rest to `devices`; `caps` wins over `max`.
Connections split(const TokenList& list);

} // namespace ConnectionsFormat
