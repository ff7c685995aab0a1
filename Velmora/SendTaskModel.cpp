#include "SendTaskModel.h"

#include "PeopleScreen.h"

SendTaskModel::SendTaskModel(QObject* parent)
    : QObject(parent) {}

void SendTaskModel::setStore(Store* store) {
    if (m_store == store)
        return;
    m_store = store;
    Q_EMIT storeChanged();
}

void SendTaskModel::setItemId(const QString& id) {
    if (id == m_itemId)
        return;
    m_itemId = id;
    Q_EMIT changed();
}

QVariantList SendTaskModel::people() const {
    QVariantList rows;
    for (const Person& person : m_people)
        rows.push_back(
            QVariantMap{{QStringLiteral("id"), person.id}, {QStringLiteral("name"), person.name}});
    return rows;
}

void SendTaskModel::setChosen(const QString& id) {
    if (id == m_chosen)
        return;
    m_chosen = id;
    Q_EMIT changed();
}

int SendTaskModel::chosenIndex() const {
    for (qsizetype i = 0; i < m_people.size(); ++i)
        if (m_people[i].id == m_chosen)
            return int(i);
    return -1;
}

void SendTaskModel::setMessage(const QString& text) {
    if (text == m_message)
        return;
    m_message = text;
    Q_EMIT changed();
}

void SendTaskModel::load() {
    runLoad();
}

QCoro::Task<> SendTaskModel::runLoad() {
    if (!m_store)
        co_return;
    QPointer<SendTaskModel> self(this);
    m_loaded = false;
    m_refusal.reset();
    m_message.clear();
    Q_EMIT changed();
    const auto client = m_store->freshClient();
    QList<Person> people;
    try {
        auto task = client->people();
        const PeopleSnapshot snapshot = co_await std::move(task);
        people = snapshot.people;
    } catch (...) {
        // Looks like having nobody: there is no one to send to either way.
    }
    if (!self)
        co_return;
    m_people = std::move(people);
    m_chosen = m_people.isEmpty() ? QString() : m_people.first().id;
    m_loaded = true;
    Q_EMIT changed();
}

void SendTaskModel::send() {
    runSend();
}

QCoro::Task<> SendTaskModel::runSend() {
    if (!m_store || !canSend())
        co_return;
    QPointer<SendTaskModel> self(this);
    m_busy = true;
    m_refusal.reset();
    Q_EMIT changed();
    const auto client = m_store->freshClient();
    std::exception_ptr error;
    try {
        auto task = client->sendTask(m_chosen, m_itemId, m_message);
        co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    m_busy = false;
    if (error) {
        m_refusal = PeopleScreen::shareFailure(error);
        Q_EMIT changed();
        co_return;
    }
    Q_EMIT changed();
    Q_EMIT sent();
    if (m_store)
        m_store->refresh(false);
}
