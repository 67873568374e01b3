#pragma once

#include "app/AppModel.h"
#include "app/UpdaterModel.h"
#include "tests/app/AppFakes.h"
#include "ui/dashboard/DashboardWindowController.h"
#include "ui/shell/LimitraApplication.h"

#include <QApplication>
#include <QDir>
#include <QQuickItem>
#include <QQuickStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <algorithm>
#include <functional>
#include <memory>

// Looking at a window the way a person does: what is on it, where, in which colour.
namespace ViewInspection {

// The visible items named `name` under `root`, top to bottom.
inline QList<QQuickItem *> visibleItems(QQuickItem *root, const QString &name)
{
    QList<QQuickItem *> found;
    const std::function<void(QQuickItem *)> collect = [&](QQuickItem *item) {
        if (!item->isVisible())
            return;
        if (item->objectName() == name)
            found.append(item);
        for (QQuickItem *child : item->childItems())
            collect(child);
    };
    collect(root);
    std::stable_sort(found.begin(), found.end(), [](QQuickItem *a, QQuickItem *b) {
        return a->mapToScene({0, 0}).y() < b->mapToScene({0, 0}).y();
    });
    return found;
}

inline QQuickItem *visibleItem(QQuickItem *root, const QString &name)
{
    const QList<QQuickItem *> found = visibleItems(root, name);
    return found.size() == 1 ? found.first() : nullptr;
}

inline QStringList texts(QQuickItem *root, const QString &name)
{
    QStringList result;
    for (QQuickItem *item : visibleItems(root, name))
        result.append(item->property("text").toString());
    return result;
}

// The window as drawn, saved under the build folder's "screenshots" as `name`.png.
inline QImage screenshot(QQuickWindow *window, const QString &name)
{
    const QImage image = window->grabWindow();
    QDir().mkpath(QStringLiteral(LIMITRA_SCREENSHOT_DIR));
    image.save(QStringLiteral(LIMITRA_SCREENSHOT_DIR "/") + name + QStringLiteral(".png"));
    return image;
}

// A dark desktop scheme, as a platform theme hands it to the application.
inline QPalette darkDesktopPalette()
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
    // Dark schemes dim what is disabled, as the light default does.
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor("#7a7a80"));
    return palette;
}

// The colour drawn at the centre of `item` in `image` (a grab of its window).
inline QColor colourAtCentre(const QImage &image, QQuickItem *item)
{
    const QPointF centre = item->mapToScene({item->width() / 2, item->height() / 2});
    const qreal ratio = image.devicePixelRatio();
    return image.pixelColor(qRound(centre.x() * ratio), qRound(centre.y() * ratio));
}

// A left click at the centre of `item`.
inline void click(QQuickItem *item)
{
    const QPointF centre = item->mapToScene({item->width() / 2, item->height() / 2});
    QTest::mouseClick(item->window(), Qt::LeftButton, {}, centre.toPoint());
}

} // namespace ViewInspection

// The running application over fake services, for the in-process view tests:
// a test makes `m_folder` (and anything that must come before the model),
// then starts it in init and stops it in cleanup.
class ViewTestApplication
{
protected:
    void startApplication()
    {
        m_fakes = std::make_unique<AppFakes>();
        m_model = std::make_unique<AppModel>(m_fakes->services(m_folder->path()));
        // The version as built, shown as a user sees it; no feed, so no check leaves the machine.
        UpdaterModel::Options options = UpdaterModel::Options::current();
        options.feed = QUrl();
        options.firstCheckDelay = std::chrono::hours(24);
        m_updater = std::make_unique<UpdaterModel>(options);
        m_app =
            std::make_unique<LimitraApplication>(*m_model, *m_updater, m_folder->filePath(QStringLiteral("frame.ini")));
    }

    // In the reverse order of making: the views go before the model they show.
    void stopApplication()
    {
        m_app.reset();
        m_updater.reset();
        m_model.reset();
        m_fakes.reset();
        m_folder.reset();
    }

    // Finishes the pending round with these snapshots (a provider left out fails).
    void finishRound(const QList<ProviderSnapshot> &snapshots)
    {
        QTRY_VERIFY(!m_fakes->collections.empty());
        m_fakes->finishAll([&](UsageProvider provider) -> Result<ProviderSnapshot> {
            for (const ProviderSnapshot &snapshot : snapshots) {
                if (snapshot.provider == provider)
                    return snapshot;
            }
            return LimitraError::invalidResponse(QStringLiteral("left out by the test"));
        });
        QTRY_VERIFY(!m_model->isRefreshing());
    }

    // Opens the dashboard on `page` (clicked in the sidebar) and returns the page.
    QQuickItem *openPage(const QString &page)
    {
        m_app->openDashboard();
        QQuickWindow *dashboard = m_app->dashboard().window();
        if (!dashboard || !QTest::qWaitForWindowExposed(dashboard))
            return nullptr;
        if (QQuickItem *entry =
                ViewInspection::visibleItem(dashboard->contentItem(), QStringLiteral("sidebar_") + page))
            ViewInspection::click(entry);
        QQuickItem *found = nullptr;
        // The caller checks the result: a page that never shows gives null.
        (void)QTest::qWaitFor([&] {
            return (found = ViewInspection::visibleItem(dashboard->contentItem(), page + QStringLiteral("Page")));
        });
        return found;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<AppFakes> m_fakes;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<UpdaterModel> m_updater;
    std::unique_ptr<LimitraApplication> m_app;
};

// The views drawn in software with the Fusion style, as on any desktop.
#define LIMITRA_VIEW_TEST_MAIN(TestClass)                                                                              \
    Q_IMPORT_QML_PLUGIN(LimitraPlugin)                                                                                 \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);                                                  \
        QApplication application(argc, argv);                                                                          \
        QQuickStyle::setStyle(QStringLiteral("Fusion"));                                                               \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
