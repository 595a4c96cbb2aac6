#include "ui/onboarding/AIOnboardingView.h"

#include "ai/AIService.h"
#include "ui/widgets/Icons.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// Where each provider hands out API keys.
QString keyPage(AIProvider provider)
{
    switch (provider) {
    case AIProvider::openAI:
        return u"https://platform.openai.com/api-keys"_s;
    case AIProvider::anthropic:
        return u"https://console.anthropic.com/settings/keys"_s;
    default:
        return {};
    }
}

QLabel* heading(const QString& text, QWidget* parent, qreal scale = 1.3)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * scale);
    label->setFont(font);
    return label;
}

QLabel* wrapped(const QString& text, QWidget* parent, Qt::TextFormat format = Qt::PlainText)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(format);
    label->setWordWrap(true);
    return label;
}

QHBoxLayout* iconLine(const QString& iconName, QLabel* text)
{
    auto* row = new QHBoxLayout;
    auto* icon = new QLabel(text->parentWidget());
    icon->setPixmap(Icons::named(iconName).pixmap(14, 14));
    row->addWidget(icon, 0, Qt::AlignTop);
    row->addWidget(text, 1);
    return row;
}

} // namespace

AIOnboardingView::AIOnboardingView(AIService* ai, QWidget* parent)
    : QDialog(parent), m_ai(ai), m_selected(ai->provider())
{
    setObjectName(u"aiOnboarding"_s);
    setWindowTitle(tr("AI Macros"));
    setAccessibleName(tr("AI Macros"));
    setWindowModality(Qt::WindowModal);
    setMinimumWidth(480);
    auto* layout = new QVBoxLayout(this);

    auto* top = new QHBoxLayout;
    for (int i = 0; i < 3; ++i) {
        auto* dot = new QLabel(this);
        dot->setFixedSize(7, 7);
        m_dots << dot;
        top->addWidget(dot);
    }
    top->addStretch(1);
    auto* close = new QToolButton(this);
    close->setIcon(Icons::named(u"window-close"_s));
    close->setAutoRaise(true);
    close->setAccessibleName(tr("Close"));
    connect(close, &QToolButton::clicked, this, &QDialog::reject);
    top->addWidget(close);
    layout->addLayout(top);

    m_steps = new QStackedWidget(this);
    m_steps->addWidget(buildIntroduction());
    m_steps->addWidget(buildProviders());
    m_steps->addWidget(buildConfiguration());
    layout->addWidget(m_steps, 1);

    connect(ai, &AIService::availableModelsChanged, this, &AIOnboardingView::updateConfiguration);
    connect(ai, &AIService::isFetchingModelsChanged, this, &AIOnboardingView::updateConfiguration);
    connect(ai, &AIService::ollamaDetectedChanged, this, &AIOnboardingView::updateConfiguration);
    connect(ai, &AIService::connectionStatusChanged, this, &AIOnboardingView::updateConfiguration);
    connect(ai, &AIService::modelChanged, this, &AIOnboardingView::updateConfiguration);
    goTo(1);
}

QWidget* AIOnboardingView::buildIntroduction()
{
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    auto* icon = new QLabel(page);
    icon->setPixmap(Icons::named(u"scrivlane-sparkles"_s).pixmap(36, 36));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);
    auto* title = heading(tr("AI Macros"), page);
    title->setAlignment(Qt::AlignCenter);
    layout->addWidget(title);
    auto* line = wrapped(tr("Generate dynamic text using AI every time a snippet expands."), page);
    line->setAlignment(Qt::AlignCenter);
    layout->addWidget(line);

    auto* example = new QFrame(page);
    example->setFrameShape(QFrame::StyledPanel);
    auto* box = new QVBoxLayout(example);
    auto* exampleTitle = heading(tr("Example"), example, 1.0);
    box->addLayout(iconLine(u"dialog-information"_s, exampleTitle));
    box->addWidget(
        wrapped(tr("Snippet abbreviation:&nbsp;&nbsp;<b>myemail</b>"), example, Qt::RichText));
    auto* expansion =
        wrapped(tr("{ai: Write a professional sign-off for an email about {fill:Topic}}"), example);
    expansion->setTextInteractionFlags(Qt::TextSelectableByMouse);
    box->addWidget(expansion);
    box->addWidget(wrapped(tr("When you type <b>myemail</b>, ScrivLane asks for the topic, sends "
                              "your prompt to AI, and pastes the generated text instantly."),
                           example, Qt::RichText));
    layout->addWidget(example);
    layout->addStretch(1);

    auto* buttons = new QHBoxLayout;
    auto* skip = new QPushButton(tr("Skip for now"), page);
    auto* start = new QPushButton(tr("Get Started"), page);
    start->setDefault(true);
    buttons->addWidget(skip);
    buttons->addStretch(1);
    buttons->addWidget(start);
    layout->addLayout(buttons);
    connect(skip, &QPushButton::clicked, this, &QDialog::reject);
    connect(start, &QPushButton::clicked, this, [this] { goTo(2); });
    return page;
}

