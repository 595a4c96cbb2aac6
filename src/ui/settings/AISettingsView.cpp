#include "ui/settings/AISettingsView.h"

#include "ai/AIService.h"
#include "models/AISettingsModel.h"
#include "ui/widgets/Icons.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLineEdit* field(const QString& name, const QString& placeholder, QWidget* parent)
{
    auto* edit = new QLineEdit(parent);
    edit->setPlaceholderText(placeholder);
    SettingsForm::describe(edit, name);
    return edit;
}

// A container whose rows follow each other without margins.
QWidget* block(QWidget* parent, QBoxLayout** layout)
{
    auto* widget = new QWidget(parent);
    *layout = new QVBoxLayout(widget);
    (*layout)->setContentsMargins(0, 0, 0, 0);
    (*layout)->setSpacing(6);
    return widget;
}

QBoxLayout* labelled(const QString& text, QWidget* control, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setBuddy(control);
    label->setMinimumWidth(175); // "Custom Model ID (optional)" lines up with the rest
    auto* layout = new QHBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(control, 1);
    return layout;
}

// Sets the text only when it differs, so a field being typed in keeps its cursor.
void setText(QLineEdit* edit, const QString& text)
{
    if (edit->text() != text)
        edit->setText(text);
}

} // namespace

AISettingsView::AISettingsView(AIService* ai, QWidget* parent)
    : SettingsPane(tr("AI Macros"), parent), m_ai(ai), m_model(new AISettingsModel(ai, this))
{
    setObjectName(u"AISettingsView"_s);
    m_enabled = new QCheckBox(tr("Enable AI Macros"), widget());
    describe(m_enabled, tr("Enable AI Macros"),
             tr("When enabled, snippets containing {ai: your prompt} will call AI to generate text "
                "at expansion time."));
    body()->addWidget(m_enabled);
    auto* enabledCaption =
        caption(tr("When enabled, snippets containing <code>{ai: your prompt}</code> will call AI "
                   "to generate text at expansion time."),
                widget());
    enabledCaption->setTextFormat(Qt::RichText);
    body()->addWidget(enabledCaption);
    // Toggled, not clicked: assistive technologies toggle a switch without clicking it.
    connect(m_enabled, &QCheckBox::toggled, ai, [ai](bool on) {
        if (on != ai->isEnabled())
            ai->setIsEnabled(on);
    });

    buildProvider();
    buildModel();
    buildConnection();

    QVBoxLayout* prompt = addSection(tr("System Prompt (optional)"));
    m_systemPrompt = new QPlainTextEdit(widget());
    m_systemPrompt->setTabChangesFocus(true);
    m_systemPrompt->setFixedHeight(80);
    describe(m_systemPrompt, tr("System Prompt (optional)"),
             tr("Added to every AI request. Use this to set a consistent tone or context."));
    prompt->addWidget(m_systemPrompt);
    prompt->addWidget(caption(
        tr("Added to every AI request. Use this to set a consistent tone or context."), widget()));
    connect(m_systemPrompt, &QPlainTextEdit::textChanged, this,
            [this] { m_ai->setGlobalSystemPrompt(m_systemPrompt->toPlainText()); });

    buildAdvanced();

    body()->addSpacing(8);
    auto* privacyLine = new QHBoxLayout;
    auto* privacyIcon = new QLabel(widget());
    privacyIcon->setPixmap(Icons::named(u"dialog-information"_s).pixmap(16, 16));
    privacyIcon->setFixedSize(16, 16);
    privacyLine->addWidget(privacyIcon, 0, Qt::AlignTop);
    m_privacy = caption(QString(), widget());
    m_privacy->setObjectName(u"privacyNote"_s);
    privacyLine->addWidget(m_privacy, 1);
    body()->addLayout(privacyLine);
    finish();

    for (auto signal :
         {&AIService::providerChanged, &AIService::modelChanged, &AIService::customBaseURLChanged,
          &AIService::anthropicEnterpriseBaseURLChanged,
          &AIService::anthropicEnterpriseAuthTypeChanged,
          &AIService::anthropicEnterpriseCustomHeaderChanged,
          &AIService::anthropicEnterpriseEndpointStyleChanged,
          &AIService::anthropicEnterpriseCustomEndpointChanged,
          &AIService::globalSystemPromptChanged, &AIService::temperatureChanged,
          &AIService::maxTokensChanged, &AIService::isEnabledChanged, &AIService::ollamaPortChanged,
          &AIService::availableModelsChanged, &AIService::isFetchingModelsChanged,
          &AIService::ollamaDetectedChanged, &AIService::connectionStatusChanged,
          &AIService::endpointChanged})
        connect(ai, signal, this, &AISettingsView::sync);
    connect(m_model, &AISettingsModel::inputsLoaded, this, &AISettingsView::syncInputs);
    connect(m_model, &AISettingsModel::providerSwitchConfirmationRequested, this,
            &AISettingsView::askProviderSwitch);
    sync();
    m_model->appear();
}

