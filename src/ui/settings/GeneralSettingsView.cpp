#include "ui/settings/GeneralSettingsView.h"

#include "models/GeneralSettingsModel.h"
#include "ui/settings/SettingsContentView.h"

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* link(const QString& text, const QUrl& url, const QString& help, QWidget* parent)
{
    auto* label =
        new QLabel(u"<a href=\"%1\">%2</a>"_s.arg(url.toString(), text.toHtmlEscaped()), parent);
    label->setTextFormat(Qt::RichText);
    label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    label->setOpenExternalLinks(true);
    label->setFocusPolicy(Qt::StrongFocus);
    SettingsForm::describe(label, text, help);
    return label;
}

QString notesHtml(const QList<ReleaseNote>& notes)
{
    QString html;
    for (const ReleaseNote& note : notes) {
        html += u"<p style=\"margin-bottom:2px\"><b>%1</b> &nbsp;<span>%2</span></p><ul "
                u"style=\"margin-top:0; -qt-list-indent:1\">"_s.arg(note.version.toHtmlEscaped(),
                                                                    note.date.toHtmlEscaped());
        for (const QString& line : note.notes)
            html += u"<li>"_s + line.toHtmlEscaped() + u"</li>"_s;
        html += u"</ul>"_s;
    }
    return html;
}

} // namespace

GeneralSettingsView::GeneralSettingsView(const SettingsServices& services, QWidget* parent)
    : SettingsPane(u"General"_s, parent),
      m_model(new GeneralSettingsModel(
          {services.settings, services.loginItem, services.updates, services.version}, this))
{
    setObjectName(u"GeneralSettingsView"_s);

    QVBoxLayout* startup = addSection(u"Startup"_s);
    m_launchAtLogin = new QCheckBox(u"Launch at Login"_s, widget());
    describe(m_launchAtLogin, u"Launch at Login"_s,
             u"Automatically start ScrivLane when you log in."_s);
    m_launchAtLogin->setEnabled(m_model->canChangeLaunchAtLogin());
    startup->addWidget(m_launchAtLogin);
    // Toggled, not clicked: assistive technologies toggle a switch without clicking it.
    connect(m_launchAtLogin, &QCheckBox::toggled, this, [this](bool on) {
        if (on == m_model->launchAtLogin())
            return;
        const QString error = m_model->setLaunchAtLogin(on);
        if (error.isEmpty())
            return;
        auto* box = new QMessageBox(QMessageBox::Warning, u"Launch at Login"_s,
                                    u"ScrivLane could not change its autostart entry: "_s + error,
                                    QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    });

    QVBoxLayout* about = addSection(u"About"_s);
    auto* version = new QLabel(m_model->versionText(), widget());
    version->setObjectName(u"versionLabel"_s);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_checkForUpdates = new QPushButton(u"Check for Updates\u2026"_s, widget());
    describe(m_checkForUpdates, u"Check for Updates\u2026"_s,
             u"Looks for a newer version of ScrivLane now"_s);
    about->addLayout(row(version, m_checkForUpdates));
    connect(m_checkForUpdates, &QPushButton::clicked, m_model,
            &GeneralSettingsModel::checkForUpdates);
    m_beta = new QCheckBox(u"Receive beta updates"_s, widget());
    describe(m_beta, u"Receive beta updates"_s,
             u"Opt in to early access builds. Beta updates may include unfinished features and "
             u"bugs."_s);
    about->addWidget(m_beta);
    connect(m_beta, &QCheckBox::toggled, m_model, [this](bool on) {
        if (on != m_model->betaUpdatesEnabled())
            m_model->setBetaUpdatesEnabled(on);
    });
    m_betaNote = caption(u"You'll receive early access builds that may include unfinished "
                         u"features. To return to stable, turn this off and wait for the next "
                         u"stable release \u2014 it will update you automatically."_s,
                         widget());
    m_betaNote->setObjectName(u"betaNote"_s);
    about->addWidget(m_betaNote);

    QVBoxLayout* news = addSection(u"What's New"_s);
    auto* notes = new QLabel(notesHtml(m_model->releaseNotes()), widget());
    notes->setObjectName(u"releaseNotes"_s);
    notes->setTextFormat(Qt::RichText);
    notes->setWordWrap(true);
    notes->setTextInteractionFlags(Qt::TextSelectableByMouse);
    notes->setAccessibleName(u"What's New"_s);
    news->addWidget(notes);

    QVBoxLayout* legal = addSection(u"Legal"_s);
    legal->addWidget(link(u"Privacy Policy"_s, GeneralSettingsModel::privacyPolicyURL,
                          u"Open the privacy policy in your browser"_s, widget()));
    legal->addWidget(link(u"Terms of Use"_s, GeneralSettingsModel::termsOfUseURL,
                          u"Open the terms of use in your browser"_s, widget()));

    QVBoxLayout* docs = addSection(u"Documentation"_s);
    docs->addWidget(new QLabel(u"Guides for macros, folder sync, backups, and more."_s, widget()));
    docs->addWidget(link(u"View Documentation"_s, GeneralSettingsModel::documentationURL,
                         u"Open the ScrivLane documentation in your browser"_s, widget()));
    finish();

    connect(m_model, &GeneralSettingsModel::changed, this, &GeneralSettingsView::sync);
    sync();
}

void GeneralSettingsView::appear()
{
    m_model->appear();
    sync();
}

void GeneralSettingsView::sync()
{
    m_launchAtLogin->setChecked(m_model->launchAtLogin());
    m_checkForUpdates->setEnabled(m_model->canCheckForUpdates());
    m_beta->setChecked(m_model->betaUpdatesEnabled());
    m_betaNote->setVisible(m_model->betaUpdatesEnabled());
}
