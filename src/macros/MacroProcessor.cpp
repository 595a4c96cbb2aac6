#include "macros/MacroProcessor.h"

#include "macros/MacroMatching.h"
#include "macros/TimeZones.h"
#include "platform/api/ClipboardReader.h"
#include "text/TextRules.h"

#include <QSet>
#include <QUuid>
#include <algorithm>
#include <atomic>
#include <memory>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

using namespace Qt::StringLiterals;
using MacroMatching::forEachMacro;
using MacroMatching::Macro;

namespace {

const QString defaultDatePattern = u"MMMM d, yyyy"_s;
const QString defaultTimePattern = u"h:mm a"_s;
const QString defaultFillLabel = u"Value"_s;

std::atomic<const ClipboardReader*> installedClipboard{nullptr};

// Builds the output of one forward pass: text between macros unchanged (but for unpaired
// surrogates), each macro replaced. Returns the UTF-16 offset in the output of the last cursor
// macro, if any.
template <typename Replace>
std::optional<qsizetype> substitute(const QString& input, QString& out, Replace replace)
{
    const QString text = TextRules::repairedUtf16(input);
    std::optional<qsizetype> cursorOffset;
    qsizetype copied = 0;
    forEachMacro(text, [&](const Macro& macro) {
        out += QStringView(text).mid(copied, macro.start - copied);
        copied = macro.end;
        if (macro.name == u"cursor"_s)
            cursorOffset = out.size();
        out += replace(macro);
    });
    out += QStringView(text).mid(copied);
    return cursorOffset;
}

icu::UnicodeString toIcu(const QString& s)
{
    return icu::UnicodeString(QStringView(s).utf16(), static_cast<int32_t>(s.size()));
}

QString fromIcu(const icu::UnicodeString& s)
{
    return QString::fromUtf16(s.getBuffer(), s.length());
}

// The formatter takes the locale's own calendar (Buddhist for th_TH, for instance).
std::unique_ptr<icu::SimpleDateFormat> makeFormatter(const MacroProcessor::DateContext& context)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale = icu::Locale::createFromName(context.localeId.toLatin1().constData());
    auto formatter = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(), locale, status);
    if (U_FAILURE(status))
        return nullptr;
    // Never ICU's default zone: it is fixed at its first use and misses later changes.
    formatter->adoptTimeZone(context.timeZoneId.isEmpty()
                                 ? icu::TimeZone::detectHostTimeZone()
                                 : TimeZones::create(context.timeZoneId).release());
    return formatter;
}

QString format(icu::SimpleDateFormat& formatter, const QString& pattern, UDate instant)
{
    formatter.applyPattern(toIcu(pattern));
    icu::UnicodeString out;
    formatter.format(instant, out);
    return fromIcu(out);
}

QString formatWith(const QString& pattern, const MacroProcessor::DateContext& context)
{
    const std::unique_ptr<icu::SimpleDateFormat> formatter = makeFormatter(context);
    if (!formatter)
        return QString();
    return format(*formatter, pattern, static_cast<UDate>(context.instant.toMSecsSinceEpoch()));
}

template <typename Preset>
QList<Preset> presets(std::initializer_list<QString> formats,
                      const MacroProcessor::DateContext& context)
{
    QList<Preset> list;
    const std::unique_ptr<icu::SimpleDateFormat> formatter = makeFormatter(context);
    const auto instant = static_cast<UDate>(context.instant.toMSecsSinceEpoch());
    for (const QString& f : formats)
        list.append(Preset{formatter ? format(*formatter, f, instant) : QString(), f});
    return list;
}

// The value of a date, time or clipboard macro; nothing for the other names.
std::optional<QString> systemValue(const Macro& macro, const std::optional<QString>& clipboard)
{
    if (macro.name == u"date"_s)
        return MacroProcessor::formatDate(macro.argument);
    if (macro.name == u"time"_s)
        return MacroProcessor::formatTime(macro.argument);
    if (macro.name == u"clipboard"_s)
        return clipboard ? *clipboard : MacroProcessor::clipboardText();
    return std::nullopt;
}

QString aiPreview(const std::optional<QString>& argument)
{
    const QString prompt = TextRules::trimSpacesAndTabs(argument.value_or(QString()));
    if (prompt.isEmpty())
        return u"[AI]"_s;
    return u"[AI: "_s + TextRules::firstCharacters(prompt, 30) + u"…]"_s;
}

} // namespace

QString MacroMatching::Macro::fillLabel() const
{
    return argument.value_or(defaultFillLabel);
}

QString MacroMatching::Macro::passedThrough() const
{
    if (argument)
        return u"{"_s + name + u":"_s + *argument + u"}"_s;
    return u"{"_s + name + u"}"_s;
}

