// JSON as the files and payloads hold it: the grammar every reader checks
// first, and numbers that survive a parse-and-rewrite with Qt's JSON exactly
// as written.
#include "model/JsonGrammar.h"
#include "model/JsonNumberShield.h"

#include <QJsonDocument>
#include <QtTest>

class JsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void grammar_data();
    void grammar();
    void numbersRoundTrip_data();
    void numbersRoundTrip();
};

void JsonTest::grammar_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<qsizetype>("errorAt"); // -1: valid
    QTest::newRow("everything valid") << QByteArray(
        R"( {"a": [1, -0.5e+3, 0, true, false, null, {}, []], "é\u00e9\n\/": "🚀"} )")
                                      << qsizetype(-1);
    QTest::newRow("a bare value") << QByteArray("\"abc\"") << qsizetype(-1);
    QTest::newRow("leading zero") << QByteArray("[01]") << qsizetype(2);
    QTest::newRow("plus sign") << QByteArray("[+1]") << qsizetype(1);
    QTest::newRow("dot without digits") << QByteArray("[1.]") << qsizetype(3);
    QTest::newRow("trailing comma") << QByteArray("[1,]") << qsizetype(3);
    QTest::newRow("single quotes") << QByteArray("{'a': 1}") << qsizetype(1);
    QTest::newRow("short \\u escape") << QByteArray(R"(["\u12"])") << qsizetype(3);
    QTest::newRow("overlong UTF-8") << QByteArray("[\"\xC0\xAF\"]") << qsizetype(2);
    QTest::newRow("surrogate in UTF-8") << QByteArray("[\"\xED\xA0\x80\"]") << qsizetype(2);
    QTest::newRow("beyond U+10FFFF") << QByteArray("[\"\xF4\x90\x80\x80\"]") << qsizetype(2);
    QTest::newRow("cut inside UTF-8") << QByteArray("[\"\xE2\x82") << qsizetype(2);
    QTest::newRow("two values") << QByteArray("{} {}") << qsizetype(3);
    QTest::newRow("empty") << QByteArray("") << qsizetype(0);
    QTest::newRow("nested too deeply") << QByteArray(600, '[') + QByteArray(600, ']') << qsizetype(512);
}

void JsonTest::grammar()
{
    QFETCH(QByteArray, text);
    QFETCH(qsizetype, errorAt);
    const std::optional<JsonGrammarError> error = checkJsonGrammar(text);
    QCOMPARE(error ? error->offset : -1, errorAt);
}

void JsonTest::numbersRoundTrip_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("valid");
    QTest::newRow("beyond 64 bits") << QByteArray(R"({"a":18446744073709551616,"b":-99999999999999999999})") << true;
    QTest::newRow("beyond a double") << QByteArray(R"({"a":1e400,"b":[-1E+999]})") << true;
    QTest::newRow("decimal text kept") << QByteArray(R"({"a":0.10,"b":1.0,"c":2.50e-3})") << true;
    QTest::newRow("64-bit integers") << QByteArray(R"({"a":9223372036854775807,"b":-9223372036854775808,"c":0})")
                                     << true;
    QTest::newRow("digits inside strings")
        << QByteArray(R"({"1e400":"18446744073709551616","n":1.5,"q":"say \"1.5\""})") << true;
    QTest::newRow("top-level array") << QByteArray(R"([1.25,[3.5e10],{"x":-0.0}])") << true;
    // Invalid numbers stay invalid.
    QTest::newRow("leading zero") << QByteArray(R"({"a":01.5})") << false;
    QTest::newRow("lonely minus") << QByteArray(R"({"a":-})") << false;
    QTest::newRow("two dots") << QByteArray(R"({"a":1.2.3})") << false;
    QTest::newRow("exponent without digits") << QByteArray(R"({"a":2e})") << false;
}

void JsonTest::numbersRoundTrip()
{
    QFETCH(QByteArray, json);
    QFETCH(bool, valid);
    JsonNumberShield shield;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(shield.shield(json), &error);
    QCOMPARE(error.error == QJsonParseError::NoError, valid);
    if (valid)
        QCOMPARE(shield.restore(document.toJson(QJsonDocument::Compact)), json);
}

QTEST_GUILESS_MAIN(JsonTest)
#include "tst_Json.moc"
