#include "PeoplePaneModel.h"

#include "Clipboard.h"
#include "PeopleScreen.h"
#include "PeopleWords.h"
#include "SendTaskModel.h"
#include "SharedInboxModel.h"

#include <QQmlEngine>

PeoplePaneModel::PeoplePaneModel(QObject* parent)
    : QObject(parent) {}

void PeoplePaneModel::registerType() {
    static const int ids[] = {
        qmlRegisterType<PeoplePaneModel>("Velmora.People", 1, 0, "PeoplePaneModel"),
        qmlRegisterType<SharedInboxModel>("Velmora.People", 1, 0, "SharedInboxModel"),
        qmlRegisterType<SendTaskModel>("Velmora.People", 1, 0, "SendTaskModel")};
    Q_UNUSED(ids)
}

void PeoplePaneModel::setStore(Store* store) {
    if (m_store == store)
        return;
    m_store = store;
    Q_EMIT storeChanged();
    load();
}

std::unique_ptr<APIClient> PeoplePaneModel::client() const {
    return m_store ? m_store->freshClient() : nullptr;
}

QString PeoplePaneModel::stage() const {
    if (m_loadFailed)
        return QStringLiteral("failed");
    if (!m_snapshot)
        return QStringLiteral("loading");
    return m_snapshot->profile.needsName ? QStringLiteral("name") : QStringLiteral("full");
}

void PeoplePaneModel::setNameField(const QString& text) {
    if (text == m_nameField)
        return;
    m_nameField = text;
    Q_EMIT changed();
}

void PeoplePaneModel::setTypedCode(const QString& text) {
    if (text == m_typedCode)
        return;
    m_typedCode = text;
    Q_EMIT changed();
}

void PeoplePaneModel::setBusy(bool busy) {
    m_busy = busy;
    Q_EMIT changed();
}

bool PeoplePaneModel::canSavePrompt() const {
    return !m_busy && PeopleScreen::hasText(m_nameField);
}

bool PeoplePaneModel::canConnect() const {
    return !m_busy && PeopleScreen::hasText(m_typedCode);
}

QString PeoplePaneModel::inviteMessage() const {
    if (!m_minted || !m_snapshot)
        return {};
    return PeopleWords::inviteMessage(PeopleWords::inviteURL(m_snapshot->origin, m_minted->code));
}

QString PeoplePaneModel::worksOnce() const {
    return m_snapshot ? PeopleScreen::worksOnce(m_snapshot->ttlDays) : QString();
}

QString PeoplePaneModel::copyLabel() const {
    return m_copied ? PeopleWords::copied : PeopleWords::copyMessage;
}

QVariantList PeoplePaneModel::people() const {
    QVariantList rows;
    if (m_snapshot)
        for (const Person& person : m_snapshot->people)
            rows.push_back(
                QVariantMap{{QStringLiteral("id"), person.id},
                            {QStringLiteral("name"), person.name},
                            {QStringLiteral("line"),
                             PeopleWords::connectedLine(PeopleScreen::shortDate(person.connectedAt),
                                                        person.invitedByMe)}});
    return rows;
}

QVariantList PeoplePaneModel::invites() const {
    QVariantList rows;
    if (m_snapshot)
        for (const OutstandingInvite& invite : m_snapshot->invites)
            rows.push_back(
                QVariantMap{{QStringLiteral("hash"), invite.codeHash},
                            {QStringLiteral("line"), PeopleScreen::expiresLine(invite.expiresAt)}});
    return rows;
}

QString PeoplePaneModel::confirmRemoveTitle() const {
    return m_confirmRemove ? PeopleScreen::removeTitle(m_confirmRemove->name) : QString();
}

void PeoplePaneModel::load() {
    runLoad();
}

