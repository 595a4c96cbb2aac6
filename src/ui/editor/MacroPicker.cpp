#include "ui/editor/MacroPicker.h"

#include "macros/MacroProcessor.h"
#include "models/SnippetEditorModel.h"
#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel* sectionHeader(const QString& iconName, const QString& title, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::RichText);
    label->setText(u"<b>"_s + title.toHtmlEscaped() + u"</b>"_s);
    if (!iconName.isEmpty()) {
        auto* row = new QWidget(parent);
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 8, 0, 2);
        auto* icon = new QLabel(row);
        icon->setPixmap(Icons::named(iconName).pixmap(14, 14));
        layout->addWidget(icon);
        label->setParent(row);
        layout->addWidget(label, 1);
        label->setProperty("row", QVariant::fromValue(row));
    }
    return label;
}

QWidget* headerRow(QLabel* header)
{
    return header->property("row").value<QWidget*>() ? header->property("row").value<QWidget*>()
                                                     : header;
}

// A row that inserts: the token in a fixed font, then what it gives today.
QPushButton* tokenRow(const QString& token, const QString& sample, QWidget* parent)
{
    auto* button = new QPushButton(parent);
    button->setFlat(true);
    button->setText(token + u"   "_s + sample);
    button->setStyleSheet(u"text-align: left; padding: 3px 8px;"_s);
    button->setAccessibleName(token);
    button->setAccessibleDescription(sample);
    return button;
}

QLabel* note(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.88);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

} // namespace

