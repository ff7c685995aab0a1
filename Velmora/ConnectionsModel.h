#pragma once

#include "Connections.h"
#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

// The words and rules of the Connections screen, as functions of what it shows.
namespace ConnectionsText {

struct CopyForm {
    QString label;
    QString hint;
    QString value;
    bool operator==(const CopyForm&) const = default;
};
// The plain token three ways, on the base URL as it stands.
QList<CopyForm> copyForms(const QUrl& base, const QString& token);
// "created Mar 3, 2026 · last used Mar 4, 2026"; a date that doesn't parse is left out.
QString subtitle(const TokenInfo& token);
QString revokeTitle(const TokenInfo& token);
QString revokeButton(const TokenInfo& token);
QString revokeMessage(const TokenInfo& token);
QString revokeFailure(const TokenInfo& token, const QString& description);
QString capMessage(qint64 mcpMax);
// The trimmed name, or null when nothing is left to send.
std::optional<QString> mintName(const QString& typed);

} // namespace ConnectionsText

// The Connections screen: the agent tokens and the signed-in devices, making one (its
// token shown once, in `minted`, until the sheet closes) and revoking one. Each call runs
// on a fresh client with the Store's token of the moment.
class ConnectionsModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    // {hash, name, subtitle, current, device} rows.
    Q_PROPERTY(QVariantList tokens READ tokenRows NOTIFY listChanged)
    Q_PROPERTY(QVariantList devices READ deviceRows NOTIFY listChanged)
    Q_PROPERTY(QString tokensTitle READ tokensTitle NOTIFY listChanged)
    Q_PROPERTY(QString devicesTitle READ devicesTitle NOTIFY listChanged)
    Q_PROPERTY(bool atCap READ atCap NOTIFY listChanged)
    Q_PROPERTY(QString capMessage READ capText NOTIFY listChanged)
    Q_PROPERTY(bool loadFailed READ loadFailed NOTIFY listChanged)
    Q_PROPERTY(QString mintFailed READ mintFailed NOTIFY stateChanged)
    Q_PROPERTY(QString revokeFailed READ revokeFailed NOTIFY stateChanged)
    Q_PROPERTY(QString newName READ newName WRITE setNewName NOTIFY stateChanged)
    Q_PROPERTY(bool canMint READ canMint NOTIFY stateChanged)
    // The sheet: its title and the three {label, hint, value} forms; empty while closed.
    Q_PROPERTY(bool mintedOpen READ mintedOpen NOTIFY mintedChanged)
    Q_PROPERTY(QString mintedTitle READ mintedTitle NOTIFY mintedChanged)
    Q_PROPERTY(QVariantList mintedForms READ mintedForms NOTIFY mintedChanged)
    // The confirmation: open while a revoke waits for an answer.
    Q_PROPERTY(bool confirming READ confirming NOTIFY confirmChanged)
    Q_PROPERTY(QString confirmTitle READ confirmTitle NOTIFY confirmChanged)
    Q_PROPERTY(QString confirmMessage READ confirmMessage NOTIFY confirmChanged)
    Q_PROPERTY(QString confirmButton READ confirmButton NOTIFY confirmChanged)
    Q_PROPERTY(QString webConnections READ webConnections CONSTANT)
    Q_PROPERTY(QString webDeleteAccount READ webDeleteAccount CONSTANT)

public:
    explicit ConnectionsModel(QObject* parent = nullptr);
    // Makes it and SamplePromptsModel known to QML as Velmora.Connections 1.0.
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    const Connections& list() const { return m_list; }
    QVariantList tokenRows() const;
    QVariantList deviceRows() const;
    QString tokensTitle() const;
    QString devicesTitle() const;
    bool atCap() const { return m_list.tokens.size() >= m_list.mcpMax; }
    QString capText() const { return ConnectionsText::capMessage(m_list.mcpMax); }
    bool loadFailed() const { return m_loadFailed; }
    const QString& mintFailed() const { return m_mintFailed; }
    const QString& revokeFailed() const { return m_revokeFailed; }
    const QString& newName() const { return m_newName; }
    void setNewName(const QString& name);
    bool canMint() const { return ConnectionsText::mintName(m_newName).has_value(); }
    const std::optional<CreatedToken>& minted() const { return m_minted; }
    bool mintedOpen() const { return m_minted.has_value(); }
    QString mintedTitle() const;
    QVariantList mintedForms() const;
    bool confirming() const { return m_confirm.has_value(); }
    QString confirmTitle() const;
    QString confirmMessage() const;
    QString confirmButton() const;
    QString webConnections() const;
    QString webDeleteAccount() const;

    Q_INVOKABLE void reload();
    Q_INVOKABLE void mint();
    // The trash icon or the context menu: asks first.
    Q_INVOKABLE void askRevoke(const QString& hash);
    Q_INVOKABLE void cancelRevoke();
    Q_INVOKABLE void confirmRevoke();
    // "Done": the plain token is dropped.
    Q_INVOKABLE void closeMinted();
    Q_INVOKABLE void copy(const QString& text) const;

    QCoro::Task<> runReload();
    QCoro::Task<> runMint();
    QCoro::Task<> runRevoke(TokenInfo token);

Q_SIGNALS:
    void storeChanged();
    void listChanged();
    void stateChanged();
    void mintedChanged();
    void confirmChanged();

private:
    std::unique_ptr<APIClient> client() const;
    void setFailures(const QString& mint, const QString& revoke);

    QPointer<Store> m_store;
    Connections m_list;
    bool m_loadFailed = false;
    QString m_mintFailed;
    QString m_revokeFailed;
    QString m_newName;
    std::optional<CreatedToken> m_minted;
    std::optional<TokenInfo> m_confirm;
};
