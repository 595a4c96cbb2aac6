#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QRegularExpression>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

class ClipboardReader;
class QTextDocument;

// One field of the fill-in form; the label is also its identity and the key of its value.
struct FillInField {
    QString id;
    QString label;

    bool operator==(const FillInField&) const = default;
};

struct MacroResolutionResult {
    // The resolved text, or the input unchanged while fill-ins are pending.
    QString text;
    // Characters between the cursor macro and the end of text; 0 without one.
    qsizetype cursorBacktrackCount = 0;
    QList<FillInField> pendingFillIns;
};

// The outcome of resolving rich text. There is no pending list: with fill-ins pending the
// document is a copy of the input and the count 0.
struct RichResolutionResult {
    std::unique_ptr<QTextDocument> document;
    // UTF-16 units between the first cursor macro and the end of the document; 0 without one.
    qsizetype cursorBacktrackCount = 0;
};

// Finds and replaces the macros of expansion texts. All operations are static and may be
// called from any thread; the only shared data are the compiled pattern and the clipboard reader.
class MacroProcessor {
public:
    // Nested snippets by abbreviation, compared case-sensitively under canonical equivalence;
    // an empty function means no lookup.
    using SnippetLookup = std::function<std::optional<QString>(const QString& abbreviation)>;

    struct DateFormatPreset {
        QString label;
        QString format;
        bool operator==(const DateFormatPreset&) const = default;
    };
    struct TimeFormatPreset {
        QString label;
        QString format;
        bool operator==(const TimeFormatPreset&) const = default;
    };

    // Location and length in UTF-16 units.
    struct MacroRange {
        qsizetype location = 0;
        qsizetype length = 0;
        bool operator==(const MacroRange&) const = default;
    };

    // What dates and times are rendered for. The zone is a zone name or a POSIX TZ rule; empty
    // means the zone the host reports.
    struct DateContext {
        QDateTime instant;
        QString localeId;
        QString timeZoneId;
    };

    MacroProcessor() = delete;

    // Group 1 is the name, group 2 the optional argument. Compiled once, shared by all threads.
    static const QRegularExpression& macroPattern();

    // One field per label, in order of first appearance; canonically equal labels ("café"
    // composed or decomposed) are one field, named as first written.
    static QList<FillInField> fillInFields(const QString& text);
    // The fields of the text without a value: none under their label, nor under a canonically
    // equal one.
    static QList<FillInField> pendingFillIns(const QString& text,
                                             const QHash<QString, QString>& fillInValues);

    static MacroResolutionResult resolve(const QString& text,
                                         const std::optional<QString>& clipboard = std::nullopt,
                                         const QHash<QString, QString>& fillInValues = {},
                                         const SnippetLookup& snippetLookup = {});

    // Each replacement takes the attributes of its macro's first character.
    static RichResolutionResult resolveRich(const QTextDocument& text,
                                            const std::optional<QString>& clipboard = std::nullopt,
                                            const QHash<QString, QString>& fillInValues = {},
                                            const SnippetLookup& snippetLookup = {});

    static QString previewText(const QString& text);
    // The editor's preview of a rich snippet: the plain characters of what resolveRich gives
    // without clipboard override, fill-in values or lookup, rendered by previewText.
    static QString richPreviewText(const QTextDocument& text);

    static std::optional<MacroRange> firstAIMacroRange(const QString& text);
    static std::optional<QString> firstAIPrompt(const QString& text);

    // Now, in the user's locale and time zone.
    static QString formatDate(const std::optional<QString>& pattern);
    static QString formatTime(const std::optional<QString>& pattern);
    static QString formatDate(const std::optional<QString>& pattern, const DateContext& context);
    static QString formatTime(const std::optional<QString>& pattern, const DateContext& context);

    static QList<DateFormatPreset> datePresets();
    static QList<TimeFormatPreset> timePresets();
    static QList<DateFormatPreset> datePresets(const DateContext& context);
    static QList<TimeFormatPreset> timePresets(const DateContext& context);

    // The current instant with the environment's locale and ICU's default time zone.
    static DateContext currentDateContext();
    // The system's time zone at this moment: TZ when set (a zone name, a path into the zone
    // database, a POSIX rule such as "CET-1CEST,M3.5.0,M10.5.0/3"; empty is UTC), else the zone
    // /etc/localtime links to, else the name in /etc/timezone; empty when none says.
    static QString systemTimeZone();
    static QString systemTimeZone(const QString& localtimePath, const QString& timezonePath);
    // ICU locale id from LC_ALL, LC_TIME or LANG (first non-empty); "en_US_POSIX" for C/POSIX.
    static QString userLocaleId();

    // Stands where the first AI macro was while its reply is awaited; unique per call.
    static QString aiPlaceholder();

    // The clipboard the clipboard macro reads without an override. Nothing installed reads as
    // empty. The reader must outlive its installation.
    static void setClipboardReader(const ClipboardReader* reader);
    static QString clipboardText();
};
