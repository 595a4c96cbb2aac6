#include "macros/MacroProcessor.h"
#include "support/Fakes.h"

#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Case {
    QString text;
    QString expected; // «date», «time:HH» and the like stand for the current date and time
    qsizetype cursor = 0;
    QStringList pending{};
    QHash<QString, QString> fills{};
    QHash<QString, QString> snippets{};
    std::optional<QString> clipboard{};
    bool lookup = true;
};

QString expandNow(QString s)
{
    static const QRegularExpression marker(u"«(date|time)(?::([^»]*))?»"_s);
    for (QRegularExpressionMatch m; (m = marker.match(s)).hasMatch();) {
        const auto pattern = m.capturedStart(2) >= 0 ? std::optional(m.captured(2)) : std::nullopt;
        s.replace(m.capturedStart(), m.capturedLength(),
                  m.captured(1) == u"date"_s ? MacroProcessor::formatDate(pattern)
                                             : MacroProcessor::formatTime(pattern));
    }
    return s;
}

// Runs f until its text agrees with the expectation twice at most: a minute may roll over.
template <typename F> QString settled(F f, const QString& expected)
{
    const QString first = f();
    return first == expandNow(expected) ? first : f();
}

QStringList labels(const QList<FillInField>& fields)
{
    QStringList out;
    for (const FillInField& f : fields)
        out << (f.id == f.label ? f.label : u"id differs"_s);
    return out;
}

const QString thumbsUpMedium = u"\U0001F44D\U0001F3FD"_s;
const QDateTime fixedInstant(QDate(2024, 3, 5), QTime(14, 7, 9), Qt::UTC);

} // namespace

Q_DECLARE_METATYPE(Case)

class TestMacroProcessor : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() { MacroProcessor::setClipboardReader(nullptr); }
    void resolve_data();
    void resolve();
    void previewText_data();
    void previewText();
    void firstAIMacro_data();
    void firstAIMacro();
    void formatting_data();
    void formatting();
    void presets();
    void userLocale_data();
    void userLocale();
    void systemTimeZone_data();
    void systemTimeZone();
    void systemTimeZoneFiles();
    void clipboardReader();
    void aiPlaceholder();
};

