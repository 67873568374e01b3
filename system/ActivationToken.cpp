#include "system/ActivationToken.h"

#include "system/ProcessEnvironment.h"

namespace {

constexpr char kVariable[] = "XDG_ACTIVATION_TOKEN";

} // namespace

void ActivationToken::runWith(const QString &token, const std::function<void()> &action)
{
    if (token.isEmpty()) {
        action();
        return;
    }
    // Held throughout: Qt's xdg-shell plugin removes the variable when it
    // takes the token, inside `action`.
    const std::scoped_lock environment(ProcessEnvironment::lock());
    qputenv(kVariable, token.toUtf8());
    action();
    qunsetenv(kVariable);
}

QString ActivationToken::take()
{
    const std::scoped_lock environment(ProcessEnvironment::lock());
    QString token = qEnvironmentVariable(kVariable);
    qunsetenv(kVariable);
    return token;
}
