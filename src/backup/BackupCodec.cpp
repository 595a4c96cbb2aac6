#include "backup/BackupCodec.h"

#include "common/JsonText.h"
#include "common/Preferences.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <algorithm>
#include <charconv>

namespace {

// --- Writing ---

// A JSON value already rendered as far as its kind allows; objects sort their keys on output.
struct Node {
    QByteArray scalar; // set for strings, numbers and Booleans
    std::vector<std::pair<QString, Node>> members;
    std::vector<Node> items;
    bool isObject = false;
    bool isArray = false;
};

QByteArray quoted(const QString& text)
{
    return JsonText::quoted(text, JsonText::Slash::escaped);
}

Node string(const QString& text)
{
    return {quoted(text), {}, {}, false, false};
}
Node boolean(bool value)
{
    return {value ? "true" : "false", {}, {}, false, false};
}

// The shortest text that reads back as the same 32-bit float (0.8, not 0.800000011920929).
Node number(float value)
{
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return {QByteArray(buffer, int(result.ptr - buffer)), {}, {}, false, false};
}

struct ObjectBuilder {
    Node node{{}, {}, {}, true, false};
    ObjectBuilder& add(const QString& key, Node value)
    {
        node.members.emplace_back(key, std::move(value));
        return *this;
    }
    ObjectBuilder& add(const QString& key, const std::optional<QString>& value)
    {
        return value ? add(key, string(*value)) : *this;
    }
    ObjectBuilder& add(const QString& key, const std::optional<QDateTime>& value)
    {
        return value ? add(key, string(BackupCodec::formatDate(*value))) : *this;
    }
};

void render(const Node& node, int depth, QByteArray& out)
{
    const QByteArray inner(2 * (depth + 1), ' ');
    const QByteArray outer(2 * depth, ' ');
    if (node.isObject) {
        if (node.members.empty()) {
            out += "{}";
            return;
        }
        std::vector<const std::pair<QString, Node>*> sorted;
        for (const auto& member : node.members)
            sorted.push_back(&member);
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto* a, const auto* b) { return a->first < b->first; });
        out += "{\n";
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            out += inner + quoted(sorted[i]->first) + " : ";
            render(sorted[i]->second, depth + 1, out);
            out += i + 1 < sorted.size() ? ",\n" : "\n";
        }
        out += outer + '}';
    } else if (node.isArray) {
        if (node.items.empty()) {
            out += "[]";
            return;
        }
        out += "[\n";
        for (std::size_t i = 0; i < node.items.size(); ++i) {
            out += inner;
            render(node.items[i], depth + 1, out);
            out += i + 1 < node.items.size() ? ",\n" : "\n";
        }
        out += outer + ']';
    } else {
        out += node.scalar;
    }
}

Node snippetNode(const SnippetBackup& s)
{
    ObjectBuilder o;
    o.add(QStringLiteral("id"), string(s.id))
        .add(QStringLiteral("title"), s.title)
        .add(QStringLiteral("abbreviation"), s.abbreviation)
        .add(QStringLiteral("expandedText"), s.expandedText)
        .add(QStringLiteral("expandedTextRTFBase64"), s.expandedTextRTFBase64)
        .add(QStringLiteral("isRichText"), boolean(s.isRichText))
        .add(QStringLiteral("isCodeSnippet"), boolean(s.isCodeSnippet))
        .add(QStringLiteral("codeLanguage"), s.codeLanguage)
        .add(QStringLiteral("categoryName"), s.categoryName)
        .add(QStringLiteral("categoryColorHex"), s.categoryColorHex)
        .add(QStringLiteral("createdAt"), s.createdAt)
        .add(QStringLiteral("updatedAt"), s.updatedAt)
        .add(QStringLiteral("trashedAt"), s.trashedAt);
    return o.node;
}

Node categoryNode(const CategoryBackup& c)
{
    ObjectBuilder o;
    o.add(QStringLiteral("id"), string(c.id))
        .add(QStringLiteral("name"), c.name)
        .add(QStringLiteral("colorHex"), c.colorHex)
        .add(QStringLiteral("createdAt"), c.createdAt)
        .add(QStringLiteral("trashedAt"), c.trashedAt);
    return o.node;
}

// A volume out of range (or not finite, which JSON cannot hold) goes out as the default, so
// that the file always reads back.
float savedVolume(float volume)
{
    const std::optional<QVariant> v =
        Preferences::accept(Preferences::soundVolume, QVariant(volume));
    return float(v.value_or(Preferences::get(Preferences::soundVolume).defaultValue).toDouble());
}

