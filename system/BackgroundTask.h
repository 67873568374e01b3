#pragma once

#include <QFuture>
#include <QPromise>
#include <QThreadPool>

#include <memory>
#include <type_traits>

// Threads for work that blocks for seconds (child processes, pseudo-terminals),
// kept apart from Qt's global pool so that such work never starves it.
QThreadPool &blockingWorkPool();

// Runs `work` on the blocking-work pool and returns its result as a future.
template <typename Work>
QFuture<std::invoke_result_t<Work>> runInBackground(Work work)
{
    using Value = std::invoke_result_t<Work>;
    auto promise = std::make_shared<QPromise<Value>>();
    QFuture<Value> future = promise->future();
    promise->start();
    blockingWorkPool().start([promise, work = std::move(work)]() mutable {
        promise->addResult(work());
        promise->finish();
    });
    return future;
}
