#pragma once

#include "model/LimitraError.h"

#include <QString>

#include <optional>
#include <variant>

// A failure as the user sees it: either one of the program's own errors or an
// error of the platform (file system, JSON parser, process start), which is
// passed on with the platform's text.
class Error
{
public:
    Error(LimitraError error) // NOLINT(google-explicit-constructor): every LimitraError is an Error
        : m_value(std::move(error))
    {
    }

    static Error platform(QString description) { return Error(PlatformText{std::move(description)}); }

    // The platform error of the current errno value: "<context>: <strerror>".
    static Error fromErrno(int errorNumber, const QString &context);

    QString description() const;
    const LimitraError *limitraError() const { return std::get_if<LimitraError>(&m_value); }

private:
    struct PlatformText {
        QString text;
    };
    explicit Error(PlatformText text)
        : m_value(std::move(text))
    {
    }

    std::variant<LimitraError, PlatformText> m_value;
};