QWidget* AIOnboardingView::buildProviders()
{
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(heading(tr("Choose a Provider"), page));
    layout->addWidget(wrapped(tr("Select the AI service you want to use."), page));
    m_cards = new QButtonGroup(this);
    m_cards->setExclusive(true);
    struct Card {
        AIProvider provider;
        const char16_t* icon;
        const char* subtitle; // translated where the card is made
    };
    // Grok is set up in the settings, not here.
    const Card cards[] = {
        {AIProvider::openAI, u"scrivlane-sparkles",
         QT_TR_NOOP("GPT-4o mini and other OpenAI models")},
        {AIProvider::anthropic, u"scrivlane-sparkles",
         QT_TR_NOOP("Claude models — fast, capable, safe")},
        {AIProvider::ollama, u"drive-harddisk",
         QT_TR_NOOP("Run models locally — no API key needed")},
        {AIProvider::custom, u"folder-remote", QT_TR_NOOP("Any OpenAI-compatible API endpoint")},
    };
    for (const Card& card : cards) {
        auto* button = new QPushButton(page);
        button->setCheckable(true);
        button->setMinimumHeight(48);
        const QString name = displayName(card.provider);
        const QString subtitle = tr(card.subtitle);
        button->setText(name + u"\n"_s + subtitle);
        button->setIcon(Icons::named(QString::fromUtf16(card.icon)));
        button->setStyleSheet(u"text-align: left; padding: 6px 10px;"_s);
        button->setAccessibleName(name);
        button->setAccessibleDescription(subtitle);
        button->setProperty("provider", QVariant::fromValue(card.provider));
        m_cards->addButton(button);
        layout->addWidget(button);
        if (card.provider == m_selected)
            button->setChecked(true);
    }
    // Toggled, not clicked: assistive technologies toggle checkable buttons.
    connect(m_cards, &QButtonGroup::buttonToggled, this, [this](QAbstractButton* button, bool on) {
        if (!on)
            return;
        m_selected = button->property("provider").value<AIProvider>();
        for (QAbstractButton* b : m_cards->buttons())
            b->setIcon(b == button ? Icons::named(u"emblem-ok"_s)
                                   : Icons::named(u"scrivlane-sparkles"_s));
    });
    layout->addStretch(1);
    auto* buttons = new QHBoxLayout;
    auto* back = new QPushButton(tr("Back"), page);
    auto* next = new QPushButton(tr("Next"), page);
    next->setDefault(true);
    buttons->addWidget(back);
    buttons->addStretch(1);
    buttons->addWidget(next);
    layout->addLayout(buttons);
    connect(back, &QPushButton::clicked, this, [this] { goTo(1); });
    connect(next, &QPushButton::clicked, this, [this] {
        m_ai->setProvider(m_selected);
        m_key->setText(m_ai->apiKey());
        goTo(3);
        m_ai->refreshModels();
    });
    return page;
}

