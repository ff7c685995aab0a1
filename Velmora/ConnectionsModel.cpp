#include "ConnectionsModel.h"

#include "APIClient.h"
#include "SamplePromptsModel.h"
#include "WireFormats.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLocale>
#include <QtQml>

namespace ConnectionsText {

QList<CopyForm> copyForms(const QUrl& base, const QString& token) {
    const QString b = base.toString();
    return {{QStringLiteral("Connection URL (MCP)"),
             QStringLiteral("easiest — give your AI agent this"),
             b + QStringLiteral("/mcp/") + token},
            {QStringLiteral("Connection URL without the token (MCP)"),
             QStringLiteral("use with the token below"), b + QStringLiteral("/mcp")},
            {QStringLiteral("Token"), QStringLiteral("for any client with a token field"), token}};
}

namespace {
std::optional<QString> day(const std::optional<QString>& wire) {
    if (!wire)
        return std::nullopt;
    const auto at = WireDate::instant(*wire);
    if (!at)
        return std::nullopt;
    return QLocale(QLocale::English)
        .toString(at->toLocalTime().date(), QStringLiteral("MMM d, yyyy"));
}
QString nameOf(const TokenInfo& token) {
    return token.name.value_or(QString());
}
} // namespace

QString subtitle(const TokenInfo& token) {
    const auto created = day(token.createdAt);
    const auto used = day(token.lastUsedAt);
    return (created ? QStringLiteral("created ") + *created : QString()) + QStringLiteral(" · ") +
           (used ? QStringLiteral("last used ") + *used : QStringLiteral("never used"));
}

QString revokeTitle(const TokenInfo& token) {
    if (token.current)
        return QStringLiteral("Sign this computer out? The app will return to the sign-in screen.");
    return token.isDevice() ? QStringLiteral("Sign out “%1”?").arg(nameOf(token))
                            : QStringLiteral("Revoke “%1”?").arg(nameOf(token));
}

QString revokeButton(const TokenInfo& token) {
    return token.isDevice() ? QStringLiteral("Sign out") : QStringLiteral("Revoke");
}

QString revokeMessage(const TokenInfo& token) {
    return token.isDevice()
               ? QStringLiteral("That device asks for a sign-in next time it opens.")
               : QStringLiteral("Whatever used this connection stops working immediately.");
}

QString revokeFailure(const TokenInfo& token, const QString& description) {
    const QString name = token.name ? *token.name : QStringLiteral("that connection");
    return QStringLiteral("Couldn't revoke “%1” — it is still active. ").arg(name) + description;
}

QString capMessage(qint64 mcpMax) {
    return QStringLiteral("All %1 AI connection slots are in use. Revoke one above to make room.")
        .arg(mcpMax);
}

std::optional<QString> mintName(const QString& typed) {
    const QString trimmed = typed.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return trimmed;
}

} // namespace ConnectionsText

using namespace ConnectionsText;

ConnectionsModel::ConnectionsModel(QObject* parent)
    : QObject(parent) {}

void ConnectionsModel::registerType() {
    static const int ids[] = {
        qmlRegisterType<ConnectionsModel>("Velmora.Connections", 1, 0, "ConnectionsModel"),
        qmlRegisterType<SamplePromptsModel>("Velmora.Connections", 1, 0, "SamplePromptsModel")};
    Q_UNUSED(ids)
}

void ConnectionsModel::setStore(Store* store) {
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    // Signing in or out changes whose list this is.
    if (m_store)
        connect(m_store, &Store::hasTokenChanged, this, &ConnectionsModel::reload);
    Q_EMIT storeChanged();
}

std::unique_ptr<APIClient> ConnectionsModel::client() const {
    return m_store ? m_store->freshClient() : nullptr;
}

namespace {
QVariantList rows(const QList<TokenInfo>& tokens) {
    QVariantList out;
    for (const TokenInfo& token : tokens)
        out.append(
            QVariantMap{{QStringLiteral("hash"), token.hash},
                        {QStringLiteral("name"), token.name.value_or(QStringLiteral("Untitled"))},
                        {QStringLiteral("subtitle"), subtitle(token)},
                        {QStringLiteral("current"), token.current},
                        {QStringLiteral("device"), token.isDevice()}});
    return out;
}
} // namespace

QVariantList ConnectionsModel::tokenRows() const {
    return rows(m_list.tokens);
}

QVariantList ConnectionsModel::deviceRows() const {
    return rows(m_list.devices);
}

QString ConnectionsModel::tokensTitle() const {
    return QStringLiteral("AI connections — %1 of %2").arg(m_list.tokens.size()).arg(m_list.mcpMax);
}

QString ConnectionsModel::devicesTitle() const {
    return QStringLiteral("Signed-in devices — %1 of %2")
        .arg(m_list.devices.size())
        .arg(m_list.deviceMax);
}

void ConnectionsModel::setNewName(const QString& name) {
    if (name == m_newName)
        return;
    m_newName = name;
    Q_EMIT stateChanged();
}