void TestMacroProcessor::resolve_data()
{
    QTest::addColumn<Case>("c");
    const QString greeting = u"Dear {fill:Name}, {fill:Name} and {fill:name}"_s;
    // clang-format off
    QTest::newRow("plain") << Case{.text = u"hello"_s, .expected = u"hello"_s};
    QTest::newRow("date names any case") << Case{.text = u"{Date} {DATE:yyyy} {date:'lit'}"_s, .expected = u"«date» «date:yyyy» lit"_s};
    QTest::newRow("time, empty pattern") << Case{.text = u"{time}/{TIME:HH}/{date:}{time:}|"_s, .expected = u"«time»/«time:HH»/|"_s};
    QTest::newRow("not macros") << Case{.text = u"{date :yyyy} {da-te} {dáte} {date"_s, .expected = u"{date :yyyy} {da-te} {dáte} {date"_s};
    QTest::newRow("unknown passed through") << Case{.text = u"{Foo:Bar} {FOO} {foo:}"_s, .expected = u"{foo:Bar} {foo} {foo:}"_s};
    QTest::newRow("ai passed through, inner macro in its argument") << Case{.text = u"{AI: sum {clipboard}} x"_s, .expected = u"{ai: sum {clipboard}} x"_s, .clipboard = u"C"_s};
    QTest::newRow("argument ends at first brace") << Case{.text = u"{fill:a}b}"_s, .expected = u"xb}"_s, .fills = {{u"a"_s, u"x"_s}}};
    QTest::newRow("clipboard override, argument ignored") << Case{.text = u"[{clipboard}{Clipboard:z}]"_s, .expected = u"[CC]"_s, .clipboard = u"C"_s};
    QTest::newRow("clipboard text stays literal") << Case{.text = u"{clipboard}"_s, .expected = u"{date}"_s, .clipboard = u"{date}"_s};
    QTest::newRow("fill vs fill:") << Case{.text = u"{fill:}|{fill}"_s, .expected = u"e|v"_s, .fills = {{u""_s, u"e"_s}, {u"Value"_s, u"v"_s}}};
    QTest::newRow("fill vs fill: pending") << Case{.text = u"{fill:}|{fill}"_s, .expected = u"{fill:}|{fill}"_s, .pending = {u""_s, u"Value"_s}};
    QTest::newRow("fill value stays literal") << Case{.text = u"{fill:x}"_s, .expected = u"{cursor}"_s, .fills = {{u"x"_s, u"{cursor}"_s}}};
    QTest::newRow("all fills missing") << Case{.text = greeting, .expected = greeting, .pending = {u"Name"_s, u"name"_s}};
    QTest::newRow("one fill missing") << Case{.text = greeting + u"{cursor}x"_s, .expected = greeting + u"{cursor}x"_s, .pending = {u"name"_s}, .fills = {{u"Name"_s, u"Ada"_s}}};
    QTest::newRow("fills complete") << Case{.text = greeting, .expected = u"Dear Ada, Ada and ada"_s, .fills = {{u"Name"_s, u"Ada"_s}, {u"name"_s, u"ada"_s}}};
    QTest::newRow("last cursor wins") << Case{.text = u"ab{cursor}cd{cursor}ef"_s, .expected = u"abcdef"_s, .cursor = 2};
    QTest::newRow("cursor at start, any case") << Case{.text = u"{CURSOR:x}abc"_s, .expected = u"abc"_s, .cursor = 3};
    QTest::newRow("cursor before skin-tone emoji") << Case{.text = u"{cursor}"_s + thumbsUpMedium, .expected = thumbsUpMedium, .cursor = 1};
    QTest::newRow("cursor counts replaced text") << Case{.text = u"{cursor}{fill:x}"_s, .expected = u"e\u0301ab"_s, .cursor = 3, .fills = {{u"x"_s, u"e\u0301ab"_s}}};
    QTest::newRow("nested snippet") << Case{.text = u"a{cursor}b{snippet:sig}"_s, .expected = u"abCx"_s, .cursor = 3, .snippets = {{u"sig"_s, u"{clipboard}{cursor}x"_s}}, .clipboard = u"C"_s};
    QTest::newRow("snippet leading space, case") << Case{.text = u"[{snippet: sig}{snippet:SIG}]"_s, .expected = u"[]"_s, .snippets = {{u"sig"_s, u"x"_s}}};
    QTest::newRow("snippet: vs snippet") << Case{.text = u"[{snippet:}|{snippet}]"_s, .expected = u"[x|]"_s, .snippets = {{u""_s, u"x"_s}}};
    QTest::newRow("no lookup") << Case{.text = u"[{snippet:sig}]"_s, .expected = u"[]"_s, .snippets = {{u"sig"_s, u"x"_s}}, .lookup = false};
    QTest::newRow("nested snippet's own snippet") << Case{.text = u"{snippet:a}"_s, .expected = u"<>"_s, .snippets = {{u"a"_s, u"<{snippet:b}>"_s}, {u"b"_s, u"deep"_s}}};
    QTest::newRow("nested snippet with fill is raw") << Case{.text = u"{fill:N}{snippet:a}"_s, .expected = u"Ada{fill:N}{date}"_s, .fills = {{u"N"_s, u"Ada"_s}}, .snippets = {{u"a"_s, u"{fill:N}{date}"_s}}};
    QTest::newRow("lone high surrogate") << Case{.text = u"\xD83D{clipboard}{fill:a}"_s, .expected = u"\uFFFDCx"_s, .fills = {{u"a"_s, u"x"_s}}, .clipboard = u"C"_s};
    QTest::newRow("lone low surrogate, fills pending") << Case{.text = u"{fill:a}\xDC00"_s, .expected = u"{fill:a}\xDC00"_s, .pending = {u"a"_s}};
    QTest::newRow("label with a lone surrogate") << Case{.text = u"{fill:a\xD800}"_s, .expected = u"x"_s, .fills = {{u"a\uFFFD"_s, u"x"_s}}};
    QTest::newRow("canonically equal labels are one field") << Case{.text = u"{fill:caf\u00e9}{fill:cafe\u0301}"_s, .expected = u"{fill:caf\u00e9}{fill:cafe\u0301}"_s, .pending = {u"caf\u00e9"_s}};
    QTest::newRow("value under the other spelling") << Case{.text = u"{fill:cafe\u0301}|{fill:caf\u00e9}"_s, .expected = u"x|x"_s, .fills = {{u"caf\u00e9"_s, u"x"_s}}};
    QTest::newRow("exact spelling first") << Case{.text = u"{fill:cafe\u0301}|{fill:caf\u00e9}"_s, .expected = u"d|c"_s, .fills = {{u"caf\u00e9"_s, u"c"_s}, {u"cafe\u0301"_s, u"d"_s}}};
    QTest::newRow("labels stay case-sensitive") << Case{.text = u"{fill:\u00c9}{fill:\u00e9}"_s, .expected = u"{fill:\u00c9}{fill:\u00e9}"_s, .pending = {u"\u00c9"_s, u"\u00e9"_s}};
    // clang-format on
}

