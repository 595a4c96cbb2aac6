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
// Every step runs on the main thread, chained with the design's fixed delays.
class ExpansionPipeline : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds fillInDelay{60};
    static constexpr std::chrono::milliseconds cursorDelay{350};
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
        std::function<PasteShortcut()> pasteShortcut;
        std::function<void()> onExpansion; // the sound
    };

    ExpansionPipeline(TextExpansionService* service, Parts parts, QObject* parent = nullptr);

    // Step 1, 0.05 s after the match: erase the abbreviation and go on.
    void performExpansion(const ExpansionRequest& request);

private:
    void collectFillIns(const ExpansionRequest& request);
    void resolveAndInsert(const ExpansionRequest& request, const QHash<QString, QString>& values);
    void insertResolved(const ExpansionRequest& request, const QHash<QString, QString>& values);
    void insertPlainText(const QString& text);
    void paste(const ClipboardContents& contents, qsizetype cursorCount);
    void finish();
    MacroProcessor::SnippetLookup snippetLookup() const;

    QPointer<TextExpansionService> m_service;
    Parts m_parts;
};
