#include "ui/trash/TrashCategoryDetailView.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "library/SnippetEntity.h"
#include "models/TrashTexts.h"

#include <QFontDatabase>
#include <QHeaderView>
#include <QLabel>
#include <QTreeWidget>
#include <QVBoxLayout>

TrashCategoryDetailView::TrashCategoryDetailView(TrashViewModel* model, QWidget* parent)
    : TrashItemDetailView(model, parent)
{
    setObjectName(QStringLiteral("trashCategoryDetail"));
    m_contents = new QLabel(this);
    m_contents->setObjectName(QStringLiteral("trashCategoryContents"));
    m_contents->setTextFormat(Qt::PlainText);
    m_contents->setWordWrap(true);
    m_contents->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    body()->addWidget(m_contents);
    m_snippets = new QTreeWidget(this);
    m_snippets->setObjectName(QStringLiteral("trashCategorySnippets"));
    m_snippets->setAccessibleName(tr("Snippets in this category"));
    m_snippets->setAccessibleDescription(tr("They are restored with the category"));
    m_snippets->setHeaderLabels({tr("Snippet"), tr("Abbreviation")});
    m_snippets->setRootIsDecorated(false);
    m_snippets->setSelectionMode(QAbstractItemView::NoSelection);
    m_snippets->setUniformRowHeights(true);
    m_snippets->header()->setStretchLastSection(false);
    m_snippets->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_snippets->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    body()->addWidget(m_snippets, 1);
    body()->addStretch(0);
}

void TrashCategoryDetailView::showCategory(CategoryEntity* category)
{
    if (!category)
        return;
    const auto color = CategoryPalette::colorFromHex(category->colorHex().value_or(QString()));
    showRecord(TrashSelection::of(category), category->displayName(), color.value_or(QColor()),
               category->trashedAt());
    const QList<SnippetEntity*> snippets = category->sortedSnippets();
    m_contents->setText(TrashTexts::categoryContents(snippets.size()));
    m_snippets->clear();
    const QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const int rowHeight = m_snippets->fontMetrics().height() + 8;
    for (const SnippetEntity* snippet : snippets) {
        auto* item = new QTreeWidgetItem(
            m_snippets, {snippet->displayTitle(), snippet->abbreviation().value_or(QString())});
        item->setFont(1, mono);
        item->setSizeHint(0, QSize(0, rowHeight));
    }
    m_snippets->setVisible(!snippets.isEmpty());
}
