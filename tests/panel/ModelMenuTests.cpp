#include "panel/PanelTest.h"

namespace velmo {
namespace {

class ModelMenu : public PanelTest {
protected:
    /// The menu's lines: headers in brackets, separators as dashes, a tick before what is checked.
    [[nodiscard]] QStringList openMenu()
    {
        scene->content->showModelMenu();
        QStringList lines;
        for (const QAction* action : menu().actions()) {
            if (action->isSeparator())
                lines.append(QStringLiteral("-"));
            else if (!action->isEnabled())
                lines.append(u'[' + action->text() + u']');
            else
                lines.append((action->isChecked() ? QStringLiteral("✓ ") : QString()) + action->text() +
                             u' ' + action->data().toString());
        }
        return lines;
    }
    [[nodiscard]] PanelMenu& menu() const { return *widgetsIn<PanelMenu>(*scene->content).back(); }
    void dropKey(const QString& account) const
    {
        scene->keychain->items.remove(FakeKeychain::name(QStringLiteral("app.velmo.Velmo"), account));
    }

    const QStringList claude{QStringLiteral("[Claude]"),
                             QStringLiteral("✓ Sonnet 4.6 anthropic:claude-sonnet-4-6"),
                             QStringLiteral("Opus 4.6 anthropic:claude-opus-4-6"),
                             QStringLiteral("Haiku 4.5 anthropic:claude-haiku-4-5-20251001")};
    const QStringList openAI{QStringLiteral("[OpenAI]"), QStringLiteral("GPT-5.4 openai:gpt-5.4"),
                             QStringLiteral("GPT-5.4 mini openai:gpt-5.4-mini"),
                             QStringLiteral("GPT-5.4 nano openai:gpt-5.4-nano")};
};

TEST_F(ModelMenu, HasASectionForEachKey)
{
    EXPECT_EQ(openMenu(), claude + QStringList{QStringLiteral("-")} + openAI);
    EXPECT_TRUE(menu().isVisible());
    menu().close();
}

TEST_F(ModelMenu, WithOneKeyThereIsOneSectionAndNoSeparator)
{
    dropKey(KeychainAccount::Anthropic);
    EXPECT_EQ(openMenu(), openAI);
    menu().close();
    settle();
    scene->putKey(KeychainAccount::Anthropic, QByteArrayLiteral("key"));
    scene->putKey(KeychainAccount::OpenAI, QByteArray());
    EXPECT_EQ(openMenu(), claude);
    menu().close();
}

TEST_F(ModelMenu, ChecksTheSelectedProvidersModelAlone)
{
    scene->settings->selectedProvider.set(ProviderID::OpenAI);
    scene->settings->openAIModel.set(QStringLiteral("gpt-5.4-nano"));
    const QStringList lines = openMenu();
    EXPECT_EQ(lines.filter(QStringLiteral("✓")),
              QStringList{QStringLiteral("✓ GPT-5.4 nano openai:gpt-5.4-nano")});
    menu().close();
}

TEST_F(ModelMenu, ChecksNothingForAProviderThatItDoesNotKnow)
{
    scene->settings->selectedProvider.set(QStringLiteral("someone else"));
    const QStringList lines = openMenu();
    EXPECT_EQ(lines.size(), 9);
    EXPECT_EQ(lines.filter(QStringLiteral("✓")), QStringList());
    menu().close();
}

TEST_F(ModelMenu, AChoiceIsStoredProviderFirstAndShown)
{
    QStringList stored;
    const auto provider =
        scene->settings->selectedProvider.subscribe([&](const QString& value) { stored.append(value); });
    const auto model =
        scene->settings->openAIModel.subscribe([&](const QString& value) { stored.append(value); });
    ASSERT_EQ(openMenu().size(), 9);
    menu().actions().at(7)->trigger();
    EXPECT_EQ(stored, (QStringList{QStringLiteral("openai"), QStringLiteral("gpt-5.4-mini")}));
    EXPECT_EQ(widget<ModelPillButton>().text(), QStringLiteral("GPT-5.4 mini"));
    menu().close();
}

TEST_F(ModelMenu, AValueIsSplitAtItsFirstColon)
{
    scene->content->selectModel(QStringLiteral("openai:local:70b"));
    EXPECT_EQ(scene->settings->selectedProvider.value(), QStringLiteral("openai"));
    EXPECT_EQ(scene->settings->openAIModel.value(), QStringLiteral("local:70b"));
    EXPECT_EQ(widget<ModelPillButton>().text(), QStringLiteral("local:70b"));
}

TEST_F(ModelMenu, WithoutAnyKeyThePillOpensTheSettings)
{
    dropKey(KeychainAccount::Anthropic);
    dropKey(KeychainAccount::OpenAI);
    int opened = 0;
    QueryPanelContentView content(scene->session,
                                  PanelDesktop{scene->screens, scene->windows, [&] { ++opened; }, {}, {}},
                                  nullptr, [](int) {});
    ModelPillButton& pill = *widgetsIn<ModelPillButton>(content).at(0);
    EXPECT_EQ(pill.text(), QStringLiteral("Configure API keys"));
    pill.click();
    EXPECT_EQ(opened, 1);
    EXPECT_TRUE(widgetsIn<PanelMenu>(content).empty());
}

TEST_F(ModelMenu, ThePillFollowsTheSettings)
{
    scene->settings->anthropicModel.set(QStringLiteral("claude-opus-4-6"));
    settle();
    EXPECT_EQ(widget<ModelPillButton>().text(), QStringLiteral("Opus 4.6"));
    EXPECT_EQ(widget<ModelPillButton>().height(), 22);
}

TEST_F(ModelMenu, HeadersAndItemsCanBeRead)
{
    scene->windows.composited = false; // No shadow around the frame.
    PanelMenu painted(scene->content.get(), scene->windows);
    painted.setAttribute(Qt::WA_DeleteOnClose, false);
    // A line under the words is whole pixels of their colour.
    const auto underline = [](QAction& action, QFont font) {
        font.setUnderline(true);
        action.setFont(font);
    };
    QAction& header = *painted.addHeader(QStringLiteral("Claude"));
    underline(header, header.font());
    QAction& item = *painted.addAction(QStringLiteral("Opus"));
    underline(item, painted.font());
    painted.popupAt(QRect(100, 50, 60, 22), 4);
    QImage image(painted.size() * 4, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(4);
    image.fill(Qt::transparent);
    painted.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    const auto brightest = [&](QAction& action) {
        const QRect row = painted.actionGeometry(&action);
        int value = 0;
        for (int y = row.top() * 4; y < row.bottom() * 4; ++y)
            value = std::max(value, image.pixelColor((row.left() + 12) * 4, y).red());
        return value;
    };
    EXPECT_EQ(image.pixelColor(image.width() - 40, image.height() / 2), QColor(33, 33, 39));
    // White at .55 over that has a contrast of 6 to 1.
    EXPECT_NEAR(brightest(header), 33 + 0.55 * (255 - 33), 3);
    EXPECT_NEAR(brightest(item), 255, 3);
    painted.hide();
}

TEST_F(ModelMenu, OpensBelowThePillWhereItFitsAndElseAbove)
{
    scene->windows.composited = false; // No shadow around the frame.
    PanelMenu menuBelow(scene->content.get(), scene->windows);
    menuBelow.setAttribute(Qt::WA_DeleteOnClose, false);
    menuBelow.addAction(QStringLiteral("A"));
    menuBelow.popupAt(QRect(100, 50, 60, 22), 4);
    EXPECT_EQ(menuBelow.pos(), QPoint(100, 76));
    menuBelow.hide();
    const int bottom = menuBelow.screen()->geometry().bottom();
    menuBelow.popupAt(QRect(100, bottom - 30, 60, 22), 4);
    EXPECT_EQ(menuBelow.geometry().bottom() + 1, bottom - 30 - 4);
    menuBelow.hide();
}

} // namespace
} // namespace velmo
