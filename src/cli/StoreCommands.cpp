#include "cli/CliSupport.h"
#include "cli/JsonWriter.h"
#include "library/AbbreviationConflict.h"
#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "richtext/RtfReader.h"
#include "text/TextRules.h"

#include <QFile>
#include <QRegularExpression>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;
using Store = PersistenceController;

QString idText(const std::optional<QUuid>& id)
{
    return id ? id->toString(QUuid::WithoutBraces).toUpper() : QString();
}

// The store of the data folder; nothing is done when it cannot be used.
std::optional<Outcome> unavailable(Store& store)
{
    if (store.isAvailable())
        return std::nullopt;
    return Outcome{1, QString(), u"scrivlane: "_s + store.syncError() + u"\n"_s};
}

// What an operation that saved reports: its output, or the save's failure.
Outcome afterSave(Store& store, const QString& out)
{
    if (store.hasChanges())
        return {1, QString(),
                u"scrivlane: the library could not be saved: "_s + store.syncError() + u"\n"_s};
    return Cli::success(out);
}

// Every id must name a record before anything is changed.
template <typename Record, typename Find>
std::optional<Outcome> resolveIds(const QStringList& ids, Find find, QList<Record*>& records)
{
    for (const QString& text : ids) {
        const QUuid id = QUuid::fromString(text);
        Record* record = id.isNull() ? nullptr : find(id);
        if (!record)
            return Cli::usageError(u"no such record: "_s + text);
        records.append(record);
    }
    return std::nullopt;
}

// "snippet add" as the parser's program name, then the rest.
QStringList subcommandArguments(const QStringList& arguments)
{
    return QStringList{arguments.mid(0, 2).join(u' ')} + arguments.mid(2);
}

QString snippetJson(const Store& store, const SnippetEntity& s)
{
    Cli::JsonObject json;
    json.add(u"id"_s, s.id() ? std::optional(idText(s.id())) : std::nullopt)
        .add(u"title"_s, s.title())
        .add(u"abbreviation"_s, s.abbreviation())
        .add(u"expandedText"_s, s.expandedText())
        .add(u"isRichText"_s, s.isRichText())
        .add(u"categoryName"_s,
             s.category() ? std::optional(s.category()->displayName()) : std::nullopt)
        .add(u"createdAt"_s, s.createdAt())
        .add(u"updatedAt"_s, s.updatedAt())
        .add(u"trashedAt"_s, s.trashedAt());
    if (s.trashedAt())
        json.add(u"daysRemaining"_s, qint64(store.daysRemaining(*s.trashedAt())));
    return json.toString();
}

QString categoryJson(const CategoryEntity& c)
{
    return Cli::JsonObject()
        .add(u"id"_s, c.id() ? std::optional(idText(c.id())) : std::nullopt)
        .add(u"name"_s, c.name())
        .add(u"colorHex"_s, c.colorHex())
        .add(u"sortOrder"_s, qint64(c.sortOrder()))
        .add(u"createdAt"_s, c.createdAt())
        .add(u"updatedAt"_s, c.updatedAt())
        .add(u"trashedAt"_s, c.trashedAt())
        .add(u"activeSnippetCount"_s, qint64(c.activeSnippets().size()))
        .toString();
}

// The named category, made when there is none of that name yet.
CategoryEntity* categoryNamed(Store& store, const QString& name)
{
    for (CategoryEntity* c :
         store.fetchCategories(Store::Filter::live, Store::CategoryOrder::sortOrderAscending))
        if (c->name() == name)
            return c;
    return store.createCategory(name, CategoryPalette::defaultColorHex());
}