MacroMatching::FillInValues::FillInValues(const QHash<QString, QString>& values) : m_values(values)
{
    // In label order, so that of two canonically equal labels the same one always answers.
    QStringList labels = values.keys();
    labels.sort();
    for (const QString& label : labels) {
        const QString key = TextRules::canonicalForm(label);
        if (!m_canonical.contains(key))
            m_canonical.insert(key, values.value(label));
    }
}

std::optional<QString> MacroMatching::FillInValues::value(const QString& label) const
{
    if (const auto exact = m_values.constFind(label); exact != m_values.cend())
        return *exact;
    if (const auto equal = m_canonical.constFind(TextRules::canonicalForm(label));
        equal != m_canonical.cend())
        return *equal;
    return std::nullopt;
}

QString MacroMatching::replacement(const Macro& macro, const std::optional<QString>& clipboard,
                                   const FillInValues& fillInValues,
                                   const MacroProcessor::SnippetLookup& snippetLookup)
{
    if (std::optional<QString> value = systemValue(macro, clipboard))
        return *value;
    if (macro.name == u"cursor"_s)
        return QString();
    if (macro.name == u"fill"_s)
        return fillInValues.value(macro.fillLabel()).value_or(QString());
    if (macro.name == u"snippet"_s) {
        if (!macro.argument || !snippetLookup)
            return QString();
        const std::optional<QString> nested = snippetLookup(*macro.argument);
        // One level only: the nested text gets no lookup and no fill-in values.
        return nested ? MacroProcessor::resolve(*nested, clipboard).text : QString();
    }
    return macro.passedThrough();
}

const QRegularExpression& MacroProcessor::macroPattern()
{
    static const QRegularExpression pattern = [] {
        QRegularExpression re(u"\\{([a-zA-Z]+)(?::([^}]*))?\\}"_s);
        if (!re.isValid())
            qFatal("Macro pattern does not compile: %s", qPrintable(re.errorString()));
        // Compile now, under the static's one-time initialisation, not at the first match.
        re.optimize();
        return re;
    }();
    return pattern;
}

QList<FillInField> MacroProcessor::fillInFields(const QString& text)
{
    QList<FillInField> fields;
    QSet<QString> seen; // canonical forms: "café" composed or not is one field
    forEachMacro(text, [&](const Macro& macro) {
        if (macro.name != u"fill"_s)
            return;
        const QString label = macro.fillLabel();
        const QString key = TextRules::canonicalForm(label);
        if (!seen.contains(key)) {
            seen.insert(key);
            fields.append({label, label});
        }
    });
    return fields;
}

QList<FillInField> MacroProcessor::pendingFillIns(const QString& text,
                                                  const QHash<QString, QString>& fillInValues)
{
    const MacroMatching::FillInValues values(fillInValues);
    QList<FillInField> pending = fillInFields(text);
    pending.removeIf([&](const FillInField& f) { return values.value(f.id).has_value(); });
    return pending;
}

MacroResolutionResult MacroProcessor::resolve(const QString& text,
                                              const std::optional<QString>& clipboard,
                                              const QHash<QString, QString>& fillInValues,
                                              const SnippetLookup& snippetLookup)
{
    QList<FillInField> pending = pendingFillIns(text, fillInValues);
    if (!pending.isEmpty())
        return {text, 0, pending};

    MacroResolutionResult result;
    const MacroMatching::FillInValues values(fillInValues);
    const std::optional<qsizetype> cursor = substitute(text, result.text, [&](const Macro& macro) {
        return MacroMatching::replacement(macro, clipboard, values, snippetLookup);
    });
    if (cursor) {
        result.cursorBacktrackCount = TextRules::characterCount(result.text) -
                                      TextRules::characterCount(result.text.left(*cursor));
    }
    return result;
}

QString MacroProcessor::previewText(const QString& text)
{
    QString out;
    substitute(text, out, [](const Macro& macro) -> QString {
        if (std::optional<QString> value = systemValue(macro, std::nullopt))
            return *value;
        if (macro.name == u"ai"_s)
            return aiPreview(macro.argument);
        if (macro.name == u"fill"_s)
            return u"["_s + macro.fillLabel() + u"]"_s;
        if (macro.name == u"cursor"_s)
            return u"│"_s;
        if (macro.name == u"snippet"_s)
            return QString();
        return macro.passedThrough();
    });
    return out;
}