Node settingsNode(const AppSettingsBackup& s)
{
    ObjectBuilder o;
    o.add(QStringLiteral("expansionEnabled"), boolean(s.expansionEnabled))
        .add(QStringLiteral("soundEnabled"), boolean(s.soundEnabled))
        .add(QStringLiteral("soundVolume"), number(savedVolume(s.soundVolume)))
        .add(QStringLiteral("selectedSound"), string(s.selectedSound));
    return o.node;
}

template <typename T, typename Convert> Node arrayOf(const QList<T>& list, Convert convert)
{
    Node node{{}, {}, {}, false, true};
    for (const T& item : list)
        node.items.push_back(convert(item));
    return node;
}

// --- Reading ---

// Reads one object, naming the path of every problem ("snippets[2].isRichText").
class Reader {
public:
    Reader(const QJsonObject& object, QString path) : m_object(object), m_path(std::move(path)) {}

    QString error() const { return m_error; }
    bool ok() const { return m_error.isNull(); }

    std::optional<QJsonValue> value(const QString& key, bool required)
    {
        const QJsonValue v = m_object.value(key);
        // A missing optional key and an explicit null both mean "absent".
        if (v.isUndefined() || v.isNull()) {
            if (required)
                fail(QStringLiteral("missing required key \"%1\"").arg(key));
            return std::nullopt;
        }
        return v;
    }
    std::optional<QString> text(const QString& key, bool required = false)
    {
        const auto v = value(key, required);
        if (!v)
            return std::nullopt;
        if (!v->isString())
            return fail(QStringLiteral("\"%1\" must be a string").arg(key)), std::nullopt;
        return v->toString();
    }
    bool flag(const QString& key)
    {
        const auto v = value(key, true);
        if (v && !v->isBool())
            fail(QStringLiteral("\"%1\" must be true or false").arg(key));
        return v && v->toBool();
    }
    std::optional<QDateTime> date(const QString& key, bool required = false)
    {
        const std::optional<QString> t = text(key, required);
        if (!t)
            return std::nullopt;
        // Internet date-time with whole seconds only; a fraction makes the file unreadable.
        static const QRegularExpression format(
            QStringLiteral("^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}(Z|[+-]\\d{2}:\\d{2})$"));
        QDateTime parsed =
            format.match(*t).hasMatch() ? QDateTime::fromString(*t, Qt::ISODate) : QDateTime();
        if (!parsed.isValid()) {
            fail(QStringLiteral("\"%1\" is not a date like 2025-03-01T09:30:00Z: \"%2\"")
                     .arg(key, *t));
            return std::nullopt;
        }
        return parsed.toUTC();
    }
    std::optional<QJsonArray> array(const QString& key, bool required)
    {
        const auto v = value(key, required);
        if (!v)
            return std::nullopt;
        if (!v->isArray())
            return fail(QStringLiteral("\"%1\" must be an array").arg(key)), std::nullopt;
        return v->toArray();
    }
    void fail(const QString& message)
    {
        if (m_error.isNull())
            m_error = m_path.isEmpty() ? message : message + QStringLiteral(" in ") + m_path;
    }

private:
    QJsonObject m_object;
    QString m_path;
    QString m_error;
};

template <typename T, typename Read>
std::optional<QList<T>> readArray(const QJsonArray& array, const QString& name, Read read,
                                  QString& error)
{
    QList<T> list;
    for (qsizetype i = 0; i < array.size(); ++i) {
        const QString path = QStringLiteral("%1[%2]").arg(name).arg(i);
        if (!array.at(i).isObject()) {
            error = QStringLiteral("%1 must be an object").arg(path);
            return std::nullopt;
        }
        Reader r(array.at(i).toObject(), path);
        T item = read(r);
        if (!r.ok()) {
            error = r.error();
            return std::nullopt;
        }
        list.append(std::move(item));
    }
    return list;
}

// One of the four settings: required, but a value of the wrong JSON type or out of range reads
// as the setting's default, as it would from the user defaults; the snippets still restore.
QVariant setting(Reader& r, const QString& name, const QString& key)
{
    const std::optional<QJsonValue> v = r.value(name, true);
    if (!v)
        return {};
    const Preferences::Preference& preference = Preferences::get(key);
    bool typed = false;
    switch (preference.kind) {
    case Preferences::Kind::flag:
        typed = v->isBool();
        break;
    case Preferences::Kind::number:
        typed = v->isDouble();
        break;
    default:
        typed = v->isString();
        break;
    }
    const std::optional<QVariant> accepted =
        typed ? Preferences::accept(preference, v->toVariant()) : std::nullopt;
    return accepted.value_or(preference.defaultValue);
}

