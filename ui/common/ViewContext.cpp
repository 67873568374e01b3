#include "ui/common/ViewContext.h"

#include "ui/common/ProviderCardListModel.h"
#include "ui/settings/ExecutablePathCheck.h"

#include <QQmlEngine>

namespace {

ViewContext *g_instance = nullptr;

void call(const std::function<void()> &action)
{
    if (action)
        action();
}

} // namespace

ViewContext::ViewContext(AppModel &model, UpdaterModel &updater, Actions actions, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_updater(updater)
    , m_cards(new ProviderCardListModel(model, this))
    , m_actions(std::move(actions))
{
    Q_ASSERT(!g_instance);
    g_instance = this;
}

ViewContext::~ViewContext()
{
    g_instance = nullptr;
}

ViewContext *ViewContext::instance()
{
    return g_instance;
}

ViewContext *ViewContext::create(QQmlEngine *, QJSEngine *)
{
    // The views never own it.
    QJSEngine::setObjectOwnership(g_instance, QJSEngine::CppOwnership);
    return g_instance;
}

void ViewContext::openDashboard() const
{
    call(m_actions.openDashboard);
}

void ViewContext::closePanel() const
{
    call(m_actions.closePanel);
}

void ViewContext::quit() const
{
    call(m_actions.quit);
}

QString ViewContext::executablePathProblem(const QString &toolName, const QString &path) const
{
    return ExecutablePathCheck::problem(toolName, path);
}
