#include "ViewInspection.h"

#include <QDir>
#include <QTest>

#include <algorithm>

namespace ViewInspection {

namespace {

void collect(QQuickItem *item, const QString &name, QList<QQuickItem *> &found)
{
    if (!item->isVisible())
        return;
    if (item->objectName() == name)
        found.append(item);
    for (QQuickItem *child : item->childItems())
        collect(child, name, found);
}

} // namespace

QList<QQuickItem *> visibleItems(QQuickItem *root, const QString &name)
{
    QList<QQuickItem *> found;
    collect(root, name, found);
    std::stable_sort(found.begin(), found.end(), [](QQuickItem *a, QQuickItem *b) {
        return a->mapToScene({0, 0}).y() < b->mapToScene({0, 0}).y();
    });
    return found;
}

QQuickItem *visibleItem(QQuickItem *root, const QString &name)
{
    const QList<QQuickItem *> found = visibleItems(root, name);
    return found.size() == 1 ? found.first() : nullptr;
}

QStringList texts(QQuickItem *root, const QString &name)
{
    QStringList result;
    for (QQuickItem *item : visibleItems(root, name))
        result.append(item->property("text").toString());
    return result;
}

QImage screenshot(QQuickWindow *window, const QString &name)
{
    const QImage image = window->grabWindow();
    const QString folder = QStringLiteral(LIMITRA_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    image.save(folder + QLatin1Char('/') + name + QStringLiteral(".png"));
    return image;
}

QPalette darkDesktopPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor("#2b2b2e"));
    palette.setColor(QPalette::WindowText, QColor("#ececee"));
    palette.setColor(QPalette::Base, QColor("#1f1f22"));
    palette.setColor(QPalette::AlternateBase, QColor("#2b2b2e"));
    palette.setColor(QPalette::Text, QColor("#ececee"));
    palette.setColor(QPalette::Button, QColor("#3a3a3e"));
    palette.setColor(QPalette::ButtonText, QColor("#ececee"));
    palette.setColor(QPalette::Highlight, QColor("#3d7be0"));
    palette.setColor(QPalette::HighlightedText, QColor("#ffffff"));
    palette.setColor(QPalette::PlaceholderText, QColor("#8a8a90"));
    return palette;
}

QColor colourAtCentre(const QImage &image, QQuickItem *item)
{
    const QPointF centre = item->mapToScene({item->width() / 2, item->height() / 2});
    const qreal ratio = image.devicePixelRatio();
    return image.pixelColor(qRound(centre.x() * ratio), qRound(centre.y() * ratio));
}

void click(QQuickItem *item)
{
    const QPointF centre = item->mapToScene({item->width() / 2, item->height() / 2});
    QTest::mouseClick(item->window(), Qt::LeftButton, {}, centre.toPoint());
}

} // namespace ViewInspection
