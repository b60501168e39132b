#include "settings/APIKeyRow.h"

#include "widgets/FieldFrame.h"
#include "widgets/FocusRing.h"
#include "widgets/FormSection.h"
#include "widgets/FormTexts.h"
#include "widgets/PushButton.h"
#include "widgets/SymbolView.h"
#include "widgets/WindowTheme.h"

#include <QVBoxLayout>
#include <utility>

namespace velmo {

namespace {

constexpr int kGap = 6; ///< Between any two things of the line.
constexpr int kTitleWidth = 80;
constexpr int kFieldHeight = 26;
/// The toolkit adds two points at the field's sides.
constexpr QMargins kFieldPadding(6, 1, 6, 1);
constexpr int kSymbolSize = 16; ///< Of the square; its disc spans fourteen.
constexpr TextLabel::Style kDotsStyle{12.5, 16, &WindowTheme::secondaryText, QFont::Normal, 0.5};
/// Above and below the line with the controls; a note takes the place of the lower one.
constexpr int kLineMargin = 4;
constexpr int kNoteMargin = 10;

/// What stands for a key. It has the keyboard once the key is saved: a desktop may have Return press whatever
/// button has it, and who presses it twice means no "Clear".
class KeyDots final : public TextLabel, public FocusRingTarget {
public:
    KeyDots()
        : TextLabel(kDotsStyle, QStringLiteral("•••  •••  •••"))
    {
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    }

    [[nodiscard]] FocusRingShape focusRingShape() const override { return {}; }
};

QHBoxLayout* makeLine(QWidget* parent)
{
    auto* line = new QHBoxLayout(parent);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(0);
    return line;
}

} // namespace

APIKeyRow::APIKeyRow(const QString& title, const QString& label, QWidget* parent)
    : QWidget(parent)
    , label_(label)
    , field_(new SecureField(label))
    , saveButton_(new PushButton(PushButton::Kind::Normal, QStringLiteral("Save")))
    , clearButton_(new PushButton(PushButton::Kind::Link, QStringLiteral("Clear")))
    , dots_(new KeyDots)
    , entry_(makeEntry())
    , mask_(makeMask())
    , note_(new TextLabel(FormTexts::kCaption))
{
    auto* lines = new QVBoxLayout(this);
    lines->setContentsMargins(FormSection::kRowInset, kLineMargin, FormSection::kRowInset, kLineMargin);
    lines->setSpacing(0);
    auto* controls = new QWidget;
    controls->setFixedHeight(FormSection::kRowHeight - 2 * kLineMargin);
    auto* line = makeLine(controls);
    auto* titleLabel = new TextLabel(FormTexts::kBody, title);
    titleLabel->setFixedWidth(kTitleWidth);
    line->addWidget(titleLabel);
    line->addWidget(entry_, 1);
    line->addWidget(mask_, 1);
    lines->addWidget(controls);
    lines->addWidget(note_);
    mask_->hide();
    note_->hide();
    describe();

    field_->onReturn = [this] { save(); };
    connect(field_, &QLineEdit::textChanged, this,
            [this](const QString& text) { saveButton_->setEnabled(!text.isEmpty()); });
    connect(saveButton_, &QAbstractButton::clicked, this, [this] { save(); });
    connect(clearButton_, &QAbstractButton::clicked, this, [this] {
        if (onClear)
            onClear();
    });
}

QWidget* APIKeyRow::makeEntry()
{
    auto* entry = new QWidget;
    auto* line = makeLine(entry);
    auto* frame = new FieldFrame(field_, kFieldPadding);
    frame->setFixedHeight(kFieldHeight + 2 * FieldFrame::kHalo);
    saveButton_->setEnabled(false);
    line->addSpacing(kGap - FieldFrame::kHalo);
    line->addWidget(frame, 1);
    line->addSpacing(kGap - FieldFrame::kHalo);
    line->addWidget(saveButton_);
    return entry;
}

QWidget* APIKeyRow::makeMask()
{
    auto* mask = new QWidget;
    auto* line = makeLine(mask);
    dots_->setAccessibleName(label_ + QStringLiteral(" is set"));
    auto* symbol = new SymbolView(kSymbolSize);
    symbol->setSymbol(QStringLiteral("checkmark.circle.fill"), &WindowTheme::granted);
    line->addStretch();
    line->addWidget(symbol);
    line->addSpacing(kGap);
    line->addWidget(dots_);
    line->addSpacing(kGap);
    line->addWidget(clearButton_);
    return mask;
}

void APIKeyRow::save()
{
    if (!field_->text().isEmpty() && onSave)
        onSave();
}

void APIKeyRow::forgetInput()
{
    field_->forget();
}

void APIKeyRow::setIsSet(bool isSet)
{
    if (std::exchange(isSet_, isSet) == isSet)
        return;
    QWidget* before = isSet ? entry_ : mask_;
    QWidget* after = isSet ? mask_ : entry_;
    const QWidget* focused = window()->focusWidget();
    const bool hadFocus = focused != nullptr && before->isAncestorOf(focused);
    after->show();
    // Otherwise it would go on to the next row, and the next press of a key with it.
    if (hadFocus)
        (isSet ? static_cast<QWidget*>(dots_) : field_)
            ->setFocus(before->underMouse() ? Qt::MouseFocusReason : Qt::OtherFocusReason);
    before->hide();
}

void APIKeyRow::setNote(const QString& note)
{
    if (note_->text() == note)
        return;
    note_->setText(note);
    note_->setVisible(!note.isEmpty());
    layout()->setContentsMargins(FormSection::kRowInset, kLineMargin, FormSection::kRowInset,
                                 note.isEmpty() ? kLineMargin : kNoteMargin);
    describe();
    note_->announce();
}

/// For those who hear one control at a time. The names of two of them say already which key it is.
void APIKeyRow::describe()
{
    const QString note = note_->text();
    field_->setAccessibleDescription(note);
    dots_->setAccessibleDescription(note);
    const QString withLabel = note.isEmpty() ? label_ : label_ + QStringLiteral(". ") + note;
    saveButton_->setAccessibleDescription(withLabel);
    clearButton_->setAccessibleDescription(withLabel);
}

} // namespace velmo
