#include "ActivationGate.h"

#include <QCoroSignal>
#include <QPointer>

QCoro::Task<bool> ActivationGate::run(std::function<QCoro::Task<>()> work) {
    QPointer<ActivationGate> self(this);
    if (m_running) {
        co_await qCoro(this, &ActivationGate::finished);
        co_return false;
    }
    m_running = true;
    std::exception_ptr error;
    try {
        auto task = work();
        co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    if (self) {
        m_running = false;
        Q_EMIT finished();
    }
    if (error)
        std::rethrow_exception(error);
    co_return true;
}
