#include "ui/settings/SettingsForm.h"

#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

SettingsForm::SettingsForm(const QString& title, QWidget* parent) : QScrollArea(parent)
{
    setObjectName(QStringLiteral("settingsForm"));
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* content = new QWidget(this);
    content->setObjectName(QStringLiteral("settingsFormContent"));
    m_body = new QVBoxLayout(content);
    m_body->setContentsMargins(20, 14, 20, 14);
    m_body->setSpacing(6);
    auto* heading = new QLabel(title, content);
    heading->setObjectName(QStringLiteral("paneTitle"));
    heading->setAccessibleName(title);
    QFont font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.35);
    heading->setFont(font);
    m_body->addWidget(heading);
    setWidget(content);
    viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
}

QVBoxLayout* SettingsForm::addSection(const QString& header, const QString& footer)
{
    m_body->addSpacing(8);
    auto* group = new QGroupBox(header, widget());
    group->setAccessibleName(header);
    auto* layout = new QVBoxLayout(group);
    layout->setSpacing(8);
    m_body->addWidget(group);
    if (!footer.isEmpty()) {
        QLabel* note = caption(footer, widget());
        note->setContentsMargins(4, 0, 4, 0);
        m_body->addWidget(note);
    }
    return layout;
}

void SettingsForm::finish()
{
    m_body->addStretch(1);
}

QLabel* SettingsForm::caption(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    label->setAccessibleName(text);
    return label;
}

QBoxLayout* SettingsForm::row(QWidget* left, QWidget* right)
{
    auto* layout = new QHBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(left, 1);
    if (right)
        layout->addWidget(right, 0, Qt::AlignVCenter);
    return layout;
}

QWidget* SettingsForm::iconLine(const QString& iconName, const QString& text, QWidget* parent,
                                const QColor& tint)
{
    auto* line = new QWidget(parent);
    auto* layout = new QHBoxLayout(line);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    auto* icon = new QLabel(line);
    icon->setObjectName(QStringLiteral("lineIcon"));
    icon->setPixmap(tint.isValid() ? tinted(iconName, tint)
                                   : Icons::named(iconName).pixmap(16, 16));
    icon->setFixedSize(16, 16);
    layout->addWidget(icon, 0, Qt::AlignTop);
    auto* label = new QLabel(text, line);
    label->setObjectName(QStringLiteral("lineText"));
    label->setWordWrap(true);
    label->setAccessibleName(text);
    layout->addWidget(label, 1);
    return line;
}

void SettingsForm::describe(QWidget* widget, const QString& name, const QString& description)
{
    widget->setAccessibleName(name);
    if (description.isEmpty())
        return;
    widget->setAccessibleDescription(description);
    widget->setToolTip(description);
}

QPixmap SettingsForm::tinted(const QString& iconName, const QColor& color, int size)
{
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pixmap = Icons::named(iconName).pixmap(QSize(size, size), ratio);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

// Readable on light and dark windows alike.
QColor SettingsForm::green()
{
    return QColor(0x2e, 0x9e, 0x5b);
}

QColor SettingsForm::orange()
{
    return QColor(0xe8, 0x96, 0x1e);
}
