#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>
#include <variant>

// The one undo offer that stands at a time. A new offer replaces the old one (no stack) and
// restarts the window; when the window runs out the offer goes. Lives on the main thread.
class UndoCenter : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasOffer READ hasOffer NOTIFY offerChanged)
    Q_PROPERTY(QString message READ messageText NOTIFY offerChanged)
    Q_PROPERTY(bool isDeletion READ isDeletion NOTIFY offerChanged)

public:
    // The window the main window uses.
    static constexpr std::chrono::milliseconds standardWindow{6000};

    struct DeletedItem {
        QString id;
        QString title;
        bool operator==(const DeletedItem&) const = default;
    };
    struct Action {
        QString message;
        bool operator==(const Action&) const = default;
    };
    using Offer = std::variant<DeletedItem, Action>;
    using Revert = std::function<QCoro::Task<>()>;

    explicit UndoCenter(std::chrono::milliseconds window = standardWindow,
                        QObject* parent = nullptr);

    std::chrono::milliseconds window() const { return m_window; }
    const std::optional<Offer>& offer() const { return m_offer; }
    bool hasOffer() const { return m_offer.has_value(); }
    bool isDeletion() const { return deleted().has_value(); }

    // A deleted item, which the Store restores by id: no revert of its own.
    void show(const QString& id, const QString& title);
    // Anything else that can be taken back.
    void propose(const QString& message, Revert revert);
    // Clears first, so the offer is gone while the revert runs and can't be taken twice.
    QCoro::Task<> take();
    void clear();

    // "Deleted “title”" or the action's message; none without an offer.
    std::optional<QString> message() const;
    QString messageText() const { return message().value_or(QString()); }
    std::optional<DeletedItem> deleted() const;

    // The title as the toast shows it: 49 characters or more become the first 47 and "…".
    static QString toastTitle(const QString& title);

Q_SIGNALS:
    void offerChanged();

private:
    void stand(Offer offer, Revert revert);
    void setOffer(std::optional<Offer> offer, Revert revert);

    std::chrono::milliseconds m_window;
    std::optional<Offer> m_offer;
    Revert m_revert;
    // Owned by the center, so it dies with it; stopping it is the cancellation, and a
    // stopped timer never fires, so a replaced window can't clear a newer offer.
    QTimer m_expiry;
};