void AISettingsView::buildProvider()
{
    QVBoxLayout* section = addSection(tr("Provider"));
    m_provider = new QComboBox(widget());
    for (AIProvider provider : allProviders())
        m_provider->addItem(displayName(provider), QVariant::fromValue(provider));
    describe(m_provider, tr("Provider"), tr("The AI service that answers {ai:…} prompts"));
    section->addLayout(labelled(tr("Provider"), m_provider, widget()));
    connect(m_provider, &QComboBox::activated, this, [this](int index) {
        if (!m_model->chooseProvider(m_provider->itemData(index).value<AIProvider>()))
            return; // the question is open; the picker waits for the answer
        sync();
    });

    QBoxLayout* keys = nullptr;
    m_keyBlock = block(widget(), &keys);
    QWidget* billingLine = SettingsForm::iconLine(u"dialog-information"_s, QString(), m_keyBlock);
    m_billing = billingLine->findChild<QLabel*>(u"lineText"_s);
    m_billing->setObjectName(u"billingNote"_s);
    m_billing->setForegroundRole(QPalette::PlaceholderText);
    keys->addWidget(billingLine);
    m_apiKey = field(tr("API Key"), tr("Enter API key"), m_keyBlock);
    m_apiKey->setObjectName(u"apiKey"_s);
    m_apiKey->setEchoMode(QLineEdit::Password);
    m_apiKey->setAccessibleDescription(
        tr("Your API key for this provider, kept in your desktop's keyring"));
    keys->addLayout(labelled(tr("API Key"), m_apiKey, m_keyBlock));
    m_keyLink = new QLabel(m_keyBlock);
    m_keyLink->setObjectName(u"apiKeyLink"_s);
    m_keyLink->setTextFormat(Qt::RichText);
    m_keyLink->setTextInteractionFlags(Qt::TextBrowserInteraction);
    m_keyLink->setOpenExternalLinks(true);
    m_keyLink->setFocusPolicy(Qt::StrongFocus);
    describe(m_keyLink, tr("Get API key"), tr("Opens the provider's API key page in your browser"));
    keys->addWidget(m_keyLink, 0, Qt::AlignRight);
    section->addWidget(m_keyBlock);
    connect(m_apiKey, &QLineEdit::textEdited, m_model, &AISettingsModel::editApiKey);

    QBoxLayout* ports = nullptr;
    m_portBlock = block(widget(), &ports);
    m_port = field(tr("Ollama Port"), u"11434"_s, m_portBlock);
    m_port->setObjectName(u"ollamaPort"_s);
    m_port->setFixedWidth(80);
    m_port->setAccessibleDescription(tr("The port Ollama listens on. Default: 11434"));
    auto* portLine = labelled(tr("Port"), m_port, m_portBlock);
    portLine->addWidget(SettingsForm::caption(tr("Default: 11434"), m_portBlock), 1);
    ports->addLayout(portLine);
    m_portError = SettingsForm::caption(tr("Enter a whole number from 1 to 65535."), m_portBlock);
    m_portError->setObjectName(u"portError"_s);
    m_portError->setForegroundRole(QPalette::WindowText);
    QPalette warn = m_portError->palette();
    warn.setColor(QPalette::WindowText, orange());
    m_portError->setPalette(warn);
    ports->addWidget(m_portError);
    m_ollamaWarning = SettingsForm::iconLine(u"dialog-warning"_s, QString(), m_portBlock);
    m_ollamaWarning->setObjectName(u"ollamaWarning"_s);
    ports->addWidget(m_ollamaWarning);
    section->addWidget(m_portBlock);
    connect(m_port, &QLineEdit::textEdited, m_model, &AISettingsModel::editOllamaPort);
    connect(m_port, &QLineEdit::editingFinished, this,
            [this] { m_portError->setVisible(!m_model->commitOllamaPort()); });
}

