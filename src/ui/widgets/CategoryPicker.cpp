#include "ui/widgets/CategoryPicker.h"

#include "library/CategoryEntity.h"
#include "library/CategoryPalette.h"
#include "ui/widgets/Icons.h"

Q_DECLARE_OPAQUE_POINTER(CategoryEntity*)
Q_DECLARE_METATYPE(CategoryEntity*)

CategoryPicker::CategoryPicker(QWidget* parent) : QComboBox(parent)
{
    setAccessibleName(tr("Category"));
}

void CategoryPicker::setCategories(const QList<CategoryEntity*>& categories,
                                   CategoryEntity* selected)
{
    clear();
    addItem(tr("None"), QVariant::fromValue<CategoryEntity*>(nullptr));
    for (CategoryEntity* category : categories) {
        const auto color = CategoryPalette::colorFromHex(category->colorHex().value_or(QString()));
        addItem(Icons::dot(color.value_or(QColor())), category->displayName(),
                QVariant::fromValue(category));
        if (category == selected)
            setCurrentIndex(count() - 1);
    }
}

CategoryEntity* CategoryPicker::selectedCategory() const
{
    return currentData().value<CategoryEntity*>();
}
