#include "platform/qt/QtClipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTimer>

namespace {

const QString passwordManagerHint = QStringLiteral("x-kde-passwordManagerHint");

// Targets of the X selection protocol itself, not contents.
bool isProtocolTarget(const QString& format)
{
    static const QStringList targets = {QStringLiteral("TARGETS"), QStringLiteral("MULTIPLE"),
                                        QStringLiteral("TIMESTAMP"),
                                        QStringLiteral("SAVE_TARGETS")};
    return targets.contains(format);
}

// Notes the moment an application actually fetches the data we put on the clipboard.
class WatchedMimeData final : public QMimeData {
public:
    explicit WatchedMimeData(std::shared_ptr<std::atomic<bool>> read) : m_read(std::move(read)) {}

protected:
    QVariant retrieveData(const QString& mimeType, QMetaType type) const override
    {
        m_read->store(true);
        return QMimeData::retrieveData(mimeType, type);
    }

private:
    std::shared_ptr<std::atomic<bool>> m_read;
};

void fill(QMimeData& data, const ClipboardContents& contents)
{
    for (const ClipboardEntry& entry : contents) {
        // Plain text goes through setText so Qt offers it under every X text target.
        if (entry.mimeType == u"text/plain")
            data.setText(QString::fromUtf8(entry.data));
        else
            data.setData(entry.mimeType, entry.data);
    }
}

ClipboardContents readSelection(QClipboard::Mode mode)
{
    ClipboardContents saved;
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(mode);
    if (!data)
        return saved;
    for (const QString& format : data->formats()) {
        if (isProtocolTarget(format))
            continue;
        const QByteArray bytes = data->data(format);
        if (!bytes.isNull())
            saved.append({format, bytes});
    }
    return saved;
}

// Gives a selection the user's contents back; an empty one stays empty.
void putBack(QClipboard::Mode mode, const ClipboardContents& contents)
{
    if (contents.isEmpty()) {
        QGuiApplication::clipboard()->clear(mode);
        return;
    }
    auto* data = new QMimeData;
    fill(*data, contents);
    QGuiApplication::clipboard()->setMimeData(data, mode);
}

} // namespace

QtClipboard::QtClipboard(QObject* parent) : QObject(parent)
{
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this,
            &QtClipboard::refreshText);
    refreshText();
}

QtClipboard::~QtClipboard()
{
    if (!m_unrestored)
        return;
    putBack(QClipboard::Clipboard, m_unrestored->clipboard);
    if (m_unrestored->primary)
        putBack(QClipboard::Selection, *m_unrestored->primary);
}

void QtClipboard::refreshText()
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    // Our own expansion is not the user's clipboard, and reading it would count as the paste.
    if (dynamic_cast<const WatchedMimeData*>(data))
        return;
    std::optional<QString> text;
    // Password managers mark what they copy; a password is not kept here between expansions
    // (the saved copy lives only while an expansion runs, then goes back with its mark).
    const bool secret = data && data->data(passwordManagerHint) == "secret";
    if (data && data->hasText() && !secret)
        text = data->text();
    std::lock_guard lock(m_lock);
    m_text = std::move(text);
}

std::optional<QString> QtClipboard::plainText() const
{
    std::lock_guard lock(m_lock);
    return m_text;
}

SavedClipboard QtClipboard::save(PasteSelections selections)
{
    SavedClipboard saved;
    saved.clipboard = readSelection(QClipboard::Clipboard);
    if (selections == PasteSelections::clipboardAndPrimary)
        saved.primary = readSelection(QClipboard::Selection);
    m_unrestored = saved;
    return saved;
}

void QtClipboard::write(const ClipboardContents& contents, PasteSelections selections)
{
    // One flag for both: the application reads whichever selection its paste key takes.
    m_expansionRead = std::make_shared<std::atomic<bool>>(false);
    const auto serve = [&](QClipboard::Mode mode) {
        auto* data = new WatchedMimeData(m_expansionRead);
        fill(*data, contents);
        QGuiApplication::clipboard()->setMimeData(data, mode);
    };
    serve(QClipboard::Clipboard);
    if (selections == PasteSelections::clipboardAndPrimary)
        serve(QClipboard::Selection);
}

bool QtClipboard::expansionRead() const
{
    return !m_expansionRead || m_expansionRead->load();
}

void QtClipboard::restore(const SavedClipboard& saved, std::function<void()> done)
{
    restoreWhenRead(saved, std::move(done), std::chrono::milliseconds(0));
}

void QtClipboard::restoreWhenRead(const SavedClipboard& saved, std::function<void()> done,
                                  std::chrono::milliseconds waited)
{
    // An application that has not fetched the expansion yet would paste the user's own
    // clipboard instead: wait for the read, but not for ever.
    const bool read = !m_expansionRead || m_expansionRead->load();
    if (!read && waited < readTimeout) {
        static constexpr std::chrono::milliseconds step{50};
        QTimer::singleShot(step, this, [this, saved, done = std::move(done), waited]() mutable {
            restoreWhenRead(saved, std::move(done), waited + step);
        });
        return;
    }
    m_expansionRead.reset();
    m_unrestored.reset();
    putBack(QClipboard::Clipboard, saved.clipboard);
    if (saved.primary)
        putBack(QClipboard::Selection, *saved.primary);
    done();
}
