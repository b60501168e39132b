#include "widgets/FormRow.h"

#include "widgets/FormSection.h"
#include "widgets/WindowLabel.h"

#include <QVBoxLayout>

namespace velmo {

FormRow::FormRow(const QString& title, QWidget* parent)
    : QWidget(parent)
    , DescribedWidget(QAccessible::Grouping)
    , line_(new QHBoxLayout(this))
    , texts_(new QVBoxLayout)
{
    setAccessibleName(title);
    setFixedHeight(FormSection::kRowHeight);
    line_->setContentsMargins(FormSection::kRowInset, 0, FormSection::kRowInset, 0);
    line_->setSpacing(0);
    texts_->setSpacing(0);
    texts_->addStretch();
    texts_->addWidget(new WindowLabel(WindowLabel::Kind::Body, title));
    texts_->addStretch();
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
    texts_->insertWidget(texts_->count() - 1, note);
}

} // namespace velmo
