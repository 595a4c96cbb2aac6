#include "ui/panels/FillInPanel.h"

#include "ui/widgets/Icons.h"

#include <QCloseEvent>
#include <QFrame>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>
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

namespace {

QFrame* divider(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

// Labels and the header's icon in the secondary (dimmer) text colour.
void useSecondaryColour(QWidget* widget)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    widget->setPalette(palette);
}

} // namespace

FillInPanel::FillInPanel(const QList<FillInField>& fields)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      m_fields(fields)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("fillInPanel"));
    // Not drawn (no title bar): it names the window for the window manager and assistive tools.
    setWindowTitle(tr("Complete Snippet"));
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* header = new QHBoxLayout;
    header->setContentsMargins(20, 20, 20, 14);
    header->setSpacing(8);
    auto* icon = new QLabel(this);
    icon->setObjectName(QStringLiteral("headerIcon"));
    icon->setPixmap(Icons::named(QStringLiteral("insert-text")).pixmap(16, 16));
    auto* title = new QLabel(tr("Complete Snippet"), this);
    title->setObjectName(QStringLiteral("headerTitle"));
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    auto* close = new QToolButton(this);
    close->setObjectName(QStringLiteral("close"));
    close->setIcon(Icons::named(QStringLiteral("window-close")));
    close->setAutoRaise(true);
    close->setAccessibleName(tr("Close"));
    close->setFocusPolicy(Qt::NoFocus);
    connect(close, &QToolButton::clicked, this, &FillInPanel::cancel);
    header->addWidget(icon);
    header->addWidget(title);
    header->addStretch();
    header->addWidget(close);
    layout->addLayout(header);
    layout->addWidget(divider(this));

    auto* form = new QGridLayout;
    form->setContentsMargins(20, 20, 20, 20);
    form->setVerticalSpacing(12);
    form->setHorizontalSpacing(8);
    for (qsizetype i = 0; i < fields.size(); ++i) {
        // Labels are the user's own text: no markup, and "&" is no shortcut.
        auto* label = new QLabel(this);
        label->setTextFormat(Qt::PlainText);
        label->setText(QString(fields.at(i).label).replace(u'&', QStringLiteral("&&")));
        label->setObjectName(QStringLiteral("label%1").arg(i));
        label->setFixedWidth(90);
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        useSecondaryColour(label);
        auto* edit = new QLineEdit(this);
        edit->setObjectName(QStringLiteral("field%1").arg(i));
        label->setBuddy(edit);
        connect(edit, &QLineEdit::returnPressed, this, [this, i] { submitted(int(i)); });
        form->addWidget(label, int(i), 0);
        form->addWidget(edit, int(i), 1);
        m_edits.append(edit);
    }
    layout->addLayout(form);
    layout->addWidget(divider(this));

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(20, 14, 20, 14);
    buttons->addStretch();
    auto* cancelButton = new QPushButton(tr("Cancel"), this);
    cancelButton->setObjectName(QStringLiteral("cancel"));
    cancelButton->setAutoDefault(false);
    auto* insertButton = new QPushButton(tr("Insert"), this);
    insertButton->setObjectName(QStringLiteral("insert"));
    insertButton->setDefault(true); // drawn as the prominent one
    connect(cancelButton, &QPushButton::clicked, this, &FillInPanel::cancel);
    connect(insertButton, &QPushButton::clicked, this, &FillInPanel::complete);
    buttons->addWidget(cancelButton);
    buttons->addWidget(insertButton);
    layout->addLayout(buttons);
}

// Without a title bar the form moves by dragging its background.
void FillInPanel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_dragOffset = event->globalPosition().toPoint() - frameGeometry().topLeft();
    QWidget::mousePressEvent(event);
}

void FillInPanel::mouseMoveEvent(QMouseEvent* event)
{
    if ((event->buttons() & Qt::LeftButton) && m_dragOffset)
        move(event->globalPosition().toPoint() - *m_dragOffset);
    QWidget::mouseMoveEvent(event);
}

void FillInPanel::mouseReleaseEvent(QMouseEvent* event)
{
    m_dragOffset.reset();
    QWidget::mouseReleaseEvent(event);
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
