#pragma once

#include <QCoroTask>
#include <QEventLoop>
#include <QTimer>

#include <exception>
#include <optional>
#include <stdexcept>
#include <type_traits>

// Runs a coroutine to its end in a nested event loop, bounded in time. Its exception, if
// any, is rethrown here; running past the bound throws std::runtime_error.
namespace TestAwait {

namespace detail {
template <typename T>
using Slot = std::conditional_t<std::is_void_v<T>, bool, T>;

template <typename T>
QCoro::Task<> drive(QCoro::Task<T> task, std::optional<Slot<T>>& result, std::exception_ptr& error,
                    bool& done, QEventLoop& loop) {
    try {
        if constexpr (std::is_void_v<T>)
            co_await std::move(task);
        else
            result = co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}
} // namespace detail

template <typename T>
T await(QCoro::Task<T> task, int timeoutMs = 15000) {
    QEventLoop loop;
    std::optional<detail::Slot<T>> result;
    std::exception_ptr error;
    bool done = false;
    auto driver = detail::drive(std::move(task), result, error, done, loop);
    if (!done) {
        QTimer::singleShot(timeoutMs, &loop, [&loop] { loop.quit(); });
        loop.exec();
    }
    if (!done)
        throw std::runtime_error("coroutine did not finish in time");
    if (error)
        std::rethrow_exception(error);
    if constexpr (!std::is_void_v<T>)
        return std::move(*result);
}

} // namespace TestAwait
