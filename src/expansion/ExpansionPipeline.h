#pragma once

#include "expansion/ExpansionPanels.h"
#include "expansion/SnippetRecord.h"
#include "platform/api/ExpansionClipboard.h"
#include "platform/api/KeyInjector.h"

#include <QObject>
#include <QPointer>
#include <chrono>
#include <functional>
#include <variant>

class Scheduler;
class TextExpansionService;

// Turns one match into text in the focused application: erase the abbreviation, ask for
// fill-in values, resolve the macros (with an AI reply when there is an AI macro), paste
// through the clipboard, move the cursor back to {cursor}, and give the clipboard back.
// Every step runs on the main thread, chained with fixed delays chosen by the target window.
class ExpansionPipeline : public QObject {
    Q_OBJECT

public:
    // The waits of one expansion. The X server hands the target our keys in order after the
    // user's, so most applications need only short ones; those listed as slow keep the long
    // ones, which leave room for applications that read input late.
    struct Timing {
        std::chrono::milliseconds start;  // match to the backspaces
        std::chrono::milliseconds paste;  // backspaces to the form or the paste
        std::chrono::milliseconds keyGap; // between repeated keys
        std::chrono::milliseconds cursor; // the target's read of the paste to the arrows
    };
    static constexpr Timing quickTiming{std::chrono::milliseconds(0), std::chrono::milliseconds(8),
                                        std::chrono::milliseconds(3), std::chrono::milliseconds(5)};
    static constexpr Timing slowTiming{std::chrono::milliseconds(50), std::chrono::milliseconds(60),
                                       std::chrono::milliseconds(3), std::chrono::milliseconds(50)};
    // A rich paste is laid out after the target read it, and a word processor (AbiWord) loses
    // arrow keys that come before that: arrows after a rich paste wait at least this long.
    static constexpr std::chrono::milliseconds richCursor{150};
    // How often the pipeline looks whether the target has read the paste, and for how long.
    static constexpr std::chrono::milliseconds readPoll{2};
    static constexpr std::chrono::milliseconds readLimit{1000};
    static constexpr std::chrono::milliseconds restoreDelay{600};
    static constexpr std::chrono::milliseconds modifierWait{500};

    // The reply text, or the error's description.
    using AIOutcome = std::variant<QString, QString>;
    struct Parts {
        Scheduler* scheduler = nullptr;
        KeyInjector* keys = nullptr;
        ExpansionClipboard* clipboard = nullptr;
        FillInPresenter* fillIns = nullptr;
        GeneratingIndicator* indicator = nullptr;
        std::function<bool()> aiEnabled;
        // Sends the prompt; done gets the reply (index 0) or the error description (index 1).
        std::function<void(const QString& prompt, std::function<void(const AIOutcome&)> done)>
            complete;
        // Asked once, when the expansion starts, of the window it started in: later the
        // fill-in form or a window manager still moving the focus could answer instead.
        std::function<PasteShortcut()> pasteShortcut;
        std::function<void()> onExpansion; // the sound
        std::function<bool()> slowTarget;  // none: every target is quick
    };

    ExpansionPipeline(TextExpansionService* service, Parts parts, QObject* parent = nullptr);
    ~ExpansionPipeline() override;

    // Step 1: picks the timing and the paste key from the target, then erases the abbreviation.
    void performExpansion(const ExpansionRequest& request);

private:
    void erase(const ExpansionRequest& request);
    void collectFillIns(const ExpansionRequest& request);
    void resolveAndInsert(const ExpansionRequest& request, const QHash<QString, QString>& values);
    void insertResolved(const ExpansionRequest& request, const QHash<QString, QString>& values);
    void insertPlainText(const QString& text);
    void paste(const ClipboardContents& contents, qsizetype cursorCount, bool rich = false);
    void afterRead(qsizetype cursorCount, std::chrono::milliseconds cursorWait,
                   std::chrono::milliseconds waited);
    void finish();
    MacroProcessor::SnippetLookup snippetLookup() const;

    QPointer<TextExpansionService> m_service;
    Parts m_parts;
    Timing m_timing = quickTiming;
    PasteShortcut m_shortcut = PasteShortcut::controlV;
};
