#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <QtConcurrent/QtConcurrentRun>

#include <memory>
#include <type_traits>
#include <utility>

namespace lumora {

// Calls `done` on `context`'s thread once `future` has finished, with the future itself. When
// `context` is destroyed first, `done` is never called: a late result cannot reach an object that
// is gone.
template <typename T, typename Done>
void whenFinished(QObject* context, const QFuture<T>& future, Done done) {
    auto* watcher = new QFutureWatcher<T>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context,
                     [watcher, done = std::move(done)]() mutable {
                         watcher->deleteLater();
                         done(watcher->future());
                     });
    watcher->setFuture(future);
}

// Runs the blocking `work` on Qt's thread pool and hands its result to `done` on `context`'s
// thread (as above, not at all once `context` is gone). `work` must not throw; it must own, or
// share ownership of, everything it touches, since it may outlive `context`.
template <typename Work, typename Done>
void runInBackground(QObject* context, Work work, Done done) {
    using Result = std::invoke_result_t<Work>;
    whenFinished(context, QtConcurrent::run(std::move(work)),
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
