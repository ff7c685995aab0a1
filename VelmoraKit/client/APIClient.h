#pragma once

#include "AIRecords.h"
#include "APIError.h"
#include "Briefing.h"
#include "Connections.h"
#include "Json.h"
#include "People.h"
#include "Proposal.h"
#include "Records.h"
#include "Settings.h"
#include "Wire.h"

#include <QCoroTask>
#include <QMap>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QObject>
#include <QUrl>

#include <memory>
#include <optional>

// What `loadForSync` gives: the domain document, the re-encoded wire document (the future
// baseline) and the envelope's version (0 when the server sent none).
struct LoadResult {
    Document document;
    QByteArray wire;
    qint64 version = 0;
    bool operator==(const LoadResult&) const = default;
};

// Extra HTTP headers for one call (an idempotency key, for instance).
using HttpHeaders = QList<QPair<QByteArray, QByteArray>>;

// What a raw call sends besides its method and path.
struct RawRequest {
    // Encoded as the URL's query, never into the path.
    QList<QPair<QString, QString>> query;
    // Sent as application/json when present.
    std::optional<JsonValue> body;
    HttpHeaders headers;
    // No Authorization header at all, token or not (sign-in, public reads).
    bool noAuth = false;
};

// What the server answered to a raw call, whatever the status.
struct RawReply {
    int status = 0;
    QByteArray body;
    HttpHeaders headers;

    bool isSuccess() const { return status >= 200 && status <= 299; }
    // The body as UTF-8; empty when it is not valid UTF-8.
    QString text() const;
    // The first header of that name, compared without case; null when absent.
    QByteArray header(QByteArrayView name) const;
};

// The one gateway to the server. Failures are thrown: APIError at or above HTTP,
// TransportError below it, DecodingError never (it becomes APIError::decoding).
class APIClient : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString token READ token WRITE setToken NOTIFY tokenChanged)