QCoro::Task<> PeoplePaneModel::runLoad() {
    const auto client = this->client();
    if (!client)
        co_return;
    QPointer<PeoplePaneModel> self(this);
    try {
        auto task = client->people();
        PeopleSnapshot snapshot = co_await std::move(task);
        if (!self)
            co_return;
        // A name being typed is never overwritten by a reload.
        if (m_nameField.isEmpty())
            m_nameField = snapshot.profile.displayName.value_or(snapshot.profile.suggestion);
        m_snapshot = std::move(snapshot);
        m_loadFailed = false;
    } catch (...) {
        if (!self)
            co_return;
        m_loadFailed = true;
    }
    Q_EMIT changed();
}

void PeoplePaneModel::saveName() {
    runSaveName();
}

QCoro::Task<> PeoplePaneModel::runSaveName() {
    const auto client = this->client();
    if (!client || m_busy)
        co_return;
    QPointer<PeoplePaneModel> self(this);
    setBusy(true);
    try {
        auto task = client->setDisplayName(m_nameField);
        co_await std::move(task);
    } catch (...) {
        // The reload shows what the server kept.
    }
    if (!self)
        co_return;
    auto reload = runLoad();
    co_await std::move(reload);
    if (self)
        setBusy(false);
}

void PeoplePaneModel::mint() {
    runMint();
}

QCoro::Task<> PeoplePaneModel::runMint() {
    const auto client = this->client();
    if (!client || m_busy)
        co_return;
    QPointer<PeoplePaneModel> self(this);
    m_refusal.reset();
    m_copied = false;
    setBusy(true);
    std::exception_ptr error;
    try {
        auto task = client->mintInvite();
        MintedInvite minted = co_await std::move(task);
        if (!self)
            co_return;
        m_minted = std::move(minted);
        auto reload = runLoad();
        co_await std::move(reload);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    if (error)
        m_refusal = PeopleScreen::peopleFailure(error, PeopleScreen::mintFailed);
    setBusy(false);
}

void PeoplePaneModel::redeem() {
    runRedeem();
}

QCoro::Task<> PeoplePaneModel::runRedeem() {
    const auto client = this->client();
    if (!client || m_busy || !PeopleScreen::hasText(m_typedCode))
        co_return;
    QPointer<PeoplePaneModel> self(this);
    m_refusal.reset();
    setBusy(true);
    std::exception_ptr error;
    try {
        auto task = client->redeemInvite(m_typedCode);
        co_await std::move(task);
        if (!self)
            co_return;
        m_typedCode.clear();
        auto reload = runLoad();
        co_await std::move(reload);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    if (error)
        m_refusal = PeopleScreen::peopleFailure(error, PeopleScreen::redeemFailed);
    setBusy(false);
}

void PeoplePaneModel::copyInvitation() {
    const QString message = inviteMessage();
    if (message.isEmpty())
        return;
    SystemClipboard().setText(message);
    m_copied = true;
    Q_EMIT changed();
}

void PeoplePaneModel::askRemove(const QString& id) {
    if (!m_snapshot)
        return;
    for (const Person& person : m_snapshot->people)
        if (person.id == id) {
            m_confirmRemove = person;
            Q_EMIT changed();
        }
}

void PeoplePaneModel::keep() {
    m_confirmRemove.reset();
    Q_EMIT changed();
}

void PeoplePaneModel::remove() {
    runRemove();
}

QCoro::Task<> PeoplePaneModel::runRemove() {
    const auto client = this->client();
    if (!client || !m_confirmRemove)
        co_return;
    QPointer<PeoplePaneModel> self(this);
    const QString id = m_confirmRemove->id;
    m_confirmRemove.reset();
    Q_EMIT changed();
    try {
        auto task = client->removePerson(id);
        co_await std::move(task);
    } catch (...) {
        // Silent: the person simply stays in the list.
    }
    if (self)
        load();
}

void PeoplePaneModel::cancel(const QString& hash) {
    runCancel(hash);
}

QCoro::Task<> PeoplePaneModel::runCancel(QString hash) {
    const auto client = this->client();
    if (!client)
        co_return;
    QPointer<PeoplePaneModel> self(this);
    try {
        auto task = client->cancelInvite(hash);
        co_await std::move(task);
    } catch (...) {
        // Silent: the invitation stays listed.
    }
    if (self)
        load();
}
