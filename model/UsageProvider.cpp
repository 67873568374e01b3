#include "model/UsageProvider.h"

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
