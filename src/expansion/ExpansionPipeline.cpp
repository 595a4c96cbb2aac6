#include "expansion/ExpansionPipeline.h"

#include "expansion/TextExpansionService.h"
#include "macros/MacroProcessor.h"
#include "platform/api/Scheduler.h"
#include "richtext/PlainCharacters.h"
#include "richtext/RichClipboardPayload.h"
#include "richtext/RtfReader.h"
#include "text/TextRules.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>

namespace {

ClipboardContents plainContents(const QString& text)
{
    return {{QStringLiteral("text/plain"), text.toUtf8()}};
}

bool hasAIMacro(const QString& text)
{
    QRegularExpressionMatchIterator it = MacroProcessor::macroPattern().globalMatch(text);
    while (it.hasNext())
        if (it.next().captured(1).toLower() == u"ai")
            return true;
    return false;
}

} // namespace

ExpansionPipeline::ExpansionPipeline(TextExpansionService* service, Parts parts, QObject* parent)
    : QObject(parent), m_service(service), m_parts(std::move(parts))
{
    connect(service, &TextExpansionService::expansionRequested, this,
            &ExpansionPipeline::performExpansion);
}

ExpansionPipeline::~ExpansionPipeline()
{
    m_parts.keys->releaseHeldKeys();
}

MacroProcessor::SnippetLookup ExpansionPipeline::snippetLookup() const
{
    // A service gone meanwhile answers nothing.
    return [service = m_service](const QString& abbreviation) -> std::optional<QString> {
        return service ? service->expandedText(abbreviation) : std::nullopt;
    };
}

void ExpansionPipeline::performExpansion(const ExpansionRequest& request)
{
    if (!m_service)
        return;
    // The monitor ignores every key from here on, our own synthetic ones included.
    m_service->setExpanding(true);
    m_timing = m_parts.slowTarget && m_parts.slowTarget() ? slowTiming : quickTiming;
    m_shortcut = m_parts.pasteShortcut();
    m_parts.keys->setKeyGap(m_timing.keyGap);
    // What the user types from here to the paste comes after the expansion, in order (the
    // service's matched hook may have begun holding already, on the monitor's thread). Every
    // way out of the chain lets go.
    m_parts.keys->holdUserKeys();
    if (m_timing.start.count() == 0) {
        erase(request);
        return;
    }
    m_parts.scheduler->schedule(m_timing.start, this, [this, request] {
        if (m_service)
            erase(request);
        else
            m_parts.keys->releaseHeldKeys();
    });
}

void ExpansionPipeline::erase(const ExpansionRequest& request)
{
    // A held Control would turn the backspaces and the paste into shortcuts.
    m_parts.keys->waitForModifiersReleased(modifierWait);
    m_parts.keys->pressBackspace(request.abbreviationLength);
    m_parts.scheduler->schedule(m_timing.paste, this, [this, request] { collectFillIns(request); });
}

void ExpansionPipeline::collectFillIns(const ExpansionRequest& request)
{
    if (!m_service) {
        m_parts.keys->releaseHeldKeys();
        return; // the service is gone: the chain ends here
    }
    const QList<FillInField> fields = MacroProcessor::fillInFields(request.expandedText);
    if (fields.isEmpty()) {
        resolveAndInsert(request, {});
        return;
    }
    // The form takes the keyboard itself.
    m_parts.keys->releaseHeldKeys();
    QPointer<ExpansionPipeline> self(this);
    m_parts.fillIns->show(
        fields,
        [self, request](const QHash<QString, QString>& values) {
            if (self && self->m_service)
                self->resolveAndInsert(request, values);
        },
        [self] {
            // Cancelled: the abbreviation stays erased and nothing is inserted.
            if (self && self->m_service)
                self->m_service->setExpanding(false);
        });
}

void ExpansionPipeline::resolveAndInsert(const ExpansionRequest& request,
                                         const QHash<QString, QString>& values)
{
    std::unique_ptr<QTextDocument> rich;
    if (request.isRichText && request.rtfData)
        rich = RtfReader::read(*request.rtfData);
    const QString work = rich ? RichText::plainCharacters(*rich) : request.expandedText;
    if (!hasAIMacro(work) || !m_parts.aiEnabled()) {
        insertResolved(request, values);
        return;
    }

    const QString placeholder = MacroProcessor::aiPlaceholder();
    const std::optional<MacroProcessor::MacroRange> range = MacroProcessor::firstAIMacroRange(work);
    const MacroProcessor::SnippetLookup lookup = snippetLookup();
    const std::optional<QString>& clipboard = request.clipboardText;
    QString combined;
    if (!range) {
        combined = MacroProcessor::resolve(work, clipboard, values, lookup).text;
    } else {
        const MacroResolutionResult before =
            MacroProcessor::resolve(work.left(range->location), clipboard, values, lookup);
        const MacroResolutionResult after = MacroProcessor::resolve(
            work.mid(range->location + range->length), clipboard, values, lookup);
        combined = before.text + placeholder + after.text;
    }
    const std::optional<QString> prompt = MacroProcessor::firstAIPrompt(work);
    if (!prompt) {
        insertResolved(request, values);
        return;
    }
    const QString resolvedPrompt =
        MacroProcessor::resolve(TextRules::trimSpacesAndTabs(*prompt), clipboard, values, lookup)
            .text;

    // A reply can take seconds: the user's keys are not held that long.
    m_parts.keys->releaseHeldKeys();
    m_parts.indicator->show();
    QPointer<ExpansionPipeline> self(this);
    m_parts.complete(resolvedPrompt, [self, combined, placeholder](const AIOutcome& outcome) {
        if (!self)
            return;
        const QString replacement =
            outcome.index() == 0
                ? std::get<0>(outcome)
                : QStringLiteral("[AI error: ") + std::get<1>(outcome) + QStringLiteral("]");
        self->m_parts.indicator->dismiss();
        // The AI path inserts plain text, also for a rich snippet.
        self->insertPlainText(QString(combined).replace(placeholder, replacement));
    });
}

