#pragma once

#include "collectors/codex/CodexRPCSession.h"
#include "model/UsageCollecting.h"

#include <QString>
#include <QStringList>

#include <optional>

// The Codex provider's collector: asks each usable `codex` in turn, through an
// app-server session, until one answers.
class CodexCollector : public UsageCollecting
{
public:
    // `executableOverride` is the path typed in Settings (may be empty or start with "~").
    explicit CodexCollector(std::optional<QString> executableOverride);

    UsageProvider provider() const override { return UsageProvider::codex; }
    // Runs the sessions on a background thread.
    QFuture<Result<ProviderSnapshot>> collect() override;

    // Tries `candidates` one after another on the calling thread.
    static Result<ProviderSnapshot> collectFrom(const QStringList &candidates, double sessionTimeout,
                                                const CodexRPCSession::Wait &wait = CodexRPCSession::waitOnTheClock);

    static constexpr double kSessionTimeout = 25;

private:
    std::optional<QString> m_executableOverride;
};
