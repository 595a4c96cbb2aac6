#pragma once

#include <QAbstractListModel>

class CategoryEntity;

// The sidebar's places: "All Snippets", the "Categories" heading, one row per live category
// (its dot, name and live snippet count), and "Recently Deleted".
class SidebarModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum class Kind { allSnippets, categoriesHeading, category, recentlyDeleted };
    enum Role {
        KindRole = Qt::UserRole + 1, // int(Kind)
        ColorRole,                   // QColor of a category; invalid: the accent colour
        CountRole,                   // live snippets of a category
    };

    using QAbstractListModel::QAbstractListModel;

    // The live categories in their order.
    void setCategories(QList<CategoryEntity*> categories);

    Kind kindAt(int row) const;
    CategoryEntity* categoryAt(int row) const;               // null unless a category row
    int rowOfCategory(const CategoryEntity* category) const; // -1 when not listed
    int allSnippetsRow() const { return 0; }
    int recentlyDeletedRow() const { return rowCount() - 1; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    struct Row {
        CategoryEntity* category;
        qsizetype count;
    };
    QList<Row> m_categories;
};
