#include "richtext/RtfReader.h"

#include "richtext/CodePage.h"
#include "richtext/SymbolFonts.h"

#include <QColor>
#include <QHash>
#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Further table entries, fields and text pieces are ignored or refused beyond these, so that a
// small hostile input cannot make the reader allocate without limit.
constexpr std::size_t maxTableEntries = 4096;
constexpr std::size_t maxFields = 65536;
constexpr int maxFontSizeHalfPoints = 3276; // Word's own limit
constexpr std::size_t maxNameLength = 32;   // longer control words are not ours
constexpr int maxStyleChain = 16;           // \sbasedon links followed, cycles included

enum class Destination : unsigned char {
    Text,
    Skip,
    FontTable,
    ColorTable,
    FieldInstruction,
    StyleSheet,
    Style, // one entry of the style sheet
};
enum class Align : unsigned char { Left, Center, Right, Justify };

struct CharState {
    int font = -1;      // -1: the document's default font
    int halfPoints = 0; // 0: the default size
    int color = 0;
    int link = -1;
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    bool hidden = false;

    bool operator==(const CharState&) const = default;
};

struct GroupState {
    CharState chr;
    Align align = Align::Left;
    Destination destination = Destination::Text;
    Destination beforeUpr = Destination::Skip; // where \ud inside \upr returns to
    bool inUpr = false;
    int unicodeSkip = 1;
    int field = -1;

    bool operator==(const GroupState&) const = default;
};

// Groups whose states are equal are kept as one entry, so that deep nesting without changes
// (Outlook's) costs nothing.
struct SavedGroups {
    GroupState state;
    int count;
};

struct Font {
    QString name;
    int codePage = 0; // 0: the document's
    bool symbolCharset = false;
    SymbolFonts::Font symbol = SymbolFonts::Font::None;
};

struct Style {
    int font = -1; // -1: none of its own
    int halfPoints = 0;
    int basedOn = -1;
};

struct Field {
    QString instruction;
    std::optional<int> link; // resolved once, when the result starts
    int parent = -1;         // the field whose result holds this one
    bool resultHasText = false;
};

// What a field without a stored result shows of its instruction.
struct FieldText {
    QString text;
    std::optional<int> font;
    int halfPoints = 0;
    std::optional<int> link;
};

enum class Kind : unsigned char {
    // Destinations
    SkipDestination,
    FontTable,
    ColorTable,
    StyleSheet,
    UnicodePair,   // \upr: its first group is the ANSI text, its \ud the Unicode one
    UnicodeBranch, // \ud
    Field,
    FieldInstruction,
    FieldResult,
    // Character formatting
    Plain,
    Bold,
    Italic,
    Underline,
    UnderlineNone,
    Strike,
    Hidden,
    Font,
    DefaultFont,
    FontSize,
    Color,
    Style,
    StyleBasedOn,
    OtherStyle, // character, section and table styles: not a paragraph's
    // Paragraphs
    ParagraphDefault,
    Alignment,
    Paragraph,
    Character, // inserts Entry::value
    // Encoding
    Unicode,
    UnicodeSkip,
    Binary,
    CodePage, // a fixed code page in Entry::value
    AnsiCodePage,
    FontCharset,
    FontCodePage,
    Red,
    Green,
    Blue,
};

struct Entry {
    Kind kind;
    char16_t value = 0;
};

