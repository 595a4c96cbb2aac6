#include "ui/editor/AIPromptPickerView.h"

#include "ai/AIService.h"
#include "models/AIPromptExamples.h"
#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

AIPromptPickerView::AIPromptPickerView(AIService* ai, QWidget* parent)
    : QFrame(parent, Qt::Popup), m_ai(ai)
{
    setObjectName(u"aiPromptPicker"_s);
    setAccessibleName(tr("AI Macro"));
    setFrameShape(QFrame::StyledPanel);
    setMinimumWidth(360);
    auto* layout = new QVBoxLayout(this);

    auto* header = new QHBoxLayout;
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::named(u"scrivlane-sparkles"_s).pixmap(18, 18));
    auto* title = new QLabel(tr("AI Macro"), this);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    m_provider = new QLabel(this);
    m_provider->setForegroundRole(QPalette::PlaceholderText);
    m_dot = new QLabel(this);
    m_dot->setFixedSize(10, 10);
    auto* closer = new QToolButton(this);
    closer->setIcon(Icons::named(u"window-close"_s));
    closer->setAutoRaise(true);
    closer->setAccessibleName(tr("Close"));
    header->addWidget(icon);
    header->addWidget(title);
    header->addWidget(m_provider);
    header->addWidget(m_dot);
    header->addStretch(1);
    header->addWidget(closer);
    layout->addLayout(header);

    auto* examples = new QLabel(tr("Quick-start examples"), this);
    examples->setFont(bold);
    layout->addWidget(examples);
    for (const AIPromptExample& example : AIPromptExample::all()) {
        auto* row = new QPushButton(example.label, this);
        row->setFlat(true);
        row->setStyleSheet(u"text-align: left; padding: 4px 8px;"_s);
        row->setAccessibleDescription(example.prompt);
        row->setToolTip(example.prompt);
        const QString macro = example.macro();
        connect(row, &QPushButton::clicked, this, [this, macro] {
            close();
            Q_EMIT insertRequested(macro);
        });
        layout->addWidget(row);
    }

    auto* blank = new QHBoxLayout;
    auto* arrow = new QLabel(this);
    arrow->setPixmap(Icons::named(u"go-jump"_s).pixmap(14, 14));
    auto* blankText = new QLabel(tr("Or insert a blank prompt and type your own"), this);
    blankText->setWordWrap(true);
    auto* insert = new QPushButton(Icons::named(u"scrivlane-sparkles"_s), tr("Insert"), this);
    insert->setAccessibleName(tr("Insert blank AI prompt"));
    insert->setDefault(true);
    blank->addWidget(arrow);
    blank->addWidget(blankText, 1);
    blank->addWidget(insert);
    layout->addSpacing(6);
    layout->addLayout(blank);

    connect(insert, &QPushButton::clicked, this, [this] {
        close();
        Q_EMIT insertRequested(u"{ai: }"_s);
    });
    connect(closer, &QToolButton::clicked, this, [this] {
        close();
        Q_EMIT dismissed();
    });
    connect(ai, &AIService::connectionStatusChanged, this, &AIPromptPickerView::updateStatus);
    connect(ai, &AIService::providerChanged, this, &AIPromptPickerView::updateStatus);
    updateStatus();
}

void AIPromptPickerView::openAt(const QPoint& at)
{
    adjustSize();
    move(at);
    show();
}

void AIPromptPickerView::updateStatus()
{
    m_provider->setText(displayName(m_ai->provider()));
    QColor color;
    QString tip;
    switch (m_ai->connectionStatus().kind) {
    case AIConnectionStatus::Kind::ok:
        color = QColor(0x2e, 0x9e, 0x5b);
        tip = tr("Connected");
        break;
    case AIConnectionStatus::Kind::error:
        color = QColor(0xd9, 0x45, 0x3b);
        tip = tr("Connection error — check Settings → AI Macros");
        break;
    default:
        color = palette().color(QPalette::Text);
        color.setAlphaF(0.4f);
        tip = tr("Not yet tested — use Test Connection in Settings → AI Macros");
        break;
    }
    m_dot->setPixmap(Icons::dot(color, 10).pixmap(10, 10));
    m_dot->setToolTip(tip);
    m_dot->setAccessibleName(tip);
}
