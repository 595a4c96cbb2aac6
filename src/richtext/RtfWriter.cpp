#include "richtext/RtfWriter.h"

#include "richtext/RtfReader.h"

#include <QColor>
#include <QTextBlock>
#include <QTextCharFormat>
#include <QTextDocument>
#include <QTextFragment>
#include <algorithm>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// The family as the font table can hold it: a name ends at a semicolon, RTF has no escape for
// one, and readers trim names. Empty means no family of its own.
QString familyOf(const QTextCharFormat& format)
{
    const QStringList families = format.fontFamilies().toStringList();
    if (families.isEmpty())
        return QString();
    QString name = families.first();
    name.removeIf([](QChar c) { return c == u';' || c.unicode() < 0x20 || c.unicode() == 0xFFFC; });
    return name.trimmed();
}

// The target as the field instruction holds it: quoted, so a quote becomes %22, and without the
// characters no RTF text keeps. Links are grouped by this form, which is what reads back.
QString linkOf(const QTextCharFormat& format)
{
    if (!format.isAnchor())
        return QString();
    QString href = format.anchorHref();
    href.removeIf([](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0xFFFC; });
    href.replace(u'"', u"%22"_s);
    return href;
}

std::optional<QColor> colorOf(const QTextCharFormat& format)
{
    if (!format.hasProperty(QTextFormat::ForegroundBrush) ||
        format.foreground().style() == Qt::NoBrush)
        return std::nullopt;
    return format.foreground().color().toRgb();
}

template <typename T> int indexOf(std::vector<T>& table, const T& value)
{
    const auto found = std::find(table.begin(), table.end(), value);
    if (found != table.end())
        return int(found - table.begin());
    table.push_back(value);
    return int(table.size()) - 1;
}

void appendNumber(QByteArray& out, int n)
{
    out += QByteArray::number(n);
}

// Control characters (but tab) and object placeholders are not text: they are not written.
bool isDropped(char16_t u)
{
    return (u < 0x20 && u != u'\t') || u == 0xFFFC;
}

bool isWritten(QStringView text)
{
    return std::any_of(text.begin(), text.end(), [](QChar c) { return !isDropped(c.unicode()); });
}

// Escapes text for RTF. A control word keeps its delimiting space so that a following letter or
// digit does not join it; \uN? ends with its own fallback character.
void appendText(QByteArray& out, QStringView text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == u'\\' || u == u'{' || u == u'}') {
            out += '\\';
            out += char(u);
        } else if (u == u'\t') {
            out += "\\tab ";
        } else if (u == 0x2028) {
            out += "\\line ";
        } else if (u >= 0x20 && u < 0x7F) {
            out += char(u);
        } else if (isDropped(u)) {
            continue;
        } else {
            out += "\\u";
            appendNumber(out, u > 0x7FFF ? int(u) - 0x10000 : int(u)); // signed 16-bit
            out += '?';
        }
    }
}

class Writer {
public:
    explicit Writer(const QTextDocument& document) : m_document(document) {}
    std::optional<QByteArray> run();

private:
    bool collectTables();
    void writeBlock(const QTextBlock& block);
    QByteArray controlsOf(const QTextCharFormat& format);
    void closeRun();
    void openLink(const QString& href);
    void closeLink();

    const QTextDocument& m_document;
    std::vector<QString> m_fonts;
    std::vector<QColor> m_colors;
    QByteArray m_body;
    bool m_runOpen = false;
    QByteArray m_runControls;
    std::optional<QString> m_openLink;
};