Outcome snippetAdd(Store& store, const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption abbreviation(u"abbreviation"_s, QString(), u"A"_s);
    const QCommandLineOption title(u"title"_s, QString(), u"T"_s);
    const QCommandLineOption text(u"text"_s, QString(), u"X"_s);
    const QCommandLineOption rtfFile(u"rtf-file"_s, QString(), u"F"_s);
    const QCommandLineOption category(u"category"_s, QString(), u"NAME"_s);
    parser.addOptions({abbreviation, title, text, rtfFile, category});
    if (auto early = Cli::parseSubcommand(parser, arguments, 0, 0, u"arguments"_s))
        return *early;
    if (TextRules::trimSpacesAndTabs(parser.value(abbreviation)).isEmpty())
        return Cli::usageError(u"snippet add: --abbreviation must not be blank"_s);
    if (parser.isSet(text) && parser.isSet(rtfFile))
        return Cli::usageError(u"snippet add: give --text or --rtf-file, not both"_s);
    std::unique_ptr<QTextDocument> rich;
    if (parser.isSet(rtfFile)) {
        QFile file(parser.value(rtfFile));
        if (!file.open(QIODevice::ReadOnly))
            return Cli::usageError(u"snippet add: cannot read "_s + file.fileName() + u": "_s +
                                   file.errorString());
        rich = RtfReader::read(file.readAll());
        if (!rich)
            return Cli::usageError(u"snippet add: "_s + file.fileName() +
                                   u" is not an RTF document ScrivLane can read"_s);
    }

    CategoryEntity* target =
        parser.isSet(category) ? categoryNamed(store, parser.value(category)) : nullptr;
    SnippetEntity* snippet = store.insertSnippet(SnippetEntity::create(
        parser.value(title), parser.value(abbreviation), target, QDateTime::currentDateTimeUtc()));
    snippet->setExpandedText(parser.value(text));
    if (rich) {
        // The plain characters and the RTF document, colours filtered as for any rich snippet.
        snippet->setAttributedText(*rich, QDateTime::currentDateTimeUtc());
        snippet->setRichText(true);
    }
    store.save();
    return afterSave(store, idText(snippet->id()) + u"\n"_s);
}

Outcome snippetEdit(Store& store, const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption abbreviation(u"abbreviation"_s, QString(), u"A"_s);
    const QCommandLineOption title(u"title"_s, QString(), u"T"_s);
    const QCommandLineOption text(u"text"_s, QString(), u"X"_s);
    const QCommandLineOption category(u"category"_s, QString(), u"NAME"_s);
    const QCommandLineOption noCategory(u"no-category"_s);
    parser.addOptions({abbreviation, title, text, category, noCategory});
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1, u"ID"_s))
        return *early;
    if (parser.isSet(category) && parser.isSet(noCategory))
        return Cli::usageError(u"snippet edit: give --category or --no-category, not both"_s);
    if (parser.isSet(abbreviation) &&
        TextRules::trimSpacesAndTabs(parser.value(abbreviation)).isEmpty())
        return Cli::usageError(u"snippet edit: --abbreviation must not be blank"_s);
    QList<SnippetEntity*> found;
    if (auto error = resolveIds<SnippetEntity>(
            parser.positionalArguments(), [&](const QUuid& id) { return store.snippetWithId(id); },
            found))
        return *error;
    SnippetEntity& snippet = *found.first();
    if (parser.isSet(title))
        snippet.setTitle(parser.value(title));
    if (parser.isSet(abbreviation))
        snippet.setAbbreviation(TextRules::trimSpacesAndTabs(parser.value(abbreviation)));
    if (parser.isSet(text)) {
        // Plain from now on: the rich document would no longer match the text.
        snippet.setExpandedText(parser.value(text));
        snippet.setExpandedTextRTF(std::nullopt);
        snippet.setRichText(false);
    }
    if (parser.isSet(category))
        snippet.setCategory(categoryNamed(store, parser.value(category)));
    if (parser.isSet(noCategory))
        snippet.setCategory(nullptr);
    snippet.setUpdatedAt(QDateTime::currentDateTimeUtc());
    store.save();
    return afterSave(store, QString());
}

