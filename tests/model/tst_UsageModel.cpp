// The usage model's values: texts, raw values, the global shortcut and the
// JSON coding of snapshots with the rules every reader shares.
#include "model/DockIconVisibility.h"
#include "model/GlobalShortcut.h"
#include "model/LimitraError.h"
#include "model/SnapshotJson.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/SnapshotSamples.h"

#include <QTimeZone>
#include <QtTest>

class UsageModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void relativeTime_data();
    void relativeTime();
    void computedTexts();
    void equalValuesHashAlike();
    void rawValuesReadBack();
    void shortcutStoredForm();
    void keyLabels_data();
    void keyLabels();
    void fallbackCoding();
    void decodingRules_data();
    void decodingRules();
};

void UsageModelTest::relativeTime_data()
{
    QTest::addColumn<qint64>("offsetMs");
    QTest::addColumn<QString>("expected");
    QTest::newRow("now") << qint64(0) << QStringLiteral("in 0 sec.");
    QTest::newRow("seconds ahead") << qint64(59'999) << QStringLiteral("in 59 sec.");
    QTest::newRow("one minute") << qint64(60'000) << QStringLiteral("in 1 min.");
    QTest::newRow("minutes ago") << qint64(-3 * 60'000 - 500) << QStringLiteral("3 min. ago");
    QTest::newRow("hours cut toward zero") << qint64(2 * 3'600'000 + 59 * 60'000) << QStringLiteral("in 2 hr.");
    QTest::newRow("one day") << qint64(86'400'000) << QStringLiteral("in 1 day");
    QTest::newRow("days ago") << qint64(-3 * 86'400'000) << QStringLiteral("3 days ago");
    QTest::newRow("weeks") << qint64(15 * 86'400'000LL) << QStringLiteral("in 2 wk.");
    QTest::newRow("months") << qint64(-65 * 86'400'000LL) << QStringLiteral("2 mo. ago");
    QTest::newRow("years") << qint64(800 * 86'400'000LL) << QStringLiteral("in 2 yr.");
}

void UsageModelTest::relativeTime()
{
    QFETCH(qint64, offsetMs);
    QFETCH(QString, expected);
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    const UsageWindow window{.id = QStringLiteral("w"), .resetsAt = now.addMSecs(offsetMs)};
    QCOMPARE(window.resetDescription(now), QStringLiteral("Resets ") + expected);
}

void UsageModelTest::computedTexts()
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    QCOMPARE(UsageWindow{}.resetDescription(now), QStringLiteral("Reset unavailable"));
    ProviderSnapshot snapshot;
    snapshot.collectedAt = now.addSecs(-180);
    QCOMPARE(snapshot.freshnessDescription(now), QStringLiteral("Updated 3 min. ago"));
    QCOMPARE(LimitraError::integrationNotConfigured().description(),
             QStringLiteral("Claude integration is not configured yet."));
}

void UsageModelTest::equalValuesHashAlike()
{
    // Equal, though written differently: the same instant in another zone, -0.
    UsageWindow window{.id = QStringLiteral("codex.primary"),
                       .usedPercent = 0.0,
                       .resetsAt = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC)};
    UsageWindow other = window;
    other.usedPercent = -0.0;
    other.resetsAt = window.resetsAt->toTimeZone(QTimeZone("Europe/Berlin"));
    ProviderSnapshot snapshot{.collectedAt = *window.resetsAt, .windows = {window}};
    ProviderSnapshot copy = snapshot;
    copy.windows = {other};
    QCOMPARE(copy, snapshot);
    QCOMPARE(qHash(copy), qHash(snapshot));
    QCOMPARE(qHash(UsageArchive{{copy}}), qHash(UsageArchive{{snapshot}}));
}

void UsageModelTest::rawValuesReadBack()
{
    // Every case reads back from its own raw value, and the texts are the file format.
    for (UsageProvider provider : allCases<UsageProvider>)
        QCOMPARE(fromRawValue<UsageProvider>(rawValue(provider)), provider);
    for (CollectorState state : allCases<CollectorState>)
        QCOMPARE(fromRawValue<CollectorState>(rawValue(state)), state);
    for (UsageSource source : allCases<UsageSource>)
        QCOMPARE(fromRawValue<UsageSource>(rawValue(source)), source);
    for (DockIconVisibility visibility : allCases<DockIconVisibility>)
        QCOMPARE(fromRawValue<DockIconVisibility>(rawValue(visibility)), visibility);

    QCOMPARE(fromRawValue<UsageProvider>(u"Codex"), std::nullopt);
    QCOMPARE(fromRawValue<DockIconVisibility>(u"sometimes"), std::nullopt);
    QCOMPARE(rawValue(DockIconVisibility::whileDashboardOpen), QStringLiteral("whileDashboardOpen"));
    QCOMPARE(rawValue(UsageSource::claudeUsageCommand), QStringLiteral("claudeUsageCommand"));
}

void UsageModelTest::shortcutStoredForm()
{
    const GlobalShortcut shortcut = GlobalShortcut::defaultShortcut();
    QCOMPARE(shortcut.keyCode, 0x75u);
    QCOMPARE(shortcut.modifierFlags, 0x1C0000u);
    QCOMPARE(shortcut.displayString(), QStringLiteral("Ctrl+Alt+Super+U"));
    // Bits that name no modifier are left out of the text.
    QCOMPARE((GlobalShortcut{0x6b, GlobalShortcut::shift | 0x1, "K"}.displayString()), QStringLiteral("Shift+K"));
    QCOMPARE((GlobalShortcut{0x6b, 0, "K"}.displayString()), QStringLiteral("K"));
    QCOMPARE(GlobalShortcut::fromJson(shortcut.toJson()), shortcut);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":32,"modifierFlags":1572864,"keyLabel":"Space","x":1})"),
             (GlobalShortcut{32, 0x180000, "Space"}));
    QCOMPARE(GlobalShortcut::fromJson(""), std::nullopt);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":32,"modifierFlags":1})"), std::nullopt);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":"32","modifierFlags":1,"keyLabel":"x"})"), std::nullopt);
    QCOMPARE(GlobalShortcut::fromJson(R"({"keyCode":-1,"modifierFlags":1,"keyLabel":"x"})"), std::nullopt);
}

