#include "backup/BackupService.h"

#include "backup/BackupCodec.h"
#include "common/SafeFile.h"
#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QVariant>

namespace {

const QString customSound = QStringLiteral("custom");

QString idText(const std::optional<QUuid>& id)
{
    // Records without an id get a fresh one in the file.
    return (id ? *id : QUuid::createUuid()).toString(QUuid::WithoutBraces).toUpper();
}

SnippetBackup toBackup(const SnippetEntity& s)
{
    SnippetBackup b;
    b.id = idText(s.id());
    b.title = s.title();
    b.abbreviation = s.abbreviation();
    b.expandedText = s.expandedText();
    if (s.expandedTextRTF())
        b.expandedTextRTFBase64 = QString::fromLatin1(s.expandedTextRTF()->toBase64());
    b.isRichText = s.isRichText();
    b.isCodeSnippet = s.isCodeSnippet();
    b.codeLanguage = s.codeLanguage();
    if (const CategoryEntity* c = s.category()) {
        b.categoryName = c->name();
        b.categoryColorHex = c->colorHex();
    }
    b.createdAt = s.createdAt();
    b.updatedAt = s.updatedAt();
    b.trashedAt = s.trashedAt();
    return b;
}

CategoryBackup toBackup(const CategoryEntity& c)
{
    return {idText(c.id()), c.name(), c.colorHex(), c.createdAt(), c.trashedAt()};
}

} // namespace

