// What becomes of a question between the field and the session.

#include "panel/PanelTest.h"

namespace velmo {
namespace {

class PanelQuestion : public PanelTest {
protected:
    [[nodiscard]] QStringList submissions() { return log.take().filter(QStringLiteral("Submit triggered")); }
    [[nodiscard]] const QLabel& placeholder() const { return field().placeholderField(); }
    void typeAndReturn(const QString& question)
    {
        text().setPlainText(question);
        pressKey(text(), Qt::Key_Return);
        settle();
    }
    /// Up to its picture, which does not come.
    void beginAdditionalCapture() const
    {
        scene->session.beginAdditionalCapture(true);
        scene->session.noteDrawingBegan({1, 1});
        scene->session.advanceToQuery();
        settle();
    }
    [[nodiscard]] std::vector<bool> whichMessagesHavePictures() const
    {
        std::vector<bool> result;
        for (const LLMMessage& message : scene->provider.requests.back().messages)
            result.push_back(message.imageData.has_value());
        return result;
    }
};

TEST_F(PanelQuestion, ReturnWhileAnAnswerStreamsClearsTheFieldAndIsRefused)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    ASSERT_EQ(scene->session.state().value(), SessionState::Streaming);
    log.take();
    typeAndReturn(QStringLiteral("And now?"));
    EXPECT_EQ(text().toPlainText(), QString());
    EXPECT_EQ(submissions(), QStringList{QStringLiteral("[QueryPanel] Submit triggered queryLength=8")});
    EXPECT_EQ(scene->provider.requests.size(), 1U);
    EXPECT_EQ(messages().size(), 3);
    // The answer goes on as if nothing had been.
    scene->stream(QStringLiteral("Because."));
    scene->finish();
    scene->fit();
    EXPECT_EQ(messages().back().text, QStringLiteral("Because."));
    EXPECT_EQ(scene->session.state().value(), SessionState::Querying);
    EXPECT_EQ(scene->provider.requests.size(), 1U) << "nor is it sent later";
}

TEST_F(PanelQuestion, SubmittingShowsATemporaryPlaceholderThatIsStillSet)
{
    deliverCapture();
    field().showTemporaryPlaceholder(QStringLiteral("Hold to speak"), std::chrono::minutes(5));
    text().setPlainText(QStringLiteral("Why?"));
    ASSERT_FALSE(placeholder().isVisible());
    pressKey(text(), Qt::Key_Return);
    settle();
    EXPECT_TRUE(placeholder().isVisible());
    EXPECT_EQ(placeholder().text(), QStringLiteral("Hold to speak"));
}

TEST_F(PanelQuestion, SubmittingShowsTheUsualPlaceholderOtherwise)
{
    deliverCapture();
    typeAndReturn(QStringLiteral("Why?"));
    EXPECT_TRUE(placeholder().isVisible());
    EXPECT_EQ(placeholder().text(), QStringLiteral("Ask anything about the annotated area…"));
}

TEST_F(PanelQuestion, SubmittingMakesTheFieldAndThePanelSmallAgain)
{
    removeCapture();
    text().setPlainText(QStringLiteral("one\ntwo\nthree\nfour\nfive\nsix"));
    ASSERT_EQ(field().currentIntrinsicHeight(), 92);
    pressKey(text(), Qt::Key_Return);
    EXPECT_EQ(field().currentIntrinsicHeight(), 28);
    EXPECT_EQ(scene->requestedHeight, 130);
    EXPECT_FALSE(sendButton().isEnabled());
}

TEST_F(PanelQuestion, ReturnDuringAnAdditionalCaptureSendsWithoutItsPicture)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("Because."));
    ASSERT_EQ(whichMessagesHavePictures(), std::vector<bool>{true});
    beginAdditionalCapture();
    ASSERT_TRUE(scene->session.isPreparingCapture().value());
    text().setPlainText(QStringLiteral("And this?"));
    EXPECT_FALSE(sendButton().isEnabled());
    pressKey(text(), Qt::Key_Return);
    settle();
    ASSERT_EQ(scene->provider.requests.size(), 2U);
    EXPECT_EQ(scene->provider.requests.back().messages.back().text, QStringLiteral("And this?"));
    EXPECT_EQ(whichMessagesHavePictures(), (std::vector<bool>{true, false, false}));
}

TEST_F(PanelQuestion, AfterAnAdditionalCaptureItsPictureGoesWithTheQuestion)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("Because."));
    beginAdditionalCapture();
    deliverCapture({40, 30});
    typeAndReturn(QStringLiteral("And this?"));
    EXPECT_EQ(whichMessagesHavePictures(), (std::vector<bool>{true, false, true}));
}

TEST_F(PanelQuestion, AKeyThatIsStoredMeanwhileLeavesThePillsTitleAlone)
{
    for (const QString& account : {KeychainAccount::Anthropic, KeychainAccount::OpenAI})
        scene->settings->keychainWrite(account, QString());
    // A panel that was opened without any key.
    QueryPanelContentView content(scene->session, PanelDesktop{scene->screens, scene->windows, {}, {}, {}},
                                  nullptr, [](int) {});
    const ModelPillButton& pill = *widgetsIn<ModelPillButton>(content).at(0);
    ASSERT_EQ(pill.text(), QStringLiteral("Configure API keys"));
    scene->settings->keychainWrite(KeychainAccount::Anthropic, QStringLiteral("a new key"));
    content.resize(620, 300);
    settle();
    EXPECT_EQ(pill.text(), QStringLiteral("Configure API keys"));
    // The next choice tells the truth again.
    content.selectModel(QStringLiteral("anthropic:claude-opus-4-6"));
    EXPECT_EQ(pill.text(), QStringLiteral("Opus 4.6"));
}

} // namespace
} // namespace velmo
