#include "model/CollectorState.h"
#include "model/DockIconVisibility.h"
#include "model/UsageSource.h"

QString rawValue(UsageSource source)
{
    switch (source) {
    case UsageSource::codexAppServer:
        return QStringLiteral("codexAppServer");
    case UsageSource::claudeStatusLine:
        return QStringLiteral("claudeStatusLine");
    case UsageSource::claudeUsageCommand:
        return QStringLiteral("claudeUsageCommand");
    case UsageSource::sample:
        return QStringLiteral("sample");
    }
    Q_UNREACHABLE();
}

QString rawValue(CollectorState state)
{
    switch (state) {
    case CollectorState::connected:
        return QStringLiteral("connected");
    case CollectorState::fallback:
        return QStringLiteral("fallback");
    case CollectorState::stale:
        return QStringLiteral("stale");
    case CollectorState::unavailable:
        return QStringLiteral("unavailable");
    case CollectorState::error:
        return QStringLiteral("error");
    }
    Q_UNREACHABLE();
}

QString rawValue(DockIconVisibility visibility)
{
    switch (visibility) {
    case DockIconVisibility::never:
        return QStringLiteral("never");
    case DockIconVisibility::whileDashboardOpen:
        return QStringLiteral("whileDashboardOpen");
    case DockIconVisibility::always:
        return QStringLiteral("always");
    }
    Q_UNREACHABLE();
}
