// Numbers survive a parse-and-rewrite with Qt's JSON exactly as written.
#include "model/JsonNumberShield.h"

#include <QJsonDocument>
#include <QtTest>

class JsonNumberShieldTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void invalidNumbersStayInvalid_data();
    void invalidNumbersStayInvalid();
};

void JsonNumberShieldTest::roundTrip_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("beyond 64 bits") << QByteArray(R"({"a":18446744073709551616,"b":-99999999999999999999})");
    QTest::newRow("beyond a double") << QByteArray(R"({"a":1e400,"b":[-1E+999]})");
    QTest::newRow("decimal text kept") << QByteArray(R"({"a":0.10,"b":1.0,"c":2.50e-3})");
    QTest::newRow("64-bit integers") << QByteArray(R"({"a":9223372036854775807,"b":-9223372036854775808,"c":0})");
    QTest::newRow("digits inside strings")
        << QByteArray(R"({"1e400":"18446744073709551616","n":1.5,"q":"say \"1.5\""})");
    QTest::newRow("top-level array") << QByteArray(R"([1.25,[3.5e10],{"x":-0.0}])");
}

void JsonNumberShieldTest::roundTrip()
{
    QFETCH(QByteArray, json);
    JsonNumberShield shield;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(shield.shield(json), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(shield.restore(document.toJson(QJsonDocument::Compact)), json);
}

void JsonNumberShieldTest::invalidNumbersStayInvalid_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("leading zero") << QByteArray(R"({"a":01.5})");
    QTest::newRow("lonely minus") << QByteArray(R"({"a":-})");
    QTest::newRow("two dots") << QByteArray(R"({"a":1.2.3})");
    QTest::newRow("exponent without digits") << QByteArray(R"({"a":2e})");
}

void JsonNumberShieldTest::invalidNumbersStayInvalid()
{
    QFETCH(QByteArray, json);
    JsonNumberShield shield;
    QJsonParseError error{};
    QJsonDocument::fromJson(shield.shield(json), &error);
    QVERIFY(error.error != QJsonParseError::NoError);
}

QTEST_GUILESS_MAIN(JsonNumberShieldTest)
#include "tst_JsonNumberShield.moc"
