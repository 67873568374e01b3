#pragma once

#include "app/AppModel.h"
#include "app/UpdaterModel.h"
#include "tests/app/AppFakes.h"
#include "tests/ui/ViewInspection.h"
#include "ui/dashboard/DashboardWindowController.h"
#include "ui/shell/LimitraApplication.h"

#include <QApplication>
#include <QQuickStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

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
        UpdaterModel::Options options;
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
