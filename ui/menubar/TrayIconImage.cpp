#include "ui/menubar/TrayIconImage.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

namespace {

// The largest bold font whose text fits the badge, or none below a legible size.
std::optional<QFont> fittingFont(const QString &text, int size)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    const qreal minimum = std::max(6.0, size * 0.34);
    for (qreal pixels = size * 0.72; pixels >= minimum; pixels -= 0.5) {
        font.setPixelSize(static_cast<int>(pixels));
        const QRectF bounds = QFontMetricsF(font).tightBoundingRect(text);
        if (bounds.width() <= size * 0.9 && bounds.height() <= size * 0.72)
            return font;
    }
    return std::nullopt;
}

} // namespace

namespace TrayIconImage {

QColor badgeColor(UsageLevel::Value level, bool known)
{
    if (!known)
        return {0x5f, 0x66, 0x73};
    switch (level) {
    case UsageLevel::Critical:
        return {0xd7, 0x2d, 0x24};
    case UsageLevel::Warning:
        return {0xe0, 0x7b, 0x00};
    case UsageLevel::Normal:
        break;
    }
    return {0x2b, 0x6c, 0xd8};
}

QImage render(const QString &title, UsageLevel::Value level, int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    const bool known = title != QStringLiteral("--");
    const QRectF badge(0.5, 0.5, size - 1.0, size - 1.0);
    QPainterPath path;
    path.addRoundedRect(badge, size * 0.22, size * 0.22);
    painter.fillPath(path, badgeColor(level, known));

    // Small icons drop the percent sign before the digits get too small to read.
    QString text = title;
    std::optional<QFont> font = fittingFont(text, size);
    if (!font && text.endsWith(QLatin1Char('%'))) {
        text.chop(1);
        font = fittingFont(text, size);
    }
    if (!font) {
        QFont smallest(QStringLiteral("DejaVu Sans"));
        smallest.setBold(true);
        smallest.setPixelSize(std::max(6, size / 3));
        font = smallest;
    }
    painter.setFont(*font);
    painter.setPen(Qt::white);
    const QRectF bounds = QFontMetricsF(*font).tightBoundingRect(text);
    // Centre the ink, not the line box, so digits sit in the middle of the badge.
    const QPointF origin(badge.center().x() - bounds.width() / 2 - bounds.left(),
                         badge.center().y() - bounds.height() / 2 - bounds.top());
    painter.drawText(origin, text);
    return image;
}

QIcon icon(const QString &title, UsageLevel::Value level)
{
    QIcon icon;
    for (int size : sizes)
        icon.addPixmap(QPixmap::fromImage(render(title, level, size)));
    return icon;
}

} // namespace TrayIconImage
