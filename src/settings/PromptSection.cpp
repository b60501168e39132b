#include "settings/PromptSection.h"

#include "widgets/FieldFrame.h"
#include "widgets/FormTexts.h"
#include "widgets/PlainTextEditor.h"

#include <QVBoxLayout>
#include <utility>

namespace velmo {

namespace {

constexpr int kEditorHeight = 140;
constexpr QMargins kEditorPadding(10, 7, 2, 7);
constexpr int kAbove = 12;
constexpr int kBelow = 12;
constexpr int kCaptionGap = 8;

} // namespace

PromptSection::PromptSection(std::shared_ptr<SettingsManager> settings)
    : FormSection(QStringLiteral("Things to know"))
    , settings_(std::move(settings))
    , editor_(new PlainTextEditor(QStringLiteral("Things to know")))
{
    constexpr int kHalo = FieldFrame::kHalo;
    const QString explanation =
        QStringLiteral("Extra hidden guidance appended to the built-in system prompt.");
    auto* row = new QWidget;
    auto* lines = new QVBoxLayout(row);
    lines->setContentsMargins(kRowInset - kHalo, kAbove - kHalo, kRowInset - kHalo, kBelow);
    lines->setSpacing(0);
    auto* frame = new FieldFrame(editor_, kEditorPadding);
    frame->setFixedHeight(kEditorHeight + 2 * kHalo);
    auto* caption = new TextLabel(FormTexts::kCaption, explanation);
    auto* captionLine = new QVBoxLayout;
    captionLine->setContentsMargins(kHalo, 0, kHalo, 0);
    captionLine->addWidget(caption);
    editor_->setAccessibleDescription(explanation);
    lines->addWidget(frame);
    lines->addSpacing(kCaptionGap - kHalo);
    lines->addLayout(captionLine);
    addRow(row);

    editor_->onEdit = [this](const QString& text) {
        shown_ = text;
        settings_->systemPrompt.set(text);
    };
    changes_ = settings_->systemPrompt.subscribe([this](const QString&) { refresh_.request(); });
    refresh();
}

void PromptSection::refresh()
{
    const QString& prompt = settings_->systemPrompt.value();
    // The cursor stays where it is unless somebody else has written.
    if (shown_ == prompt)
        return;
    shown_ = prompt;
    editor_->showText(prompt);
}

} // namespace velmo
