#include "ExecutablePathCheck.h"

#include <QFileInfo>

namespace ExecutablePathCheck {

QString problem(const QString &toolName, const QString &path)
{
    if (path.isEmpty())
        return {};
    const QFileInfo file(path);
    if (!file.exists())
        return toolName + QStringLiteral(" executable not found.");
    if (!file.isFile() || !file.isExecutable())
        return toolName + QStringLiteral(" executable is not executable: ") + path;
    return {};
}

} // namespace ExecutablePathCheck