void TestMacroProcessor::resolve()
{
    QFETCH(Case, c);
    const auto lookup = [&](const QString& abbr) -> std::optional<QString> {
        return c.snippets.contains(abbr) ? std::optional(c.snippets.value(abbr)) : std::nullopt;
    };
    MacroResolutionResult result;
    const QString text = settled(
        [&] {
            result = MacroProcessor::resolve(c.text, c.clipboard, c.fills,
                                             c.lookup ? lookup : MacroProcessor::SnippetLookup());
            return result.text;
        },
        c.expected);
    QCOMPARE(text, expandNow(c.expected));
    QCOMPARE(result.cursorBacktrackCount, c.cursor);
    QCOMPARE(labels(result.pendingFillIns), c.pending);
}

void TestMacroProcessor::previewText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const QString padded = u"{ai:   write a haiku about autumn leaves falling \t }"_s;
    QTest::newRow("ai cut at 30") << padded << u"[AI: write a haiku about autumn lea…]"_s;
    QTest::newRow("ai short") << u"{AI:short}"_s << u"[AI: short…]"_s;
    QTest::newRow("ai cut by characters")
        << (u"{ai:"_s + QString(29, u'a') + thumbsUpMedium + u"b}"_s)
        << (u"[AI: "_s + QString(29, u'a') + thumbsUpMedium + u"…]"_s);
    QTest::newRow("ai blank") << u"{ai} {ai:} {ai: \t }"_s << u"[AI] [AI] [AI]"_s;
    QTest::newRow("ai line break kept") << u"{ai:\nx}"_s << u"[AI: \nx…]"_s;
    QTest::newRow("fill labels") << u"{fill} {fill:} {FILL:Name}"_s << u"[Value] [] [Name]"_s;
    QTest::newRow("cursor, snippet, unknown")
        << u"a{cursor}b{snippet:sig}{Foo:Bar}"_s << u"a│b{foo:Bar}"_s;
    QTest::newRow("date, time, clipboard") << u"{date}{time:'t'}[{clipboard}]"_s << u"«date»t[]"_s;
    QTest::newRow("lone surrogate") << u"\xDBFF{fill:x}"_s << u"\uFFFD[x]"_s;
}

void TestMacroProcessor::previewText()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(settled([&] { return MacroProcessor::previewText(text); }, expected),
             expandNow(expected));
}

void TestMacroProcessor::firstAIMacro_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("location"); // -1: none
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("prompt");
    QTest::newRow("nested braces") << u"x{AI: a {b} c}y"_s << 1 << 13 << u" a {b} c"_s;
    QTest::newRow("empty prompt") << u"{ai:}"_s << 0 << 5 << u""_s;
    QTest::newRow("first of two") << u"{date} {Ai:one} {ai:two}"_s << 7 << 8 << u"one"_s;
    QTest::newRow("utf-16 units") << (thumbsUpMedium + u"{{ai:x}}"_s) << 5 << 6 << u"x"_s;
    QTest::newRow("unbalanced") << u"{ai: a {b} c"_s << -1 << 0 << QString();
    QTest::newRow("unclosed at end") << u"{ai:"_s << -1 << 0 << QString();
    QTest::newRow("too short") << u"{ai"_s << -1 << 0 << QString();
    QTest::newRow("not ai") << u"{ai :x} {air} ai:}"_s << -1 << 0 << QString();
}