public:
    static constexpr int defaultTimeoutMs = 60'000;
    // Far above any real document; a longer reply is given up as soon as it shows.
    static constexpr qint64 defaultMaxReplyBytes = 64 * 1024 * 1024;

    // `session` must outlive the client; null uses the process's shared one.
    explicit APIClient(QUrl baseURL, std::optional<QString> token = std::nullopt,
                       QNetworkAccessManager* session = nullptr, QObject* parent = nullptr);

    // The environment's base URL, or the override given with --server.
    static QUrl defaultBaseURL();
    // The process's one long-lived network session (main thread).
    static QNetworkAccessManager* sharedSession();

    const QUrl& baseURL() const { return m_baseURL; }
    QString token() const { return m_token; }
    void setToken(const QString& token);
    // Tests shorten the 60-second time-out to exercise its path quickly.
    void setTimeoutMs(int ms) { m_timeoutMs = ms; }
    // Tests lower the cap on a reply's body to exercise its path cheaply.
    void setMaxReplyBytes(qint64 bytes) { m_maxReplyBytes = bytes; }

    // Adds "Authorization: Bearer <token>"; throws notConfigured without a token.
    QNetworkRequest authorised(QNetworkRequest request) const;

    // A new client on this one's base URL, token, session and time-out: what a screen
    // uses for its own short-lived calls.
    std::unique_ptr<APIClient> fresh() const;

    // Any call relative to baseURL. Every HTTP status comes back in the reply; only a
    // transport failure throws (TransportError), or APIError::notConfigured when the token
    // is wanted and none is set, and then nothing is sent.
    QCoro::Task<RawReply> raw(QByteArray method, QString path, RawRequest request = {});
    // The frame's reading of a reply: its body on 2xx, else APIError::unauthorised on 401
    // and APIError::server for every other status.
    static QByteArray checked(const RawReply& reply);

    // A REST call relative to baseURL; returns the checked reply's bytes.
    QCoro::Task<QByteArray> authed(QString path, QByteArray method,
                                   std::optional<JsonValue::Object> body = std::nullopt);

    // Remote calls on api/store.
    template <typename T>
    QCoro::Task<T> send(QString method, JsonValue::Array args, HttpHeaders headers = {});
    QCoro::Task<> sendIgnoringResult(QString method, JsonValue::Array args,
                                     HttpHeaders headers = {});
    QCoro::Task<QByteArray> post(QString method, JsonValue::Array args, HttpHeaders headers = {});
    QCoro::Task<> postPush(JsonValue::Object body);
    // Offers the machine's zone as the account's first one; the server keeps a zone the user
    // chose. Every failure, a missing token included, is swallowed.
    QCoro::Task<> seedTimeZone(QString identifier);

    // The document calls on api/store. `due` goes as the LocalDay of the device's zone.
    QCoro::Task<> setDone(QString id, bool done);
    QCoro::Task<> setFlagged(QString id, bool flagged);
    // Returns the new item's id. A non-empty idempotency key lets the server apply a
    // repeated add once.
    QCoro::Task<QString> add(QString title, std::optional<QString> note, Section section,
                             std::optional<QDateTime> due, std::optional<QString> source,
                             Priority priority, QList<ItemLink> links, QString idempotencyKey = {});
    QCoro::Task<> update(QString id, QString title, std::optional<QString> note,
                         std::optional<QString> source, std::optional<QDateTime> due,
                         Priority priority, QList<ItemLink> links,
                         std::optional<Section> section = std::nullopt);
    QCoro::Task<> deleteItem(QString id);
    QCoro::Task<> restore(QString id);
    QCoro::Task<> updateSettings(bool hideDone);

    QCoro::Task<LoadResult> loadForSync();
    QCoro::Task<Document> load();
    QCoro::Task<qint64> version();

    // The pending proposal, null when there is none.
    QCoro::Task<std::optional<Proposal>> loadProposal();
    // Answers the proposal created at `createdAt` (the server's text as it came) by the
    // positions of its deltas; `titleEdits` maps a position in decimal to a title.
    QCoro::Task<> resolveProposal(QString createdAt, QList<int> accepted, QList<int> rejected,
                                  QMap<QString, QString> titleEdits);

    // Standing rules. A rule made here matches on one condition with one value; `target`
    // is the section a "recategorize" moves to ("note" when null).
    QCoro::Task<WireRule> createRule(RuleAction action, RuleField field, RuleOp op, QString value,
                                     std::optional<Section> target, QString reason);
    QCoro::Task<> setRulePaused(QString id, bool paused);
    QCoro::Task<> deleteRule(QString id);

    // Smart Add: the server's draft of `text` (the caller keeps it to
    // SmartInsert::maxInputChars), or its refusal. A body that does not decode throws
    // APIError::decoding.
    QCoro::Task<SmartInsertOutcome> smartInsert(QString text);

    // The briefing's tuning and its meters (APIClientAI.cpp).
    // Stores the focus list; gives the list as the server keeps it.
    QCoro::Task<QStringList> setFocus(QStringList terms);
    QCoro::Task<Usage> usage();
    // The balance and lots; with `lot`, `runs` holds that lot's runs.
    QCoro::Task<CreditsSnapshot> credits(std::optional<QString> lot = std::nullopt);
    QCoro::Task<QList<HandledFinding>> handledFindings();
    QCoro::Task<> dismissFinding(QString target, QString finding,
                                 std::optional<QString> disposition,
                                 std::optional<QString> briefingId);
    QCoro::Task<> undismissFinding(QString target, QString finding,
                                   std::optional<QString> briefingId);

    // The daily briefing (APIClientBriefing.cpp). Dates read in any of the briefing's three
    // forms; a body that doesn't decode throws APIError::decoding.
    QCoro::Task<BriefingRead> briefingRead();
    QCoro::Task<std::optional<Briefing>> briefing();
    // Asks for a run and returns once it is accepted, not when it lands. A refusal in the
    // body throws BriefingRefused whatever the status; 401 APIError::unauthorised; any
    // other failing status APIError::server.
    QCoro::Task<> runBriefing();
    QCoro::Task<QList<Briefing>> briefingHistory();
    QCoro::Task<> markBriefingSeen();
    QCoro::Task<> dismissFinding(QString target, BriefingKind finding,
                                 std::optional<QString> disposition,
                                 std::optional<QString> briefingId);

    // Sign-in (APIClientConnections.cpp): each posts without a token and gives the new one.
    // Only `pair` is used here; the other two are for a client that speaks to the identity
    // providers itself and brings its own nonce and verifier.
    QCoro::Task<QString> pair(QString code);
    QCoro::Task<QString> appleSignIn(QString identityToken, QString rawNonce,
                                     std::optional<QString> name, QString deviceName);
    QCoro::Task<QString> googleSignIn(QString code, QString codeVerifier, QString redirectURI,
                                      QString deviceName);
    // The account's tokens split by kind; an agent token made now (shown this once); revoke.
    QCoro::Task<Connections> listConnections();
    QCoro::Task<CreatedToken> createConnection(QString name);
    QCoro::Task<> revokeConnection(QString hash);
    // Public, on exactly 200; any other status or a lost connection is
    // APIError::server(0, "prompts unavailable").
    QCoro::Task<QList<RemotePrompt>> samplePrompts();
    static const QList<RemotePrompt>& bundledSamplePrompts() {
        return ConnectionsFormat::bundledPrompts();
    }

    // People and task sharing (APIClientPeople.cpp): POST bodies carry an "action" word.
    // A 400 or 429 with a refusal body throws PeopleRefusal / ShareRefusal.
    QCoro::Task<PeopleSnapshot> people();
    QCoro::Task<MintedInvite> mintInvite();
    QCoro::Task<Connected> redeemInvite(QString code);
    QCoro::Task<InviteLook> lookUpInvite(QString code);
    QCoro::Task<PeopleProfile> setDisplayName(QString name);
    QCoro::Task<> removePerson(QString id);
    QCoro::Task<> cancelInvite(QString hash);
    static std::optional<QString> inviteCode(const QUrl& url);
    QCoro::Task<ShareInbox> shareInbox();
    // All three keys always go, the message as typed (an empty one as "").
    QCoro::Task<> sendTask(QString to, QString itemID, QString message);
    QCoro::Task<> acceptShared(QString id);
    QCoro::Task<> declineShared(QString id);
    QCoro::Task<> withdrawShared(QString id);
    QCoro::Task<> answerCompletion(QString id, bool agree);

    // The account's schedule, its deletion, the welcome and push (APIClientSettings.cpp).
    QCoro::Task<AISettings> aiSettings();
    // A partial update: what is left out stays; an inner null hour clears the schedule.
    QCoro::Task<AISettings> setAISettings(std::optional<std::optional<int>> scheduleHour,
                                          std::optional<bool> briefingEnabled = std::nullopt,
                                          std::optional<QString> timezone = std::nullopt);
    QCoro::Task<DeleteAccountOutcome> deleteAccount(std::optional<QString> appleCode, bool force);
    QCoro::Task<bool> hasBeenWelcomed();
    QCoro::Task<> markWelcomed();
    QCoro::Task<> registerPush(QString deviceToken, QString environment, QMap<QString, bool> kinds,
                               int dailyHour, QString timezone);
    QCoro::Task<> unregisterPush(QString deviceToken);

Q_SIGNALS:
    void tokenChanged();

private:
    QCoro::Task<QString> signInCall(QString path, JsonValue body);
    QCoro::Task<RawReply> transport(QNetworkRequest request, QByteArray method, QByteArray body);
    QCoro::Task<QByteArray> call(QString method, JsonValue::Array args, HttpHeaders headers);

    QUrl m_baseURL;
    QString m_token;
    QNetworkAccessManager* m_session;
    int m_timeoutMs = defaultTimeoutMs;
    qint64 m_maxReplyBytes = defaultMaxReplyBytes;
};

// Decodes an envelope's result, turning a decoding failure into APIError::decoding.
template <typename T>
T decodeResult(const QByteArray& body, std::optional<qint64>* version = nullptr);

template <typename T>
QCoro::Task<T> APIClient::send(QString method, JsonValue::Array args, HttpHeaders headers) {
    // Called apart from the co_await: g++ 12 destroys temporaries inside one twice.
    auto task = call(std::move(method), std::move(args), std::move(headers));
    const QByteArray body = co_await std::move(task);
    co_return decodeResult<T>(body);
}