QString ConnectionsModel::mintedTitle() const {
    return m_minted ? QStringLiteral("“%1” is connected").arg(m_minted->name) : QString();
}

QVariantList ConnectionsModel::mintedForms() const {
    QVariantList out;
    if (!m_minted)
        return out;
    for (const CopyForm& form : copyForms(APIClient::defaultBaseURL(), m_minted->token))
        out.append(QVariantMap{{QStringLiteral("label"), form.label},
                               {QStringLiteral("hint"), form.hint},
                               {QStringLiteral("value"), form.value}});
    return out;
}

QString ConnectionsModel::confirmTitle() const {
    return m_confirm ? revokeTitle(*m_confirm) : QString();
}

QString ConnectionsModel::confirmMessage() const {
    return m_confirm ? revokeMessage(*m_confirm) : QString();
}

QString ConnectionsModel::confirmButton() const {
    return m_confirm ? revokeButton(*m_confirm) : QString();
}

QString ConnectionsModel::webConnections() const {
    return APIClient::defaultBaseURL().toString() + QStringLiteral("/connections");
}

QString ConnectionsModel::webDeleteAccount() const {
    return APIClient::defaultBaseURL().toString() + QStringLiteral("/account/delete");
}

void ConnectionsModel::setFailures(const QString& mint, const QString& revoke) {
    if (mint == m_mintFailed && revoke == m_revokeFailed)
        return;
    m_mintFailed = mint;
    m_revokeFailed = revoke;
    Q_EMIT stateChanged();
}

void ConnectionsModel::reload() {
    runReload();
}

QCoro::Task<> ConnectionsModel::runReload() {
    QPointer<ConnectionsModel> self(this);
    // Signed out, there is no list to show, and no failure either.
    auto client = m_store && m_store->hasToken() ? this->client() : nullptr;
    if (!client)
        co_return;
    std::optional<Connections> loaded;
    try {
        auto task = client->listConnections();
        loaded = co_await std::move(task);
    } catch (const std::exception&) {
    }
    if (!self)
        co_return;
    const bool failed = !loaded;
    if (loaded)
        m_list = std::move(*loaded);
    m_loadFailed = failed;
    Q_EMIT listChanged();
}

void ConnectionsModel::mint() {
    runMint();
}

QCoro::Task<> ConnectionsModel::runMint() {
    QPointer<ConnectionsModel> self(this);
    const auto name = mintName(m_newName);
    auto client = this->client();
    if (!name || !client)
        co_return;
    std::optional<CreatedToken> created;
    QString failure;
    try {
        auto task = client->createConnection(*name);
        created = co_await std::move(task);
    } catch (const std::exception& error) {
        failure = QStringLiteral("Couldn't create the connection — ") + errorDescription(error);
    }
    if (!self)
        co_return;
    if (!created) {
        setFailures(failure, m_revokeFailed);
        co_return;
    }
    m_minted = std::move(created);
    Q_EMIT mintedChanged();
    m_newName.clear();
    setFailures({}, m_revokeFailed);
    Q_EMIT stateChanged();
    auto reloading = runReload();
    co_await std::move(reloading);
}

void ConnectionsModel::closeMinted() {
    if (!m_minted)
        return;
    m_minted.reset();
    Q_EMIT mintedChanged();
}

void ConnectionsModel::askRevoke(const QString& hash) {
    for (const auto* list : {&m_list.tokens, &m_list.devices})
        for (const TokenInfo& token : *list)
            if (token.hash == hash) {
                m_confirm = token;
                Q_EMIT confirmChanged();
                return;
            }
}

void ConnectionsModel::cancelRevoke() {
    if (!m_confirm)
        return;
    m_confirm.reset();
    Q_EMIT confirmChanged();
}

void ConnectionsModel::confirmRevoke() {
    if (!m_confirm)
        return;
    const TokenInfo token = *m_confirm;
    cancelRevoke();
    runRevoke(token);
}

QCoro::Task<> ConnectionsModel::runRevoke(TokenInfo token) {
    QPointer<ConnectionsModel> self(this);
    auto client = this->client();
    if (!client)
        co_return;
    QString failure;
    bool revoked = false;
    try {
        auto task = client->revokeConnection(token.hash);
        co_await std::move(task);
        revoked = true;
    } catch (const std::exception& error) {
        failure = revokeFailure(token, errorDescription(error));
    }
    if (!self)
        co_return;
    setFailures(m_mintFailed, failure);
    if (!revoked)
        co_return;
    if (token.current && m_store) {
        // This computer's own token: back to the sign-in screen, nothing reloaded.
        auto leaving = m_store->disconnect();
        co_await std::move(leaving);
        co_return;
    }
    auto reloading = runReload();
    co_await std::move(reloading);
}

void ConnectionsModel::copy(const QString& text) const {
    if (auto* clipboard = QGuiApplication::clipboard())
        clipboard->setText(text);
}
