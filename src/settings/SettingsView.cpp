#include "settings/SettingsView.h"

#include "settings/APIKeySection.h"
#include "settings/ActivationSection.h"
#include "settings/DrawingSection.h"
#include "settings/PromptSection.h"
#include "widgets/ThinScrollBar.h"

#include <QHideEvent>
#include <QShowEvent>
#include <QVBoxLayout>

namespace velmo {

namespace {

/// The scroll bar takes the rest of the right margin.
constexpr QMargins kMargins(20, 16, 8, 20);
constexpr int kSectionGap = 18;
constexpr int kScrollBarInset = 4;
constexpr int kWheelStep = 20;

} // namespace

SettingsView::SettingsView(const std::shared_ptr<SettingsManager>& settings,
                           const SettingsCollaborators& collaborators, QWidget* parent)
    : QScrollArea(parent)
    , keys_(new APIKeySection(settings))
    , prompt_(new PromptSection(settings))
    , activation_(new ActivationSection(settings, collaborators))
    , drawing_(new DrawingSection(settings))
{
    auto* form = new QWidget;
    auto* sections = new QVBoxLayout(form);
    sections->setContentsMargins(kMargins);
    sections->setSpacing(kSectionGap);
    sections->addWidget(keys_);
    sections->addWidget(prompt_);
    sections->addWidget(activation_);
    sections->addWidget(drawing_);
    sections->addStretch();
    setFrameShape(QFrame::NoFrame);
    // The keys that scroll come from the controls, which have no use for them.
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setVerticalScrollBar(new ThinScrollBar(kScrollBarInset));
    verticalScrollBar()->setSingleStep(kWheelStep);
    setWidgetResizable(true);
    setWidget(form);
}

void SettingsView::showEvent(QShowEvent* event)
{
    // A spontaneous one is the window coming back from being iconified, with everything as it was.
    if (!event->spontaneous()) {
        keys_->appear();
        prompt_->refresh();
        activation_->refresh();
        drawing_->refresh();
    }
    QScrollArea::showEvent(event);
}

void SettingsView::hideEvent(QHideEvent* event)
{
    if (!event->spontaneous())
        keys_->disappear();
    QScrollArea::hideEvent(event);
}

} // namespace velmo
