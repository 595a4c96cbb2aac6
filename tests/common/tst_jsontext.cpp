#include "common/JsonText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

class TestJsonText : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void exactBytes_data();
    void exactBytes();
    void readsBackAsWritten();
};

void TestJsonText::exactBytes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("escapeSlash");
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("quote and backslash") << u"a\"b\\c"_s << false << QByteArray(R"("a\"b\\c")");
    QTest::newRow("short escapes") << u"\n\r\t\b\f"_s << false << QByteArray(R"("\n\r\t\b\f")");
    QTest::newRow("other controls") << u"\x01\x1f"_s << false << QByteArray(R"("\u0001\u001f")");
    QTest::newRow("slash plain") << u"a/b"_s << false << QByteArray(R"("a/b")");
    QTest::newRow("slash escaped") << u"a/b"_s << true << QByteArray(R"("a\/b")");
    QTest::newRow("non-ASCII as itself") << u"é😀"_s << false << u"\"é😀\""_s.toUtf8();
    QTest::newRow("empty") << QString() << false << QByteArray(R"("")");
}

void TestJsonText::exactBytes()
{
    QFETCH(QString, text);
    QFETCH(bool, escapeSlash);
    QFETCH(QByteArray, json);
    QCOMPARE(
        JsonText::quoted(text, escapeSlash ? JsonText::Slash::escaped : JsonText::Slash::plain),
        json);
}

// Any text of whole characters comes back from a JSON parser unchanged.
void TestJsonText::readsBackAsWritten()
{
    QRandomGenerator random(7);
    const QList<char32_t> alphabet{0x00, 0x08, 0x1f, u'"',   u'\\',  u'/',
                                   u'a', 0x7f, 0xe9, 0x2028, 0x1F600};
    for (int round = 0; round < 500; ++round) {
        QString text;
        const int length = random.bounded(12);
        for (int i = 0; i < length; ++i)
            text += QString::fromUcs4(&alphabet[random.bounded(alphabet.size())], 1);
        for (const auto slash : {JsonText::Slash::plain, JsonText::Slash::escaped}) {
            QJsonParseError error{};
            const QJsonDocument doc =
                QJsonDocument::fromJson('[' + JsonText::quoted(text, slash) + ']', &error);
            QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
            QCOMPARE(doc.array().at(0).toString(), text);
        }
    }
}

QTEST_GUILESS_MAIN(TestJsonText)
#include "tst_jsontext.moc"
