#pragma once

// Builds documents from a compact description and prints them in a form that QCOMPARE can show:
// one line per paragraph, alignment first, then [text|attributes] per run of equal attributes.

#include <QColor>
#include <QFile>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFragment>
#include <memory>

namespace RichTest {

struct Attr {
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    QString family{};
    double size = 0;
    QString color{};
    QString href{};
};

struct Run {
    QString text;
    Attr attr{};
};

struct Para {
    QList<Run> runs{};
    Qt::Alignment align = Qt::AlignLeft;
};

inline QTextCharFormat toFormat(const Attr& a)
{
    QTextCharFormat f;
    if (a.bold)
        f.setFontWeight(QFont::Bold);
    if (a.italic)
        f.setFontItalic(true);
    if (a.underline)
        f.setFontUnderline(true);
    if (a.strike)
        f.setFontStrikeOut(true);
    if (!a.family.isEmpty())
        f.setFontFamilies({a.family});
    if (a.size > 0)
        f.setFontPointSize(a.size);
    if (!a.color.isEmpty())
        f.setForeground(QColor(a.color));
    if (!a.href.isEmpty()) {
        f.setAnchor(true);
        f.setAnchorHref(a.href);
    }
    return f;
}

inline std::unique_ptr<QTextDocument> makeDocument(const QList<Para>& paras)
{
    auto doc = std::make_unique<QTextDocument>();
    QTextCursor cursor(doc.get());
    for (qsizetype i = 0; i < paras.size(); ++i) {
        if (i > 0)
            cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
        if (paras[i].align != Qt::AlignLeft) {
            QTextBlockFormat block;
            block.setAlignment(paras[i].align);
            cursor.setBlockFormat(block);
        }
        for (const Run& run : paras[i].runs)
            cursor.insertText(run.text, toFormat(run.attr));
    }
    return doc;
}

inline QString describe(const QTextCharFormat& f)
{
    QStringList parts;
    if (f.fontWeight() >= QFont::DemiBold)
        parts << QStringLiteral("b");
    if (f.fontItalic())
        parts << QStringLiteral("i");
    if (f.fontUnderline())
        parts << QStringLiteral("u");
    if (f.fontStrikeOut())
        parts << QStringLiteral("s");
    const QStringList families = f.fontFamilies().toStringList();
    if (!families.isEmpty())
        parts << QStringLiteral("f=") + families.first();
    if (f.hasProperty(QTextFormat::FontPointSize))
        parts << QStringLiteral("z=") + QString::number(f.fontPointSize());
    if (f.hasProperty(QTextFormat::ForegroundBrush))
        parts << QStringLiteral("c=") + f.foreground().color().name();
    if (f.isAnchor())
        parts << QStringLiteral("a=") + f.anchorHref();
    return parts.join(u' ');
}

inline QString alignmentMark(Qt::Alignment a)
{
    if (a & Qt::AlignHCenter)
        return QStringLiteral("=");
    if (a & Qt::AlignRight)
        return QStringLiteral(">");
    if (a & Qt::AlignJustify)
        return QStringLiteral("|");
    return QStringLiteral("<");
}

// Runs are merged across fragments with equal attributes, so that documents built differently
// but looking the same print the same. Non-printing characters are shown by code point.
inline QString dump(const QTextDocument& doc)
{
    QStringList lines;
    for (QTextBlock block = doc.begin(); block.isValid(); block = block.next()) {
        QString line = alignmentMark(block.blockFormat().alignment());
        QString text, attrs;
        const auto flush = [&] {
            if (!text.isEmpty())
                line += u'[' + text + u'|' + attrs + u']';
            text.clear();
        };
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QString a = describe(it.fragment().charFormat());
            if (a != attrs)
                flush();
            attrs = a;
            for (const QChar c : it.fragment().text()) {
                if (c.unicode() < 0x20 || c == QChar::LineSeparator || c == QChar::Nbsp)
                    text += QStringLiteral("<U+%1>").arg(c.unicode(), 4, 16, QChar(u'0'));
                else
                    text += c;
            }
        }
        flush();
        lines << line;
    }
    return lines.join(u'\n');
}

// The attributes of the text at the first occurrence of needle, or a note why there are none.
inline QString attributesOf(const QTextDocument& doc, const QString& needle)
{
    const QTextCursor found = doc.find(needle, 0, QTextDocument::FindCaseSensitively);
    if (found.isNull())
        return QStringLiteral("(not found)");
    QString seen;
    for (int pos = found.selectionStart(); pos < found.selectionEnd(); ++pos) {
        QTextCursor c(const_cast<QTextDocument*>(&doc));
        c.setPosition(pos + 1);
        const QString a = describe(c.charFormat());
        if (pos > found.selectionStart() && a != seen)
            return QStringLiteral("(mixed)");
        seen = a;
    }
    return seen;
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace RichTest
