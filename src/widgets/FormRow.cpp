#include "widgets/FormRow.h"

#include "widgets/FormSection.h"
#include "widgets/WindowLabel.h"

#include <QVBoxLayout>

namespace velmo {

namespace {

/// Above the title and below the last note.
constexpr int kNoteMargin = 7;

} // namespace

FormRow::FormRow(const QString& title, QWidget* parent)
    : QWidget(parent)
    , DescribedWidget(QAccessible::Grouping)
    , line_(new QHBoxLayout(this))
    , texts_(new QVBoxLayout)
{
    setAccessibleName(title);
    setMinimumHeight(FormSection::kRowHeight);
    line_->setContentsMargins(FormSection::kRowInset, 0, FormSection::kRowInset, 0);
    line_->setSpacing(0);
    texts_->setSpacing(0);
    texts_->setContentsMargins(0, kNoteMargin, 0, kNoteMargin);
    texts_->addWidget(new WindowLabel(WindowLabel::Kind::Body, title));
    line_->addLayout(texts_);
    line_->addStretch();
}

void FormRow::addControl(QWidget* control, int gap)
{
    line_->addSpacing(gap);
    line_->addWidget(control);
}

void FormRow::addNote(QWidget* note)
{
    texts_->addWidget(note);
}

} // namespace velmo
