#include "ui/menubar/TrayTooltip.h"

#include "ui/common/UsageFormat.h"

namespace {

QString windowsInWords(const ProviderSnapshot &snapshot, const QDateTime &now)
{
    if (snapshot.windows.isEmpty())
        return snapshot.message.value_or(QStringLiteral("No usage data available."));
    QStringList parts;
    for (const UsageWindow &window : snapshot.windows) {
        QString reset = window.resetDescription(now);
        reset[0] = reset[0].toLower();
        parts.append(window.label + QLatin1Char(' ') + UsageFormat::usedText(window.usedPercent)
                     + QStringLiteral(" used, ") + reset);
    }
    return parts.join(QStringLiteral("; "));
}

} // namespace

QString trayTooltip(const QList<UsageProvider> &visible, const QMap<UsageProvider, ProviderSnapshot> &latest,
                    const QDateTime &now)
{
    if (visible.isEmpty())
        return QStringLiteral("Limitra: both providers are hidden.");
    QStringList lines;
    for (UsageProvider provider : visible) {
        const auto found = latest.constFind(provider);
        const QString words =
            found == latest.cend() ? QStringLiteral("waiting for the first reading") : windowsInWords(*found, now);
        lines.append(displayName(provider) + QStringLiteral(": ") + words);
    }
    return lines.join(QLatin1Char('\n'));
}
