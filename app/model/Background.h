#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <QThreadPool>

#include "ThreadHandOver.h"

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace lumora {

// Runs the blocking `work` on Qt's global thread pool. `work` must not throw, and must own, or
// share ownership of, everything it touches: it may outlive whoever started it.
template <typename Work> QFuture<std::invoke_result_t<Work>> runOnPool(Work work) {
    using Result = std::invoke_result_t<Work>;
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    std::function<void()> task = [promise, work = std::move(work)]() mutable {
        takeOver();
        if constexpr (std::is_void_v<Result>) {
            work();
        } else {
            promise->addResult(work());
        }
        handOver();
        promise->finish();
    };
    handOver(); // everything the task sees is in place
    QThreadPool::globalInstance()->start(std::move(task));
    return future;
}

// Calls `done` on `context`'s thread once `future` has finished, with the future itself. When
// `context` is destroyed first, `done` is never called: a late result cannot reach an object that
// is gone.
template <typename T, typename Done>
void whenFinished(QObject* context, const QFuture<T>& future, Done done) {
    auto* watcher = new QFutureWatcher<T>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context,
                     [watcher, done = std::move(done)]() mutable {
                         takeOver();
                         watcher->deleteLater();
                         done(watcher->future());
                     });
    watcher->setFuture(future);
}

// runOnPool, then `done` with the result on `context`'s thread (never once `context` is gone).
template <typename Work, typename Done>
void runInBackground(QObject* context, Work work, Done done) {
    using Result = std::invoke_result_t<Work>;
    whenFinished(context, runOnPool(std::move(work)),
                 [done = std::move(done)](const QFuture<Result>& finished) mutable {
                     if constexpr (std::is_void_v<Result>) {
                         done();
                     } else {
                         done(finished.result());
                     }
                 });
}

// The end of an asynchronous operation that callers may wait for. Copies share one promise; the
// future finishes when finish() is called, or is cancelled when the last copy goes away first
// (the owner was destroyed), so nobody waits forever.
class Completion {
public:
    Completion() : m_promise(std::make_shared<QPromise<void>>()) { m_promise->start(); }

    QFuture<void> future() const { return m_promise->future(); }
    void finish() const { m_promise->finish(); }

private:
    std::shared_ptr<QPromise<void>> m_promise;
};

inline QFuture<void> finishedFuture() {
    return QtFuture::makeReadyFuture();
}

} // namespace lumora
