#pragma once

#include <QAbstractItemView>
#include <QApplication>
#include <QPushButton>
#include <QTest>

// Finding and driving widgets as a person sees them.
namespace UiTest {

// The visible push button inside `in` that shows `text` or is named so.
inline QPushButton* button(QWidget* in, const QString& text)
{
    for (QPushButton* b : in->findChildren<QPushButton*>())
        if ((b->text() == text || b->accessibleName() == text) && b->isVisible())
            return b;
    return nullptr;
}

// The first T inside `in` with that accessible name.
template <typename T> T* named(QWidget* in, const QString& accessibleName)
{
    for (T* w : in->findChildren<T*>())
        if (w->accessibleName() == accessibleName)
            return w;
    return nullptr;
}

// The list's selection replaced by these rows, as a click and Ctrl-clicks make it.
inline void selectRows(QAbstractItemView* list, const QList<int>& rows)
{
    QItemSelection selection;
    for (int row : rows)
        selection.select(list->model()->index(row, 0), list->model()->index(row, 0));
    list->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

// A visible top-level T (a popup, a dialog), with that object name if one is given, once it
// shows within 3 s; null otherwise.
template <typename T> T* shownTopLevel(const QString& objectName = {})
{
    T* found = nullptr;
    const bool shown = QTest::qWaitFor(
        [&] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* t = qobject_cast<T*>(w);
                    t && t->isVisible() && (objectName.isEmpty() || t->objectName() == objectName))
                    found = t;
            return found != nullptr;
        },
        3000);
    return shown ? found : nullptr;
}

} // namespace UiTest
