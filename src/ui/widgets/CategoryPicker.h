#pragma once

#include <QComboBox>

class CategoryEntity;

// "None" and every given category with its dot and display name.
class CategoryPicker : public QComboBox {
    Q_OBJECT

public:
    explicit CategoryPicker(QWidget* parent = nullptr);

    void setCategories(const QList<CategoryEntity*>& categories, CategoryEntity* selected);
    CategoryEntity* selectedCategory() const;
};