void AISettingsView::buildModel()
{
    QVBoxLayout* section = addSection(tr("Model"));
    auto* line = new QHBoxLayout;
    m_fetching = new QWidget(widget());
    auto* fetching = new QHBoxLayout(m_fetching);
    fetching->setContentsMargins(0, 0, 0, 0);
    auto* spinner = new QProgressBar(m_fetching);
    spinner->setRange(0, 0);
    spinner->setTextVisible(false);
    spinner->setFixedSize(60, 8);
    spinner->setAccessibleName(tr("Fetching models"));
    fetching->addWidget(spinner);
    fetching->addWidget(new QLabel(tr("Fetching\u2026"), m_fetching), 1);
    line->addWidget(m_fetching, 1);

    m_modelPicker = new QComboBox(widget());
    m_modelPicker->setObjectName(u"modelPicker"_s);
    describe(m_modelPicker, tr("Model"), tr("The model that answers your prompts"));
    m_modelPickerRow = new QWidget(widget());
    m_modelPickerRow->setLayout(labelled(tr("Model"), m_modelPicker, m_modelPickerRow));
    line->addWidget(m_modelPickerRow, 1);
    connect(m_modelPicker, &QComboBox::activated, this,
            [this](int index) { m_ai->setModel(m_modelPicker->itemText(index)); });

    m_modelField = field(tr("Model ID"), tr("Model ID"), widget());
    m_modelField->setObjectName(u"modelField"_s);
    m_modelField->setAccessibleDescription(tr("The model's name as the provider spells it"));
    m_modelFieldRow = new QWidget(widget());
    m_modelFieldRow->setLayout(labelled(tr("Model ID"), m_modelField, m_modelFieldRow));
    line->addWidget(m_modelFieldRow, 1);
    connect(m_modelField, &QLineEdit::textEdited, m_ai, &AIService::setModel);

    auto* refresh = new QToolButton(widget());
    refresh->setIcon(QIcon(tinted(u"view-refresh"_s, palette().color(QPalette::ButtonText))));
    refresh->setIconSize(QSize(16, 16));
    describe(refresh, tr("Refresh model list"), tr("Refresh model list"));
    line->addWidget(refresh);
    connect(refresh, &QToolButton::clicked, m_ai, &AIService::refreshModels);
    section->addLayout(line);
}

void AISettingsView::buildConnection()
{
    QVBoxLayout* section = addSection(tr("Connection"));
    auto* line = new QHBoxLayout;
    auto* test = new QPushButton(tr("Test Connection"), widget());
    describe(test, tr("Test Connection"), tr("Sends a short test prompt to the provider"));
    line->addWidget(test);
    connect(test, &QPushButton::clicked, m_ai, &AIService::testConnection);
    m_testing = new QProgressBar(widget());
    m_testing->setRange(0, 0);
    m_testing->setTextVisible(false);
    m_testing->setFixedSize(60, 8);
    m_testing->setAccessibleName(tr("Testing"));
    line->addWidget(m_testing);
    m_statusIcon = new QLabel(widget());
    m_statusIcon->setFixedSize(16, 16);
    line->addWidget(m_statusIcon);
    m_status = new QLabel(widget());
    m_status->setObjectName(u"connectionStatus"_s);
    m_status->setWordWrap(true);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    line->addWidget(m_status, 1);
    section->addLayout(line);
}

