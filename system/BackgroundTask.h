#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QPromise>
#include <QThreadPool>

#include <memory>
#include <type_traits>

// Threads for work that blocks for seconds (child processes, pseudo-terminals),
// kept apart from Qt's global pool so that such work never starves it.
QThreadPool &blockingWorkPool();

// Runs `work` on `pool` and returns its result as a future. A pool with one
// thread runs its work one item at a time, in the order it was started.
template <typename Work>
QFuture<std::invoke_result_t<Work>> runOn(QThreadPool &pool, Work work)
{
    using Value = std::invoke_result_t<Work>;
    auto promise = std::make_shared<QPromise<Value>>();
    QFuture<Value> future = promise->future();
    promise->start();
    pool.start([promise, work = std::move(work)]() mutable {
        promise->addResult(work());
        promise->finish();
    });
    return future;
}

// Runs `work` on the blocking-work pool.
template <typename Work>
QFuture<std::invoke_result_t<Work>> runInBackground(Work work)
{
    return runOn(blockingWorkPool(), std::move(work));
}

// Calls `handle` with the future's result on `receiver`'s thread once the
// future is finished, unless `receiver` is gone by then (which Qt 6.4's
// QFuture::then(context, ...) does not allow for).
template <typename T, typename Handler>
void whenFinished(const QFuture<T> &future, QObject *receiver, Handler handle)
{
    auto *watcher = new QFutureWatcher<T>(receiver);
    QObject::connect(watcher, &QFutureWatcherBase::finished, receiver, [watcher, handle = std::move(handle)]() mutable {
        watcher->deleteLater();
        if constexpr (std::is_void_v<T>)
            handle();
        else
            handle(watcher->result());
    });
    watcher->setFuture(future);
}
