#include "settings/DrawingSection.h"

#include "widgets/FormTexts.h"
#include "widgets/RadioButton.h"

#include <QVBoxLayout>
#include <utility>

namespace velmo {

namespace {

constexpr int kAbove = 12;
constexpr int kBelow = 13;
constexpr int kLineGap = 6;

class RadioGroup final : public QWidget, public DescribedWidget {
public:
    explicit RadioGroup(const QString& title)
        : DescribedWidget(QAccessible::Grouping)
    {
        setAccessibleName(title);
    }
};

} // namespace

DrawingSection::DrawingSection(std::shared_ptr<SettingsManager> settings)
    : FormSection(QStringLiteral("Drawing"))
    , settings_(std::move(settings))
    , singleStroke_(new RadioButton(QStringLiteral("Single Stroke — auto-submit after first stroke")))
    , manualSubmit_(new RadioButton(QStringLiteral("Manual Submit — press Done when ready")))
{
    const QString title = QStringLiteral("Submit Mode");
    auto* group = new RadioGroup(title);
    auto* lines = new QVBoxLayout(group);
    lines->setContentsMargins(kRowInset, kAbove, kRowInset, kBelow);
    lines->setSpacing(kLineGap);
    lines->addWidget(new TextLabel(FormTexts::kBody, title));
    lines->addWidget(singleStroke_);
    lines->addWidget(manualSubmit_);
    addRow(group);

    singleStroke_->onChange = [this](bool) { choose(SubmitMode::SingleStroke); };
    manualSubmit_->onChange = [this](bool) { choose(SubmitMode::ManualSubmit); };
    changes_ = settings_->submitMode.subscribe([this](SubmitMode) { refresh_.request(); });
    refresh();
}

void DrawingSection::choose(SubmitMode mode)
{
    // The mark of what is chosen already can be clicked, too.
    if (settings_->submitMode.value() != mode)
        settings_->submitMode.set(mode);
}

void DrawingSection::refresh()
{
    RadioButton* chosen =
        settings_->submitMode.value() == SubmitMode::ManualSubmit ? manualSubmit_ : singleStroke_;
    chosen->setChecked(true);
}

} // namespace velmo
