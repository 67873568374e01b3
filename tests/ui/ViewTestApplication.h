#pragma once

#include "app/AppModel.h"
#include "app/UpdaterModel.h"
#include "tests/app/AppFakes.h"
#include "ui/shell/LimitraApplication.h"

#include <QTemporaryDir>

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

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<AppFakes> m_fakes;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<UpdaterModel> m_updater;
    std::unique_ptr<LimitraApplication> m_app;
};
