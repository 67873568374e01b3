#include "model/JsonGrammar.h"

#include <QtTest>

class JsonGrammarTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void documents_data();
    void documents();
};

void JsonGrammarTest::documents_data()
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

void JsonGrammarTest::documents()
{
    QFETCH(QByteArray, text);
    QFETCH(qsizetype, errorAt);
    const std::optional<JsonGrammarError> error = checkJsonGrammar(text);
    QCOMPARE(error ? error->offset : -1, errorAt);
}

QTEST_GUILESS_MAIN(JsonGrammarTest)
#include "tst_JsonGrammar.moc"
