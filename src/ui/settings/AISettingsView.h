#pragma once

#include "ui/settings/SettingsForm.h"

class AIService;
class AISettingsModel;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QSlider;
class QSpinBox;
class QToolButton;

// AI Macros: the switch, the provider and its credentials, the model, the connection test,
// the system prompt, the folded advanced settings and the privacy note.
class AISettingsView : public SettingsPane {
    Q_OBJECT

public:
    AISettingsView(AIService* ai, QWidget* parent = nullptr);
    AISettingsModel* model() const { return m_model; }
    void appear() override;
    void setAdvancedShown(bool shown);

private:
    void buildProvider();
    void buildModel();
    void buildConnection();
    void buildAdvanced();
    void sync();
    void syncInputs();
    void askProviderSwitch();

    AIService* m_ai;
    AISettingsModel* m_model;
    QCheckBox* m_enabled = nullptr;
    QComboBox* m_provider = nullptr;
    QWidget* m_keyBlock = nullptr;
    QLabel* m_billing = nullptr;
    QLineEdit* m_apiKey = nullptr;
    QLabel* m_keyLink = nullptr;
    QWidget* m_portBlock = nullptr;
    QLineEdit* m_port = nullptr;
    QLabel* m_portError = nullptr;
    QWidget* m_ollamaWarning = nullptr;
    QWidget* m_fetching = nullptr;
    QComboBox* m_modelPicker = nullptr;
    QLineEdit* m_modelField = nullptr;
    QWidget* m_modelPickerRow = nullptr;
    QWidget* m_modelFieldRow = nullptr;
    QProgressBar* m_testing = nullptr;
    QLabel* m_statusIcon = nullptr;
    QLabel* m_status = nullptr;
    QPlainTextEdit* m_systemPrompt = nullptr;
    QToolButton* m_advancedToggle = nullptr;
    QWidget* m_advanced = nullptr;
    QSlider* m_temperature = nullptr;
    QLabel* m_temperatureText = nullptr;
    QSpinBox* m_maxTokens = nullptr;
    QWidget* m_customBlock = nullptr;
    QLineEdit* m_customBaseURL = nullptr;
    QWidget* m_enterpriseBlock = nullptr;
    QLineEdit* m_enterpriseURL = nullptr;
    QWidget* m_enterpriseDetails = nullptr;
    QComboBox* m_authType = nullptr;
    QLineEdit* m_customHeader = nullptr;
    QComboBox* m_endpointStyle = nullptr;
    QLineEdit* m_customEndpoint = nullptr;
    QLineEdit* m_modelOverride = nullptr;
    QLabel* m_privacy = nullptr;
};
