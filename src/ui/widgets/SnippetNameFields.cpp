#include "ui/widgets/SnippetNameFields.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLineEdit>

SnippetNameFields SnippetNameFields::addTo(QFormLayout* form, QWidget* parent)
{
    SnippetNameFields fields;
    fields.title = new QLineEdit(parent);
    fields.title->setPlaceholderText(
        QCoreApplication::translate("SnippetNameFields", "e.g. Monthly Report Email"));
    fields.title->setAccessibleName(QCoreApplication::translate("SnippetNameFields", "Title"));
    form->addRow(QCoreApplication::translate("SnippetNameFields", "Title"), fields.title);
    fields.abbreviation = new QLineEdit(parent);
    fields.abbreviation->setPlaceholderText(
        QCoreApplication::translate("SnippetNameFields", "e.g. mre"));
    fields.abbreviation->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    fields.abbreviation->setAccessibleName(
        QCoreApplication::translate("SnippetNameFields", "Abbreviation"));
    fields.abbreviation->setAccessibleDescription(QCoreApplication::translate(
        "SnippetNameFields", "What you type in any application to expand this snippet"));
    form->addRow(QCoreApplication::translate("SnippetNameFields", "Abbreviation"),
                 fields.abbreviation);
    return fields;
}
