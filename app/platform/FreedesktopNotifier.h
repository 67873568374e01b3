#pragma once

#include "app/platform/Notifier.h"

// Notifications through org.freedesktop.Notifications on the session bus.
class FreedesktopNotifier : public Notifier
{
public:
    // Desktops have no permission step: nothing to do.
    void requestPermission() override {}
    // The identifier has no counterpart in the protocol: every call shows a
    // new notification.
    void post(const QString &identifier, const QString &title, const QString &body) override;
};
