#include "system/ActivationToken.h"

namespace {

constexpr char kVariable[] = "XDG_ACTIVATION_TOKEN";

} // namespace

void ActivationToken::runWith(const QString &token, const std::function<void()> &action)
{
    if (token.isEmpty()) {
        action();
        return;
    }
    qputenv(kVariable, token.toUtf8());
    action();
    qunsetenv(kVariable);
}

QString ActivationToken::take()
{
    QString token = qEnvironmentVariable(kVariable);
    qunsetenv(kVariable);
    return token;
}
