#pragma once

#include <QString>

#include <functional>

// Desktop notifications, as the usage alerts need them.
class Notifier
{
public:
    virtual ~Notifier() = default;
    // Asks for permission to show alerts, where the desktop has such a thing.
    virtual void requestPermission() = 0;
    // Shows a notification now; the outcome is not observed.
    virtual void post(const QString &identifier, const QString &title, const QString &body) = 0;
    // What the notification's "Open Dashboard" button does, where the desktop shows buttons.
    virtual void setOpenDashboardAction(const std::function<void()> & /*action*/) {}
};
