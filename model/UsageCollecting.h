#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QFuture>

// The contract of a collector: which provider it measures, and one measurement
// that completes without blocking the caller's thread.
class UsageCollecting
{
public:
    virtual ~UsageCollecting() = default;
    virtual UsageProvider provider() const = 0;
    virtual QFuture<Result<ProviderSnapshot>> collect() = 0;
};
