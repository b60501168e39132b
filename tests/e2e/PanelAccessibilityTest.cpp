// The panel as a screen reader meets it: on an accessibility bus.

#include "PanelAccessibilityDesk.h"
#include "panel/ModelPillButton.h"
#include "panel/QueryInputPanel.h"
#include "support/accessibility/AtSpiReader.h"
#include "support/panel/AccessibleScene.h"
#include "support/x11/InputDriver.h"

#include <QMenu>
#include <algorithm>
#include <unistd.h>

namespace velmo {
namespace {

using test::AtSpiEvent;
using test::AtSpiReader;

/// The bus's own numbers.
enum Role : unsigned {
    kFrame = 23,
    kList = 31,
    kListItem = 32,
    kPushButton = 43,
    kText = 61,
    kParagraph = 73,
    kNotification = 101,
};
enum StateBit : unsigned {
    kActive = 1,
    kBusy = 3,
    kEditable = 7,
    kFocused = 12,
    kShowing = 25,
    kReadOnly = 43
};
enum Boundary : unsigned { kWord = 1, kSentence = 3, kLine = 5 };

class PanelOnTheBus : public AccessibleScene {
protected:
    PanelOnTheBus()
        : reader(test::buses().sessionAddress().toStdString())
        , window(new QueryInputPanel(QPoint(400, 900), panel.windows))
    {
        EXPECT_TRUE(reader.isConnected());
        window->setAttribute(Qt::WA_DeleteOnClose, false);
    }
    ~PanelOnTheBus() override
    {
        panel.content->setParent(nullptr);
        delete window;
    }

    /// Opens the panel in its window, and finds that on the bus.
    void open()
    {
        panel.content->setAttribute(Qt::WA_DontShowOnScreen, false);
        window->setCard(panel.content.get());
        panel.content->show();
        bool isShown = false;
        window->enter([&] { isShown = true; });
        window->animateHeight(CardMetrics::kMaximumHeight);
        ASSERT_TRUE(turnUntil([&] { return isShown; }));
        window->activateWindow();
        ASSERT_TRUE(turnUntil([this] { return window->isActiveWindow(); }));
        panel.content->focusField();
        settle();
        const auto application = reader.application(getpid());
        ASSERT_TRUE(application.has_value());
        const auto found = reader.find(*application, QStringLiteral("Velmo"));
        ASSERT_TRUE(found.has_value());
        root = *found;
    }

    [[nodiscard]] BusObject find(const QString& name, const std::optional<BusObject>& from = {})
    {
        const auto found = reader.find(from.value_or(root), name);
        EXPECT_TRUE(found.has_value()) << name.toStdString();
        return found.value_or(BusObject{});
    }
    [[nodiscard]] std::vector<BusObject> rows()
    {
        return reader.children(find(QStringLiteral("Conversation")));
    }
    /// The text of the newest answer.
    [[nodiscard]] BusObject answerText() { return reader.children(rows().back()).front(); }

    [[nodiscard]] bool awaitEvent(const std::function<bool(const AtSpiEvent&)>& isIt)
    {
        return turnUntil([&] {
            reader.process();
            return std::ranges::any_of(reader.events(), isIt);
        });
    }
    [[nodiscard]] QString inserted(const BusObject& text) const
    {
        QString all;
        for (const AtSpiEvent& event : reader.events()) {
            if (event.source == text && event.member == "TextChanged" &&
                event.kind == QStringLiteral("insert"))
                all += event.text;
        }
        return all;
    }

