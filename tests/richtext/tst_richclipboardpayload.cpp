#include "richtext/RichClipboardPayload.h"
#include "richtext/RtfReader.h"
#include "support/RichTextTestSupport.h"

#include <QGuiApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace RichTest;

Q_DECLARE_METATYPE(QList<RichTest::Para>)

namespace {
QStringList types(const QList<ClipboardFormat>& payload)
{
    QStringList out;
    for (const ClipboardFormat& f : payload)
        out << f.mimeType;
    return out;
}

QByteArray dataOf(const QList<ClipboardFormat>& payload, const QString& type)
{
    for (const ClipboardFormat& f : payload) {
        if (f.mimeType == type)
            return f.data;
    }
    return {};
}
} // namespace

class TestRichClipboardPayload : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void payload_data();
    void payload();
    void plainOnlyWithoutRtf();
};

void TestRichClipboardPayload::payload_data()
{
    QTest::addColumn<QList<Para>>("paras");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QStringList>("inHtml");
    // clang-format off
    QTest::newRow("formatted paragraphs") << QList<Para>{{{{u"Hi "_s}, {u"Ada"_s, {.bold = true, .color = u"#ff0000"_s}}}}, {{{u"bye"_s, {.italic = true}}}, Qt::AlignHCenter}}
        << QByteArray("Hi Ada\nbye") << QStringList{u"font-weight:700"_s, u"color:#ff0000"_s, u"font-style:italic"_s, u"align=\"center\""_s};
    QTest::newRow("link, line break, no-break space") << QList<Para>{{{{u"see "_s}, {u"site"_s, {.href = u"https://example.com/?a=1&b=2"_s}}, {u" a\u2028b\u00a0c"_s}}}}
        << QByteArray("see site a\nb\xc2\xa0" "c") << QStringList{u"<a href=\"https://example.com/?a=1&amp;b=2\">"_s, u"<br />"_s};
    QTest::newRow("emoji") << QList<Para>{{{{u"\U0001F44D\U0001F3FD ok"_s, {.family = u"Noto Color Emoji"_s}}}}}
        << QByteArray("\xf0\x9f\x91\x8d\xf0\x9f\x8f\xbd ok") << QStringList{u"\U0001F44D\U0001F3FD"_s, u"Noto Color Emoji"_s};
    QTest::newRow("empty") << QList<Para>{{}} << QByteArray() << QStringList{u"<body"_s};
    // clang-format on
}

void TestRichClipboardPayload::payload()
{
    QFETCH(QList<Para>, paras);
    QFETCH(QByteArray, plain);
    QFETCH(QStringList, inHtml);
    const auto doc = makeDocument(paras);
    const QList<ClipboardFormat> payload = richClipboardPayload(*doc);
    QCOMPARE(types(payload), (QStringList{u"text/rtf"_s, u"text/html"_s, u"text/plain"_s}));
    QCOMPARE(dataOf(payload, u"text/plain"_s), plain);

    const std::unique_ptr<QTextDocument> rtf = RtfReader::read(dataOf(payload, u"text/rtf"_s));
    QVERIFY(rtf);
    QCOMPARE(dump(*rtf), dump(*doc));

    const QString html = QString::fromUtf8(dataOf(payload, u"text/html"_s));
    QVERIFY(html.contains(u"<meta charset=\"utf-8\" />"_s));
    for (const QString& piece : inHtml)
        QVERIFY2(html.contains(piece), qPrintable(piece + u" not in "_s + html));
}

// A document too large for RTF still pastes, as plain text.
void TestRichClipboardPayload::plainOnlyWithoutRtf()
{
    QTextDocument doc;
    doc.setPlainText(QString(RtfReader::maxCharacters, u'x'));
    const QList<ClipboardFormat> payload = richClipboardPayload(doc);
    QCOMPARE(types(payload), QStringList{u"text/plain"_s});
    QCOMPARE(payload.first().data.size(), RtfReader::maxCharacters);
}

QTEST_MAIN(TestRichClipboardPayload)
#include "tst_richclipboardpayload.moc"
