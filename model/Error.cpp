#include "model/Error.h"

#include <cstring>

Error Error::fromErrno(int errorNumber, const QString &context)
{
    const QString reason = QString::fromLocal8Bit(std::strerror(errorNumber));
    return platform(context.isEmpty() ? reason : context + QStringLiteral(": ") + reason);
}

QString Error::description() const
{
    if (const auto *own = std::get_if<LimitraError>(&m_value))
        return own->description();
    return std::get<PlatformText>(m_value).text;
}