    AtSpiReader reader;
    QueryInputPanel* window;
    BusObject root;
};

TEST_F(PanelOnTheBus, EverythingHasItsRoleAndName)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    const BusObject field = find(QStringLiteral("Question"));
    EXPECT_EQ(reader.role(field), kText);
    EXPECT_EQ(reader.description(field), QStringLiteral("Ask anything about the annotated area…"));
    EXPECT_TRUE(reader.hasState(field, kEditable));
    EXPECT_TRUE(reader.hasState(field, kFocused));
    for (const char16_t* name : {u"Screenshot", u"Send", u"Record", u"Cancel"})
        EXPECT_EQ(reader.role(find(QString::fromUtf16(name))), kPushButton);
    const BusObject model = find(views<ModelPillButton>().front()->text());
    EXPECT_EQ(reader.role(model), kPushButton);
    EXPECT_EQ(reader.roleName(model), QStringLiteral("button menu"));
    EXPECT_EQ(reader.role(find(QStringLiteral("Preparing screenshot…"))), kNotification);
    EXPECT_FALSE(reader.hasState(find(QStringLiteral("Preparing screenshot…")), kShowing));
}

TEST_F(PanelOnTheBus, TheConversationIsReadInOrder)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    EXPECT_EQ(reader.role(find(QStringLiteral("Conversation"))), kList);
    QStringList names;
    for (const BusObject& row : rows()) {
        EXPECT_EQ(reader.role(row), kListItem);
        names.append(reader.name(row));
    }
    EXPECT_EQ(names, (QStringList{QStringLiteral("You"), QStringLiteral("You"), QStringLiteral("Answer")}));
    const BusObject question = find(QStringLiteral("Your question"));
    EXPECT_EQ(reader.text(reader.children(rows().at(1)).front()), QStringLiteral("why?"));
    EXPECT_EQ(reader.role(question), kParagraph);
    EXPECT_TRUE(reader.hasState(question, kReadOnly));
    EXPECT_EQ(reader.text(answerText()), QStringLiteral("Because."));
}

TEST_F(PanelOnTheBus, TheAnswerIsReadByWordsSentencesAndLinesWithItsStyles)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"),
           QStringLiteral("# Title\nSome **bold** words and `code`. Another sentence.\n") +
               QStringLiteral("Long lines are broken somewhere. ").repeated(8));
    const BusObject text = answerText();
    const QString whole = reader.text(text);
    EXPECT_EQ(reader.characterCount(text), whole.size());
    const auto at = [&](const char16_t* part) {
        return static_cast<int>(whole.indexOf(QString::fromUtf16(part))) + 1;
    };
    EXPECT_EQ(reader.textAt(text, at(u"bold"), kWord).trimmed(), QStringLiteral("bold"));
    EXPECT_EQ(reader.textAt(text, at(u"Another"), kSentence).trimmed(), QStringLiteral("Another sentence."));
    EXPECT_EQ(reader.textAt(text, at(u"Title"), kLine), QStringLiteral("Title\n"));
    EXPECT_LT(reader.textAt(text, at(u"Long"), kLine).size(), 200);
    EXPECT_TRUE(reader.attributes(text, at(u"bold")).contains(QStringLiteral("weight:600")))
        << reader.attributes(text, at(u"bold")).join(u' ').toStdString();
    EXPECT_TRUE(reader.attributes(text, at(u"code")).contains(QStringLiteral("family-name:monospace")))
        << reader.attributes(text, at(u"code")).join(u' ').toStdString();
    EXPECT_EQ(reader.attributes(text, at(u"Title")).filter(QStringLiteral("size:")).size(), 1)
        << reader.attributes(text, at(u"Title")).join(u' ').toStdString();
}

TEST_F(PanelOnTheBus, AStreamedAnswerIsToldPieceByPieceAndIsBusyMeanwhile)
{
    panel.deliverCapture(picture());
    open();
    panel.ask(QStringLiteral("why?"));
    ASSERT_TRUE(turnUntil([this] { return rows().size() == 3; }));
    const BusObject text = answerText();
    EXPECT_EQ(reader.text(text), QStringLiteral("Thinking…"));
    EXPECT_TRUE(reader.hasState(text, kBusy));
    reader.forgetEvents();
    for (const char16_t* piece : {u"One ", u"two ", u"three."}) {
        panel.stream(QString::fromUtf16(piece));
        EXPECT_TRUE(awaitEvent([&](const AtSpiEvent& event) {
            return event.source == text && event.kind == QStringLiteral("insert") &&
                   event.text == QString::fromUtf16(piece);
        }));
    }
    EXPECT_EQ(inserted(text), QStringLiteral("One two three."));
    panel.finish();
    EXPECT_TRUE(turnUntil([&] { return !reader.hasState(text, kBusy); }));
    EXPECT_EQ(inserted(text), QStringLiteral("One two three."));
}

