#include "models/LibraryTexts.h"

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"

using namespace Qt::StringLiterals;

namespace LibraryTexts {

namespace {
QString plural(qsizetype count)
{
    return count == 1 ? QString() : u"s"_s;
}
QString quoted(const QString& text)
{
    return u'"' + text + u'"';
}
} // namespace

QString snippetCount(qsizetype count)
{
    return QString::number(count) + u" snippet"_s + plural(count);
}

QString snippetAction(const QString& verb, qsizetype count)
{
    return verb + u' ' + QString::number(count) + u" Snippet"_s + plural(count);
}

QString selectionCount(qsizetype count)
{
    return QString::number(count) + u" snippets selected"_s;
}

Question deleteSnippets(qsizetype count, const SnippetEntity* single)
{
    const QString title =
        count == 1 ? QString(u"Delete "_s +
                             quoted(single ? single->displayTitle() : u"this snippet"_s) + u'?')
                   : QString(u"Delete "_s + QString::number(count) + u" snippets?"_s);
    return {title, u"This action cannot be undone."_s, u"Delete"_s};
}

Question deleteSelectedSnippets(qsizetype count)
{
    return {u"Delete "_s + QString::number(count) + u" snippet"_s + plural(count) + u'?',
            u"This action cannot be undone."_s, snippetAction(u"Delete"_s, count)};
}

Question deleteCategory(const CategoryEntity& category)
{
    const qsizetype count = category.activeSnippets().size();
    const QString message = count == 0 ? u"This category is empty. This action cannot be undone."_s
                                       : u"This will also delete "_s + QString::number(count) +
                                             u" snippet"_s + plural(count) +
                                             u" in this category. This action cannot be undone."_s;
    return {u"Delete "_s + quoted(category.displayName()) + u'?', message,
            u"Delete Category and Snippets"_s};
}

} // namespace LibraryTexts