Outcome snippetList(Store& store, const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption trashed(u"trashed"_s);
    const QCommandLineOption all(u"all"_s);
    parser.addOptions({trashed, all});
    if (auto early = Cli::parseSubcommand(parser, arguments, 0, 0, u"arguments"_s))
        return *early;
    if (parser.isSet(trashed) && parser.isSet(all))
        return Cli::usageError(u"snippet list: --trashed and --all exclude each other"_s);
    const QList<SnippetEntity*> snippets = parser.isSet(trashed) ? store.fetchTrashedSnippets()
                                           : parser.isSet(all)   ? store.fetchAllSnippets()
                                                                 : store.fetchActiveSnippets();
    QStringList rows;
    for (const SnippetEntity* s : snippets)
        rows.append(snippetJson(store, *s));
    return Cli::success(Cli::jsonArray(rows) + u"\n"_s);
}

Outcome snippetChange(Store& store, const QString& action, const QStringList& arguments)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1 << 20, u"ID"_s))
        return *early;
    QList<SnippetEntity*> snippets;
    if (auto error = resolveIds<SnippetEntity>(
            parser.positionalArguments(), [&](const QUuid& id) { return store.snippetWithId(id); },
            snippets))
        return *error;
    if (action == u"trash"_s)
        store.trashSnippets(snippets);
    else if (action == u"restore"_s)
        store.restoreSelection(snippets, {});
    else
        store.deleteSelectionPermanently(snippets, {});
    return afterSave(store, QString());
}

Outcome categoryAdd(Store& store, const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption color(u"color"_s, QString(), u"HEX"_s);
    parser.addOption(color);
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1, u"NAME"_s))
        return *early;
    QString hex = CategoryPalette::defaultColorHex();
    if (parser.isSet(color)) {
        static const QRegularExpression format(u"^#[0-9A-Fa-f]{6}$"_s);
        hex = parser.value(color);
        if (!format.match(hex).hasMatch())
            return Cli::usageError(u"category add: --color expects # and six hex digits, got \""_s +
                                   hex + u"\""_s);
        hex = hex.toUpper();
    }
    const QString name = parser.positionalArguments().first();
    if (name.trimmed().isEmpty())
        return Cli::usageError(u"category add: the name is empty"_s);
    CategoryEntity* category = store.createCategory(name, hex);
    return afterSave(store, idText(category->id()) + u"\n"_s);
}

Outcome categoryList(Store& store, const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption trashed(u"trashed"_s);
    parser.addOption(trashed);
    if (auto early = Cli::parseSubcommand(parser, arguments, 0, 0, u"arguments"_s))
        return *early;
    const QList<CategoryEntity*> categories =
        parser.isSet(trashed)
            ? store.fetchTrashedCategories()
            : store.fetchCategories(Store::Filter::live, Store::CategoryOrder::sortOrderAscending);
    QStringList rows;
    for (const CategoryEntity* c : categories)
        rows.append(categoryJson(*c));
    return Cli::success(Cli::jsonArray(rows) + u"\n"_s);
}

Outcome categoryChange(Store& store, const QString& action, const QStringList& arguments)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1 << 20, u"ID"_s))
        return *early;
    QList<CategoryEntity*> categories;
    if (auto error = resolveIds<CategoryEntity>(
            parser.positionalArguments(), [&](const QUuid& id) { return store.categoryWithId(id); },
            categories))
        return *error;
    for (CategoryEntity* category : categories) {
        if (action == u"trash"_s)
            store.trashCategory(category);
        else if (action == u"restore"_s)
            store.restoreCategory(category);
        else
            store.deleteCategoryPermanently(category);
    }
    return afterSave(store, QString());
}

// "snippet ACTION ..." and "category ACTION ...": the same five actions on either kind.
using Action = Outcome (*)(Store&, const QStringList&);
using ChangeAction = Outcome (*)(Store&, const QString&, const QStringList&);