TEST_F(PanelOnTheBus, MessagesThatComeAndGoAreToldToTheList)
{
    panel.deliverCapture(picture());
    open();
    const BusObject list = find(QStringLiteral("Conversation"));
    ASSERT_EQ(rows().size(), 1U);
    const auto tells = [&](const QString& kind) {
        return [&list, kind](const AtSpiEvent& event) {
            return event.source == list && event.member == "ChildrenChanged" && event.kind == kind;
        };
    };
    reader.forgetEvents();
    panel.ask(QStringLiteral("why?"));
    EXPECT_TRUE(awaitEvent(tells(QStringLiteral("add"))));
    panel.finish();
    panel.session.removeAttachmentMessage(panel.session.chatMessages().messages().front().id);
    EXPECT_TRUE(awaitEvent(tells(QStringLiteral("remove"))));
    EXPECT_EQ(rows().size(), 2U);
}

/// Without that a screen reader goes on looking at the window before.
TEST_F(PanelOnTheBus, TheWindowIsActiveAndTold)
{
    open();
    EXPECT_EQ(reader.role(root), kFrame);
    EXPECT_TRUE(reader.hasState(root, kActive));
    EXPECT_TRUE(awaitEvent([this](const AtSpiEvent& event) {
        return event.source == root && event.kind == QStringLiteral("active") && event.first == 1;
    }));
}

TEST_F(PanelOnTheBus, TheFocusIsMovedAndTold)
{
    open();
    const BusObject cancel = find(QStringLiteral("Cancel"));
    EXPECT_TRUE(reader.grabFocus(cancel));
    EXPECT_TRUE(awaitEvent([&](const AtSpiEvent& event) {
        return event.source == cancel && event.member == "StateChanged" &&
               event.kind == QStringLiteral("focused") && event.first == 1;
    }));
    EXPECT_TRUE(reader.hasState(cancel, kFocused));
    EXPECT_EQ(focused(), QStringLiteral("Cancel"));
}

TEST_F(PanelOnTheBus, TheMenuKeysOpenOneMenuEach)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("where?"), QStringLiteral("See https://example.org/a."));
    test::InputDriver input;
    const auto menus = [this] {
        return std::ranges::count_if(views<QMenu>(), [](const QMenu* menu) { return menu->isVisible(); });
    };
    for (const bool isOnAnswer : {false, true}) {
        if (isOnAnswer) {
            press(Qt::Key_Backtab, Qt::ShiftModifier);
            ASSERT_EQ(focused(), QStringLiteral("Answer"));
        }
        for (const bool isMenuKey : {true, false}) {
            if (isMenuKey) {
                input.tap("Menu");
            } else {
                input.press("Shift_L");
                input.tap("F10");
                input.release("Shift_L");
            }
            ASSERT_TRUE(turnUntil([&] { return menus() > 0; })) << isOnAnswer << isMenuKey;
            settle();
            EXPECT_EQ(menus(), 1);
            const auto actions = static_cast<QMenu*>(QApplication::activePopupWidget())->actions();
            EXPECT_EQ(actions.front()->text(),
                      isOnAnswer ? QStringLiteral("Open https://example.org/a") : QStringLiteral("Undo"));
            input.tap("Escape");
            ASSERT_TRUE(turnUntil([&] { return menus() == 0; }));
        }
    }
}

TEST_F(PanelOnTheBus, TheScreenshotsPreparationIsToldWhileItLasts)
{
    open();
    const BusObject preparing = find(QStringLiteral("Preparing screenshot…"));
    EXPECT_TRUE(reader.hasState(preparing, kShowing));
    reader.forgetEvents();
    panel.deliverCapture(picture());
    EXPECT_TRUE(awaitEvent([&](const AtSpiEvent& event) {
        return event.source == preparing && event.kind == QStringLiteral("showing") && event.first == 0;
    }));
}

} // namespace
} // namespace velmo
