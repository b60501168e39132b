#include "widgets/FormRow.h"

#include "widgets/FormSection.h"
#include "widgets/FormTexts.h"

#include <QAbstractButton>
#include <QMouseEvent>
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
    , title_(new TextLabel(FormTexts::kBody, title))
{
    setAccessibleName(title);
    setMinimumHeight(FormSection::kRowHeight);
    line_->setContentsMargins(FormSection::kRowInset, 0, FormSection::kRowInset, 0);
    line_->setSpacing(0);
    texts_->setSpacing(0);
    texts_->setContentsMargins(0, kNoteMargin, 0, kNoteMargin);
    title_->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    texts_->addWidget(title_);
    line_->addLayout(texts_);
    line_->addStretch();
}

void FormRow::addControl(QWidget* control, int gap)
{
    line_->addSpacing(gap);
    line_->addWidget(control);
}

void FormRow::addTitledControl(QAbstractButton* control)
{
    addControl(control, 0);
    control->setAccessibleName(title_->text());
    titled_ = control;
}

void FormRow::addNote(QWidget* note)
{
    texts_->addWidget(note);
}

void FormRow::mousePressEvent(QMouseEvent* event)
{
    // Whoever takes the press is told of the release.
    event->setAccepted(isOnTitle(*event));
}

void FormRow::mouseReleaseEvent(QMouseEvent* event)
{
    if (isOnTitle(*event))
        titled_->click();
}

bool FormRow::isOnTitle(const QMouseEvent& event) const
{
    return titled_ != nullptr && event.button() == Qt::LeftButton &&
           title_->geometry().contains(event.position().toPoint());
}

} // namespace velmo
