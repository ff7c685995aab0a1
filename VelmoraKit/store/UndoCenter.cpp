#include "UndoCenter.h"

#include "Characters.h"
#include <QPointer>

UndoCenter::UndoCenter(std::chrono::milliseconds window, QObject* parent)
    : QObject(parent)
    , m_window(window) {
    m_expiry.setSingleShot(true);
    // Monotonic and to the millisecond: a coarse timer may end a 6-second window early.
    m_expiry.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_expiry, &QTimer::timeout, this, [this] { setOffer(std::nullopt, {}); });
}

void UndoCenter::setOffer(std::optional<Offer> offer, Revert revert) {
    m_revert = std::move(revert);
    if (offer == m_offer)
        return;
    m_offer = std::move(offer);
    Q_EMIT offerChanged();
}

void UndoCenter::stand(Offer offer, Revert revert) {
    // Whatever stood is replaced and can no longer be taken back; the new one gets a full
    // window.
    m_expiry.stop();
    m_expiry.start(m_window);
    // Replacing an offer with an equal one still counts as news for the toast.
    const bool same = m_offer == offer;
    setOffer(std::move(offer), std::move(revert));
    if (same)
        Q_EMIT offerChanged();
}

void UndoCenter::show(const QString& id, const QString& title) {
    stand(DeletedItem{id, title}, {});
}

void UndoCenter::propose(const QString& message, Revert revert) {
    stand(Action{message}, std::move(revert));
}

QCoro::Task<> UndoCenter::take() {
    Revert revert = m_revert;
    clear();
    if (!revert)
        co_return;
    auto task = revert();
    co_await std::move(task);
}

void UndoCenter::clear() {
    m_expiry.stop();
    setOffer(std::nullopt, {});
}

std::optional<QString> UndoCenter::message() const {
    if (!m_offer)
        return std::nullopt;
    if (const auto* d = std::get_if<DeletedItem>(&*m_offer))
        return QStringLiteral("Deleted \u201C") + d->title + QStringLiteral("\u201D");
    return std::get<Action>(*m_offer).message;
}

std::optional<UndoCenter::DeletedItem> UndoCenter::deleted() const {
    if (!m_offer)
        return std::nullopt;
    if (const auto* d = std::get_if<DeletedItem>(&*m_offer))
        return *d;
    return std::nullopt;
}

QString UndoCenter::toastTitle(const QString& title) {
    if (Characters::count(title) < 49)
        return title;
    return Characters::left(title, 47) + QStringLiteral("\u2026");
}