void AISettingsView::buildAdvanced()
{
    body()->addSpacing(8);
    m_advancedToggle = new QToolButton(widget());
    m_advancedToggle->setObjectName(u"advancedToggle"_s);
    m_advancedToggle->setText(tr("Advanced"));
    m_advancedToggle->setCheckable(true);
    m_advancedToggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_advancedToggle->setArrowType(Qt::RightArrow);
    m_advancedToggle->setAutoRaise(true);
    describe(m_advancedToggle, tr("Advanced"),
             tr("Shows the sampling, endpoint and model override settings"));
    body()->addWidget(m_advancedToggle, 0, Qt::AlignLeft);
    connect(m_advancedToggle, &QToolButton::toggled, this, &AISettingsView::setAdvancedShown);

    QBoxLayout* layout = nullptr;
    m_advanced = block(widget(), &layout);
    m_advanced->setObjectName(u"advanced"_s);
    layout->setContentsMargins(12, 0, 0, 0);
    m_temperature = new QSlider(Qt::Horizontal, m_advanced);
    m_temperature->setRange(0, AISettingsModel::temperatureSteps);
    m_temperature->setPageStep(1);
    describe(m_temperature, tr("Temperature"),
             tr("Higher values give more varied replies, lower ones more predictable replies"));
    auto* temperatureLine = labelled(tr("Temperature"), m_temperature, m_advanced);
    m_temperatureText = new QLabel(m_advanced);
    m_temperatureText->setObjectName(u"temperatureText"_s);
    m_temperatureText->setMinimumWidth(28);
    temperatureLine->addWidget(m_temperatureText);
    layout->addLayout(temperatureLine);
    connect(m_temperature, &QSlider::valueChanged, this, [this](int position) {
        m_ai->setTemperature(AISettingsModel::sliderToTemperature(position));
    });

    m_maxTokens = new QSpinBox(m_advanced);
    m_maxTokens->setRange(AISettingsModel::maxTokensMinimum, AISettingsModel::maxTokensMaximum);
    m_maxTokens->setSingleStep(AISettingsModel::maxTokensStep);
    describe(m_maxTokens, tr("Max Tokens"), tr("The longest reply the model may give, in tokens"));
    auto* tokensLine = labelled(tr("Max Tokens"), m_maxTokens, m_advanced);
    tokensLine->addStretch(1);
    layout->addLayout(tokensLine);
    connect(m_maxTokens, &QSpinBox::valueChanged, this,
            [this](int value) { m_ai->setMaxTokens(value); });

    QBoxLayout* custom = nullptr;
    m_customBlock = block(m_advanced, &custom);
    m_customBaseURL = field(tr("Base URL"), u"https://"_s, m_customBlock);
    m_customBaseURL->setObjectName(u"customBaseURL"_s);
    m_customBaseURL->setAccessibleDescription(
        tr("The address of your OpenAI-compatible server, ending in /v1"));
    custom->addLayout(labelled(tr("Base URL"), m_customBaseURL, m_customBlock));
    layout->addWidget(m_customBlock);
    connect(m_customBaseURL, &QLineEdit::textEdited, m_ai, &AIService::setCustomBaseURL);

    QBoxLayout* enterprise = nullptr;
    m_enterpriseBlock = block(m_advanced, &enterprise);
    m_enterpriseURL = field(tr("Base URL"), u"https://"_s, m_enterpriseBlock);
    m_enterpriseURL->setObjectName(u"enterpriseURL"_s);
    m_enterpriseURL->setAccessibleDescription(
        tr("Leave Base URL blank to use the standard Anthropic API."));
    enterprise->addLayout(labelled(tr("Base URL"), m_enterpriseURL, m_enterpriseBlock));
    connect(m_enterpriseURL, &QLineEdit::textEdited, m_ai,
            &AIService::setAnthropicEnterpriseBaseURL);
    QBoxLayout* details = nullptr;
    m_enterpriseDetails = block(m_enterpriseBlock, &details);
    m_authType = new QComboBox(m_enterpriseDetails);
    m_authType->setObjectName(u"authType"_s);
    for (AnthropicEnterpriseAuthType type : allAuthTypes())
        m_authType->addItem(AISettingsModel::authTypeLabel(type), QVariant::fromValue(type));
    describe(m_authType, tr("Authentication"), tr("How the API key is sent to the endpoint"));
    details->addLayout(labelled(tr("Authentication"), m_authType, m_enterpriseDetails));
    connect(m_authType, &QComboBox::activated, this, [this](int index) {
        m_ai->setAnthropicEnterpriseAuthType(
            m_authType->itemData(index).value<AnthropicEnterpriseAuthType>());
    });
    m_customHeader =
        field(tr("Header name"), tr("Header name (e.g. X-Auth-Token)"), m_enterpriseDetails);
    m_customHeader->setObjectName(u"customHeader"_s);
    m_customHeader->setAccessibleDescription(tr("The header that carries the API key"));
    details->addLayout(labelled(QString(), m_customHeader, m_enterpriseDetails));
    connect(m_customHeader, &QLineEdit::textEdited, m_ai,
            &AIService::setAnthropicEnterpriseCustomHeader);
    m_endpointStyle = new QComboBox(m_enterpriseDetails);
    m_endpointStyle->setObjectName(u"endpointStyle"_s);
    for (AnthropicEnterpriseEndpointStyle style : allEndpointStyles())
        m_endpointStyle->addItem(AISettingsModel::endpointStyleLabel(style),
                                 QVariant::fromValue(style));
    describe(m_endpointStyle, tr("Endpoint Style"), tr("How the request address is built"));
    details->addLayout(labelled(tr("Endpoint Style"), m_endpointStyle, m_enterpriseDetails));
    connect(m_endpointStyle, &QComboBox::activated, this, [this](int index) {
        m_ai->setAnthropicEnterpriseEndpointStyle(
            m_endpointStyle->itemData(index).value<AnthropicEnterpriseEndpointStyle>());
    });
    m_customEndpoint =
        field(tr("Custom path"), tr("/path/to/endpoint  (use {model} as placeholder)"),
              m_enterpriseDetails);
    m_customEndpoint->setObjectName(u"customEndpoint"_s);
    m_customEndpoint->setAccessibleDescription(
        tr("The request path after the base URL; {model} stands for the model"));
    details->addLayout(labelled(QString(), m_customEndpoint, m_enterpriseDetails));
    connect(m_customEndpoint, &QLineEdit::textEdited, m_ai,
            &AIService::setAnthropicEnterpriseCustomEndpoint);
    enterprise->addWidget(m_enterpriseDetails);
    enterprise->addWidget(SettingsForm::caption(
        tr("The API Key above is used as the credential. Leave Base URL blank to use the standard "
           "Anthropic API."),
        m_enterpriseBlock));
    auto* overrideTitle = new QLabel(tr("Model Override"), m_enterpriseBlock);
    QFont bold = overrideTitle->font();
    bold.setBold(true);
    overrideTitle->setFont(bold);
    enterprise->addWidget(overrideTitle);
    m_modelOverride =
        field(tr("Custom Model ID (optional)"), tr("e.g. claude-opus-5-0"), m_enterpriseBlock);
    m_modelOverride->setObjectName(u"modelOverride"_s);
    m_modelOverride->setAccessibleDescription(
        tr("Overrides the model selected in the picker above. Use this for newly released models "
           "not yet in the list."));
    enterprise->addLayout(
        labelled(tr("Custom Model ID (optional)"), m_modelOverride, m_enterpriseBlock));
    connect(m_modelOverride, &QLineEdit::textEdited, m_ai, &AIService::setModel);
    enterprise->addWidget(SettingsForm::caption(
        tr("Overrides the model selected in the picker above. Use this for newly released models "
           "not yet in the list."),
        m_enterpriseBlock));
    layout->addWidget(m_enterpriseBlock);
    body()->addWidget(m_advanced);
    m_advanced->setVisible(false);
}

