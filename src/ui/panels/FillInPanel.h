#pragma once

#include "expansion/ExpansionPanels.h"

#include <QPointer>
#include <QWidget>
#include <optional>

class QLineEdit;

// The small floating form that asks for a snippet's fill-in values: one labelled field per
// value, Return walks through the fields and inserts on the last, Ctrl+Return inserts from
// anywhere, Escape cancels. At most one is open; showing another cancels the open one.
class FillInPanel final : public QWidget {
    Q_OBJECT

public:
    static FillInPanel* current();
    static void show(const QList<FillInField>& fields,
                     std::function<void(const QHash<QString, QString>&)> completion,
                     std::function<void()> cancellation);

    void complete();
    void cancel();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    explicit FillInPanel(const QList<FillInField>& fields);
    void submitted(int index);
    void finish();

    QList<FillInField> m_fields;
    QList<QLineEdit*> m_edits;
    std::function<void(const QHash<QString, QString>&)> m_completion;
    std::function<void()> m_cancellation;
    std::optional<QPoint> m_dragOffset;
    static QPointer<FillInPanel> s_current;
};