void UsageModelTest::keyLabels_data()
{
    QTest::addColumn<quint32>("keysym");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("label"); // empty: none
    const std::tuple<quint32, const char *, const char *> rows[] = {
        {0x20, " ", "Space"}, {0xff0d, "\r", "↩"}, {0xff8d, "\r", "⌤"}, {0xffc9, "", "F12"},
        {0x75, "u", "U"},     {0xe9, "é", "É"},    {0xffe1, "", ""},    {0xff0b, "\t ", ""}};
    for (const auto &[keysym, text, label] : rows)
        QTest::addRow("%x", keysym) << keysym << QString::fromUtf8(text) << QString::fromUtf8(label);
}

void UsageModelTest::keyLabels()
{
    QFETCH(quint32, keysym);
    QFETCH(QString, text);
    QFETCH(QString, label);
    QCOMPARE(GlobalShortcut::label(keysym, text), label.isEmpty() ? std::nullopt : std::optional<QString>(label));
}

void UsageModelTest::fallbackCoding()
{
    // One line, dates in seconds since 2001, fractions kept.
    const QByteArray text =
        encodeFallbackSnapshot(SnapshotSamples::full(QDateTime(QDate(2001, 1, 1), QTime(0, 0, 10), Qt::UTC)));
    QVERIFY(!text.contains('\n'));
    QVERIFY(text.contains("\"collectedAt\":10"));
    QVERIFY(text.contains("\"resetsAt\":3610"));
    const ProviderSnapshot original = SnapshotSamples::full(SnapshotSamples::wholeSecond().addMSecs(123));
    Result<ProviderSnapshot> decoded = decodeFallbackSnapshot(encodeFallbackSnapshot(original));
    QVERIFY_OK(decoded);
    QCOMPARE(*decoded, original);

    // Absent optionals are left out, not written as null.
    const QByteArray bare = encodeFallbackSnapshot(SnapshotSamples::connected(
        UsageProvider::codex, SnapshotSamples::wholeSecond(),
        {UsageWindow{QStringLiteral("w"), QStringLiteral("Weekly"), 5, std::nullopt, std::nullopt, std::nullopt}}));
    for (const char *key : {"planName", "creditBalance", "modelName", "message", "resetsAt", "windowMinutes", "scope"})
        QVERIFY2(!bare.contains(key), key);
    QVERIFY(!bare.contains("null"));
}

void UsageModelTest::decodingRules_data()
{
    SnapshotSamples::addDecodingRows();
}

void UsageModelTest::decodingRules()
{
    QFETCH(QJsonObject, object);
    QFETCH(bool, decodes);
    Result<ProviderSnapshot> decoded = decodeSnapshot(object, DateCoding::iso8601);
    QCOMPARE(decoded.ok(), decodes);
    if (decodes) {
        QCOMPARE(decoded->planName, std::nullopt);
        QCOMPARE(decoded->message, std::nullopt);
        QCOMPARE(decoded->provider, UsageProvider::codex);
        QCOMPARE(decoded->collectedAt, SnapshotSamples::wholeSecond());
        // Every row's windows share one id: one is kept, the first.
        QVERIFY(decoded->windows.size() <= 1);
        QVERIFY(decoded->windows.isEmpty() || decoded->windows.first().label != QStringLiteral("second"));
    }
}

QTEST_GUILESS_MAIN(UsageModelTest)
#include "tst_UsageModel.moc"
