#pragma once

#include "expansion/AbbreviationIndex.h"
#include "expansion/SnippetRecord.h"
#include "expansion/TypingBuffer.h"
#include "platform/api/KeyEvent.h"

#include <QHash>
#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class ClipboardReader;
class FrontmostApplication;
class KeyboardMonitor;
class QSettings;
class Scheduler;

// Watches what the user types and notices when it ends with an abbreviation. Key-downs arrive
// on the keyboard monitor's thread; everything else, and every signal, is on the main thread.
class TextExpansionService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isEnabled READ isEnabled WRITE setEnabled NOTIFY isEnabledChanged)
    Q_PROPERTY(
        bool accessibilityGranted READ accessibilityGranted NOTIFY accessibilityGrantedChanged)

public:
    using SnippetRecord = ::SnippetRecord;

    // How long after a match the expansion is handed to the main thread; the pipeline adds what
    // the target needs. The completing key reaches the target before any synthetic key.
    static constexpr std::chrono::milliseconds expansionDelay{0};

    // How often a missing permission (or a lost display connection) is checked again.
    static constexpr std::chrono::milliseconds permissionPollInterval{1500};

    struct Dependencies {
        Scheduler* scheduler = nullptr;                  // required
        const ClipboardReader* clipboard = nullptr;      // none: the clipboard reads empty
        const FrontmostApplication* frontmost = nullptr; // none: never our own window
        QSettings* settings = nullptr;                   // the user defaults; none: not kept
        KeyboardMonitor* monitor = nullptr; // none: keys come only through handleKeyDown
        // Why keys cannot be sent to other applications; empty when they can.
        std::function<QString()> injectionProblem = {};
        // Called on the monitor's thread the moment an abbreviation is complete, before the
        // expansion is handed to the main thread: keys typed next must not slip past it.
        std::function<void()> matched = {};
    };

    explicit TextExpansionService(Dependencies dependencies, QObject* parent = nullptr);
    ~TextExpansionService() override;

    bool isEnabled() const { return m_isEnabled.load(); }
    void setEnabled(bool enabled);

    bool accessibilityGranted() const { return m_accessibilityGranted; }
    void setAccessibilityGranted(bool granted);

    bool isExpanding() const { return m_isExpanding.load(); }
    void setExpanding(bool expanding) { m_isExpanding.store(expanding); }

    // Whether one of our own windows is active; typing into them never expands.
    bool isAppActive() const { return m_isAppActive.load(); }
    void setAppActive(bool active) { m_isAppActive.store(active); }

    // Starts watching the keyboard, or, when that is not allowed yet, asks again every
    // permissionPollInterval until it is. Main thread.
    void startMonitoring();
    // Starts the keyboard monitor unless it runs; accessibilityGranted tells how it went.
    void startEventTap();
    // Stops the monitor and forgets what was typed.
    void stopMonitoring();

    // The monitor thread's entry point. The key always reaches the application; this only
    // decides what happens to the typing buffer.
    void handleKeyDown(const KeyEvent& event);

    QString typingBuffer() const;
    void clearTypingBuffer();

    // Replaces the whole list; records with an empty abbreviation are left out.
    void updateSnippets(std::vector<SnippetRecord> records);
    std::vector<SnippetRecord> snippets() const;

    // The plain text of the first snippet whose abbreviation is `abbreviation`, compared
    // case-sensitively under canonical equivalence as matching does.
    std::optional<QString> expandedText(const QString& abbreviation) const;

Q_SIGNALS:
    void isEnabledChanged(bool enabled);
    void accessibilityGrantedChanged(bool granted);
    // A match, delivered on the main thread `expansionDelay` after the completing key.
    void expansionRequested(const ExpansionRequest& request);
    void monitoringStarted();
    // Watching stopped or could not start; said once until it runs again. Checks go on.
    void monitoringFailed(const QString& reason);

private:
    struct SnippetSet {
        std::vector<SnippetRecord> records;
        AbbreviationIndex index;
        // Record positions sorted by the abbreviation's canonical form, only the first of
        // equal ones: the exact lookup in four bytes a record.
        std::vector<std::uint32_t> byAbbreviation;
    };

    std::shared_ptr<const SnippetSet> currentSnippets() const;
    void handOff(const SnippetRecord& record);
    void monitorLost();
    void pollPermission();

    Dependencies m_dependencies;
    std::atomic<bool> m_isEnabled{true};
    bool m_accessibilityGranted = false;
    bool m_toldFailure = false;
    bool m_pollScheduled = false;
    std::atomic<bool> m_isExpanding{false};
    std::atomic<bool> m_isAppActive{false};

    mutable std::mutex m_bufferLock; // guards m_typingBuffer
    TypingBuffer m_typingBuffer;

    mutable std::mutex m_snippetsLock; // guards m_snippets; held only to copy or swap it
    std::shared_ptr<const SnippetSet> m_snippets;
};
