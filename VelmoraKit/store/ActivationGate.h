#pragma once

#include <QCoroTask>
#include <QObject>

#include <functional>

// Single flight: overlapping activations cost one run of the work, and every caller waits
// for its end. run() is true for the call that ran the work, false for those that waited.
class ActivationGate : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    QCoro::Task<bool> run(std::function<QCoro::Task<>()> work);
    bool isRunning() const { return m_running; }

Q_SIGNALS:
    void finished();

private:
    bool m_running = false;
};
