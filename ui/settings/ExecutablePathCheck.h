#pragma once

#include <QString>

// What is wrong with an executable path typed into the settings, in the words
// the diagnostics use; the path is stored and used as typed either way.
namespace ExecutablePathCheck {

// Empty when the path is blank (automatic discovery) or names an executable file.
QString problem(const QString &toolName, const QString &path);

} // namespace ExecutablePathCheck
