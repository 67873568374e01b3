#pragma once

#include "model/UsageWindow.h"
#include "model/forecast/UsageProfile.h"

#include <QString>

#include <deque>
#include <optional>
#include <utility>

// What one window's history says about the user: how fast its usage grows at
// each hour of the week (`UsageProfile`), how long a spell above or below that
// usual rate lasts, and the readings of the window as it is now. Times are
// Unix seconds; readings come in time order.
class WindowTrack
{
public:
    explicit WindowTrack(QString id);

    const QString &id() const { return m_id; }

    // Learns from one reading of the window taken at `at`.
    void observe(double at, const UsageWindow &window);

    // When the window, at `used` percent now, reaches 100 % before `resetsAt`
    // at the expected pace; none when it lasts until the reset, and none for
    // a run-out so far off that a slower rest of the window would avoid it
    // (unless one was reported at the last check and still roughly holds).
    std::optional<double> runsOutAt(double now, double used, double resetsAt) const;

private:
    struct Reading {
        double at;
        double used;
    };

    void learnInterval(double from, double to, double used);
    void addToSlots(double from, double to, double used);
    void finishSlot();
    double recentExcess(double scale) const;
    double persistence() const;
    double intensity() const;
    std::pair<double, double> ownPace() const;

    // What the open window's readings say about the rest of it.
    struct Outlook {
        double persistence = 0;
        double intensity = 1;
        double excess = 0;
        double excessFrom = 0;
        double pace = 0;
        double paceWeight = 0;
    };
    Outlook outlook(double now) const;
    // When the window reaches 100 % at `factor` times the expected rates.
    std::optional<double> reachesFull(const Outlook &outlook, double now, double used, double resetsAt,
                                      double factor) const;

    QString m_id;
    UsageProfile m_profile;

    // The last reading.
    bool m_seen = false;
    double m_lastAt = 0;
    double m_lastUsed = 0;
    std::optional<double> m_lastReset;

    // Readings of the open window, the last hour of them.
    std::deque<Reading> m_recent;
    // Where the open window's usage stood when it was first seen.
    std::optional<Reading> m_windowStart;
    // The window's length in seconds (0 when unknown), and whether a run-out
    // was reported at its last check (in quarter hour `m_alarmSlot`).
    double m_length = 0;
    bool m_alarmed = false;
    long long m_alarmSlot = 0;

    // Usage per quarter hour against the profile: how much of a quarter's
    // excess over the usual rate carries into the next one (a first-order
    // autoregression, fitted with older pairs weighing less).
    long long m_slot = 0;
    double m_slotUsed = 0;
    double m_slotOpen = 0;
    bool m_slotStarted = false;
    bool m_previousValid = false;
    long long m_previousSlot = 0;
    double m_previousExcess = 0;
    double m_pairProducts = 0;
    double m_pairSquares = 0;
    double m_pairCount = 0;
};
