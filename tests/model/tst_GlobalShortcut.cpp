// The global shortcut value: its text, its stored form and key labels.
#include "model/GlobalShortcut.h"

#include <QtTest>

class GlobalShortcutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void displayString_data();
    void displayString();
    void storedForm();
    void labels_data();
    void labels();
};

void GlobalShortcutTest::displayString_data()
{
    QTest::addColumn<quint64>("modifiers");
    QTest::addColumn<QString>("text");
    using S = GlobalShortcut;
    QTest::newRow("all four, any order") << quint64(S::super | S::shift | S::alt | S::control)
                                         << "Ctrl+Alt+Shift+Super+K";
    QTest::newRow("default") << quint64(S::control | S::alt | S::super) << "Ctrl+Alt+Super+K";
    QTest::newRow("none") << quint64(0) << "K";
    QTest::newRow("unknown bits ignored") << quint64(S::shift | 0x1) << "Shift+K";
}

void GlobalShortcutTest::displayString()
{
    QFETCH(quint64, modifiers);
    QFETCH(QString, text);
    QCOMPARE((GlobalShortcut{0x6b, modifiers, "K"}.displayString()), text);
}

void GlobalShortcutTest::storedForm()
{
    const GlobalShortcut shortcut = GlobalShortcut::defaultShortcut();
    QCOMPARE(shortcut.keyCode, 0x75u);
    QCOMPARE(shortcut.modifierFlags, 0x1C0000u);
    QCOMPARE(shortcut.displayString(), QStringLiteral("Ctrl+Alt+Super+U"));
    QCOMPARE(GlobalShortcut::fromJson(shortcut.toJson()), shortcut);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":32,"modifierFlags":1572864,"keyLabel":"Space","x":1})"),
             (GlobalShortcut{32, 0x180000, "Space"}));
    QCOMPARE(GlobalShortcut::fromJson(""), std::nullopt);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":32,"modifierFlags":1})"), std::nullopt);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":"32","modifierFlags":1,"keyLabel":"x"})"), std::nullopt);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":-1,"modifierFlags":1,"keyLabel":"x"})"), std::nullopt);
}

void GlobalShortcutTest::labels_data()
{
    QTest::addColumn<quint32>("keysym");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("label"); // empty: none
    QTest::newRow("space") << 0x20u << " "
                           << "Space";
    QTest::newRow("return") << 0xff0du << "\r"
                            << "Return";
    QTest::newRow("keypad enter") << 0xff8du << "\r"
                                  << "Enter";
    QTest::newRow("F12") << 0xffc9u << ""
                         << "F12";
    QTest::newRow("letter") << 0x75u << "u"
                            << "U";
    QTest::newRow("accented letter") << 0xe9u << "é"
                                     << "É";
    QTest::newRow("no characters") << 0xffe1u << ""
                                   << "";
    QTest::newRow("white space only") << 0xff0bu << "\t "
                                      << "";
}

void GlobalShortcutTest::labels()
{
    QFETCH(quint32, keysym);
    QFETCH(QString, text);
    QFETCH(QString, label);
    QCOMPARE(GlobalShortcut::label(keysym, text), label.isEmpty() ? std::nullopt : std::optional<QString>(label));
}

QTEST_GUILESS_MAIN(GlobalShortcutTest)
#include "tst_GlobalShortcut.moc"
