#include "ShortcutKeyCapture.h"

#include "ShortcutKeys.h"

#include <QKeyEvent>
#include <QQuickWindow>

ShortcutKeyCapture::ShortcutKeyCapture(QQuickItem *parent)
    : QQuickItem(parent)
{
    setFlag(ItemIsFocusScope, false);
    setActiveFocusOnTab(false);
}

ShortcutKeyCapture::~ShortcutKeyCapture() = default;

void ShortcutKeyCapture::startRecording()
{
    if (m_recording)
        return;
    m_recording = true;
    setNeedsModifier(false);
    Q_EMIT recordingChanged(true);
    forceActiveFocus(Qt::OtherFocusReason);
}

void ShortcutKeyCapture::stopRecording()
{
    setNeedsModifier(false);
    if (!m_recording)
        return;
    m_recording = false;
    Q_EMIT recordingChanged(false);
}

void ShortcutKeyCapture::keyPressEvent(QKeyEvent *event)
{
    if (!m_recording) {
        event->ignore();
        return;
    }
    event->accept();
    const ShortcutKeys::Recorded recorded =
        ShortcutKeys::record(event->key(), event->nativeVirtualKey(), event->modifiers(), event->text());
    switch (recorded.outcome) {
    case ShortcutKeys::Outcome::ignored:
        return;
    case ShortcutKeys::Outcome::cleared:
        Q_EMIT shortcutCleared();
        stopRecording();
        return;
    case ShortcutKeys::Outcome::cancelled:
        stopRecording();
        return;
    case ShortcutKeys::Outcome::accepted:
        Q_EMIT shortcutChosen(recorded.shortcut->keyCode, static_cast<int>(recorded.shortcut->modifierFlags),
                              recorded.shortcut->keyLabel);
        stopRecording();
        return;
    case ShortcutKeys::Outcome::needsModifier:
        setNeedsModifier(true);
        return;
    }
}

void ShortcutKeyCapture::keyReleaseEvent(QKeyEvent *event)
{
    if (m_recording)
        event->accept();
    else
        event->ignore();
}

void ShortcutKeyCapture::itemChange(ItemChange change, const ItemChangeData &value)
{
    if ((change == ItemVisibleHasChanged && !value.boolValue) || (change == ItemSceneChange && !value.window))
        stopRecording();
    if (change == ItemSceneChange)
        followWindow(value.window);
    QQuickItem::itemChange(change, value);
}

// A closed dashboard is hidden or minimised, not destroyed: the item stays
// "visible" in its scene, so the window leaving the screen has to end a
// recording too, or the paused hot key would stay off until it came back.
void ShortcutKeyCapture::followWindow(QQuickWindow *window)
{
    disconnect(m_windowVisibility);
    if (window)
        m_windowVisibility = connect(window, &QWindow::visibilityChanged, this, [this](QWindow::Visibility visibility) {
            if (visibility == QWindow::Hidden || visibility == QWindow::Minimized)
                stopRecording();
        });
}

void ShortcutKeyCapture::setNeedsModifier(bool needs)
{
    if (needs == m_needsModifier)
        return;
    m_needsModifier = needs;
    Q_EMIT needsModifierChanged();
}
