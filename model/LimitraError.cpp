#include "model/LimitraError.h"

LimitraError::LimitraError(Kind kind, QString payload)
    : m_kind(kind)
    , m_payload(std::move(payload))
{
}

LimitraError LimitraError::executableNotFound(const QString &toolName)
{
    return {Kind::executableNotFound, toolName};
}

LimitraError LimitraError::processFailed(const QString &message)
{
    return {Kind::processFailed, message};
}

LimitraError LimitraError::timeout(const QString &step)
{
    return {Kind::timeout, step};
}

LimitraError LimitraError::invalidResponse(const QString &detail)
{
    return {Kind::invalidResponse, detail};
}

LimitraError LimitraError::shortcutUnavailable(const QString &shortcutLabel)
{
    return {Kind::shortcutUnavailable, shortcutLabel};
}

LimitraError LimitraError::globalShortcutsUnsupported()
{
    return {Kind::globalShortcutsUnsupported, QString()};
}

LimitraError LimitraError::integrationNotConfigured()
{
    return {Kind::integrationNotConfigured, QString()};
}

QString LimitraError::description() const
{
    switch (m_kind) {
    case Kind::executableNotFound:
        return QStringLiteral("Could not find the %1 executable. Set its path in Settings.").arg(m_payload);
    case Kind::processFailed:
        return m_payload;
    case Kind::timeout:
        return QStringLiteral("Timed out while %1.").arg(m_payload);
    case Kind::invalidResponse:
        return QStringLiteral("The provider returned an unsupported response: %1").arg(m_payload);
    case Kind::shortcutUnavailable:
        return QStringLiteral("%1 is already used by another app. Pick a different shortcut.").arg(m_payload);
    case Kind::globalShortcutsUnsupported:
        return QStringLiteral("This desktop offers applications no global shortcuts: bind the command "
                              "limitra --toggle-panel to a key in its keyboard settings instead.");
    case Kind::integrationNotConfigured:
        return QStringLiteral("Claude integration is not configured yet.");
    }
    Q_UNREACHABLE();
}
