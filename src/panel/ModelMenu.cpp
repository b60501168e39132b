// The pill that names the model in use, and the menu that it opens.

#include "panel/ModelNames.h"
#include "panel/ModelPillButton.h"
#include "panel/PanelMenu.h"
#include "panel/QueryPanelContentView.h"

namespace velmo {

namespace {

constexpr int kMenuGap = 4;

struct ModelSection {
    QString title;
    QString provider;
    QStringList models;
};

ModelSection claudeSection()
{
    return {QStringLiteral("Claude"),
            ProviderID::Anthropic,
            {QStringLiteral("claude-sonnet-4-6"), QStringLiteral("claude-opus-4-6"),
             QStringLiteral("claude-haiku-4-5-20251001")}};
}

ModelSection openAISection()
{
    return {QStringLiteral("OpenAI"),
            ProviderID::OpenAI,
            {QStringLiteral("gpt-5.4"), QStringLiteral("gpt-5.4-mini"), QStringLiteral("gpt-5.4-nano")}};
}

} // namespace

PanelMenu* QueryPanelContentView::makeMenu(QWidget* parent) const
{
    return new PanelMenu(parent, desktop_.windows);
}

void QueryPanelContentView::updateModelButtonTitle()
{
    const auto settings = session_.settings();
    modelButton_->setTitle(settings ? modelPillTitle(*settings) : QString());
    layOut();
}

void QueryPanelContentView::showModelMenu()
{
    const auto settings = session_.settings();
    if (!settings)
        return;
    std::vector<ModelSection> sections;
    if (settings->effectiveKey(KeychainAccount::Anthropic))
        sections.push_back(claudeSection());
    if (settings->effectiveKey(KeychainAccount::OpenAI))
        sections.push_back(openAISection());
    if (sections.empty()) {
        if (desktop_.openSettingsWindow)
            desktop_.openSettingsWindow();
        return;
    }
    const bool usesAnthropic = settings->selectedProvider.value() == ProviderID::Anthropic;
    const QString selected = settings->selectedProvider.value() + u':' +
                             (usesAnthropic ? settings->anthropicModel : settings->openAIModel).value();
    PanelMenu* menu = makeMenu(this);
    for (const ModelSection& section : sections) {
        if (!menu->isEmpty())
            menu->addSeparator();
        menu->addHeader(section.title);
        for (const QString& model : section.models) {
            const QString value = section.provider + u':' + model;
            QAction* item =
                menu->addAction(modelDisplayName(model), this, [this, value] { selectModel(value); });
            item->setData(value);
            item->setCheckable(true);
            item->setChecked(value == selected);
        }
    }
    modelButton_->followMenu(*menu);
    menu->popupAt(QRect(modelButton_->mapToGlobal(QPoint()), modelButton_->size()), kMenuGap);
}

void QueryPanelContentView::selectModel(const QString& value)
{
    const auto settings = session_.settings();
    const qsizetype colon = value.indexOf(u':');
    if (!settings || colon < 0)
        return;
    const QString provider = value.left(colon);
    settings->selectedProvider.set(provider);
    (provider == ProviderID::Anthropic ? settings->anthropicModel : settings->openAIModel)
        .set(value.mid(colon + 1));
    updateModelButtonTitle();
}

} // namespace velmo
