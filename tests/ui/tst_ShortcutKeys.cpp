// Key presses as the recorder reads them: what is stored, what is refused.
#include "ui/settings/ShortcutKeys.h"

#include <QTest>

using ShortcutKeys::Outcome;

class ShortcutKeysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void record_data();
    void record();
};

void ShortcutKeysTest::record_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<uint>("native");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<QString>("text");
    QTest::addColumn<Outcome>("outcome");
    QTest::addColumn<QString>("stored"); // display string, then the keysym in hex

    const Qt::KeyboardModifiers ctrl = Qt::ControlModifier;
    const Qt::KeyboardModifiers ctrlShift = Qt::ControlModifier | Qt::ShiftModifier;
    QTest::newRow("Ctrl+Shift+A on X11: upper-case keysym, control-character text")
        << int(Qt::Key_A) << 0x41u << ctrlShift << "\x01" << Outcome::accepted << "Ctrl+Shift+A 61";
    QTest::newRow("Ctrl+Shift+A without a native keysym")
        << int(Qt::Key_A) << 0u << ctrlShift << "" << Outcome::accepted << "Ctrl+Shift+A 61";
    QTest::newRow("Ctrl+Shift+É: the unshifted Latin-1 letter")
        << int(Qt::Key_Eacute) << 0xc9u << ctrlShift << "É" << Outcome::accepted << "Ctrl+Shift+É e9";
    QTest::newRow("keypad flag never stored")
        << int(Qt::Key_5) << 0xffb5u << (ctrl | Qt::KeypadModifier) << "5" << Outcome::accepted << "Ctrl+5 ffb5";
    QTest::newRow("Super+F5") << int(Qt::Key_F5) << 0u << Qt::KeyboardModifiers(Qt::MetaModifier) << ""
                              << Outcome::accepted << "Super+F5 ffc2";
    QTest::newRow("Alt+Return") << int(Qt::Key_Return) << 0xff0du << Qt::KeyboardModifiers(Qt::AltModifier) << "\r"
                                << Outcome::accepted << "Alt+↩ ff0d";
    QTest::newRow("Shift+A alone") << int(Qt::Key_A) << 0x41u << Qt::KeyboardModifiers(Qt::ShiftModifier) << "A"
                                   << Outcome::needsModifier << "";
    QTest::newRow("no modifier") << int(Qt::Key_U) << 0x75u << Qt::KeyboardModifiers() << "u" << Outcome::needsModifier
                                 << "";
    QTest::newRow("Ctrl with a key without a label")
        << int(Qt::Key_VolumeUp) << 0x1008ff13u << ctrl << "" << Outcome::needsModifier << "";
    QTest::newRow("Shift pressed on its own")
        << int(Qt::Key_Shift) << 0xffe1u << Qt::KeyboardModifiers(Qt::ShiftModifier) << "" << Outcome::ignored << "";
    QTest::newRow("Caps Lock on its own")
        << int(Qt::Key_CapsLock) << 0xffe5u << Qt::KeyboardModifiers() << "" << Outcome::ignored << "";
    QTest::newRow("BackSpace clears") << int(Qt::Key_Backspace) << 0xff08u << Qt::KeyboardModifiers() << "\b"
                                      << Outcome::cleared << "";
    QTest::newRow("Escape cancels, even with Ctrl")
        << int(Qt::Key_Escape) << 0u << ctrl << "" << Outcome::cancelled << "";
}

void ShortcutKeysTest::record()
{
    QFETCH(int, key);
    QFETCH(uint, native);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(QString, text);
    QFETCH(Outcome, outcome);
    QFETCH(QString, stored);
    const ShortcutKeys::Recorded recorded = ShortcutKeys::record(key, native, modifiers, text);
    QCOMPARE(recorded.outcome, outcome);
    QCOMPARE(recorded.shortcut.has_value(), outcome == Outcome::accepted);
    if (recorded.shortcut) {
        QCOMPARE(recorded.shortcut->displayString() + QLatin1Char(' ')
                     + QString::number(recorded.shortcut->keyCode, 16),
                 stored);
    }
}

QTEST_APPLESS_MAIN(ShortcutKeysTest)

#include "tst_ShortcutKeys.moc"
