#pragma once

#include <QObject>
#include <functional>

// What the main window needs to know of the open editor: whether it holds unsaved changes,
// and how to save them. The editor sets both; the window only reads them.
class EditorState : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isDirty READ isDirty WRITE setDirty NOTIFY isDirtyChanged)

public:
    using QObject::QObject;

    bool isDirty() const { return m_isDirty; }
    void setDirty(bool dirty)
    {
        if (m_isDirty == dirty)
            return;
        m_isDirty = dirty;
        Q_EMIT isDirtyChanged(dirty);
    }

    std::function<void()> saveAction;

Q_SIGNALS:
    void isDirtyChanged(bool dirty);

private:
    bool m_isDirty = false;
};
