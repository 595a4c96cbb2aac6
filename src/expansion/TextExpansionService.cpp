#include "expansion/TextExpansionService.h"

#include "common/Preferences.h"
#include "platform/api/ClipboardReader.h"
#include "platform/api/FrontmostApplication.h"
#include "platform/api/KeyboardMonitor.h"
#include "platform/api/Scheduler.h"
#include "text/TextRules.h"

#include <QSettings>
#include <algorithm>

namespace {
bool hasControlCharacter(QStringView text)
{
    for (QChar c : text)
        if (c.unicode() < 32)
            return true;
    return false;
}
} // namespace

TextExpansionService::TextExpansionService(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(dependencies), m_snippets(std::make_shared<SnippetSet>())
{
    Q_ASSERT(m_dependencies.scheduler);
    if (m_dependencies.settings) {
        m_isEnabled = Preferences::flag(*m_dependencies.settings, Preferences::expansionEnabled);
    }
}

TextExpansionService::~TextExpansionService()
{
    // The monitor thread calls into this object.
    if (m_dependencies.monitor)
        m_dependencies.monitor->stop();
}

void TextExpansionService::startMonitoring()
{
    startEventTap();
    if (!m_accessibilityGranted)
        pollPermission();
}

void TextExpansionService::startEventTap()
{
    KeyboardMonitor* monitor = m_dependencies.monitor;
    if (!monitor || monitor->isRunning())
        return;
    QString problem =
        m_dependencies.injectionProblem ? m_dependencies.injectionProblem() : QString();
    bool started = false;
    if (problem.isEmpty()) {
        started =
            monitor->start([this](const KeyEvent& event) { handleKeyDown(event); },
                           [this] {
                               // Told on the monitor's thread.
                               m_dependencies.scheduler->schedule(std::chrono::milliseconds(0),
                                                                  this, [this] { monitorLost(); });
                           });
        if (!started)
            problem = monitor->lastError();
    }
    setAccessibilityGranted(started);
    if (started) {
        m_toldFailure = false;
        Q_EMIT monitoringStarted();
    } else if (!m_toldFailure) {
        m_toldFailure = true;
        Q_EMIT monitoringFailed(problem);
    }
}

void TextExpansionService::stopMonitoring()
{
    if (m_dependencies.monitor)
        m_dependencies.monitor->stop();
    clearTypingBuffer();
}

void TextExpansionService::monitorLost()
{
    stopMonitoring();
    setAccessibilityGranted(false);
    m_toldFailure = true;
    Q_EMIT monitoringFailed(
        QStringLiteral("The connection to the X server that watches the keyboard broke."));
    pollPermission();
}

void TextExpansionService::pollPermission()
{
    // One chain of checks at a time; none at all while the monitor runs.
    if (m_pollScheduled)
        return;
    m_pollScheduled = true;
    m_dependencies.scheduler->schedule(permissionPollInterval, this, [this] {
        m_pollScheduled = false;
        startEventTap();
        if (!m_accessibilityGranted)
            pollPermission();
    });
}

void TextExpansionService::setEnabled(bool enabled)
{
    if (m_isEnabled.exchange(enabled) == enabled)
        return;
    if (m_dependencies.settings)
        Preferences::write(*m_dependencies.settings, Preferences::expansionEnabled, enabled);
    Q_EMIT isEnabledChanged(enabled);
}

void TextExpansionService::setAccessibilityGranted(bool granted)
{
    if (m_accessibilityGranted == granted)
        return;
    m_accessibilityGranted = granted;
    Q_EMIT accessibilityGrantedChanged(granted);
}

void TextExpansionService::handleKeyDown(const KeyEvent& event)
{
    if (!m_isEnabled.load() || m_isExpanding.load())
        return;

    std::unique_lock bufferLock(m_bufferLock);
    const bool ownWindow =
        m_isAppActive.load() ||
        (m_dependencies.frontmost && m_dependencies.frontmost->isOwnApplicationFrontmost());
    if (ownWindow || (event.flags & ModifierFlag::shortcutMask)) {
        m_typingBuffer.clear();
        return;
    }
    if (event.keyCode == VirtualKey::Delete) {
        m_typingBuffer.removeLastCharacter();
        return;
    }
    if (VirtualKey::isResetKey(event.keyCode)) {
        m_typingBuffer.clear();
        return;
    }
    if (event.text.isEmpty() || hasControlCharacter(event.text))
        return;

    m_typingBuffer.append(event.text);

    const std::shared_ptr<const SnippetSet> snippets = currentSnippets();
    const std::optional<std::uint32_t> match =
        snippets->index.firstMatch(m_typingBuffer.text(), m_typingBuffer.characterStarts());
    if (!match)
        return;
    m_typingBuffer.clear();
    bufferLock.unlock();
    if (m_dependencies.matched)
        m_dependencies.matched();
    handOff(snippets->records[*match]);
}

void TextExpansionService::handOff(const SnippetRecord& record)
{
    ExpansionRequest request;
    request.abbreviationLength = int(TextRules::characterCount(record.abbreviation()));
    request.expandedText = record.expandedText();
    request.isRichText = record.isRichText();
    request.rtfData = record.rtfData();
    if (m_dependencies.clipboard)
        request.clipboardText = m_dependencies.clipboard->plainText();
    m_dependencies.scheduler->schedule(expansionDelay, this,
                                       [this, request] { Q_EMIT expansionRequested(request); });
}

QString TextExpansionService::typingBuffer() const
{
    std::lock_guard lock(m_bufferLock);
    // A deep copy: the monitor thread goes on appending to the buffer's own storage.
    const QString& text = m_typingBuffer.text();
    return QString(text.constData(), text.size());
}

void TextExpansionService::clearTypingBuffer()
{
    std::lock_guard lock(m_bufferLock);
    m_typingBuffer.clear();
}

std::shared_ptr<const TextExpansionService::SnippetSet>
TextExpansionService::currentSnippets() const
{
    std::lock_guard lock(m_snippetsLock);
    return m_snippets;
}

void TextExpansionService::updateSnippets(std::vector<SnippetRecord> records)
{
    std::erase_if(records, [](const SnippetRecord& r) { return !r.hasAbbreviation(); });
    // The set lives until the next update: no room kept for records that never come.
    records.shrink_to_fit();

    // Everything heavy happens before the lock: typing never waits for the index.
    auto next = std::make_shared<SnippetSet>();
    std::vector<QString> abbreviations;
    abbreviations.reserve(records.size());
    for (const SnippetRecord& record : records)
        abbreviations.push_back(record.abbreviation());
    next->index = AbbreviationIndex(abbreviations);

    // The exact lookup compares canonical forms, as the matcher does; the forms are needed
    // only to sort, and a lookup makes the few it compares.
    std::vector<QString> canonical;
    canonical.reserve(records.size());
    for (const QString& abbreviation : abbreviations)
        canonical.push_back(TextRules::canonicalForm(abbreviation));
    auto& byAbbreviation = next->byAbbreviation;
    byAbbreviation.resize(records.size());
    for (std::size_t i = 0; i < records.size(); ++i)
        byAbbreviation[i] = static_cast<std::uint32_t>(i);
    std::stable_sort(byAbbreviation.begin(), byAbbreviation.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return canonical[a] < canonical[b]; });
    byAbbreviation.erase(
        std::unique(byAbbreviation.begin(), byAbbreviation.end(),
                    [&](std::uint32_t a, std::uint32_t b) { return canonical[a] == canonical[b]; }),
        byAbbreviation.end());
    byAbbreviation.shrink_to_fit();
    next->records = std::move(records);

    std::shared_ptr<const SnippetSet> previous = std::move(next);
    {
        std::lock_guard lock(m_snippetsLock);
        m_snippets.swap(previous);
    }
    // The old list is freed here, outside the lock (or by the last reader still holding it).
}

std::vector<TextExpansionService::SnippetRecord> TextExpansionService::snippets() const
{
    return currentSnippets()->records;
}

std::optional<QString> TextExpansionService::expandedText(const QString& abbreviation) const
{
    const std::shared_ptr<const SnippetSet> snippets = currentSnippets();
    const QString key = TextRules::canonicalForm(abbreviation);
    const auto& positions = snippets->byAbbreviation;
    const auto canonicalAt = [&](std::uint32_t position) {
        return TextRules::canonicalForm(snippets->records[position].abbreviation());
    };
    const auto found = std::lower_bound(
        positions.begin(), positions.end(), key,
        [&](std::uint32_t position, const QString& k) { return canonicalAt(position) < k; });
    if (found == positions.end() || canonicalAt(*found) != key)
        return std::nullopt;
    return snippets->records[*found].expandedText();
}
