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
    : SettingsPane(tr("General"), parent),
      m_model(new GeneralSettingsModel(
          {services.settings, services.loginItem, services.updates, services.version}, this))
{
    setObjectName(u"GeneralSettingsView"_s);

    QVBoxLayout* startup = addSection(tr("Startup"));
    m_launchAtLogin = new QCheckBox(tr("Launch at Login"), widget());
    describe(m_launchAtLogin, tr("Launch at Login"),
             tr("Automatically start ScrivLane when you log in."));
    m_launchAtLogin->setEnabled(m_model->canChangeLaunchAtLogin());
    startup->addWidget(m_launchAtLogin);
    // Toggled, not clicked: assistive technologies toggle a switch without clicking it.
    connect(m_launchAtLogin, &QCheckBox::toggled, this, [this](bool on) {
        if (on == m_model->launchAtLogin())
            return;
        const QString error = m_model->setLaunchAtLogin(on);
        if (error.isEmpty())
            return;
        auto* box =
            new QMessageBox(QMessageBox::Warning, tr("Launch at Login"),
                            tr("ScrivLane could not change its autostart entry: %1").arg(error),
                            QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    });

    QVBoxLayout* about = addSection(tr("About"));
    auto* version = new QLabel(m_model->versionText(), widget());
    version->setObjectName(u"versionLabel"_s);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_checkForUpdates = new QPushButton(tr("Check for Updates\u2026"), widget());
    describe(m_checkForUpdates, tr("Check for Updates\u2026"),
             tr("Looks for a newer version of ScrivLane now"));
    about->addLayout(row(version, m_checkForUpdates));
    connect(m_checkForUpdates, &QPushButton::clicked, m_model,
            &GeneralSettingsModel::checkForUpdates);
    m_beta = new QCheckBox(tr("Receive beta updates"), widget());
    describe(m_beta, tr("Receive beta updates"),
             tr("Opt in to early access builds. Beta updates may include unfinished features and "
                "bugs."));
    about->addWidget(m_beta);
    connect(m_beta, &QCheckBox::toggled, m_model, [this](bool on) {
        if (on != m_model->betaUpdatesEnabled())
            m_model->setBetaUpdatesEnabled(on);
    });
    m_betaNote = caption(tr("You'll receive early access builds that may include unfinished "
                            "features. To return to stable, turn this off and wait for the next "
                            "stable release \u2014 it will update you automatically."),
                         widget());
    m_betaNote->setObjectName(u"betaNote"_s);
    about->addWidget(m_betaNote);

    QVBoxLayout* news = addSection(tr("What's New"));
    auto* notes = new QLabel(notesHtml(m_model->releaseNotes()), widget());
    notes->setObjectName(u"releaseNotes"_s);
    notes->setTextFormat(Qt::RichText);
    notes->setWordWrap(true);
    notes->setTextInteractionFlags(Qt::TextSelectableByMouse);
    notes->setAccessibleName(tr("What's New"));
    news->addWidget(notes);

    QVBoxLayout* legal = addSection(tr("Legal"));
    legal->addWidget(link(tr("Privacy Policy"), GeneralSettingsModel::privacyPolicyURL,
                          tr("Open the privacy policy in your browser"), widget()));
    legal->addWidget(link(tr("Terms of Use"), GeneralSettingsModel::termsOfUseURL,
                          tr("Open the terms of use in your browser"), widget()));

    QVBoxLayout* docs = addSection(tr("Documentation"));
    docs->addWidget(new QLabel(tr("Guides for macros, folder sync, backups, and more."), widget()));
    docs->addWidget(link(tr("View Documentation"), GeneralSettingsModel::documentationURL,
                         tr("Open the ScrivLane documentation in your browser"), widget()));
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
