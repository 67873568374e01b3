#include "system/BackgroundTask.h"

QThreadPool &blockingWorkPool()
{
    static QThreadPool *pool = [] {
        auto *created = new QThreadPool;
        // Two collectors per round, plus room for a probe or check started by hand.
        created->setMaxThreadCount(8);
        return created;
    }();
    return *pool;
}
