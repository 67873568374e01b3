#pragma once

#include <QImage>
#include <QList>
#include <QPalette>
#include <QQuickItem>
#include <QQuickWindow>
#include <QString>

// Looking at a window the way a person does: what is on it, where, in which colour.
namespace ViewInspection {

// The visible items named `name` under `root`, top to bottom.
QList<QQuickItem *> visibleItems(QQuickItem *root, const QString &name);
QQuickItem *visibleItem(QQuickItem *root, const QString &name);
QStringList texts(QQuickItem *root, const QString &name);

// The window as drawn, saved under the build folder's "screenshots" as `name`.png.
QImage screenshot(QQuickWindow *window, const QString &name);

// The colour drawn at the centre of `item` in `image` (a grab of its window).
// A dark desktop scheme, as a platform theme hands it to the application.
QPalette darkDesktopPalette();

QColor colourAtCentre(const QImage &image, QQuickItem *item);

// A left click at the centre of `item`.
void click(QQuickItem *item);

} // namespace ViewInspection