void TestMacroProcessor::firstAIMacro()
{
    QFETCH(QString, text);
    QFETCH(int, location);
    QFETCH(int, length);
    QFETCH(QString, prompt);
    const auto range = MacroProcessor::firstAIMacroRange(text);
    const auto expected =
        location < 0 ? std::nullopt : std::optional(MacroProcessor::MacroRange{location, length});
    QVERIFY(range == expected);
    QCOMPARE(MacroProcessor::firstAIPrompt(text),
             location < 0 ? std::nullopt : std::optional(prompt));
}

void TestMacroProcessor::formatting_data()
{
    QTest::addColumn<bool>("isTime");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<std::optional<QString>>("pattern");
    QTest::addColumn<QString>("expected");
    const QString ny = u"America/New_York"_s;
    const QString tokyo = u"Asia/Tokyo"_s;
    const std::optional<QString> none;
    const std::optional<QString> hhmm = u"HH:mm"_s;
    // clang-format off
    QTest::newRow("en date default") << false << u"en_US"_s << ny << none << u"March 5, 2024"_s;
    QTest::newRow("en time default") << true << u"en_US"_s << ny << none << u"9:07 AM"_s;
    QTest::newRow("en time pattern") << true << u"en_US"_s << ny << std::optional(u"HH:mm:ss"_s) << u"09:07:09"_s;
    QTest::newRow("empty pattern") << false << u"en_US"_s << ny << std::optional(QString()) << QString();
    QTest::newRow("de date default") << false << u"de_DE"_s << tokyo << none << u"März 5, 2024"_s;
    QTest::newRow("de pattern") << false << u"de_DE"_s << tokyo << std::optional(u"EEEE, d. MMMM yyyy HH:mm"_s) << u"Dienstag, 5. März 2024 23:07"_s;
    QTest::newRow("zone moves the day") << false << u"en_US"_s << u"Pacific/Auckland"_s << std::optional(u"EEE d, H:mm"_s) << u"Wed 6, 3:07"_s;
    QTest::newRow("buddhist calendar") << false << u"th_TH"_s << u"Asia/Bangkok"_s << std::optional(u"yyyy"_s) << u"2567"_s;
    QTest::newRow("posix locale") << true << u"en_US_POSIX"_s << u"UTC"_s << none << u"2:07 PM"_s;
    QTest::newRow("POSIX rule, standard time") << true << u"en_US"_s << u"CET-1CEST,M3.5.0,M10.5.0/3"_s << hhmm << u"15:07"_s;
    QTest::newRow("POSIX rule, summer time") << true << u"en_US"_s << u"XST-1XDT,M3.1.0,M10.5.0/3"_s << hhmm << u"16:07"_s;
    QTest::newRow("POSIX rule, Julian days") << true << u"en_US"_s << u"XST-1XDT,J60/2,J300"_s << hhmm << u"16:07"_s;
    QTest::newRow("POSIX rule, default summer offset") << true << u"en_US"_s << u"<-03>3<-02>,M3.1.0,M11.1.0"_s << hhmm << u"12:07"_s;
    QTest::newRow("POSIX rule, southern summer") << true << u"en_US"_s << u"AEST-10AEDT,M10.1.0,M4.1.0/3"_s << hhmm << u"01:07"_s;
    QTest::newRow("POSIX offset only") << true << u"en_US"_s << u"JST-9"_s << hhmm << u"23:07"_s;
    QTest::newRow("POSIX quoted name, half hours") << true << u"en_US"_s << u"<+0330>-3:30"_s << hhmm << u"17:37"_s;
    QTest::newRow("POSIX offset with seconds") << true << u"en_US"_s << u"LMT-0:30:30"_s << std::optional(u"HH:mm:ss"_s) << u"14:37:39"_s;
    QTest::newRow("zone name after a colon") << true << u"en_US"_s << u":Asia/Kolkata"_s << hhmm << u"19:37"_s;
    QTest::newRow("zone database path") << true << u"en_US"_s << u"/usr/share/zoneinfo/Asia/Kathmandu"_s << hhmm << u"19:52"_s;
    // clang-format on
}

void TestMacroProcessor::formatting()
{
    QFETCH(bool, isTime);
    QFETCH(QString, locale);
    QFETCH(QString, zone);
    QFETCH(std::optional<QString>, pattern);
    QFETCH(QString, expected);
    const MacroProcessor::DateContext context{fixedInstant, locale, zone};
    QCOMPARE(isTime ? MacroProcessor::formatTime(pattern, context)
                    : MacroProcessor::formatDate(pattern, context),
             expected);
}

