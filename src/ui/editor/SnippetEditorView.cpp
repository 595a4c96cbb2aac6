#include "ui/editor/SnippetEditorView.h"

#include "ai/AIService.h"
#include "library/SnippetEntity.h"
#include "models/EditorState.h"
#include "models/RichTextFormatting.h"
#include "models/SnippetEditorModel.h"
#include "ui/editor/AIPromptPickerView.h"
#include "ui/editor/LinkPanel.h"
#include "ui/editor/MacroPicker.h"
#include "ui/onboarding/AIOnboardingView.h"
#include "ui/widgets/CategoryPicker.h"
#include "ui/widgets/ConflictWarningRow.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/Questions.h"
#include "ui/widgets/SnippetNameFields.h"

#include <QApplication>
#include <QButtonGroup>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QTextBrowser>
#include <QTextEdit>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;
using Mode = SnippetEditorModel::ContentMode;

namespace {

enum Page { plainPage, richPage, previewPage };

QToolButton* barButton(const QString& iconName, const QString& name, const QString& help,
                       QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(Icons::named(iconName));
    button->setAutoRaise(true);
    button->setIconSize(QSize(16, 16));
    button->setToolTip(help);
    button->setAccessibleName(name);
    button->setAccessibleDescription(help);
    return button;
}

QFont caption(const QFont& base)
{
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 0.88);
    return font;
}

} // namespace