Outcome runRecordCommand(const QStringList& arguments, CommandServices& services, Action add,
                         Action list, ChangeAction change)
{
    const QString action = arguments.value(1);
    const QStringList rest = subcommandArguments(arguments);
    if (action != u"add"_s && action != u"list"_s && action != u"trash"_s &&
        action != u"restore"_s && action != u"delete"_s)
        return Cli::usageError(arguments.first() + (arguments.first() == u"snippet"_s
                                                        ? u": expected add, edit, list, trash, "
                                                          u"restore or delete"_s
                                                        : u": expected add, list, trash, "
                                                          u"restore or delete"_s));
    Store& store = services.store();
    if (auto failed = unavailable(store))
        return *failed;
    if (action == u"add"_s)
        return add(store, rest);
    if (action == u"list"_s)
        return list(store, rest);
    return change(store, action, rest);
}

Outcome runSnippet(const QStringList& arguments, CommandServices& services)
{
    if (arguments.value(1) == u"edit"_s) {
        Store& store = services.store();
        if (auto failed = unavailable(store))
            return *failed;
        return snippetEdit(store, subcommandArguments(arguments));
    }
    return runRecordCommand(arguments, services, snippetAdd, snippetList, snippetChange);
}

Outcome runCategory(const QStringList& arguments, CommandServices& services)
{
    return runRecordCommand(arguments, services, categoryAdd, categoryList, categoryChange);
}

Outcome runPurge(const QStringList& arguments, CommandServices& services)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 0, 0, u"arguments"_s))
        return *early;
    Store& store = services.store();
    if (auto failed = unavailable(store))
        return *failed;
    store.purgeOldTrash();
    return afterSave(store, QString());
}

Outcome runConflicts(const QStringList& arguments, CommandServices& services)
{
    QCommandLineParser parser;
    const QCommandLineOption excluding(u"excluding"_s, QString(), u"ID"_s);
    parser.addOption(excluding);
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 1, u"ABBREVIATION"_s))
        return *early;
    Store& store = services.store();
    if (auto failed = unavailable(store))
        return *failed;
    const SnippetEntity* excluded = nullptr;
    if (parser.isSet(excluding)) {
        QList<SnippetEntity*> found;
        if (auto error = resolveIds<SnippetEntity>(
                {parser.value(excluding)}, [&](const QUuid& id) { return store.snippetWithId(id); },
                found))
            return *error;
        excluded = found.first();
    }
    const AbbreviationConflict conflict = abbreviationConflict(
        parser.positionalArguments().first(),
        store.fetchSnippets(Store::Filter::all, Store::SnippetOrder::updatedAtDescending),
        excluded);
    const std::optional<ConflictWarning> warning = conflictWarning(conflict);
    return Cli::success(warning ? warning->text + u"\n"_s : QString());
}

} // namespace

void Cli::appendStoreCommands(std::vector<Command>& commands)
{
    commands.push_back(
        {u"snippet"_s,
         uR"(  snippet add --abbreviation A [--title T] [--text X | --rtf-file F] [--category NAME]
      Adds a snippet, rich when its text comes from an RTF file (and the category, when
      none of that name exists); prints its id.
  snippet edit ID [--title T] [--abbreviation A] [--text X] [--category NAME | --no-category]
      Changes a snippet; new text makes it plain. A category that does not exist yet is
      made.
  snippet list [--trashed | --all]
      Prints the live (or trashed, or all) snippets as a JSON array.
  snippet trash|restore|delete ID...
      Moves snippets to Recently Deleted, brings them back, or deletes them for good.
)"_s,
         runSnippet});
    commands.push_back({u"category"_s, uR"(  category add NAME [--color HEX]
      Adds a category (default colour #4A90D9); prints its id.
  category list [--trashed]
      Prints the categories in sidebar order (or the trashed ones) as a JSON array.
  category trash|restore|delete ID...
      Trashes a category with its live snippets, restores it with all of them, or
      deletes it and every snippet in it for good.
)"_s,
                        runCategory});
    commands.push_back({u"purge"_s, uR"(  purge
      Deletes what has been in Recently Deleted for more than 30 days.
)"_s,
                        runPurge});
    commands.push_back({u"conflicts"_s, uR"(  conflicts ABBREVIATION [--excluding ID]
      Prints the warning for an abbreviation that clashes with the library's, if any.
)"_s,
                        runConflicts});
}