MacroPicker::MacroPicker(const SnippetEditorModel* editor, QWidget* parent)
    : QFrame(parent, Qt::Popup), m_editor(editor)
{
    setObjectName(QStringLiteral("macroPicker"));
    setAccessibleName(tr("Insert a macro"));
    setFrameShape(QFrame::StyledPanel);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(scroll);
    auto* layout = new QVBoxLayout(content);
    layout->setSpacing(2);
    scroll->setWidget(content);
    outer->addWidget(scroll);

    const auto add = [&](QPushButton* row, const QString& token) {
        layout->addWidget(row);
        connect(row, &QPushButton::clicked, this, [this, token] { choose(token); });
    };
    layout->addWidget(headerRow(sectionHeader(u"x-office-calendar"_s, tr("Date"), content)));
    for (const auto& preset : MacroProcessor::datePresets()) {
        const QString token = u"{date:"_s + preset.format + u'}';
        add(tokenRow(token, preset.label, content), token);
    }
    layout->addWidget(headerRow(sectionHeader(u"appointment-soon"_s, tr("Time"), content)));
    for (const auto& preset : MacroProcessor::timePresets()) {
        const QString token = u"{time:"_s + preset.format + u'}';
        add(tokenRow(token, preset.label, content), token);
    }
    layout->addWidget(headerRow(sectionHeader(QString(), tr("Other"), content)));
    add(tokenRow(u"{clipboard}"_s, tr("Clipboard contents"), content), u"{clipboard}"_s);
    add(tokenRow(u"{cursor}"_s, tr("Cursor position here"), content), u"{cursor}"_s);
    auto* cursorNote = new QWidget(content);
    auto* cursorNoteLayout = new QHBoxLayout(cursorNote);
    cursorNoteLayout->setContentsMargins(8, 0, 8, 0);
    auto* info = new QLabel(cursorNote);
    info->setPixmap(Icons::named(u"dialog-information"_s).pixmap(12, 12));
    cursorNoteLayout->addWidget(info, 0, Qt::AlignTop);
    cursorNoteLayout->addWidget(
        note(tr("{cursor} moves the insertion point after expansion. Works in most native apps; "
                "may not work in some web or Electron-based apps."),
             cursorNote),
        1);
    layout->addWidget(cursorNote);

    layout->addWidget(headerRow(sectionHeader(u"insert-text"_s, tr("Fill-in Field"), content)));
    auto* fillRow = new QHBoxLayout;
    m_fillLabel = new QLineEdit(content);
    m_fillLabel->setPlaceholderText(tr("Label"));
    m_fillLabel->setAccessibleName(tr("Label"));
    auto* fillInsert = new QPushButton(tr("Insert"), content);
    fillInsert->setAccessibleName(tr("Insert fill-in field"));
    fillRow->addWidget(m_fillLabel, 1);
    fillRow->addWidget(fillInsert);
    layout->addLayout(fillRow);
    const auto insertFill = [this] {
        choose(SnippetEditorModel::fillInToken(m_fillLabel->text()));
    };
    connect(fillInsert, &QPushButton::clicked, this, insertFill);
    connect(m_fillLabel, &QLineEdit::returnPressed, this, insertFill);

    layout->addWidget(headerRow(sectionHeader(u"go-jump"_s, tr("Nest Snippet"), content)));
    auto* nestRow = new QHBoxLayout;
    m_nestAbbreviation = new QLineEdit(content);
    m_nestAbbreviation->setPlaceholderText(tr("Abbreviation"));
    m_nestAbbreviation->setAccessibleName(tr("Abbreviation"));
    auto* nestInsert = new QPushButton(tr("Insert"), content);
    nestInsert->setAccessibleName(tr("Insert nested snippet"));
    nestRow->addWidget(m_nestAbbreviation, 1);
    nestRow->addWidget(nestInsert);
    layout->addLayout(nestRow);
    m_suggestions = new QListWidget(content);
    m_suggestions->setAccessibleName(tr("Matching abbreviations"));
    m_suggestions->setMaximumHeight(110);
    m_suggestions->hide();
    layout->addWidget(m_suggestions);
    const auto insertNest = [this] {
        if (!m_nestAbbreviation->text().isEmpty())
            choose(SnippetEditorModel::nestedSnippetToken(m_nestAbbreviation->text()));
    };
    connect(m_nestAbbreviation, &QLineEdit::textChanged, this, &MacroPicker::updateSuggestions);
    connect(m_nestAbbreviation, &QLineEdit::returnPressed, this, insertNest);
    connect(nestInsert, &QPushButton::clicked, this, insertNest);
    connect(m_suggestions, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        m_nestAbbreviation->setText(item->data(Qt::UserRole).toString());
    });
    connect(m_suggestions, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        m_nestAbbreviation->setText(item->data(Qt::UserRole).toString());
    });

    layout->addWidget(
        headerRow(sectionHeader(u"scrivlane-sparkles"_s, tr("Generate with AI"), content)));
    add(tokenRow(u"{ai: }"_s, QString(), content), u"{ai: }"_s);
    layout->addWidget(note(tr("Type your prompt after the colon. You can use {clipboard}, "
                              "{fill:…} and other macros inside the prompt."),
                           content));
    layout->addStretch(1);
    resize(400, 520);
}

void MacroPicker::openAt(const QPoint& at)
{
    m_fillLabel->clear();
    m_nestAbbreviation->clear();
    updateSuggestions();
    move(at);
    show();
}

void MacroPicker::choose(const QString& token)
{
    close();
    Q_EMIT insertRequested(token);
}

void MacroPicker::updateSuggestions()
{
    m_suggestions->clear();
    const QString typed = m_nestAbbreviation->text();
    if (typed.trimmed().isEmpty()) {
        m_suggestions->hide();
        return;
    }
    for (const auto& suggestion : m_editor->nestSuggestions(typed)) {
        auto* item = new QListWidgetItem(suggestion.abbreviation, m_suggestions);
        item->setData(Qt::UserRole, suggestion.abbreviation);
        if (suggestion.exact) {
            item->setIcon(Icons::named(u"emblem-ok"_s));
            item->setData(Qt::AccessibleTextRole,
                          tr("%1, exact match").arg(suggestion.abbreviation));
        }
    }
    m_suggestions->setVisible(m_suggestions->count() > 0);
}