SnippetEditorView::SnippetEditorView(Dependencies dependencies, QWidget* parent)
    : QWidget(parent), m_dependencies(dependencies),
      m_model(new SnippetEditorModel(dependencies.store, dependencies.state, {}, this))
{
    setObjectName(u"snippetEditor"_s);
    auto* layout = new QVBoxLayout(this);

    // Header buttons.
    auto* header = new QHBoxLayout;
    header->addStretch(1);
    m_save = new QPushButton(tr("Save"), this);
    m_save->setAccessibleName(tr("Save snippet"));
    m_save->setToolTip(tr("Save (Ctrl+S)"));
    auto* remove = new QPushButton(Icons::named(u"user-trash"_s), tr("Delete Snippet"), this);
    remove->setAccessibleName(tr("Delete snippet"));
    remove->setToolTip(tr("Permanently deletes this snippet. Cannot be undone."));
    remove->setAccessibleDescription(remove->toolTip());
    header->addWidget(m_save);
    header->addWidget(remove);
    layout->addLayout(header);

    // Fields.
    auto* form = new QFormLayout;
    const SnippetNameFields names = SnippetNameFields::addTo(form, this);
    m_title = names.title;
    m_abbreviation = names.abbreviation;
    m_hint = new QLabel(this);
    m_hint->setTextFormat(Qt::PlainText);
    m_hint->setFont(caption(font()));
    m_hint->setForegroundRole(QPalette::PlaceholderText);
    form->addRow(QString(), m_hint);
    m_conflict = new ConflictWarningRow(this);
    form->addRow(QString(), m_conflict);
    m_category = new CategoryPicker(this);
    form->addRow(tr("Category"), m_category);
    layout->addLayout(form);

    // "Content" and the mode.
    auto* contentRow = new QHBoxLayout;
    auto* contentLabel = new QLabel(tr("Content"), this);
    QFont bold = contentLabel->font();
    bold.setBold(true);
    contentLabel->setFont(bold);
    contentRow->addWidget(contentLabel);
    contentRow->addStretch(1);
    auto* modes = new QButtonGroup(this);
    m_plainMode = new QToolButton(this);
    m_plainMode->setText(tr("Plain Text"));
    m_plainMode->setIcon(Icons::named(u"format-justify-left"_s));
    m_richMode = new QToolButton(this);
    m_richMode->setText(tr("Rich Text"));
    m_richMode->setIcon(Icons::named(u"format-text-rich"_s));
    for (QToolButton* b : {m_plainMode, m_richMode}) {
        b->setCheckable(true);
        b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        b->setAccessibleDescription(tr("Mode"));
        modes->addButton(b);
        contentRow->addWidget(b);
    }
    modes->setExclusive(true);
    layout->addLayout(contentRow);

    // Toolbar row.
    auto* tools = new QHBoxLayout;
    m_aiButton =
        barButton(u"scrivlane-sparkles"_s, tr("AI Macro"),
                  tr("Insert AI macro (Shift- or Alt-click to insert without picker)"), this);
    m_macroButton = barButton(u"scrivlane-wand"_s, tr("Insert a macro"),
                              tr("Opens a picker to insert date, time, clipboard, cursor, fill-in, "
                                 "and other macros"),
                              this);
    m_macroButton->setText(tr("Insert a macro"));
    m_macroButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_preview = new QPushButton(tr("Preview"), this);
    m_preview->setCheckable(true);
    m_preview->setAccessibleName(tr("Preview"));
    tools->addWidget(m_aiButton);
    tools->addWidget(m_macroButton);
    tools->addStretch(1);
    tools->addWidget(m_preview);
    layout->addLayout(tools);

    // The text.
    m_pages = new QStackedWidget(this);
    m_plain = new QPlainTextEdit(m_pages);
    m_plain->setAccessibleName(tr("Expansion"));
    m_plain->setAccessibleDescription(tr("The text the abbreviation expands to"));
    m_rich = new QTextEdit(m_pages);
    m_rich->setAccessibleName(tr("Expansion"));
    m_rich->setAccessibleDescription(tr("The rich text the abbreviation expands to"));
    m_rich->setAcceptRichText(true);
    auto* preview = new QWidget(m_pages);
    auto* previewLayout = new QVBoxLayout(preview);
    previewLayout->setContentsMargins(0, 0, 0, 0);
    auto* previewHeading = new QLabel(tr("Preview — macros resolved with today's values"), preview);
    previewHeading->setFont(caption(font()));
    previewHeading->setForegroundRole(QPalette::PlaceholderText);
    m_previewText = new QTextBrowser(preview);
    m_previewText->setAccessibleName(tr("Preview"));
    previewLayout->addWidget(previewHeading);
    previewLayout->addWidget(m_previewText, 1);
    m_pages->addWidget(m_plain);
    m_pages->addWidget(m_rich);
    m_pages->addWidget(preview);
    // The bar's keys live on the rich text view, so it is built after it.
    m_formattingBar = buildFormattingBar();
    layout->addWidget(m_formattingBar);
    layout->addWidget(m_pages, 1);

    // From the widgets to the model.
    connect(m_title, &QLineEdit::textChanged, m_model, &SnippetEditorModel::setTitle);
    connect(m_abbreviation, &QLineEdit::textChanged, m_model, &SnippetEditorModel::setAbbreviation);
    connect(m_category, &QComboBox::currentIndexChanged, this, [this] {
        if (!m_loading)
            m_model->setCategory(m_category->selectedCategory());
    });
    connect(m_plain, &QPlainTextEdit::textChanged, this, [this] {
        if (!m_loading)
            m_model->setPlainText(m_plain->toPlainText());
    });
    // Toggled, not clicked: assistive technologies toggle checkable buttons.
    connect(modes, &QButtonGroup::buttonToggled, this, [this](QAbstractButton* button, bool on) {
        if (!on || m_loading)
            return;
        const Mode mode = button == m_richMode ? Mode::rich : Mode::plain;
        if (mode == m_model->mode())
            return;
        setPreviewing(false);
        m_model->setMode(mode);
        if (m_model->mode() == Mode::plain && m_linkPanel)
            m_linkPanel->close();
        updateLooks();
    });
    connect(m_preview, &QPushButton::toggled, this, &SnippetEditorView::setPreviewing);
    connect(m_aiButton, &QToolButton::clicked, this, &SnippetEditorView::aiButtonClicked);
    connect(m_macroButton, &QToolButton::clicked, this, [this] {
        if (!m_macroPicker) {
            m_macroPicker = new MacroPicker(m_model, this);
            connect(m_macroPicker, &MacroPicker::insertRequested, this,
                    [this](const QString& token) { insertAtCaret(token); });
        }
        m_macroPicker->openAt(m_macroButton->mapToGlobal(QPoint(0, m_macroButton->height())));
    });
    connect(m_conflict, &ConflictWarningRow::goToSnippet, this, &SnippetEditorView::navigateTo);
    connect(m_save, &QPushButton::clicked, m_model, &SnippetEditorModel::save);
    connect(m_model, &SnippetEditorModel::loaded, this, [this] { m_checkedFor = nullptr; });
    auto* saveKey =
        new QShortcut(QKeySequence::Save, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(saveKey, &QShortcut::activated, m_model, &SnippetEditorModel::save);
    connect(remove, &QPushButton::clicked, this, [this] {
        Questions::askDestructive(this, {tr("Delete this snippet?"), QString(), tr("Delete")},
                                  [this] { Q_EMIT deleteConfirmed(); });
    });
    connect(m_model, &SnippetEditorModel::changed, this, &SnippetEditorView::updateLooks);
    connect(m_model, &SnippetEditorModel::categoriesChanged, this, [this] {
        m_loading = true; // the picker follows the library; the snippet's choice stays
        m_category->setCategories(m_model->categories(), m_model->category());
        m_loading = false;
    });
    connect(m_model, &SnippetEditorModel::loaded, this, &SnippetEditorView::loadFromModel);
    if (m_dependencies.state)
        connect(m_dependencies.state, &EditorState::isDirtyChanged, this,
                &SnippetEditorView::updateLooks);
    updateLooks();
}

// The rich view must let go of the model's document before the model (a child) deletes it.
SnippetEditorView::~SnippetEditorView()
{
    m_rich->setDocument(nullptr);
}

QWidget* SnippetEditorView::buildFormattingBar()
{
    auto* bar = new QWidget(this);
    bar->setObjectName(u"formattingBar"_s);
    bar->setAccessibleName(tr("Formatting"));
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(1);
    using RichTextFormatting::Trait;
    struct TraitButton {
        const char16_t* icon;
        const char* name; // translated where the button is made
        const char* help;
        Trait trait;
        const char* keys;
    };
    const TraitButton traits[] = {
        {u"format-text-bold", QT_TR_NOOP("Bold"), QT_TR_NOOP("Bold (Ctrl+B)"), Trait::bold,
         "Ctrl+B"},
        {u"format-text-italic", QT_TR_NOOP("Italic"), QT_TR_NOOP("Italic (Ctrl+I)"), Trait::italic,
         "Ctrl+I"},
        {u"format-text-underline", QT_TR_NOOP("Underline"), QT_TR_NOOP("Underline (Ctrl+U)"),
         Trait::underline, "Ctrl+U"},
        {u"format-text-strikethrough", QT_TR_NOOP("Strikethrough"),
         QT_TR_NOOP("Strikethrough (Ctrl+Shift+X)"), Trait::strikethrough, "Ctrl+Shift+X"},
    };
    for (const TraitButton& t : traits) {
        auto* button = barButton(QString::fromUtf16(t.icon), tr(t.name), tr(t.help), bar);
        const Trait trait = t.trait;
        const auto apply = [this, trait] {
            formatSelection([trait](QTextCursor& c) { RichTextFormatting::toggle(c, trait); });
        };
        connect(button, &QToolButton::clicked, this, apply);
        auto* key = new QShortcut(QKeySequence(QString::fromLatin1(t.keys)), m_rich, nullptr,
                                  nullptr, Qt::WidgetShortcut);
        connect(key, &QShortcut::activated, this, apply);
        row->addWidget(button);
    }
    row->addSpacing(8);
    const qreal base = QApplication::font().pointSizeF();
    auto* bigger = barButton(u"format-font-size-more"_s, tr("Bigger"), tr("Bigger"), bar);
    auto* smaller = barButton(u"format-font-size-less"_s, tr("Smaller"), tr("Smaller"), bar);
    connect(bigger, &QToolButton::clicked, this, [this, base] {
        formatSelection([base](QTextCursor& c) {
            RichTextFormatting::changeSize(c, RichTextFormatting::sizeStep, base);
        });
    });
    connect(smaller, &QToolButton::clicked, this, [this, base] {
        formatSelection([base](QTextCursor& c) {
            RichTextFormatting::changeSize(c, -RichTextFormatting::sizeStep, base);
        });
    });
    row->addWidget(bigger);
    row->addWidget(smaller);
    row->addSpacing(8);
    const std::pair<const char*, Qt::Alignment> alignments[] = {
        {QT_TR_NOOP("Align Left"), Qt::AlignLeft},
        {QT_TR_NOOP("Align Centre"), Qt::AlignHCenter},
        {QT_TR_NOOP("Align Right"), Qt::AlignRight}};
    const char16_t* alignIcons[] = {u"format-justify-left", u"format-justify-center",
                                    u"format-justify-right"};
    int i = 0;
    for (const auto& [name, alignment] : alignments) {
        auto* button = barButton(QString::fromUtf16(alignIcons[i++]), tr(name), tr(name), bar);
        const Qt::Alignment a = alignment;
        connect(button, &QToolButton::clicked, this, [this, a] {
            formatSelection([a](QTextCursor& c) { RichTextFormatting::align(c, a); });
        });
        row->addWidget(button);
    }
    row->addSpacing(8);
    auto* link = barButton(u"insert-link"_s, tr("Hyperlink"), tr("Hyperlink (Ctrl+K)"), bar);
    connect(link, &QToolButton::clicked, this, &SnippetEditorView::openLinkPanel);
    auto* linkKey =
        new QShortcut(QKeySequence(u"Ctrl+K"_s), m_rich, nullptr, nullptr, Qt::WidgetShortcut);
    connect(linkKey, &QShortcut::activated, this, &SnippetEditorView::openLinkPanel);
    row->addWidget(link);
    row->addStretch(1);
    return bar;
}

template <typename Operation> void SnippetEditorView::formatSelection(Operation operation)
{
    QTextCursor cursor = m_rich->textCursor();
    operation(cursor);
    m_rich->setTextCursor(cursor);
    m_rich->setFocus();
    m_model->richTextEdited(); // a format change alone is an edit too
}

void SnippetEditorView::showSnippet(SnippetEntity* snippet)
{
    if (snippet && snippet == m_model->snippet())
        return;
    setPreviewing(false);
    if (m_linkPanel)
        m_linkPanel->close();
    m_model->load(snippet);
}

void SnippetEditorView::loadFromModel()
{
    m_loading = true;
    m_title->setText(m_model->title());
    m_abbreviation->setText(m_model->abbreviation());
    m_category->setCategories(m_model->categories(), m_model->category());
    m_plain->setPlainText(m_model->plainText());
    m_rich->setDocument(m_model->richText());
    connect(m_model->richText(), &QTextDocument::contentsChanged, this, [this] {
        if (!m_loading)
            m_model->richTextEdited();
    });
    m_loading = false;
    updateLooks();
}

void SnippetEditorView::updateLooks()
{
    const bool rich = m_model->mode() == Mode::rich;
    m_plainMode->setChecked(!rich);
    m_richMode->setChecked(rich);
    const bool previewing = m_preview->isChecked();
    m_formattingBar->setVisible(rich && !previewing);
    m_pages->setCurrentIndex(previewing ? previewPage : rich ? richPage : plainPage);
    // The abbreviation's checks walk the library: only when it changed, not on every key of
    // the text.
    if (m_model->abbreviation() != m_checkedAbbreviation || m_model->snippet() != m_checkedFor) {
        m_checkedAbbreviation = m_model->abbreviation();
        m_checkedFor = m_model->snippet();
        const QString hint = m_model->abbreviationHint();
        m_hint->setText(hint);
        m_hint->setVisible(!hint.isEmpty());
        m_conflict->setConflict(m_model->conflict());
    }
    // Save stands out only when there is something to save.
    const bool dirty = m_model->isDirty();
    if (m_saveLooksDirty == std::optional(dirty))
        return;
    m_saveLooksDirty = dirty;
    QColor color = palette().color(dirty ? QPalette::Highlight : QPalette::ButtonText);
    if (!dirty)
        color.setAlphaF(0.4f);
    m_save->setStyleSheet(u"QPushButton { color: %1; }"_s.arg(color.name(QColor::HexArgb)));
    m_save->setAccessibleDescription(dirty ? tr("Saves all changes to this snippet")
                                           : tr("No unsaved changes"));
}

void SnippetEditorView::setPreviewing(bool previewing)
{
    if (m_preview->isChecked() != previewing) {
        m_preview->setChecked(previewing); // comes back here through toggled
        return;
    }
    m_preview->setText(previewing ? tr("Back to editor") : tr("Preview"));
    const QString help = previewing ? tr("Returns to the editable snippet content")
                                    : tr("Shows a read-only preview with macros resolved");
    m_preview->setToolTip(help);
    m_preview->setAccessibleDescription(help);
    if (previewing)
        m_previewText->setPlainText(m_model->previewText());
    updateLooks();
}

void SnippetEditorView::insertAtCaret(const QString& text, bool caretBeforeBrace)
{
    setPreviewing(false);
    if (m_model->mode() == Mode::plain) {
        QTextCursor cursor = m_plain->textCursor();
        cursor.insertText(text);
        if (caretBeforeBrace)
            cursor.movePosition(QTextCursor::Left);
        m_plain->setTextCursor(cursor);
        m_plain->setFocus();
    } else {
        QTextCursor cursor = m_rich->textCursor();
        cursor.insertText(text);
        if (caretBeforeBrace)
            cursor.movePosition(QTextCursor::Left);
        m_rich->setTextCursor(cursor);
        m_rich->setFocus();
    }
}

void SnippetEditorView::aiButtonClicked()
{
    // Alt-click is often the window manager's; Shift-click does the same.
    if (QApplication::keyboardModifiers() & (Qt::AltModifier | Qt::ShiftModifier)) {
        insertAtCaret(u"{ai: }"_s, true);
        return;
    }
    if (m_dependencies.ai && !m_dependencies.ai->isEnabled()) {
        // Not set up yet: the guided set-up first, then the picker.
        auto* onboarding = new AIOnboardingView(m_dependencies.ai, this);
        onboarding->setAttribute(Qt::WA_DeleteOnClose);
        connect(onboarding, &AIOnboardingView::enabled, this, &SnippetEditorView::openPromptPicker);
        onboarding->open();
        return;
    }
    openPromptPicker();
}

void SnippetEditorView::openPromptPicker()
{
    if (!m_dependencies.ai)
        return;
    auto* picker = new AIPromptPickerView(m_dependencies.ai, this);
    picker->setAttribute(Qt::WA_DeleteOnClose);
    connect(picker, &AIPromptPickerView::insertRequested, this, [this](const QString& text) {
        insertAtCaret(text, text.endsWith(u" }"_s) || text.endsWith(u": }"_s));
    });
    picker->openAt(m_aiButton->mapToGlobal(QPoint(0, m_aiButton->height())));
}

void SnippetEditorView::openLinkPanel()
{
    if (m_model->mode() != Mode::rich)
        return;
    const QTextCursor cursor = m_rich->textCursor();
    m_linkStart = cursor.selectionStart();
    m_linkEnd = cursor.selectionEnd();
    if (!m_linkPanel) {
        m_linkPanel = new LinkPanel(this);
        const auto remembered = [this] {
            QTextCursor c(m_rich->document());
            c.setPosition(m_linkStart);
            c.setPosition(m_linkEnd, QTextCursor::KeepAnchor);
            return c;
        };
        connect(m_linkPanel, &LinkPanel::applied, this, [this, remembered](const QString& url) {
            QTextCursor c = remembered();
            RichTextFormatting::setLink(c, url);
            m_model->richTextEdited();
        });
        connect(m_linkPanel, &LinkPanel::removed, this, [this, remembered] {
            QTextCursor c = remembered();
            RichTextFormatting::removeLink(c);
            m_model->richTextEdited();
        });
    }
    const QString existing = cursor.hasSelection() ? RichTextFormatting::linkAt(cursor) : QString();
    const QRect caret = m_rich->cursorRect(cursor);
    m_linkPanel->open(existing, m_rich->viewport()->mapToGlobal(caret.bottomLeft() + QPoint(0, 6)));
}