// Each preset shows what its pattern makes of now, in the user's locale and zone.
void TestMacroProcessor::presets()
{
    const MacroProcessor::DateContext context{fixedInstant, u"de_DE"_s, u"Asia/Tokyo"_s};
    const auto dates = MacroProcessor::datePresets(context);
    const auto times = MacroProcessor::timePresets(context);
    QVERIFY(!dates.isEmpty() && !times.isEmpty());
    for (const auto& p : dates)
        QCOMPARE(p.label, MacroProcessor::formatDate(p.format, context));
    for (const auto& p : times)
        QCOMPARE(p.label, MacroProcessor::formatTime(p.format, context));
    const auto nowInUserLocale = [] {
        const auto now = MacroProcessor::currentDateContext();
        return MacroProcessor::datePresets() == MacroProcessor::datePresets(now) &&
               MacroProcessor::timePresets() == MacroProcessor::timePresets(now);
    };
    QVERIFY(nowInUserLocale() || nowInUserLocale()); // a minute may turn between the calls
}

void TestMacroProcessor::userLocale_data()
{
    QTest::addColumn<QStringList>("env"); // LC_ALL, LC_TIME, LANG; "-" = unset
    QTest::addColumn<QString>("expected");
    QTest::newRow("unset") << QStringList{u"-"_s, u"-"_s, u"-"_s} << u"en_US_POSIX"_s;
    QTest::newRow("LANG") << QStringList{u"-"_s, u"-"_s, u"de_DE.UTF-8"_s} << u"de_DE"_s;
    QTest::newRow("LC_TIME over LANG") << QStringList{u"-"_s, u"fr_FR"_s, u"de_DE"_s} << u"fr_FR"_s;
    QTest::newRow("LC_ALL first") << QStringList{u"th_TH.UTF-8"_s, u"fr_FR"_s, u"-"_s}
                                  << u"th_TH"_s;
    QTest::newRow("empty skipped") << QStringList{u""_s, u""_s, u"de_DE"_s} << u"de_DE"_s;
    QTest::newRow("C") << QStringList{u"C.UTF-8"_s, u"-"_s, u"de_DE"_s} << u"en_US_POSIX"_s;
    QTest::newRow("POSIX") << QStringList{u"-"_s, u"-"_s, u"POSIX"_s} << u"en_US_POSIX"_s;
    QTest::newRow("modifier") << QStringList{u"-"_s, u"-"_s, u"ca_ES.UTF-8@valencia"_s}
                              << u"ca_ES"_s;
    QTest::newRow("@latin") << QStringList{u"-"_s, u"-"_s, u"sr_RS.UTF-8@latin"_s}
                            << u"sr_Latn_RS"_s;
    QTest::newRow("@devanagari") << QStringList{u"-"_s, u"ks_IN.UTF-8@devanagari"_s, u"-"_s}
                                 << u"ks_Deva_IN"_s;
    QTest::newRow("script without territory")
        << QStringList{u"-"_s, u"-"_s, u"sr@latin"_s} << u"sr_Latn"_s;
}

void TestMacroProcessor::userLocale()
{
    QFETCH(QStringList, env);
    QFETCH(QString, expected);
    const char* names[] = {"LC_ALL", "LC_TIME", "LANG"};
    QList<QByteArray> saved;
    for (int i = 0; i < 3; ++i) {
        saved << qgetenv(names[i]);
        env[i] == u"-"_s ? qunsetenv(names[i]) : qputenv(names[i], env[i].toUtf8());
    }
    const QString id = MacroProcessor::userLocaleId();
    const QString weekday = MacroProcessor::formatDate(u"EEEE"_s);
    const QString weekdayIn =
        MacroProcessor::formatDate(u"EEEE"_s, {QDateTime::currentDateTimeUtc(), expected, {}});
    for (int i = 0; i < 3; ++i)
        saved[i].isNull() ? qunsetenv(names[i]) : qputenv(names[i], saved[i]);
    QCOMPARE(id, expected);
    QCOMPARE(weekday, weekdayIn);
}