void ExpansionPipeline::insertResolved(const ExpansionRequest& request,
                                       const QHash<QString, QString>& values)
{
    const MacroProcessor::SnippetLookup lookup = snippetLookup();
    if (request.isRichText && request.rtfData) {
        if (std::unique_ptr<QTextDocument> document = RtfReader::read(*request.rtfData)) {
            const RichResolutionResult resolved =
                MacroProcessor::resolveRich(*document, request.clipboardText, values, lookup);
            qsizetype backtrack = resolved.cursorBacktrackCount;
            // Some applications (AbiWord) drop a closing paragraph mark, others keep it: none
            // is sent, so that the arrows land on {cursor} in every one of them.
            QTextDocument& pasted = *resolved.document;
            if (pasted.blockCount() > 1 && pasted.lastBlock().length() == 1) {
                QTextCursor end(&pasted);
                end.movePosition(QTextCursor::End);
                end.deletePreviousChar();
                backtrack = std::max<qsizetype>(0, backtrack - 1);
            }
            ClipboardContents contents;
            for (const ClipboardFormat& format : richClipboardPayload(*resolved.document))
                contents.append({format.mimeType, format.data});
            // The rich count is in UTF-16 units; arrow keys move by characters.
            const QString plain = RichText::plainCharacters(*resolved.document);
            paste(contents, TextRules::characterCount(QStringView(plain).right(backtrack)), true);
            return;
        }
    }
    const MacroResolutionResult resolved =
        MacroProcessor::resolve(request.expandedText, request.clipboardText, values, lookup);
    paste(plainContents(resolved.text), resolved.cursorBacktrackCount);
}

void ExpansionPipeline::insertPlainText(const QString& text)
{
    paste(plainContents(text), 0);
}

void ExpansionPipeline::paste(const ClipboardContents& contents, qsizetype cursorCount, bool rich)
{
    const PasteShortcut shortcut = m_shortcut;
    // Shift+Insert pastes the primary selection in xterm and the clipboard elsewhere.
    const PasteSelections selections = shortcut == PasteShortcut::shiftInsert
                                           ? PasteSelections::clipboardAndPrimary
                                           : PasteSelections::clipboard;
    const SavedClipboard saved = m_parts.clipboard->save(selections);
    m_parts.clipboard->write(contents, selections);
    m_parts.keys->waitForModifiersReleased(modifierWait);
    m_parts.keys->pressPaste(shortcut);
    m_parts.scheduler->schedule(restoreDelay, this, [this, saved] {
        m_parts.clipboard->restore(saved, [self = QPointer<ExpansionPipeline>(this)] {
            if (self)
                self->finish();
        });
    });
    if (m_parts.onExpansion)
        m_parts.onExpansion();
    const std::chrono::milliseconds cursorWait =
        rich && cursorCount > 0 ? std::max(m_timing.cursor, richCursor) : m_timing.cursor;
    afterRead(cursorCount, cursorWait, std::chrono::milliseconds(0));
}

// The arrows and the held keys go once the target has fetched the expansion: an application
// that pastes asynchronously would otherwise take them before the text.
void ExpansionPipeline::afterRead(qsizetype cursorCount, std::chrono::milliseconds cursorWait,
                                  std::chrono::milliseconds waited)
{
    if (!m_parts.clipboard->expansionRead() && waited < readLimit) {
        m_parts.scheduler->schedule(readPoll, this, [this, cursorCount, cursorWait, waited] {
            afterRead(cursorCount, cursorWait, waited + readPoll);
        });
        return;
    }
    m_parts.scheduler->schedule(cursorWait, this, [this, cursorCount] {
        if (cursorCount > 0)
            m_parts.keys->pressLeftArrow(int(cursorCount));
        m_parts.keys->releaseHeldKeys();
    });
}

void ExpansionPipeline::finish()
{
    m_parts.keys->releaseHeldKeys();
    if (m_service)
        m_service->setExpanding(false);
}
