#pragma once

#include "platform/api/ClipboardReader.h"
#include "platform/api/ExpansionClipboard.h"

#include <QObject>
#include <QPointer>
#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>

class QMimeData;

// The system clipboard through QClipboard (X11 selections served by Qt, INCR and the clipboard
// manager included). Reading its text is safe from any thread: the text is kept up to date on
// the main thread whenever the clipboard changes.
class QtClipboard final : public QObject, public ExpansionClipboard, public ClipboardReader {
    Q_OBJECT

public:
    // How long a restore waits for the application to read the expansion before giving up.
    static constexpr std::chrono::milliseconds readTimeout{3000};

    explicit QtClipboard(QObject* parent = nullptr);
    ~QtClipboard() override;

    SavedClipboard save(PasteSelections selections) override;
    void write(const ClipboardContents& contents, PasteSelections selections) override;
    bool expansionRead() const override;
    void restore(const SavedClipboard& saved, std::function<void()> done) override;
    std::optional<QString> plainText() const override;

private:
    void refreshText();
    void restoreWhenRead(const SavedClipboard& saved, std::function<void()> done,
                         std::chrono::milliseconds waited);

    // What the user had while an expansion holds the clipboard: given back even when the app
    // quits (SIGTERM, SIGINT, SIGHUP) before the expansion's own restore.
    std::optional<SavedClipboard> m_unrestored;
    mutable std::mutex m_lock;
    std::optional<QString> m_text;
    std::shared_ptr<std::atomic<bool>> m_expansionRead;
};
