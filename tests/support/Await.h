#pragma once

#include <QCoroTask>
#include <QEventLoop>
#include <QTimer>

#include <exception>
#include <optional>
#include <stdexcept>

// Runs a coroutine to its end in a nested event loop, bounded in time. Its exception, if
// any, is rethrown here; running past the bound throws std::runtime_error.
namespace TestAwait {

namespace detail {
template <typename T>
QCoro::Task<> drive(QCoro::Task<T> task, std::optional<T>& result, std::exception_ptr& error,
                    bool& done, QEventLoop& loop) {
    try {
        result = co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

inline QCoro::Task<> driveVoid(QCoro::Task<> task, std::exception_ptr& error, bool& done,
                               QEventLoop& loop) {
    try {
        co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

inline void runLoop(QEventLoop& loop, bool& done, int timeoutMs) {
    if (done)
        return;
    QTimer::singleShot(timeoutMs, &loop, [&loop] { loop.quit(); });
    loop.exec();
    if (!done)
        throw std::runtime_error("coroutine did not finish in time");
}
} // namespace detail

template <typename T>
T await(QCoro::Task<T> task, int timeoutMs = 15000) {
    QEventLoop loop;
    std::optional<T> result;
    std::exception_ptr error;
    bool done = false;
    auto driver = detail::drive(std::move(task), result, error, done, loop);
    detail::runLoop(loop, done, timeoutMs);
    if (error)
        std::rethrow_exception(error);
    return std::move(*result);
}

inline void await(QCoro::Task<> task, int timeoutMs = 15000) {
    QEventLoop loop;
    std::exception_ptr error;
    bool done = false;
    auto driver = detail::driveVoid(std::move(task), error, done, loop);
    detail::runLoop(loop, done, timeoutMs);
    if (error)
        std::rethrow_exception(error);
}

} // namespace TestAwait
