#include "richtext/RtfReader.h"
#include "support/CommandRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

using Run = CommandRun;

Run scrivlane(const QStringList& arguments)
{
    return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments);
}

// The text of each fragment of the document, with "b" after bold ones.
QString boldRuns(const QTextDocument& doc)
{
    QStringList runs;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            runs << it.fragment().text() +
                        (it.fragment().charFormat().fontWeight() >= QFont::DemiBold ? u"/b"_s
                                                                                    : QString());
        }
    }
    return runs.join(u'|');
}

const QString fixtures = QStringLiteral(SCRIVLANE_RTF_FIXTURES "/");

} // namespace

class TestRichTextCommands : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void resolveRtf_data();
    void resolveRtf();
    void convert_data();
    void convert();
    void errors_data();
    void errors();

private:
    QTemporaryDir m_dir;
    QString write(const QString& name, const QByteArray& content);
};

QString TestRichTextCommands::write(const QString& name, const QByteArray& content)
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write a test file");
    return file.fileName();
}

void TestRichTextCommands::initTestCase()
{
    QVERIFY(m_dir.isValid());
    write(u"macros.rtf"_s,
          R"({\rtf1 Dear {\b\{fill:Name\}}, {\i\{clipboard\}}\{cursor\}!\u253?\u-10179?\u-9139?})");
    write(u"snippet.rtf"_s, R"({\rtf1\b \{snippet:sig\}\{cursor\}\{cursor\}x})");
    write(u"plain.txt"_s, "just text");
}

void TestRichTextCommands::resolveRtf_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("cursor");
    QTest::addColumn<QString>("runs"); // of the RTF printed; empty: pending, no RTF
    QTest::addColumn<QString>("pending");
    // clang-format off
    QTest::newRow("resolved, UTF-16 count") << QStringList{u"--fill"_s, u"Name=Zoë"_s, u"--clipboard"_s, u"C"_s, u"--rtf-file"_s, u"macros.rtf"_s}
        << u"Dear Zoë, C!\u00fd\U0001F44D"_s << 4 << u"Dear |Zoë/b|, |C|!\u00fd\U0001F44D"_s << QString();
    QTest::newRow("no clipboard") << QStringList{u"--rtf-file"_s, u"macros.rtf"_s, u"--fill=Name="_s}
        << u"Dear , !\u00fd\U0001F44D"_s << 4 << u"Dear , !\u00fd\U0001F44D"_s << QString();
    QTest::newRow("first cursor wins, snippet") << QStringList{u"--snippet"_s, u"sig=S{cursor}"_s, u"--rtf-file"_s, u"snippet.rtf"_s}
        << u"Sx"_s << 1 << u"Sx/b"_s << QString();
    QTest::newRow("pending fill-in") << QStringList{u"--rtf-file"_s, u"macros.rtf"_s}
        << u"Dear {fill:Name}, {clipboard}{cursor}!\u00fd\U0001F44D"_s << 0 << QString() << u"Name"_s;
    // clang-format on
}

void TestRichTextCommands::resolveRtf()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, text);
    QFETCH(int, cursor);
    QFETCH(QString, runs);
    QFETCH(QString, pending);
    for (QString& a : arguments) {
        if (a.endsWith(u".rtf"_s))
            a = m_dir.filePath(a);
    }
    const Run r = scrivlane(QStringList{u"resolve"_s} + arguments);
    QCOMPARE(r.err, QString());
    QCOMPARE(r.exitCode, 0);
    QVERIFY(r.out.endsWith(u'\n') && r.out.count(u'\n') == 1);
    const QJsonObject json = QJsonDocument::fromJson(r.out.toUtf8()).object();
    QCOMPARE(json.value(u"text"_s).toString(), text);
    QCOMPARE(json.value(u"cursorBacktrackCount"_s).toInt(-1), cursor);
    if (runs.isEmpty()) {
        QVERIFY(!json.contains(u"rtf"_s));
        const QJsonArray fields = json.value(u"pendingFillIns"_s).toArray();
        QCOMPARE(fields.size(), 1);
        QCOMPARE(fields.first().toObject().value(u"label"_s).toString(), pending);
        return;
    }
    QCOMPARE(json.keys(), (QStringList{u"cursorBacktrackCount"_s, u"rtf"_s, u"text"_s}));
    const auto doc = RtfReader::read(json.value(u"rtf"_s).toString().toUtf8());
    QVERIFY(doc);
    QCOMPARE(boldRuns(*doc), runs);
}

void TestRichTextCommands::convert_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("out");
    QTest::addColumn<bool>("exact"); // else out must be contained in the output
    // clang-format off
    QTest::newRow("to-text, Cocoa") << QStringList{u"to-text"_s, fixtures + u"cocoa-textedit.rtf"_s}
        << u"Dear {fill:Name},\n\nBold red and italic and underlined and struck and grey.\nCentred a link\ncafé € “quoted” \U0001F44D\U0001F3FD e\u0301\n"_s << true;
    QTest::newRow("to-html, link") << QStringList{u"to-html"_s, fixtures + u"word.rtf"_s}
        << u"<a href=\"https://example.com/word#part2\"><span style=\" font-family:'Calibri'; font-size:11pt; text-decoration: underline; color:#0563c1;\">the link</span></a>"_s << false;
    // clang-format on
}

void TestRichTextCommands::convert()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, out);
    QFETCH(bool, exact);
    const Run r = scrivlane(QStringList{u"rtf"_s} + arguments);
    QCOMPARE(r.err, QString());
    QCOMPARE(r.exitCode, 0);
    if (exact)
        QCOMPARE(r.out, out);
    else
        QVERIFY2(r.out.contains(out), qPrintable(r.out));
}

void TestRichTextCommands::errors_data()
{
    QTest::addColumn<QStringList>("arguments");
    // clang-format off
    QTest::newRow("missing file") << QStringList{u"rtf"_s, u"to-text"_s, u"no-such.rtf"_s};
    QTest::newRow("not RTF") << QStringList{u"rtf"_s, u"to-html"_s, u"plain.txt"_s};
    QTest::newRow("unknown action") << QStringList{u"rtf"_s, u"to-pdf"_s, u"snippet.rtf"_s};
    QTest::newRow("no file") << QStringList{u"rtf"_s, u"to-text"_s};
    QTest::newRow("resolve, missing file") << QStringList{u"resolve"_s, u"--rtf-file"_s, u"no-such.rtf"_s};
    QTest::newRow("resolve, not RTF") << QStringList{u"resolve"_s, u"--rtf-file"_s, u"plain.txt"_s};
    QTest::newRow("resolve, text and file") << QStringList{u"resolve"_s, u"--rtf-file"_s, u"snippet.rtf"_s, u"text"_s};
    QTest::newRow("resolve, neither") << QStringList{u"resolve"_s, u"--fill"_s, u"a=b"_s};
    // clang-format on
}

void TestRichTextCommands::errors()
{
    QFETCH(QStringList, arguments);
    for (QString& a : arguments) {
        if (a.contains(u'.'))
            a = m_dir.filePath(a);
    }
    const Run r = scrivlane(arguments);
    QCOMPARE(r.exitCode, 2);
    QCOMPARE(r.out, QString());
    QVERIFY(r.err.startsWith(u"scrivlane: "_s));
}

QTEST_GUILESS_MAIN(TestRichTextCommands)
#include "tst_richtextcommands.moc"