namespace BackupService {

QString fileName(const QDateTime& now)
{
    return QStringLiteral("ScrivLane-Backup-") +
           now.toLocalTime().toString(QStringLiteral("yyyy-MM-dd")) + QStringLiteral(".json");
}

BackupFile makeBackup(const PersistenceController& store, AppSettingsBackup settings,
                      const QDateTime& now)
{
    BackupFile file;
    file.exportedAt = now;
    file.appVersion = QStringLiteral(SCRIVLANE_VERSION);
    for (const SnippetEntity* snippet : store.fetchAllSnippets())
        file.snippets.append(toBackup(*snippet));
    QList<CategoryBackup> categories;
    for (const CategoryEntity* category : store.fetchTrashedCategories())
        categories.append(toBackup(*category));
    file.trashedCategories = categories;
    // A custom sound file never travels in a backup.
    if (settings.selectedSound == customSound)
        settings.selectedSound = QStringLiteral("Basso");
    file.settings = settings;
    return file;
}

ExportOutcome writeBackup(const QString& folder, const BackupFile& file, const QDateTime& now,
                          const std::function<bool()>& cancelled)
{
    const QFileInfo info(folder);
    if (info.exists() && !info.isDir())
        return {QString(), QStringLiteral("%1 is not a folder.").arg(folder)};
    if (!info.isDir())
        return {QString(), QStringLiteral("The folder %1 does not exist.").arg(folder)};
    const QByteArray bytes = BackupCodec::encode(file);
    const QString path = QDir(folder).absoluteFilePath(fileName(now));
    // The folder may be shared (/tmp, a mounted drive): the file is the user's alone, and a
    // link planted under its name is refused rather than followed.
    SafeFile out(path);
    if (!out.open() || !out.write(bytes))
        return {QString(), out.errorString()};
    if (cancelled && cancelled()) {
        out.cancel();
        return {QString(), QStringLiteral("Cancelled.")};
    }
    if (!out.commit())
        return {QString(), out.errorString()};
    return {path, QString()};
}

ExportOutcome exportBackup(const QString& folder, PersistenceController& store,
                           const AppSettingsBackup& settings, const QDateTime& now)
{
    return writeBackup(folder, makeBackup(store, settings, now), now);
}

std::variant<BackupFile, QString> readBackup(const QString& filePath)
{
    QFile in(filePath);
    if (!in.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(QFileInfo(filePath).fileName(), in.errorString());
    return BackupCodec::decode(in.readAll());
}

RestoreResult addToLibrary(const BackupFile& file, PersistenceController& store)
{
    RestoreResult result;
    QSet<QString> snippetIds;
    for (const SnippetEntity* s : store.fetchAllSnippets())
        if (s->id())
            snippetIds.insert(idText(s->id()));
    // The first category of a name, active or trashed, takes that name's snippets.
    QHash<QString, CategoryEntity*> categoriesByName;
    for (CategoryEntity* c :
         store.fetchCategories(PersistenceController::Filter::all,
                               PersistenceController::CategoryOrder::sortOrderAscending))
        if (c->name() && !categoriesByName.contains(*c->name()))
            categoriesByName.insert(*c->name(), c);

    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const SnippetBackup& b : file.snippets) {
        if (snippetIds.contains(b.id)) {
            ++result.snippetsSkipped;
            continue;
        }
        CategoryEntity* category = nullptr;
        if (b.categoryName) {
            category = categoriesByName.value(*b.categoryName);
            if (!category) {
                category = store.createCategory(
                    *b.categoryName,
                    b.categoryColorHex.value_or(CategoryPalette::defaultColorHex()));
                category->setTrashedAt(b.trashedAt);
                categoriesByName.insert(*b.categoryName, category);
            }
        }
        auto snippet = std::make_unique<SnippetEntity>();
        snippet->setId(QUuid::createUuid()); // the file's id is not reused
        snippet->setTitle(b.title.value_or(QString()));
        snippet->setAbbreviation(b.abbreviation.value_or(QString()));
        snippet->setExpandedText(b.expandedText.value_or(QString()));
        if (b.expandedTextRTFBase64) {
            const auto rtf = QByteArray::fromBase64Encoding(
                b.expandedTextRTFBase64->toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            if (rtf)
                snippet->setExpandedTextRTF(*rtf);
        }
        snippet->setRichText(b.isRichText);
        snippet->setCodeSnippet(b.isCodeSnippet);
        snippet->setCodeLanguage(b.codeLanguage);
        snippet->setCategory(category);
        snippet->setCreatedAt(now);
        snippet->setUpdatedAt(now);
        snippet->setTrashedAt(b.trashedAt);
        store.insertSnippet(std::move(snippet));
        ++result.snippetsAdded;
    }

    QSet<QString> categoryIds;
    for (const CategoryEntity* c :
         store.fetchCategories(PersistenceController::Filter::all,
                               PersistenceController::CategoryOrder::sortOrderAscending))
        if (c->id())
            categoryIds.insert(idText(c->id()));
    for (const CategoryBackup& b : file.trashedCategories.value_or(QList<CategoryBackup>())) {
        if (categoryIds.contains(b.id))
            continue;
        CategoryEntity* category =
            store.createCategory(b.name.value_or(QStringLiteral("Untitled")),
                                 b.colorHex.value_or(CategoryPalette::defaultColorHex()));
        category->setTrashedAt(b.trashedAt);
    }
    // One transaction for the whole restore: it lands entirely or not at all.
    store.save();
    result.settingsRestored = file.settings.has_value();
    return result;
}

std::variant<RestoreResult, QString>
restoreBackup(const QString& filePath, PersistenceController& store,
              const std::function<void(const AppSettingsBackup&)>& applySettingsLater)
{
    std::variant<BackupFile, QString> decoded = readBackup(filePath);
    if (const QString* error = std::get_if<QString>(&decoded))
        return *error;
    const BackupFile& file = std::get<BackupFile>(decoded);
    const RestoreResult result = addToLibrary(file, store);
    if (file.settings) {
        const AppSettingsBackup settings = *file.settings;
        QMetaObject::invokeMethod(
            &store, [applySettingsLater, settings] { applySettingsLater(settings); },
            Qt::QueuedConnection);
    }
    return result;
}

void applySettings(const AppSettingsBackup& settings, const SettingsTarget& target)
{
    target.setExpansionEnabled(settings.expansionEnabled);
    target.setSoundEnabled(settings.soundEnabled);
    target.setSoundVolume(settings.soundVolume);
    // "custom" names a file on the other machine: the choice here stays as it is.
    const bool soundApplies = settings.selectedSound != customSound;
    if (soundApplies)
        target.setSelectedSound(settings.selectedSound);
    target.push(QStringLiteral("expansionEnabled"), settings.expansionEnabled);
    target.push(QStringLiteral("soundEnabled"), settings.soundEnabled);
    target.push(QStringLiteral("soundVolume"), double(settings.soundVolume));
    if (soundApplies)
        target.push(QStringLiteral("selectedSound"), settings.selectedSound);
}

QString resultLine(const RestoreResult& result)
{
    QStringList parts;
    if (result.snippetsAdded > 0)
        parts << QStringLiteral("%1 snippet%2 added")
                     .arg(result.snippetsAdded)
                     .arg(result.snippetsAdded == 1 ? QString() : QStringLiteral("s"));
    if (result.snippetsSkipped >= 1)
        parts << QStringLiteral("%1 already existed").arg(result.snippetsSkipped);
    if (result.settingsRestored)
        parts << QStringLiteral("settings restored");
    return QStringLiteral("\u2713 ") +
           (parts.isEmpty() ? QStringLiteral("Nothing new to restore") : parts.join(u", "));
}

QString failureLine(const QString& error)
{
    return QStringLiteral("Restore failed: ") + error;
}

} // namespace BackupService
