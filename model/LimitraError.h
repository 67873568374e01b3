#pragma once

#include <QString>

// The program's own failures. The description is the exact text the user sees,
// in the interface and on the command line.
class LimitraError
{
public:
    enum class Kind {
        executableNotFound,
        processFailed,
        timeout,
        invalidResponse,
        shortcutUnavailable,
        globalShortcutsUnsupported,
        integrationNotConfigured,
    };

    static LimitraError executableNotFound(const QString &toolName);
    static LimitraError processFailed(const QString &message);
    static LimitraError timeout(const QString &step);
    static LimitraError invalidResponse(const QString &detail);
    static LimitraError shortcutUnavailable(const QString &shortcutLabel);
    // The desktop lets no application register a global shortcut.
    static LimitraError globalShortcutsUnsupported();
    static LimitraError integrationNotConfigured();

    Kind kind() const { return m_kind; }
    const QString &payload() const { return m_payload; }
    QString description() const;

    friend bool operator==(const LimitraError &, const LimitraError &) = default;

private:
    LimitraError(Kind kind, QString payload);

    Kind m_kind;
    QString m_payload;
};