void AISettingsView::appear()
{
    m_model->appear();
}

void AISettingsView::setAdvancedShown(bool shown)
{
    m_advancedToggle->setChecked(shown);
    m_advancedToggle->setArrowType(shown ? Qt::DownArrow : Qt::RightArrow);
    m_advanced->setVisible(shown);
}

void AISettingsView::syncInputs()
{
    setText(m_apiKey, m_model->apiKeyInput());
    setText(m_port, m_model->ollamaPortInput());
    m_portError->setVisible(false);
}

void AISettingsView::sync()
{
    const AIProvider provider = m_ai->provider();
    m_enabled->setChecked(m_ai->isEnabled());
    m_provider->setCurrentIndex(m_provider->findData(QVariant::fromValue(provider)));

    m_keyBlock->setVisible(m_model->showsApiKey());
    m_billing->setText(m_model->billingNote());
    m_billing->setAccessibleName(m_model->billingNote());
    const QUrl keyPage = m_model->apiKeyPage();
    m_keyLink->setVisible(!keyPage.isEmpty());
    m_keyLink->setText(tr("<a href=\"%1\">Get API key</a>").arg(keyPage.toString()));
    m_portBlock->setVisible(provider == AIProvider::ollama);
    const QString warning = m_model->ollamaWarning();
    m_ollamaWarning->setVisible(!warning.isEmpty());
    m_ollamaWarning->findChild<QLabel*>(u"lineText"_s)->setText(warning);

    const AISettingsModel::ModelControl control = m_model->modelControl();
    m_fetching->setVisible(control == AISettingsModel::ModelControl::fetching);
    m_modelPickerRow->setVisible(control == AISettingsModel::ModelControl::picker);
    m_modelFieldRow->setVisible(control == AISettingsModel::ModelControl::field);
    if (m_modelPicker->count() != m_ai->availableModels().size() || [this] {
            for (int i = 0; i < m_modelPicker->count(); ++i)
                if (m_modelPicker->itemText(i) != m_ai->availableModels()[i])
                    return true;
            return false;
        }()) {
        m_modelPicker->clear();
        m_modelPicker->addItems(m_ai->availableModels());
    }
    m_modelPicker->setCurrentIndex(m_modelPicker->findText(m_ai->model()));
    setText(m_modelField, m_ai->model());

    const AISettingsModel::StatusLook look = m_model->connectionLook();
    m_testing->setVisible(look == AISettingsModel::StatusLook::testing);
    m_statusIcon->setVisible(look == AISettingsModel::StatusLook::ok ||
                             look == AISettingsModel::StatusLook::error);
    m_statusIcon->setPixmap(
        look == AISettingsModel::StatusLook::ok
            ? Icons::named(u"emblem-ok"_s).pixmap(16, 16)
            : SettingsForm::tinted(u"dialog-error"_s, QColor(0xd9, 0x3f, 0x3f)));
    m_status->setText(m_model->connectionText());
    m_status->setAccessibleName(m_model->connectionText());

    if (m_systemPrompt->toPlainText() != m_ai->globalSystemPrompt()) {
        const QSignalBlocker quiet(m_systemPrompt);
        m_systemPrompt->setPlainText(m_ai->globalSystemPrompt());
    }
    {
        const QSignalBlocker quiet(m_temperature);
        m_temperature->setValue(AISettingsModel::temperatureToSlider(m_ai->temperature()));
    }
    m_temperatureText->setText(AISettingsModel::temperatureText(m_ai->temperature()));
    {
        const QSignalBlocker quiet(m_maxTokens);
        m_maxTokens->setValue(int(m_ai->maxTokens()));
    }
    m_customBlock->setVisible(provider == AIProvider::custom);
    setText(m_customBaseURL, m_ai->customBaseURL());
    m_enterpriseBlock->setVisible(provider == AIProvider::anthropic);
    setText(m_enterpriseURL, m_ai->anthropicEnterpriseBaseURL());
    m_enterpriseDetails->setVisible(!m_ai->anthropicEnterpriseBaseURL().isEmpty());
    m_authType->setCurrentIndex(
        m_authType->findData(QVariant::fromValue(m_ai->anthropicEnterpriseAuthType())));
    m_customHeader->setVisible(m_ai->anthropicEnterpriseAuthType() ==
                               AnthropicEnterpriseAuthType::custom);
    setText(m_customHeader, m_ai->anthropicEnterpriseCustomHeader());
    m_endpointStyle->setCurrentIndex(
        m_endpointStyle->findData(QVariant::fromValue(m_ai->anthropicEnterpriseEndpointStyle())));
    m_customEndpoint->setVisible(m_ai->anthropicEnterpriseEndpointStyle() ==
                                 AnthropicEnterpriseEndpointStyle::custom);
    setText(m_customEndpoint, m_ai->anthropicEnterpriseCustomEndpoint());
    setText(m_modelOverride, m_ai->model());
    m_privacy->setText(m_model->privacyNote());
    m_privacy->setAccessibleName(m_model->privacyNote());
}

void AISettingsView::askProviderSwitch()
{
    auto* box = new QMessageBox(this);
    box->setObjectName(u"providerSwitchQuestion"_s);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(m_model->switchTitle());
    box->setText(m_model->switchTitle());
    box->setInformativeText(m_model->switchMessage());
    QPushButton* keep = box->addButton(m_model->keepButtonText(), QMessageBox::RejectRole);
    QPushButton* confirm =
        box->addButton(m_model->switchButtonText(), QMessageBox::DestructiveRole);
    box->setDefaultButton(keep);
    box->setEscapeButton(keep);
    connect(box, &QMessageBox::finished, this, [this, box, confirm] {
        if (box->clickedButton() == confirm)
            m_model->confirmProviderSwitch();
        else
            m_model->cancelProviderSwitch();
        sync();
    });
    box->open();
}