SnippetBackup readSnippet(Reader& r)
{
    SnippetBackup s;
    s.id = r.text(QStringLiteral("id"), true).value_or(QString());
    s.title = r.text(QStringLiteral("title"));
    s.abbreviation = r.text(QStringLiteral("abbreviation"));
    s.expandedText = r.text(QStringLiteral("expandedText"));
    s.expandedTextRTFBase64 = r.text(QStringLiteral("expandedTextRTFBase64"));
    s.isRichText = r.flag(QStringLiteral("isRichText"));
    s.isCodeSnippet = r.flag(QStringLiteral("isCodeSnippet"));
    s.codeLanguage = r.text(QStringLiteral("codeLanguage"));
    s.categoryName = r.text(QStringLiteral("categoryName"));
    s.categoryColorHex = r.text(QStringLiteral("categoryColorHex"));
    s.createdAt = r.date(QStringLiteral("createdAt"));
    s.updatedAt = r.date(QStringLiteral("updatedAt"));
    s.trashedAt = r.date(QStringLiteral("trashedAt"));
    return s;
}

CategoryBackup readCategory(Reader& r)
{
    CategoryBackup c;
    c.id = r.text(QStringLiteral("id"), true).value_or(QString());
    c.name = r.text(QStringLiteral("name"));
    c.colorHex = r.text(QStringLiteral("colorHex"));
    c.createdAt = r.date(QStringLiteral("createdAt"));
    c.trashedAt = r.date(QStringLiteral("trashedAt"));
    return c;
}

} // namespace

namespace BackupCodec {

QString formatDate(const QDateTime& date)
{
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + u'Z';
}

QByteArray encode(const BackupFile& file)
{
    ObjectBuilder top;
    top.add(QStringLiteral("exportedAt"), string(formatDate(file.exportedAt)))
        .add(QStringLiteral("appVersion"), string(file.appVersion))
        .add(QStringLiteral("snippets"), arrayOf(file.snippets, snippetNode));
    if (file.trashedCategories)
        top.add(QStringLiteral("trashedCategories"),
                arrayOf(*file.trashedCategories, categoryNode));
    if (file.settings)
        top.add(QStringLiteral("settings"), settingsNode(*file.settings));
    QByteArray out;
    render(top.node, 0, out);
    return out;
}

std::variant<BackupFile, QString> decode(const QByteArray& bytes)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return QStringLiteral("the file is not valid JSON (%1 at byte %2)")
            .arg(parseError.errorString())
            .arg(parseError.offset);
    if (!document.isObject())
        return QStringLiteral("the file does not hold a backup object");

    Reader top(document.object(), QString());
    BackupFile file;
    file.exportedAt = top.date(QStringLiteral("exportedAt"), true).value_or(QDateTime());
    file.appVersion = top.text(QStringLiteral("appVersion"), true).value_or(QString());
    const std::optional<QJsonArray> snippets = top.array(QStringLiteral("snippets"), true);
    const std::optional<QJsonArray> categories =
        top.array(QStringLiteral("trashedCategories"), false);
    const std::optional<QJsonValue> settings = top.value(QStringLiteral("settings"), false);
    if (!top.ok())
        return top.error();

    QString error;
    if (auto list =
            readArray<SnippetBackup>(*snippets, QStringLiteral("snippets"), readSnippet, error))
        file.snippets = std::move(*list);
    else
        return error;
    if (categories) {
        auto list = readArray<CategoryBackup>(*categories, QStringLiteral("trashedCategories"),
                                              readCategory, error);
        if (!list)
            return error;
        file.trashedCategories = std::move(*list);
    }
    if (settings) {
        if (!settings->isObject())
            return QStringLiteral("\"settings\" must be an object");
        Reader r(settings->toObject(), QStringLiteral("settings"));
        AppSettingsBackup s;
        s.expansionEnabled =
            setting(r, QStringLiteral("expansionEnabled"), Preferences::expansionEnabled).toBool();
        s.soundEnabled =
            setting(r, QStringLiteral("soundEnabled"), Preferences::soundEnabled).toBool();
        s.soundVolume =
            float(setting(r, QStringLiteral("soundVolume"), Preferences::soundVolume).toDouble());
        s.selectedSound =
            setting(r, QStringLiteral("selectedSound"), Preferences::selectedSound).toString();
        if (!r.ok())
            return r.error();
        file.settings = s;
    }
    return file;
}

} // namespace BackupCodec