const std::unordered_map<std::string_view, Entry>& words()
{
    static const std::unordered_map<std::string_view, Entry> table = [] {
        std::unordered_map<std::string_view, Entry> t;
        // Destinations whose content is not text of the document.
        for (std::string_view name : {"annotation",
                                      "atnauthor",
                                      "atnid",
                                      "author",
                                      "bkmkend",
                                      "bkmkstart",
                                      "buptim",
                                      "colorschememapping",
                                      "comment",
                                      "company",
                                      "creatim",
                                      "datastore",
                                      "docvar",
                                      "doccomm",
                                      "filetbl",
                                      "footer",
                                      "footerf",
                                      "footerl",
                                      "footerr",
                                      "footnote",
                                      "generator",
                                      "header",
                                      "headerf",
                                      "headerl",
                                      "headerr",
                                      "info",
                                      "keywords",
                                      "latentstyles",
                                      "listoverridetable",
                                      "listtable",
                                      "nonesttables", // what readers of nested tables skip
                                      "nonshppict",
                                      "object",
                                      "operator",
                                      "pgdsctbl",
                                      "pict",
                                      "printim",
                                      "private",
                                      "revtbl",
                                      "revtim",
                                      "rsidtbl",
                                      "rxe",
                                      "shp",
                                      "shppict",
                                      "subject",
                                      "tc",
                                      "template",
                                      "themedata",
                                      "title",
                                      "txe",
                                      "userprops",
                                      "xe",
                                      "xmlnstbl"})
            t.emplace(name, Entry{Kind::SkipDestination});
        t.emplace("fonttbl", Entry{Kind::FontTable});
        t.emplace("colortbl", Entry{Kind::ColorTable});
        t.emplace("stylesheet", Entry{Kind::StyleSheet});
        t.emplace("upr", Entry{Kind::UnicodePair});
        t.emplace("ud", Entry{Kind::UnicodeBranch});
        t.emplace("field", Entry{Kind::Field});
        t.emplace("fldinst", Entry{Kind::FieldInstruction});
        t.emplace("fldrslt", Entry{Kind::FieldResult});

        t.emplace("plain", Entry{Kind::Plain});
        t.emplace("b", Entry{Kind::Bold});
        t.emplace("i", Entry{Kind::Italic});
        // Every kind of underline reads as a single one; \ulc (its colour) is not among them.
        for (std::string_view name :
             {"ul", "uld", "uldash", "uldashd", "uldashdd", "uldb", "ulhwave", "ulldash", "ulth",
              "ulthd", "ulthdash", "ulthdashd", "ulthdashdd", "ulthldash", "ululdbwave", "ulw",
              "ulwave"})
            t.emplace(name, Entry{Kind::Underline});
        t.emplace("ulnone", Entry{Kind::UnderlineNone});
        t.emplace("strike", Entry{Kind::Strike});
        t.emplace("striked", Entry{Kind::Strike});
        t.emplace("v", Entry{Kind::Hidden});
        t.emplace("f", Entry{Kind::Font});
        t.emplace("deff", Entry{Kind::DefaultFont});
        t.emplace("s", Entry{Kind::Style});
        t.emplace("sbasedon", Entry{Kind::StyleBasedOn});
        for (std::string_view name : {"cs", "ds", "ts"})
            t.emplace(name, Entry{Kind::OtherStyle});
        t.emplace("fs", Entry{Kind::FontSize});
        t.emplace("cf", Entry{Kind::Color});

        t.emplace("pard", Entry{Kind::ParagraphDefault});
        t.emplace("ql", Entry{Kind::Alignment, char16_t(Align::Left)});
        t.emplace("qc", Entry{Kind::Alignment, char16_t(Align::Center)});
        t.emplace("qr", Entry{Kind::Alignment, char16_t(Align::Right)});
        t.emplace("qj", Entry{Kind::Alignment, char16_t(Align::Justify)});
        t.emplace("qd", Entry{Kind::Alignment, char16_t(Align::Justify)});
        for (std::string_view name : {"par", "sect", "page", "row", "nestrow"})
            t.emplace(name, Entry{Kind::Paragraph});
        t.emplace("line", Entry{Kind::Character, u'\x2028'});
        t.emplace("lbr", Entry{Kind::Character, u'\x2028'});
        // Table cells become tabs: their text stays apart and in order.
        for (std::string_view name : {"tab", "cell", "nestcell"})
            t.emplace(name, Entry{Kind::Character, u'\t'});
        const std::pair<std::string_view, char16_t> characters[] = {
            {"emdash", u'\x2014'},    {"endash", u'\x2013'},  {"emspace", u'\x2003'},
            {"enspace", u'\x2002'},   {"qmspace", u'\x2005'}, {"bullet", u'\x2022'},
            {"lquote", u'\x2018'},    {"rquote", u'\x2019'},  {"ldblquote", u'\x201C'},
            {"rdblquote", u'\x201D'}, {"zwj", u'\x200D'},     {"zwnj", u'\x200C'},
            {"ltrmark", u'\x200E'},   {"rtlmark", u'\x200F'}, {"zwbo", u'\x200B'}};
        for (const auto& [name, c] : characters)
            t.emplace(name, Entry{Kind::Character, c});

        t.emplace("u", Entry{Kind::Unicode});
        t.emplace("uc", Entry{Kind::UnicodeSkip});
        t.emplace("bin", Entry{Kind::Binary});
        t.emplace("ansi", Entry{Kind::CodePage, 1252});
        t.emplace("mac", Entry{Kind::CodePage, 10000});
        t.emplace("pc", Entry{Kind::CodePage, 437});
        t.emplace("pca", Entry{Kind::CodePage, 850});
        t.emplace("ansicpg", Entry{Kind::AnsiCodePage});
        t.emplace("fcharset", Entry{Kind::FontCharset});
        t.emplace("cpg", Entry{Kind::FontCodePage});
        t.emplace("red", Entry{Kind::Red});
        t.emplace("green", Entry{Kind::Green});
        t.emplace("blue", Entry{Kind::Blue});
        return t;
    }();
    return table;
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int hexValue(char c)
{
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Characters that would confuse the document's own structure, or are not text at all.
bool isStorable(char16_t c)
{
    return (c >= 0x20 || c == u'\t') && c != 0x2029 && c != 0xFFFC && c != 0xFDD0 && c != 0xFDD1;
}

using FieldTokens = std::vector<std::pair<QString, bool>>; // text, was quoted

FieldTokens fieldTokens(const QString& instruction)
{
    FieldTokens tokens;
    for (qsizetype i = 0; i < instruction.size();) {
        if (instruction[i].isSpace()) {
            ++i;
            continue;
        }
        const bool quoted = instruction[i] == u'"';
        const qsizetype start = quoted ? i + 1 : i;
        qsizetype end = start;
        while (end < instruction.size() &&
               (quoted ? instruction[end] != u'"' : !instruction[end].isSpace()))
            ++end;
        tokens.emplace_back(instruction.mid(start, end - start), quoted);
        i = end + (quoted ? 1 : 0);
    }
    return tokens;
}

bool isFieldType(const FieldTokens& tokens, const QString& type)
{
    return !tokens.empty() && !tokens.front().second &&
           tokens.front().first.compare(type, Qt::CaseInsensitive) == 0;
}

// A switch of a field instruction, such as \f: unquoted, a backslash and letters.
std::optional<QString> fieldSwitch(const std::pair<QString, bool>& token)
{
    if (token.second || !token.first.startsWith(u'\\'))
        return std::nullopt;
    return token.first.mid(1).toLower();
}

// The target of a HYPERLINK field instruction: HYPERLINK "url" [\l "anchor"] [\o "tip"] ...
std::optional<QString> hyperlinkTarget(const QString& instruction)
{
    const FieldTokens tokens = fieldTokens(instruction);
    if (!isFieldType(tokens, u"HYPERLINK"_s))
        return std::nullopt;
    QString url;
    QString anchor;
    for (std::size_t i = 1; i < tokens.size(); ++i) {
        const auto& [token, quoted] = tokens[i];
        if (const std::optional<QString> option = fieldSwitch(tokens[i])) {
            if (option == u"l"_s && i + 1 < tokens.size())
                anchor = tokens[++i].first;
            else if ((option == u"o"_s || option == u"t"_s) && i + 1 < tokens.size())
                ++i; // tooltip or target frame
            continue;
        }
        if (url.isEmpty())
            url = token;
    }
    if (!anchor.isEmpty())
        url += u"#"_s + anchor;
    // As the writer can give it back: no control characters, no bare quotes.
    url.removeIf([](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0xFFFC; });
    url.replace(u'"', u"%22"_s);
    if (url.isEmpty())
        return std::nullopt;
    return url;
}

class Parser {
public:
    explicit Parser(QByteArrayView input) : m_data(input.data()), m_size(input.size()) {}

    std::unique_ptr<QTextDocument> run();

private:
    void openGroup();
    bool closeGroup();
    void escape();
    void controlWord();
    void controlSymbol(char c);
    void hexEscape();
    void text();
    void word(std::string_view name, std::optional<int> parameter);
    bool destinationWord(const Entry* entry, bool ignorable);
    void tableWord(Kind kind, std::optional<int> parameter);
    void styleWord(Kind kind, std::optional<int> parameter);
    void formattingWord(const Entry& entry, std::optional<int> parameter);
    void applyStyle(int id);
    void finishField(const GroupState& inner);
    std::optional<FieldText> fieldText(const QString& instruction, int font);
    std::optional<QString> symbolCharacter(const FieldTokens& tokens, int font, FieldText& shown);
    std::optional<int> fontNamed(const QString& name);

    void output(QStringView s);
    void outputCharacter(char16_t c) { output(QStringView(&c, 1)); }
    void appendText(QStringView s);
    void flushBytes();
    void flushText();
    void endParagraph();
    void applyAlignment(Align align);
    void commitFontName();
    void commitColor();
    void commitStyle();
    int currentCodePage() const;
    bool awaitingTrailByte();
    SymbolFonts::Font symbolFont() const;
    QString symbolText(QStringView s) const;
    QTextCharFormat format(const CharState& state);
    void count(qsizetype characters, qsizetype pieces);

    const char* m_data;
    qsizetype m_size;
    qsizetype m_pos = 0;
    bool m_failed = false;

    std::vector<SavedGroups> m_stack;
    int m_depth = 0;     // groups open and saved, the document's own included
    int m_flattened = 0; // groups open beyond the saved ones: they share their parent's state
    GroupState m_cur;
    bool m_ignorable = false; // the last token was \*
    int m_skip = 0;           // fallback characters still to drop after \uN

    int m_codePage = 1252;
    CodePageDecoder m_decoder;
    std::string m_bytes;            // \'hh bytes not decoded yet
    std::size_t m_bytesScanned = 0; // of m_bytes, for lead bytes
    bool m_trailByteDue = false;    // m_bytes ends with a lead byte

    std::map<int, Font> m_fonts;
    int m_fontBeingDefined = -1;
    QString m_fontName;
    int m_defaultFont = -1;            // \deff
    int m_namedFonts = -2;             // ids for fonts that only a field names, counting down
    QHash<QString, int> m_fontsByName; // case-folded
    bool m_hasSymbolFonts = false;
    std::map<int, Style> m_styles;
    Style m_style; // the entry of the style sheet being read
    int m_styleId = 0;
    bool m_styleIsParagraph = true;
    std::vector<std::optional<QColor>> m_colors; // nothing: the default colour
    int m_red = 0, m_green = 0, m_blue = 0;
    bool m_colorGiven = false;
    std::vector<Field> m_fields;
    std::vector<QString> m_links;

    std::unique_ptr<QTextDocument> m_document;
    QTextCursor m_cursor;
    QString m_pending;
    CharState m_pendingState;
    std::vector<std::pair<CharState, QTextCharFormat>> m_formats;
    bool m_paragraphHasText = false;
    Align m_paragraphAlign = Align::Left;
    qsizetype m_characters = 0;
    qsizetype m_pieces = 0;
};

std::unique_ptr<QTextDocument> Parser::run()
{
    if (m_size > RtfReader::maxInputBytes)
        return nullptr;
    while (m_pos < m_size && (m_data[m_pos] == ' ' || m_data[m_pos] == '\r' ||
                              m_data[m_pos] == '\n' || m_data[m_pos] == '\t'))
        ++m_pos;
    if (!QByteArrayView(m_data + m_pos, m_size - m_pos).startsWith("{\\rtf"))
        return nullptr;

    m_document = std::make_unique<QTextDocument>();
    m_document->setUndoRedoEnabled(false);
    m_cursor = QTextCursor(m_document.get());
    // Inside an edit block the cursor does not lay out each block to keep its x position.
    m_cursor.beginEditBlock();
    bool open = true;
    while (open && m_pos < m_size && !m_failed) {
        switch (m_data[m_pos]) {
        case '{':
            ++m_pos;
            openGroup();
            break;
        case '}':
            ++m_pos;
            open = closeGroup();
            break;
        case '\\':
            ++m_pos;
            escape();
            break;
        case '\r':
        case '\n':
            ++m_pos;
            break;
        default:
            text();
        }
    }
    if (m_failed)
        return nullptr;
    // An unterminated document keeps what it has: the end of the data closes every group.
    flushBytes();
    flushText();
    applyAlignment(m_paragraphHasText ? m_paragraphAlign : m_cur.align);
    m_cursor.endEditBlock();
    return std::move(m_document);
}

void Parser::openGroup()
{
    flushBytes();
    m_skip = 0;
    m_ignorable = false;
    if (m_flattened > 0) {
        ++m_flattened;
    } else if (!m_stack.empty() && m_stack.back().state == m_cur) {
        ++m_stack.back().count;
        ++m_depth;
    } else if (m_stack.size() < std::size_t(RtfReader::maxGroupDepth)) {
        m_stack.push_back({m_cur, 1});
        ++m_depth;
    } else {
        // Deeper still: read on in the current state rather than give up on the document.
        ++m_flattened;
    }
    if (m_cur.destination == Destination::StyleSheet) {
        m_cur.destination = Destination::Style;
        m_style = Style();
        m_styleId = 0; // Word writes style 0 without its \s0
        m_styleIsParagraph = true;
    }
}

bool Parser::closeGroup()
{
    flushBytes();
    m_skip = 0;
    if (m_cur.destination == Destination::FontTable)
        commitFontName(); // a last entry without its semicolon
    if (m_flattened > 0) {
        --m_flattened;
        return true;
    }
    // The document's own group keeps its state: the last paragraph's alignment is read from it.
    if (m_depth <= 1)
        return false;
    const GroupState& outer = m_stack.back().state;
    const bool endsStyle =
        m_cur.destination == Destination::Style && outer.destination == Destination::StyleSheet;
    std::optional<GroupState> field;
    if (m_cur.field >= 0 && m_cur.field != outer.field)
        field = m_cur;
    m_cur = outer;
    if (--m_stack.back().count == 0)
        m_stack.pop_back();
    --m_depth;
    if (endsStyle)
        commitStyle();
    if (field)
        finishField(*field);
    return true;
}

void Parser::escape()
{
    if (m_pos >= m_size)
        return;
    const char c = m_data[m_pos];
    if (isLetter(c)) {
        controlWord();
        return;
    }
    ++m_pos;
    controlSymbol(c);
}

void Parser::controlWord()
{
    const qsizetype start = m_pos;
    while (m_pos < m_size && isLetter(m_data[m_pos]))
        ++m_pos;
    const auto length = std::size_t(m_pos - start);
    const std::string_view name =
        length <= maxNameLength ? std::string_view(m_data + start, length) : std::string_view();

    std::optional<int> parameter;
    bool negative = false;
    if (m_pos + 1 < m_size && m_data[m_pos] == '-' && isDigit(m_data[m_pos + 1])) {
        negative = true;
        ++m_pos;
    }
    if (m_pos < m_size && isDigit(m_data[m_pos])) {
        // Saturates: a parameter of a hundred digits is as large as an int gets, not a wrap.
        constexpr long long cap = 1LL << 31;
        long long value = 0;
        while (m_pos < m_size && isDigit(m_data[m_pos])) {
            value = std::min(value * 10 + (m_data[m_pos] - '0'), cap);
            ++m_pos;
        }
        value = negative ? -value : std::min<long long>(value, cap - 1);
        parameter = static_cast<int>(value);
    }
    if (m_pos < m_size && m_data[m_pos] == ' ')
        ++m_pos; // the delimiter belongs to the word
    word(name, parameter);
}

void Parser::controlSymbol(char c)
{
    if (c == '\'') {
        hexEscape();
        return;
    }
    flushBytes();
    if (c == '*') {
        m_ignorable = true;
        return;
    }
    m_ignorable = false;
    if (m_skip > 0) {
        --m_skip;
        return;
    }
    switch (c) {
    case '\\':
    case '{':
    case '}':
        outputCharacter(char16_t(c));
        break;
    case '~':
        outputCharacter(u'\xA0');
        break;
    case '_':
        outputCharacter(u'\x2011');
        break;
    case '\n':
    case '\r':
        endParagraph();
        break;
    default:
        break; // \- optional hyphen, \: index entries, \| formulas
    }
}

void Parser::hexEscape()
{
    const int high = m_pos < m_size ? hexValue(m_data[m_pos]) : -1;
    const int low = m_pos + 1 < m_size ? hexValue(m_data[m_pos + 1]) : -1;
    if (high < 0 || low < 0) {
        m_pos += high < 0 ? 0 : 1; // a truncated escape: drop what there is of it
        return;
    }
    m_pos += 2;
    if (m_skip > 0) {
        --m_skip;
        return;
    }
    if (m_cur.destination != Destination::Skip)
        m_bytes.push_back(char(high * 16 + low));
}

void Parser::text()
{
    if (m_cur.destination == Destination::Skip) {
        while (m_pos < m_size && m_data[m_pos] != '\\' && m_data[m_pos] != '{' &&
               m_data[m_pos] != '}')
            ++m_pos;
        return;
    }
    const auto c = static_cast<unsigned char>(m_data[m_pos]);
    if (m_skip > 0) {
        --m_skip;
        ++m_pos;
        return;
    }
    if (c >= 0x80) {
        // Raw 8-bit text is in the code page, as an escape would be.
        m_bytes.push_back(char(c));
        ++m_pos;
        return;
    }
    if (c < 0x20 && c != '\t') {
        ++m_pos; // a line end or other control character: no text, nor the end of a character
        return;
    }
    if (!m_bytes.empty() && awaitingTrailByte()) {
        m_bytes.push_back(char(c)); // the second byte of a character, written as itself
        ++m_pos;
        return;
    }
    flushBytes();
    qsizetype end = m_pos;
    while (end < m_size) {
        const auto b = static_cast<unsigned char>(m_data[end]);
        if (b >= 0x80 || (b < 0x20 && b != '\t') || b == '\\' || b == '{' || b == '}')
            break;
        ++end;
    }
    const QString run = QString::fromLatin1(m_data + m_pos, end - m_pos);
    output(symbolFont() == SymbolFonts::Font::None ? run : symbolText(run));
    m_pos = end;
}

void Parser::word(std::string_view name, std::optional<int> parameter)
{
    flushBytes();
    const bool ignorable = std::exchange(m_ignorable, false);
    if (m_skip > 0) {
        --m_skip;
        return;
    }
    const auto found = words().find(name);
    const Entry* entry = found == words().end() ? nullptr : &found->second;
    if (entry && entry->kind == Kind::Binary) {
        // Binary data may hold any byte, braces included.
        const qsizetype length = std::max(parameter.value_or(0), 0);
        m_pos += std::min(length, m_size - m_pos);
        return;
    }
    if (entry && entry->kind == Kind::UnicodeBranch) {
        // The Unicode text of \upr, read where its ANSI twin would have been.
        m_cur.destination = m_cur.inUpr ? m_cur.beforeUpr : Destination::Skip;
        m_cur.inUpr = false;
        return;
    }
    if (m_cur.destination == Destination::Skip)
        return;
    if (destinationWord(entry, ignorable) || !entry)
        return;
    if (m_cur.destination == Destination::Style) {
        styleWord(entry->kind, parameter);
        return;
    }
    if (m_cur.destination == Destination::StyleSheet)
        return;
    const bool producesText = entry->kind == Kind::Unicode || entry->kind == Kind::UnicodeSkip ||
                              entry->kind == Kind::Character;
    if (!producesText && (m_cur.destination == Destination::FontTable ||
                          m_cur.destination == Destination::ColorTable)) {
        tableWord(entry->kind, parameter);
        return;
    }
    formattingWord(*entry, parameter);
}

bool Parser::destinationWord(const Entry* entry, bool ignorable)
{
    if (!entry) {
        if (ignorable)
            m_cur.destination = Destination::Skip;
        return ignorable;
    }
    switch (entry->kind) {
    case Kind::SkipDestination:
        m_cur.destination = Destination::Skip;
        return true;
    case Kind::FontTable:
        m_cur.destination = Destination::FontTable;
        return true;
    case Kind::ColorTable:
        m_cur.destination = Destination::ColorTable;
        m_colorGiven = false;
        m_red = m_green = m_blue = 0;
        return true;
    case Kind::StyleSheet:
        m_cur.destination = Destination::StyleSheet;
        return true;
    case Kind::UnicodePair:
        m_cur.beforeUpr = m_cur.destination;
        m_cur.inUpr = true;
        m_cur.destination = Destination::Skip;
        return true;
    case Kind::Field:
        if (m_fields.size() < maxFields) {
            Field field;
            field.parent = m_cur.field;
            m_cur.field = int(m_fields.size());
            m_fields.push_back(field);
        } else {
            m_cur.field = -1;
        }
        return true;
    case Kind::FieldInstruction:
        m_cur.destination = m_cur.field >= 0 ? Destination::FieldInstruction : Destination::Skip;
        return true;
    case Kind::FieldResult:
        m_cur.destination = Destination::Text;
        if (m_cur.field >= 0) {
            Field& field = m_fields[std::size_t(m_cur.field)];
            if (!field.link) {
                field.link = -1;
                if (const std::optional<QString> target = hyperlinkTarget(field.instruction)) {
                    field.link = int(m_links.size());
                    m_links.push_back(*target);
                }
            }
            if (*field.link >= 0)
                m_cur.chr.link = *field.link;
        }
        return true;
    default:
        return false;
    }
}

void Parser::tableWord(Kind kind, std::optional<int> parameter)
{
    const int value = parameter.value_or(0);
    if (m_cur.destination == Destination::ColorTable) {
        const int component = std::clamp(value, 0, 255);
        if (kind == Kind::Red)
            m_red = component;
        else if (kind == Kind::Green)
            m_green = component;
        else if (kind == Kind::Blue)
            m_blue = component;
        else
            return;
        m_colorGiven = true;
        return;
    }
    // Text read before a font is (re)defined keeps what it was read with: its family and, for
    // a symbol font, its characters.
    flushText();
    if (kind == Kind::Font && parameter) {
        commitFontName();
        m_fontBeingDefined = -1;
        if (value >= 0 && (m_fonts.size() < maxTableEntries || m_fonts.count(value))) {
            m_fontBeingDefined = value;
            m_fonts[value] = Font();
            m_formats.clear();
        }
        return;
    }
    if (m_fontBeingDefined < 0)
        return;
    if (kind == Kind::FontCharset) {
        Font& font = m_fonts[m_fontBeingDefined];
        if (font.codePage == 0)
            font.codePage = CodePageDecoder::codePageOfCharset(value);
        if (value == 2) {
            font.symbolCharset = true;
            font.symbol = SymbolFonts::fontNamed(font.name, true);
            m_hasSymbolFonts = true;
        }
    } else if (kind == Kind::FontCodePage && value > 0) {
        m_fonts[m_fontBeingDefined].codePage = value;
    }
}

void Parser::styleWord(Kind kind, std::optional<int> parameter)
{
    switch (kind) {
    case Kind::Style:
        m_styleId = std::max(parameter.value_or(0), 0);
        break;
    case Kind::OtherStyle:
        m_styleIsParagraph = false;
        break;
    case Kind::StyleBasedOn:
        m_style.basedOn = parameter.value_or(-1);
        break;
    case Kind::Font:
        if (parameter)
            m_style.font = *parameter;
        break;
    case Kind::FontSize:
        m_style.halfPoints = std::clamp(parameter.value_or(24), 0, maxFontSizeHalfPoints);
        break;
    default:
        break;
    }
}

void Parser::commitStyle()
{
    if (m_styleIsParagraph && (m_styles.size() < maxTableEntries || m_styles.count(m_styleId)))
        m_styles[m_styleId] = m_style;
}

// A paragraph style's font and size, its own or those of the styles it is based on.
void Parser::applyStyle(int id)
{
    int font = -1;
    int halfPoints = 0;
    for (int hop = 0; hop < maxStyleChain && (font < 0 || halfPoints == 0); ++hop) {
        const auto style = m_styles.find(id);
        if (style == m_styles.end())
            break;
        if (font < 0)
            font = style->second.font;
        if (halfPoints == 0)
            halfPoints = style->second.halfPoints;
        id = style->second.basedOn;
    }
    if (font >= 0)
        m_cur.chr.font = font;
    if (halfPoints > 0)
        m_cur.chr.halfPoints = halfPoints;
}

void Parser::formattingWord(const Entry& entry, std::optional<int> parameter)
{
    CharState& chr = m_cur.chr;
    const bool on = parameter.value_or(1) != 0;
    switch (entry.kind) {
    case Kind::Plain:
        // A link is where the text is, not how it looks.
        chr = CharState{.font = m_defaultFont, .link = chr.link};
        break;
    case Kind::Hidden:
        chr.hidden = on;
        break;
    case Kind::DefaultFont:
        if (parameter && *parameter >= 0) {
            m_defaultFont = *parameter;
            if (chr.font == -1)
                chr.font = m_defaultFont;
        }
        break;
    case Kind::Style:
        applyStyle(std::max(parameter.value_or(0), 0));
        break;
    case Kind::Bold:
        chr.bold = on;
        break;
    case Kind::Italic:
        chr.italic = on;
        break;
    case Kind::Underline:
        chr.underline = on;
        break;
    case Kind::UnderlineNone:
        chr.underline = false;
        break;
    case Kind::Strike:
        chr.strike = on;
        break;
    case Kind::Font:
        if (parameter && *parameter >= 0) // negative ids are the fonts only fields name
            chr.font = *parameter;
        break;
    case Kind::FontSize: {
        const int size = parameter.value_or(24);
        chr.halfPoints = size <= 0 ? 0 : std::min(size, maxFontSizeHalfPoints);
        break;
    }
    case Kind::Color:
        chr.color = std::max(parameter.value_or(0), 0);
        break;
    case Kind::ParagraphDefault:
        m_cur.align = Align::Left;
        break;
    case Kind::Alignment:
        m_cur.align = Align(entry.value);
        break;
    case Kind::Paragraph:
        endParagraph();
        break;
    case Kind::Character:
        outputCharacter(entry.value);
        break;
    case Kind::Unicode: {
        if (!parameter)
            break;
        // Signed 16-bit in the file: \u-10179 is U+D83D.
        const int value = *parameter < 0 ? *parameter + 65536 : *parameter;
        if (value >= 0 && value <= 0xFFFF) {
            const auto c = char16_t(value);
            if (symbolFont() == SymbolFonts::Font::None)
                outputCharacter(c);
            else
                output(symbolText(QStringView(&c, 1)));
        }
        m_skip = m_cur.unicodeSkip;
        break;
    }
    case Kind::UnicodeSkip:
        m_cur.unicodeSkip = std::clamp(parameter.value_or(1), 0, 16);
        break;
    case Kind::CodePage:
        m_codePage = entry.value;
        break;
    case Kind::AnsiCodePage:
        if (parameter && *parameter > 0)
            m_codePage = *parameter;
        break;
    default:
        break;
    }
}

void Parser::output(QStringView s)
{
    switch (m_cur.destination) {
    case Destination::Text:
        appendText(s);
        break;
    case Destination::FontTable:
        for (const QChar c : s) {
            if (c == u';')
                commitFontName();
            else if (m_fontBeingDefined >= 0)
                m_fontName += c;
        }
        break;
    case Destination::ColorTable:
        for (const QChar c : s) {
            if (c == u';')
                commitColor();
        }
        break;
    case Destination::FieldInstruction:
        if (m_cur.field >= 0)
            m_fields[std::size_t(m_cur.field)].instruction += s;
        break;
    case Destination::Skip:
    case Destination::StyleSheet:
    case Destination::Style:
        break;
    }
}

void Parser::appendText(QStringView s)
{
    const auto storable = [](QChar c) { return isStorable(c.unicode()); };
    QString cleaned;
    QStringView clean = s;
    if (!std::all_of(s.begin(), s.end(), storable)) {
        cleaned = s.toString();
        cleaned.removeIf([&](QChar c) { return !storable(c); });
        clean = cleaned;
    }
    if (clean.isEmpty() || m_cur.chr.hidden)
        return;
    // A field with text in its result shows that, and so do the fields around it.
    for (int f = m_cur.field; f >= 0 && !m_fields[std::size_t(f)].resultHasText;
         f = m_fields[std::size_t(f)].parent)
        m_fields[std::size_t(f)].resultHasText = true;
    m_paragraphHasText = true;
    m_paragraphAlign = m_cur.align;
    if (!m_pending.isEmpty() && !(m_pendingState == m_cur.chr))
        flushText();
    m_pendingState = m_cur.chr;
    m_pending += clean;
    count(clean.size(), 0);
}

void Parser::count(qsizetype characters, qsizetype pieces)
{
    m_characters += characters;
    m_pieces += pieces;
    if (m_characters > RtfReader::maxCharacters || m_pieces > RtfReader::maxPieces)
        m_failed = true;
}

int Parser::currentCodePage() const
{
    if (symbolFont() != SymbolFonts::Font::None)
        return CodePageDecoder::symbolCodePage; // one byte, one picture
    const bool names = m_cur.destination == Destination::FontTable;
    const auto found = m_fonts.find(names ? m_fontBeingDefined : m_cur.chr.font);
    if (found != m_fonts.end() && found->second.codePage > 0 &&
        !(names && found->second.codePage == CodePageDecoder::symbolCodePage))
        return found->second.codePage;
    return m_codePage;
}

// Whether the pending bytes end with the first byte of a two-byte character. Scanned once each:
// the code page cannot change while bytes are pending, since every control word flushes them.
bool Parser::awaitingTrailByte()
{
    const int codePage = currentCodePage();
    for (; m_bytesScanned < m_bytes.size(); ++m_bytesScanned) {
        const auto byte = static_cast<unsigned char>(m_bytes[m_bytesScanned]);
        m_trailByteDue = !m_trailByteDue && CodePageDecoder::isLeadByte(codePage, byte);
    }
    return m_trailByteDue;
}

SymbolFonts::Font Parser::symbolFont() const
{
    if (!m_hasSymbolFonts || m_cur.destination != Destination::Text)
        return SymbolFonts::Font::None;
    const auto found = m_fonts.find(m_cur.chr.font);
    return found == m_fonts.end() ? SymbolFonts::Font::None : found->second.symbol;
}

// Text in a symbol font as the characters it shows. Bytes arrive as U+F0xx; ASCII as itself.
// Other characters (a \u above 0x7F) are already Unicode and stay, so that what the writer
// writes of them reads back the same.
QString Parser::symbolText(QStringView s) const
{
    const SymbolFonts::Font font = symbolFont();
    QString out;
    out.reserve(s.size());
    for (const QChar c : s) {
        const char16_t u = c.unicode();
        const bool mapped = u < 0x80 || (u >= 0xF020 && u <= 0xF0FF);
        const char32_t shown = mapped ? SymbolFonts::character(font, u) : u;
        out += QStringView(QChar::fromUcs4(shown));
    }
    return out;
}

void Parser::flushBytes()
{
    if (m_bytes.empty())
        return;
    const QString decoded = m_decoder.decode(m_bytes, currentCodePage());
    m_bytes.clear();
    m_bytesScanned = 0;
    m_trailByteDue = false;
    output(symbolFont() == SymbolFonts::Font::None ? decoded : symbolText(decoded));
}

void Parser::flushText()
{
    if (m_pending.isEmpty())
        return;
    m_cursor.insertText(m_pending, format(m_pendingState));
    m_pending.clear();
    count(0, 1);
}

void Parser::endParagraph()
{
    if (m_cur.destination != Destination::Text || m_cur.chr.hidden)
        return;
    flushText();
    applyAlignment(m_cur.align);
    m_cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
    m_paragraphHasText = false;
    count(1, 1);
}

void Parser::applyAlignment(Align align)
{
    if (align == Align::Left)
        return; // the default; left alone so that documents compare equal
    QTextBlockFormat block;
    block.setAlignment(align == Align::Center  ? Qt::AlignHCenter
                       : align == Align::Right ? Qt::AlignRight
                                               : Qt::AlignJustify);
    m_cursor.setBlockFormat(block);
}

void Parser::commitFontName()
{
    m_fontName.removeIf([](QChar c) { return c.unicode() < 0x20; });
    m_fontName = m_fontName.trimmed();
    if (m_fontBeingDefined >= 0 && !m_fontName.isEmpty()) {
        flushText();
        Font& font = m_fonts[m_fontBeingDefined];
        font.name = m_fontName;
        font.symbol = SymbolFonts::fontNamed(font.name, font.symbolCharset);
        m_hasSymbolFonts = m_hasSymbolFonts || font.symbol != SymbolFonts::Font::None;
        m_fontsByName.insert(font.name.toCaseFolded(), m_fontBeingDefined);
        m_formats.clear();
    }
    m_fontName.clear();
}

void Parser::commitColor()
{
    if (m_colors.size() < maxTableEntries) {
        m_colors.push_back(m_colorGiven ? std::optional(QColor(m_red, m_green, m_blue))
                                        : std::nullopt);
        m_formats.clear();
    }
    m_colorGiven = false;
    m_red = m_green = m_blue = 0;
}

// A field without a stored result shows what its instruction names where that is text: the
// character of SYMBOL, the target of HYPERLINK, the words of QUOTE.
void Parser::finishField(const GroupState& inner)
{
    const Field& field = m_fields[std::size_t(inner.field)];
    if (field.resultHasText || inner.destination != Destination::Text || inner.chr.hidden)
        return;
    const std::optional<FieldText> shown = fieldText(field.instruction, inner.chr.font);
    if (!shown)
        return;
    const GroupState outer = m_cur;
    m_cur = inner;
    if (shown->font)
        m_cur.chr.font = *shown->font;
    if (shown->halfPoints > 0)
        m_cur.chr.halfPoints = shown->halfPoints;
    if (shown->link)
        m_cur.chr.link = *shown->link;
    // In a symbol font, as its glyphs show it (and as what the writer makes of it reads back).
    appendText(symbolFont() == SymbolFonts::Font::None ? shown->text : symbolText(shown->text));
    m_cur = outer;
}

std::optional<FieldText> Parser::fieldText(const QString& instruction, int font)
{
    const FieldTokens tokens = fieldTokens(instruction);
    FieldText shown;
    if (isFieldType(tokens, u"HYPERLINK"_s)) {
        const std::optional<QString> target = hyperlinkTarget(instruction);
        if (!target)
            return std::nullopt;
        shown.text = *target;
        shown.link = int(m_links.size());
        m_links.push_back(*target);
    } else if (isFieldType(tokens, u"QUOTE"_s)) {
        QStringList words;
        for (std::size_t i = 1; i < tokens.size(); ++i) {
            if (fieldSwitch(tokens[i]))
                ++i; // \* MERGEFORMAT and the like
            else
                words << tokens[i].first;
        }
        shown.text = words.join(u' ');
    } else if (isFieldType(tokens, u"SYMBOL"_s)) {
        shown.text = symbolCharacter(tokens, font, shown).value_or(QString());
    }
    if (shown.text.isEmpty())
        return std::nullopt;
    return shown;
}

// SYMBOL code [\f "font"] [\s points] [\a | \u | \j]: the code is a byte of the font (ANSI, the
// default), a Unicode code point, or a Shift-JIS character.
std::optional<QString> Parser::symbolCharacter(const FieldTokens& tokens, int font,
                                               FieldText& shown)
{
    if (tokens.size() < 2)
        return std::nullopt;
    const QString& number = tokens[1].first;
    bool ok = false;
    const uint code = number.startsWith(u"0x"_s, Qt::CaseInsensitive)
                          ? number.mid(2).toUInt(&ok, 16)
                          : number.toUInt(&ok, 10);
    if (!ok || code == 0 || code > 0x10FFFF)
        return std::nullopt;
    char kind = 'a';
    for (std::size_t i = 2; i < tokens.size(); ++i) {
        const std::optional<QString> option = fieldSwitch(tokens[i]);
        if (!option)
            continue;
        if (*option == u"f"_s && i + 1 < tokens.size()) {
            shown.font = fontNamed(tokens[++i].first);
        } else if (*option == u"s"_s && i + 1 < tokens.size()) {
            shown.halfPoints = std::clamp(tokens[++i].first.toInt() * 2, 0, maxFontSizeHalfPoints);
        } else if (*option == u"a"_s || *option == u"u"_s || *option == u"j"_s) {
            kind = char(option->front().unicode());
        }
    }
    const auto found = m_fonts.find(shown.font.value_or(font));
    const Font* shownFont = found == m_fonts.end() ? nullptr : &found->second;
    const SymbolFonts::Font symbol = shownFont ? shownFont->symbol : SymbolFonts::Font::None;
    if (kind == 'u') {
        const bool mapped = code < 0x80 || (code >= 0xF020 && code <= 0xF0FF);
        return QStringView(QChar::fromUcs4(mapped ? SymbolFonts::character(symbol, code) : code))
            .toString();
    }
    if (symbol != SymbolFonts::Font::None && code <= 0xFF)
        return QStringView(QChar::fromUcs4(SymbolFonts::character(symbol, code))).toString();
    if (code > 0xFFFF)
        return std::nullopt;
    std::string bytes;
    if (code > 0xFF)
        bytes.push_back(char(code >> 8));
    bytes.push_back(char(code & 0xFF));
    const int codePage = kind == 'j'                            ? 932
                         : shownFont && shownFont->codePage > 0 ? shownFont->codePage
                                                                : m_codePage;
    return m_decoder.decode(bytes, codePage);
}

// The font of that name in the table, else a new entry for it; nothing when the table is full.
std::optional<int> Parser::fontNamed(const QString& name)
{
    QString clean = name;
    clean.removeIf([](QChar c) { return c.unicode() < 0x20; });
    clean = clean.trimmed();
    if (clean.isEmpty())
        return std::nullopt;
    const QString key = clean.toCaseFolded();
    if (const auto known = m_fontsByName.constFind(key); known != m_fontsByName.cend())
        return *known;
    if (m_fonts.size() >= maxTableEntries)
        return std::nullopt;
    const int id = m_namedFonts--;
    Font& font = m_fonts[id];
    font.name = clean;
    font.symbol = SymbolFonts::fontNamed(clean, false);
    m_hasSymbolFonts = m_hasSymbolFonts || font.symbol != SymbolFonts::Font::None;
    m_fontsByName.insert(key, id);
    return id;
}

QTextCharFormat Parser::format(const CharState& state)
{
    for (const auto& [known, format] : m_formats) {
        if (known == state)
            return format;
    }
    QTextCharFormat f;
    const auto font = m_fonts.find(state.font);
    if (font != m_fonts.end() && !font->second.name.isEmpty())
        f.setFontFamilies({font->second.name});
    if (state.halfPoints > 0)
        f.setFontPointSize(state.halfPoints / 2.0);
    if (state.bold)
        f.setFontWeight(QFont::Bold);
    if (state.italic)
        f.setFontItalic(true);
    if (state.underline)
        f.setFontUnderline(true);
    if (state.strike)
        f.setFontStrikeOut(true);
    if (std::size_t(state.color) < m_colors.size() && m_colors[std::size_t(state.color)])
        f.setForeground(*m_colors[std::size_t(state.color)]);
    if (state.link >= 0) {
        f.setAnchor(true);
        f.setAnchorHref(m_links[std::size_t(state.link)]);
    }
    if (m_formats.size() >= 64)
        m_formats.clear();
    m_formats.emplace_back(state, f);
    return f;
}

} // namespace

std::unique_ptr<QTextDocument> RtfReader::read(QByteArrayView rtf)
{
    return Parser(rtf).run();
}
