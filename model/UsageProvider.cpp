#include "model/UsageProvider.h"

QString rawValue(UsageProvider provider)
{
    switch (provider) {
    case UsageProvider::codex:
        return QStringLiteral("codex");
    case UsageProvider::claude:
        return QStringLiteral("claude");
    }
    Q_UNREACHABLE();
}

QString displayName(UsageProvider provider)
{
    switch (provider) {
    case UsageProvider::codex:
        return QStringLiteral("OpenAI Codex");
    case UsageProvider::claude:
        return QStringLiteral("Claude Code");
    }
    Q_UNREACHABLE();
}

QString shortName(UsageProvider provider)
{
    switch (provider) {
    case UsageProvider::codex:
        return QStringLiteral("Codex");
    case UsageProvider::claude:
        return QStringLiteral("Claude");
    }
    Q_UNREACHABLE();
}
