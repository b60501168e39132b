#include "widgets/CaptionRow.h"

#include "widgets/FormSection.h"
#include "widgets/FormTexts.h"

#include <QVBoxLayout>

namespace velmo {

namespace {

constexpr int kAbove = 10;
constexpr int kBelow = 9;

} // namespace

CaptionRow::CaptionRow(const QString& text, QWidget* parent)
    : QWidget(parent)
    , label_(new TextLabel(FormTexts::kCaption, text))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(FormSection::kRowInset, kAbove, FormSection::kRowInset, kBelow);
    layout->addWidget(label_);
}

void CaptionRow::setText(const QString& text)
{
    label_->setText(text);
}

} // namespace velmo
