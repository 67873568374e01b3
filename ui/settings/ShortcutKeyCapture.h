#pragma once

#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

// The recorder's ears: while `recording`, takes the keyboard focus and reads
// every key press (none reaches another control), and reports what it means.
class ShortcutKeyCapture : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool recording READ recording NOTIFY recordingChanged)
    Q_PROPERTY(bool needsModifier READ needsModifier NOTIFY needsModifierChanged)

public:
    explicit ShortcutKeyCapture(QQuickItem *parent = nullptr);
    ~ShortcutKeyCapture() override;

    bool recording() const { return m_recording; }
    bool needsModifier() const { return m_needsModifier; }

    Q_INVOKABLE void startRecording();
    Q_INVOKABLE void stopRecording();

Q_SIGNALS:
    void recordingChanged(bool recording);
    void needsModifierChanged();
    // A new combination (modifier bits as in GlobalShortcut).
    void shortcutChosen(uint keyCode, int modifierFlags, const QString &label);
    void shortcutCleared();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void itemChange(ItemChange change, const ItemChangeData &value) override;

private:
    void setNeedsModifier(bool needs);
    void followWindow(QQuickWindow *window);

    QMetaObject::Connection m_windowVisibility;
    bool m_recording = false;
    bool m_needsModifier = false;
};