void TestMacroProcessor::systemTimeZone_data()
{
    QTest::addColumn<QString>("tz");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QString>("offset"); // of now, "xxx"
    QTest::newRow("zone name") << u"Asia/Tokyo"_s << u"Asia/Tokyo"_s << u"+09:00"_s;
    QTest::newRow("after a colon") << u":Asia/Kolkata"_s << u"Asia/Kolkata"_s << u"+05:30"_s;
    QTest::newRow("zone database path")
        << u":/usr/share/zoneinfo/Asia/Kathmandu"_s << u"Asia/Kathmandu"_s << u"+05:45"_s;
    QTest::newRow("POSIX rule") << u"<+0330>-3:30"_s << u"<+0330>-3:30"_s << u"+03:30"_s;
    QTest::newRow("POSIX offset") << u"XYZ-9"_s << u"XYZ-9"_s << u"+09:00"_s;
    QTest::newRow("empty is UTC") << QString() << u"UTC"_s << u"+00:00"_s;
}

// The rows run one after the other in one process: each change of TZ must show at once.
void TestMacroProcessor::systemTimeZone()
{
    QFETCH(QString, tz);
    QFETCH(QString, zone);
    QFETCH(QString, offset);
    const QByteArray saved = qgetenv("TZ");
    qputenv("TZ", tz.toUtf8());
    const QString now = MacroProcessor::formatTime(u"xxx"_s);
    const QString found = MacroProcessor::systemTimeZone();
    saved.isNull() ? qunsetenv("TZ") : qputenv("TZ", saved);
    QCOMPARE(now, offset);
    QCOMPARE(found, zone);
}

// Without TZ the zone is where /etc/localtime links to, read afresh each time.
void TestMacroProcessor::systemTimeZoneFiles()
{
    const QByteArray saved = qgetenv("TZ");
    qunsetenv("TZ");
    const auto restore = qScopeGuard([&] {
        if (!saved.isNull())
            qputenv("TZ", saved);
    });
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString localtime = dir.filePath(u"localtime"_s);
    const QString timezoneFile = dir.filePath(u"timezone"_s);
    const auto zone = [&] { return MacroProcessor::systemTimeZone(localtime, timezoneFile); };
    QCOMPARE(zone(), QString());
    QVERIFY(QFile::link(u"/usr/share/zoneinfo/Asia/Tokyo"_s, localtime));
    QCOMPARE(zone(), u"Asia/Tokyo"_s);
    QVERIFY(QFile::remove(localtime));
    QVERIFY(QFile::link(u"../usr/share/zoneinfo/posix/America/Argentina/Salta"_s, localtime));
    QCOMPARE(zone(), u"America/Argentina/Salta"_s);
    QVERIFY(QFile::remove(localtime));
    QFile copy(localtime); // a copy of the zone file: its name is in /etc/timezone
    QVERIFY(copy.open(QIODevice::WriteOnly));
    copy.close();
    QFile named(timezoneFile);
    QVERIFY(named.open(QIODevice::WriteOnly));
    named.write(" Europe/Paris\n");
    named.close();
    QCOMPARE(zone(), u"Europe/Paris"_s);
}

void TestMacroProcessor::clipboardReader()
{
    const auto read = []() -> QString {
        return MacroProcessor::resolve(u"{clipboard}"_s).text + u"|"_s +
               MacroProcessor::previewText(u"{clipboard}"_s);
    };
    QCOMPARE(read(), u"|"_s);
    FakeClipboard clipboard;
    MacroProcessor::setClipboardReader(&clipboard);
    QCOMPARE(read(), u"|"_s);
    clipboard.setText(u"held"_s);
    QCOMPARE(read(), u"held|held"_s);
    QCOMPARE(MacroProcessor::resolve(u"{clipboard}"_s, u"given"_s).text, u"given"_s);
    MacroProcessor::setClipboardReader(nullptr);
    QCOMPARE(read(), u"|"_s);
}

void TestMacroProcessor::aiPlaceholder()
{
    static const QRegularExpression shape(
        u"^⟨⟨SCRIVLANE_AI_[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}⟩⟩$"_s);
    const QString a = MacroProcessor::aiPlaceholder();
    QVERIFY2(shape.match(a).hasMatch(), qPrintable(a));
    QVERIFY(a != MacroProcessor::aiPlaceholder());
}

QTEST_GUILESS_MAIN(TestMacroProcessor)
#include "tst_macroprocessor.moc"
