#include "ui/panels/FillInPanel.h"

#include <QCloseEvent>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

QPointer<FillInPanel> FillInPanel::s_current;

FillInPanel* FillInPanel::current()
{
    return s_current.data();
}

void FillInPanel::show(const QList<FillInField>& fields,
                       std::function<void(const QHash<QString, QString>&)> completion,
                       std::function<void()> cancellation)
{
    if (s_current)
        s_current->cancel();
    auto* panel = new FillInPanel(fields);
    panel->m_completion = std::move(completion);
    panel->m_cancellation = std::move(cancellation);
    s_current = panel;
    panel->adjustSize();
    panel->resize(std::max(panel->width(), 400), panel->height());
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        panel->move(screen->geometry().center() - panel->rect().center());
    panel->QWidget::show();
    panel->raise();
    panel->activateWindow();
    if (!panel->m_edits.isEmpty())
        panel->m_edits.first()->setFocus();
}

FillInPanel::FillInPanel(const QList<FillInField>& fields)
    : QWidget(nullptr, Qt::Tool | Qt::WindowStaysOnTopHint), m_fields(fields)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("fillInPanel"));
    setWindowTitle(QStringLiteral("Complete Snippet"));
    auto* layout = new QVBoxLayout(this);
    auto* header = new QLabel(QStringLiteral("Complete Snippet"), this);
    QFont bold = header->font();
    bold.setBold(true);
    header->setFont(bold);
    layout->addWidget(header);
    auto* form = new QFormLayout;
    for (qsizetype i = 0; i < fields.size(); ++i) {
        auto* edit = new QLineEdit(this);
        edit->setObjectName(QStringLiteral("field%1").arg(i));
        connect(edit, &QLineEdit::returnPressed, this, [this, i] { submitted(int(i)); });
        // Labels are the user's own text: no markup, and "&" is no shortcut.
        auto* label = new QLabel(this);
        label->setTextFormat(Qt::PlainText);
        label->setText(QString(fields.at(i).label).replace(u'&', QStringLiteral("&&")));
        label->setBuddy(edit);
        form->addRow(label, edit);
        m_edits.append(edit);
    }
    layout->addLayout(form);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    auto* cancelButton = new QPushButton(QStringLiteral("Cancel"), this);
    cancelButton->setObjectName(QStringLiteral("cancel"));
    auto* insertButton = new QPushButton(QStringLiteral("Insert"), this);
    insertButton->setObjectName(QStringLiteral("insert"));
    connect(cancelButton, &QPushButton::clicked, this, &FillInPanel::cancel);
    connect(insertButton, &QPushButton::clicked, this, &FillInPanel::complete);
    buttons->addWidget(cancelButton);
    buttons->addWidget(insertButton);
    layout->addLayout(buttons);
}

void FillInPanel::submitted(int index)
{
    if (index + 1 >= m_edits.size())
        complete();
    else
        m_edits.at(index + 1)->setFocus();
}

void FillInPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        cancel();
        return;
    }
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) &&
        (event->modifiers() & Qt::ControlModifier)) {
        complete();
        return;
    }
    QWidget::keyPressEvent(event);
}

void FillInPanel::complete()
{
    QHash<QString, QString> values;
    for (qsizetype i = 0; i < m_fields.size(); ++i)
        values.insert(m_fields.at(i).id, m_edits.at(i)->text());
    auto completion = std::exchange(m_completion, nullptr);
    m_cancellation = nullptr;
    finish();
    if (completion)
        completion(values);
}

void FillInPanel::cancel()
{
    auto cancellation = std::exchange(m_cancellation, nullptr);
    m_completion = nullptr;
    finish();
    if (cancellation)
        cancellation();
}

void FillInPanel::closeEvent(QCloseEvent* event)
{
    // Closing the window by other means counts as cancelling.
    if (m_cancellation || m_completion)
        cancel();
    event->accept();
}

void FillInPanel::finish()
{
    if (s_current == this)
        s_current = nullptr;
    close();
}
