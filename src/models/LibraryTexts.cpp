#include "models/LibraryTexts.h"

#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"

#include <QCoreApplication>

namespace LibraryTexts {

// Each count has its singular and plural written out: both are whole sentences to translate.
QString snippetCount(qsizetype count)
{
    return count == 1 ? QCoreApplication::translate("LibraryTexts", "1 snippet")
                      : QCoreApplication::translate("LibraryTexts", "%1 snippets").arg(count);
}

QString snippetAction(const QString& verb, qsizetype count)
{
    //: %1 is a verb the caller translated ("Move", "Delete").
    return count == 1 ? QCoreApplication::translate("LibraryTexts", "%1 1 Snippet").arg(verb)
                      : QCoreApplication::translate("LibraryTexts", "%1 %2 Snippets")
                            .arg(verb, QString::number(count));
}

QString selectionCount(qsizetype count)
{
    return QCoreApplication::translate("LibraryTexts", "%1 snippets selected").arg(count);
}

Question deleteSnippets(qsizetype count, const SnippetEntity* single)
{
    const QString title =
        count == 1 ? QCoreApplication::translate("LibraryTexts", "Delete \"%1\"?")
                         .arg(single ? single->displayTitle()
                                     : QCoreApplication::translate("LibraryTexts", "this snippet"))
                   : QCoreApplication::translate("LibraryTexts", "Delete %1 snippets?").arg(count);
    return {title, QCoreApplication::translate("LibraryTexts", "This action cannot be undone."),
            QCoreApplication::translate("LibraryTexts", "Delete")};
}

Question deleteSelectedSnippets(qsizetype count)
{
    const QString title =
        count == 1 ? QCoreApplication::translate("LibraryTexts", "Delete 1 snippet?")
                   : QCoreApplication::translate("LibraryTexts", "Delete %1 snippets?").arg(count);
    return {title, QCoreApplication::translate("LibraryTexts", "This action cannot be undone."),
            snippetAction(QCoreApplication::translate("LibraryTexts", "Delete"), count)};
}

Question deleteCategory(const CategoryEntity& category)
{
    const qsizetype count = category.activeSnippets().size();
    QString message;
    if (count == 0)
        message = QCoreApplication::translate(
            "LibraryTexts", "This category is empty. This action cannot be undone.");
    else if (count == 1)
        message = QCoreApplication::translate(
            "LibraryTexts",
            "This will also delete 1 snippet in this category. This action cannot be undone.");
    else
        message =
            QCoreApplication::translate("LibraryTexts", "This will also delete %1 snippets in this "
                                                        "category. This action cannot be undone.")
                .arg(count);
    return {
        QCoreApplication::translate("LibraryTexts", "Delete \"%1\"?").arg(category.displayName()),
        message, QCoreApplication::translate("LibraryTexts", "Delete Category and Snippets")};
}

} // namespace LibraryTexts