std::optional<MacroProcessor::MacroRange> MacroProcessor::firstAIMacroRange(const QString& text)
{
    // Braces are counted here rather than matched by the pattern, so a prompt may hold macros.
    const qsizetype length = text.size();
    qsizetype start = -1;
    for (qsizetype i = 0; i + 4 <= length; ++i) {
        if (text[i] == u'{' &&
            QStringView(text).mid(i + 1, 3).compare(u"ai:", Qt::CaseInsensitive) == 0) {
            start = i;
            break;
        }
    }
    if (start < 0)
        return std::nullopt;
    int depth = 1;
    for (qsizetype i = start + 1; i < length; ++i) {
        if (text[i] == u'{')
            ++depth;
        else if (text[i] == u'}' && --depth == 0)
            return MacroRange{start, i - start + 1};
    }
    return std::nullopt;
}

std::optional<QString> MacroProcessor::firstAIPrompt(const QString& text)
{
    const std::optional<MacroRange> range = firstAIMacroRange(text);
    if (!range)
        return std::nullopt;
    // Between "{ai:" and the closing brace.
    return text.mid(range->location + 4, range->length - 5);
}

QString MacroProcessor::formatDate(const std::optional<QString>& pattern)
{
    return formatDate(pattern, currentDateContext());
}

QString MacroProcessor::formatTime(const std::optional<QString>& pattern)
{
    return formatTime(pattern, currentDateContext());
}

QString MacroProcessor::formatDate(const std::optional<QString>& pattern,
                                   const DateContext& context)
{
    return formatWith(pattern.value_or(defaultDatePattern), context);
}

QString MacroProcessor::formatTime(const std::optional<QString>& pattern,
                                   const DateContext& context)
{
    return formatWith(pattern.value_or(defaultTimePattern), context);
}

QList<MacroProcessor::DateFormatPreset> MacroProcessor::datePresets()
{
    return datePresets(currentDateContext());
}

QList<MacroProcessor::TimeFormatPreset> MacroProcessor::timePresets()
{
    return timePresets(currentDateContext());
}

QList<MacroProcessor::DateFormatPreset> MacroProcessor::datePresets(const DateContext& context)
{
    return presets<DateFormatPreset>({defaultDatePattern, u"MM/dd/yyyy"_s, u"yyyy-MM-dd"_s,
                                      u"EEEE, MMMM d"_s, u"MMMM yyyy"_s, u"d MMM yyyy"_s},
                                     context);
}

QList<MacroProcessor::TimeFormatPreset> MacroProcessor::timePresets(const DateContext& context)
{
    return presets<TimeFormatPreset>({defaultTimePattern, u"HH:mm"_s, u"h:mm:ss a"_s}, context);
}

MacroProcessor::DateContext MacroProcessor::currentDateContext()
{
    return {QDateTime::currentDateTimeUtc(), userLocaleId(), systemTimeZone()};
}

QString MacroProcessor::systemTimeZone()
{
    return systemTimeZone(u"/etc/localtime"_s, u"/etc/timezone"_s);
}

QString MacroProcessor::systemTimeZone(const QString& localtimePath, const QString& timezonePath)
{
    return TimeZones::systemZone(localtimePath, timezonePath);
}

QString MacroProcessor::userLocaleId()
{
    QString name;
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        name = qEnvironmentVariable(variable);
        if (!name.isEmpty())
            break;
    }
    // POSIX names look like sr_RS.UTF-8@latin; ICU wants sr_Latn_RS, and de_DE for de_DE@euro.
    QString modifier;
    if (const qsizetype at = name.indexOf(u'@'); at >= 0) {
        modifier = name.mid(at + 1);
        name.truncate(at);
    }
    if (const qsizetype dot = name.indexOf(u'.'); dot >= 0)
        name.truncate(dot);
    if (name.isEmpty() || name == u"C"_s || name == u"POSIX"_s)
        return u"en_US_POSIX"_s;
    static const QHash<QString, QString> scripts = {
        {u"latin"_s, u"Latn"_s}, {u"cyrillic"_s, u"Cyrl"_s}, {u"devanagari"_s, u"Deva"_s}};
    if (const QString script = scripts.value(modifier); !script.isEmpty()) {
        const qsizetype territory = name.indexOf(u'_');
        if (territory < 0)
            return name + u"_"_s + script;
        return name.left(territory) + u"_"_s + script + name.mid(territory);
    }
    return name;
}

QString MacroProcessor::aiPlaceholder()
{
    return u"⟨⟨SCRIVLANE_AI_"_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
           u"⟩⟩"_s;
}

void MacroProcessor::setClipboardReader(const ClipboardReader* reader)
{
    installedClipboard.store(reader, std::memory_order_release);
}

QString MacroProcessor::clipboardText()
{
    const ClipboardReader* reader = installedClipboard.load(std::memory_order_acquire);
    if (!reader)
        return QString();
    return reader->plainText().value_or(QString());
}