std::optional<QByteArray> Writer::run()
{
    if (m_document.characterCount() > RtfReader::maxCharacters || !collectTables())
        return std::nullopt;
    m_body.reserve(m_document.characterCount() * 2 + 256);
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        if (block != m_document.begin())
            m_body += "\\par\n";
        writeBlock(block);
    }

    QByteArray out = "{\\rtf1\\ansi\\ansicpg1252\\uc1\n{\\fonttbl";
    for (std::size_t i = 0; i < m_fonts.size(); ++i) {
        out += "{\\f";
        appendNumber(out, int(i));
        out += "\\fnil\\fcharset0 ";
        appendText(out, m_fonts[i]);
        out += ";}";
    }
    out += "}\n{\\colortbl;";
    for (const QColor& color : m_colors) {
        out += "\\red";
        appendNumber(out, color.red());
        out += "\\green";
        appendNumber(out, color.green());
        out += "\\blue";
        appendNumber(out, color.blue());
        out += ';';
    }
    out += "}\n" + m_body + "}\n";
    return out;
}

// Numbers fonts and colours in order of first use; false when the reader could not take the
// document back.
bool Writer::collectTables()
{
    qsizetype pieces = 0;
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        ++pieces;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            ++pieces;
            if (!isWritten(it.fragment().text()))
                continue; // its font and colour would not be used
            const QTextCharFormat format = it.fragment().charFormat();
            if (const QString family = familyOf(format); !family.isEmpty())
                indexOf(m_fonts, family);
            if (const std::optional<QColor> color = colorOf(format))
                indexOf(m_colors, *color);
        }
    }
    return pieces <= RtfReader::maxPieces;
}

void Writer::writeBlock(const QTextBlock& block)
{
    m_body += "\\pard\\plain";
    const Qt::Alignment align = block.blockFormat().alignment();
    if (align & Qt::AlignHCenter)
        m_body += "\\qc";
    else if (align & Qt::AlignRight)
        m_body += "\\qr";
    else if (align & Qt::AlignJustify)
        m_body += "\\qj";
    m_body += ' ';
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        if (!isWritten(it.fragment().text()))
            continue;
        // Fragments that differ only in what RTF cannot say are one run: so they read back.
        const QTextCharFormat format = it.fragment().charFormat();
        const QString href = linkOf(format);
        const QByteArray controls = controlsOf(format);
        if (!m_runOpen || href != m_openLink.value_or(QString()) || controls != m_runControls) {
            closeRun();
            if (href.isEmpty())
                closeLink();
            else
                openLink(href);
            m_body += '{';
            if (!controls.isEmpty())
                m_body += controls + ' ';
            m_runOpen = true;
            m_runControls = controls;
        }
        appendText(m_body, it.fragment().text());
    }
    closeRun();
    closeLink();
}

QByteArray Writer::controlsOf(const QTextCharFormat& format)
{
    QByteArray controls;
    if (const QString family = familyOf(format); !family.isEmpty()) {
        controls += "\\f";
        appendNumber(controls, indexOf(m_fonts, family));
    }
    if (format.hasProperty(QTextFormat::FontPointSize) && format.fontPointSize() > 0) {
        controls += "\\fs";
        appendNumber(controls, std::clamp(int(std::lround(format.fontPointSize() * 2)), 1, 3276));
    }
    if (format.fontWeight() >= QFont::DemiBold)
        controls += "\\b";
    if (format.fontItalic())
        controls += "\\i";
    if (format.fontUnderline())
        controls += "\\ul";
    if (format.fontStrikeOut())
        controls += "\\strike";
    if (const std::optional<QColor> color = colorOf(format)) {
        controls += "\\cf";
        appendNumber(controls, indexOf(m_colors, *color) + 1); // \cf0 is the default colour
    }
    return controls;
}

void Writer::closeRun()
{
    if (m_runOpen)
        m_body += '}';
    m_runOpen = false;
}

void Writer::openLink(const QString& href)
{
    if (m_openLink == href)
        return;
    closeLink();
    m_body += "{\\field{\\*\\fldinst{HYPERLINK \"";
    appendText(m_body, href);
    m_body += "\"}}{\\fldrslt ";
    m_openLink = href;
}

void Writer::closeLink()
{
    if (!m_openLink)
        return;
    m_body += "}}";
    m_openLink.reset();
}

} // namespace

std::optional<QByteArray> RtfWriter::write(const QTextDocument& document)
{
    return Writer(document).run();
}