QWidget* AIOnboardingView::buildConfiguration()
{
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    m_configureTitle = heading(QString(), page);
    layout->addWidget(m_configureTitle);
    layout->addWidget(wrapped(tr("Add your API key and pick a model."), page));

    m_keyRow = new QWidget(page);
    auto* keyLayout = new QVBoxLayout(m_keyRow);
    keyLayout->setContentsMargins(0, 0, 0, 0);
    m_billing = wrapped(QString(), m_keyRow);
    keyLayout->addLayout(iconLine(u"dialog-information"_s, m_billing));
    auto* keyLabel = new QLabel(tr("API Key"), m_keyRow);
    m_key = new QLineEdit(m_keyRow);
    m_key->setEchoMode(QLineEdit::Password);
    m_key->setPlaceholderText(tr("Paste your API key here"));
    m_key->setAccessibleName(tr("API Key"));
    keyLabel->setBuddy(m_key);
    m_keyLink = new QLabel(m_keyRow);
    m_keyLink->setOpenExternalLinks(true);
    keyLayout->addWidget(keyLabel);
    keyLayout->addWidget(m_key);
    keyLayout->addWidget(m_keyLink);
    layout->addWidget(m_keyRow);
    connect(m_key, &QLineEdit::textEdited, this, [this](const QString& text) {
        m_ai->setProvider(m_selected);
        m_ai->setApiKey(text);
        m_ai->refreshModels();
    });

    m_ollamaWarning = wrapped(
        tr("Ollama doesn't appear to be running. Open the Ollama app and try again."), page);
    layout->addLayout(iconLine(u"dialog-warning"_s, m_ollamaWarning));

    auto* modelRow = new QHBoxLayout;
    auto* modelLabel = new QLabel(tr("Model"), page);
    m_modelPicker = new QComboBox(page);
    m_modelPicker->setAccessibleName(tr("Model"));
    m_modelField = new QLineEdit(page);
    m_modelField->setPlaceholderText(tr("Model name"));
    m_modelField->setAccessibleName(tr("Model name"));
    m_fetching = new QLabel(tr("Fetching models…"), page);
    auto* refresh = new QToolButton(page);
    refresh->setIcon(Icons::named(u"view-refresh"_s));
    refresh->setToolTip(tr("Refresh model list"));
    refresh->setAccessibleName(tr("Refresh model list"));
    modelRow->addWidget(modelLabel);
    modelRow->addWidget(m_modelPicker, 1);
    modelRow->addWidget(m_modelField, 1);
    modelRow->addWidget(m_fetching);
    modelRow->addWidget(refresh);
    layout->addLayout(modelRow);
    connect(refresh, &QToolButton::clicked, m_ai, &AIService::refreshModels);
    connect(m_modelPicker, &QComboBox::activated, this,
            [this] { m_ai->setModel(m_modelPicker->currentText()); });
    connect(m_modelField, &QLineEdit::textEdited, m_ai, &AIService::setModel);

    auto* testRow = new QHBoxLayout;
    auto* test = new QPushButton(tr("Test Connection"), page);
    m_status = new QLabel(page);
    m_status->setWordWrap(true);
    testRow->addWidget(test);
    testRow->addWidget(m_status, 1);
    layout->addLayout(testRow);
    connect(test, &QPushButton::clicked, m_ai, &AIService::testConnection);

    layout->addStretch(1);
    auto* buttons = new QHBoxLayout;
    auto* back = new QPushButton(tr("Back"), page);
    auto* enable = new QPushButton(tr("Enable AI Macros"), page);
    enable->setDefault(true);
    buttons->addWidget(back);
    buttons->addStretch(1);
    buttons->addWidget(enable);
    layout->addLayout(buttons);
    connect(back, &QPushButton::clicked, this, [this] { goTo(2); });
    // Tested or not: the user decides.
    connect(enable, &QPushButton::clicked, this, [this] {
        m_ai->setIsEnabled(true);
        accept();
        Q_EMIT enabled();
    });
    return page;
}

void AIOnboardingView::goTo(int step)
{
    m_step = step;
    m_steps->setCurrentIndex(step - 1);
    const QColor accent = palette().color(QPalette::Highlight);
    QColor quiet = palette().color(QPalette::Text);
    quiet.setAlphaF(0.3f);
    for (int i = 0; i < m_dots.size(); ++i) {
        m_dots[i]->setPixmap(Icons::dot(i + 1 <= step ? accent : quiet, 7).pixmap(7, 7));
        m_dots[i]->setAccessibleName(tr("Step %1 of 3").arg(i + 1));
    }
    updateConfiguration();
}

void AIOnboardingView::updateConfiguration()
{
    const QString name = displayName(m_selected);
    m_configureTitle->setText(tr("Configure %1").arg(name));
    const bool ollama = m_selected == AIProvider::ollama;
    m_keyRow->setVisible(!ollama);
    m_billing->setText(tr("API access is billed separately by %1 and is not included with a "
                          "ChatGPT Plus, Claude Pro, or similar subscription. You'll need to "
                          "create an API account and add credits — costs are typically "
                          "fractions of a cent per expansion.")
                           .arg(name));
    const QString page = keyPage(m_selected);
    m_keyLink->setVisible(!page.isEmpty());
    m_keyLink->setText(tr("<a href=\"%1\">Get API key</a>").arg(page));
    const bool ollamaMissing = ollama && m_ai->ollamaDetected() == std::optional(false);
    m_ollamaWarning->setVisible(ollamaMissing);
    const bool fetching = m_ai->isFetchingModels();
    const bool pick = !m_ai->availableModels().isEmpty() && !m_ai->isAnthropicEnterprise();
    m_fetching->setVisible(fetching);
    m_modelPicker->setVisible(!fetching && pick);
    m_modelField->setVisible(!fetching && !pick);
    if (pick) {
        const QSignalBlocker quiet(m_modelPicker);
        m_modelPicker->clear();
        m_modelPicker->addItems(m_ai->availableModels());
        m_modelPicker->setCurrentText(m_ai->model());
    } else if (m_modelField->text() != m_ai->model()) {
        m_modelField->setText(m_ai->model());
    }
    const AIConnectionStatus& status = m_ai->connectionStatus();
    switch (status.kind) {
    case AIConnectionStatus::Kind::unknown:
        m_status->clear();
        break;
    case AIConnectionStatus::Kind::testing:
        m_status->setText(tr("Testing…"));
        break;
    case AIConnectionStatus::Kind::ok:
        m_status->setText(tr("Connected — model replied: \"%1\"").arg(status.text));
        break;
    case AIConnectionStatus::Kind::error:
        m_status->setText(status.text);
        break;
    }
}
