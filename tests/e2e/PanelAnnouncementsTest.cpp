#include "support/panel/AccessibleScene.h"

#include <QTimer>

namespace velmo {
namespace {

/// A change of a text, as assistive technology is told.
struct HeardText {
    QAccessible::Event kind;
    int position = 0;
    QString text;
};

/// Hears what the bus would be told. Events are made only where somebody listens on a bus.
class Listener {
public:
    Listener()
    {
        heard().clear();
        others().clear();
        QAccessible::installUpdateHandler(note);
    }
    ~Listener() { QAccessible::installUpdateHandler(nullptr); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    [[nodiscard]] static std::vector<HeardText>& heard()
    {
        static std::vector<HeardText> events;
        return events;
    }
    [[nodiscard]] static std::vector<QAccessible::Event>& others()
    {
        static std::vector<QAccessible::Event> events;
        return events;
    }
    [[nodiscard]] static QString inserted()
    {
        QString all;
        for (const HeardText& event : heard()) {
            if (event.kind == QAccessible::TextInserted)
                all += event.text;
        }
        return all;
    }
    [[nodiscard]] static auto count(QAccessible::Event kind) { return std::ranges::count(others(), kind); }

private:
    static void note(QAccessibleEvent* event)
    {
        if (event->type() == QAccessible::TextInserted) {
            const auto* change = static_cast<QAccessibleTextInsertEvent*>(event);
            heard().push_back({event->type(), change->changePosition(), change->textInserted()});
        } else if (event->type() == QAccessible::TextRemoved) {
            const auto* change = static_cast<QAccessibleTextRemoveEvent*>(event);
            heard().push_back({event->type(), change->changePosition(), change->textRemoved()});
        } else {
            others().push_back(event->type());
        }
    }
};

class PanelAnnouncements : public AccessibleScene {
protected:
    PanelAnnouncements()
    {
        EXPECT_TRUE(turnUntil([] { return QAccessible::isActive(); }));
    }

    [[nodiscard]] QAccessibleTextInterface& text() const { return *interfaceOf(lastText()).textInterface(); }
    [[nodiscard]] QString whole() const { return text().text(0, text().characterCount()); }

    void begin()
    {
        panel.deliverCapture(picture());
        open();
        panel.ask(QStringLiteral("why?"));
        panel.fit();
    }
    void awaitText(const QString& expected)
    {
        EXPECT_TRUE(turnUntil([&] { return whole() == expected; })) << whole().toStdString();
    }
};

TEST_F(PanelAnnouncements, OnlyWhatIsNewIsTold)
{
    begin();
    const Listener listener;
    panel.stream(QStringLiteral("One "));
    awaitText(QStringLiteral("One "));
    panel.stream(QStringLiteral("two."));
    awaitText(QStringLiteral("One two."));
    EXPECT_EQ(Listener::inserted(), QStringLiteral("One two."));
    ASSERT_FALSE(Listener::heard().empty());
    EXPECT_EQ(Listener::heard().front().kind, QAccessible::TextRemoved);
    EXPECT_EQ(Listener::heard().front().text, QStringLiteral("Thinking…"));
    EXPECT_EQ(Listener::heard().back().position, 4);
    EXPECT_EQ(Listener::heard().back().text, QStringLiteral("two."));
}

/// The events, applied one after the other, make the text.
TEST_F(PanelAnnouncements, WhatIsToldAddsUpToTheText)
{
    begin();
    const Listener listener;
    const QString source =
        QStringLiteral("# A heading\nSome **bold words** and `code`.\n\n- one\n- **two**\n\n```\nint x;\n"
                       "return x;\n```\nSee https://example.org 😀 *and* on.");
    for (qsizetype from = 0; from < source.size(); from += 3) {
        const auto before = Listener::heard().size();
        panel.stream(source.mid(from, 3));
        static_cast<void>(
            turnUntil([&] { return Listener::heard().size() > before; }, std::chrono::milliseconds(40)));
    }
    panel.finish();
    panel.fit();
    QString told = QStringLiteral("Thinking…");
    for (const HeardText& event : Listener::heard()) {
        if (event.kind == QAccessible::TextRemoved) {
            EXPECT_EQ(told.mid(event.position, event.text.size()), event.text);
            told.remove(event.position, event.text.size());
        } else {
            told.insert(event.position, event.text);
        }
    }
    EXPECT_EQ(told, whole());
    // Markers that turn into a style take what they enclose with them.
    EXPECT_LT(Listener::inserted().size(), source.size() * 3 / 2);
    RecordProperty("inserted", static_cast<int>(Listener::inserted().size()));
    RecordProperty("source", static_cast<int>(source.size()));
}

/// Its markers go when the last one comes, and nothing else does.
TEST_F(PanelAnnouncements, ALongBoldTextIsNotToldAgainWhenItsEndComes)
{
    panel.deliverCapture(picture());
    open();
    for (const QString& marker : {QStringLiteral("**"), QStringLiteral("`")}) {
        panel.ask(QStringLiteral("why?"));
        panel.fit();
        const QString words = QStringLiteral("words that go on ").repeated(40) + u'.';
        const QString begun = marker + words + marker.chopped(1);
        panel.stream(begun);
        awaitText(begun);
        const Listener listener;
        panel.stream(marker.last(1) + QStringLiteral(" and more"));
        awaitText(words + QStringLiteral(" and more"));
        EXPECT_EQ(Listener::inserted(), QStringLiteral(" and more"));
        panel.finish();
        panel.fit();
    }
}

TEST_F(PanelAnnouncements, AFastAnswerIsToldOnceAFrameAtMost)
{
    begin();
    const Listener listener;
    QElapsedTimer timer;
    timer.start();
    QString source;
    constexpr int kPieces = 2000;
    int piece = 0;
    QTimer pieces;
    pieces.callOnTimeout([&] {
        const QString next = QStringLiteral("words, so ");
        source += next;
        panel.stream(next);
        if (++piece == kPieces)
            pieces.stop();
    });
    pieces.start(1);
    ASSERT_TRUE(turnUntil([&] { return piece == kPieces; }));
    awaitText(source);
    constexpr qint64 kFrame = 16;
    const auto told = static_cast<qint64>(Listener::heard().size());
    const qint64 elapsed = timer.elapsed();
    // One more says that the placeholder is gone.
    EXPECT_LE(told, elapsed / kFrame + 2);
    EXPECT_GT(told, 20);
    EXPECT_EQ(Listener::inserted(), source);
    RecordProperty("events", static_cast<int>(told));
    RecordProperty("milliseconds", static_cast<int>(elapsed));
}

TEST_F(PanelAnnouncements, MessagesThatComeAndGoAreTold)
{
    panel.deliverCapture(picture());
    open();
    const Listener listener;
    panel.session.removeAttachmentMessage(panel.session.chatMessages().messages().back().id);
    panel.fit();
    EXPECT_GE(Listener::count(QAccessible::ObjectDestroyed), 1);
    Listener::others().clear();
    panel.ask(QStringLiteral("why?"));
    panel.fit();
    EXPECT_EQ(Listener::count(QAccessible::ObjectCreated), 2);
}

TEST_F(PanelAnnouncements, TheEndOfAnAnswerIsToldOnce)
{
    begin();
    panel.stream(QStringLiteral("Because."));
    awaitText(QStringLiteral("Because."));
    const Listener listener;
    panel.finish();
    panel.fit();
    EXPECT_EQ(Listener::count(QAccessible::StateChanged), 1);
    EXPECT_TRUE(Listener::heard().empty());
}

TEST_F(PanelAnnouncements, SelectionsAndTheCursorAreTold)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("The first part."));
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    ASSERT_EQ(focused(), QStringLiteral("Answer"));
    const Listener listener;
    press(Qt::Key_Right, Qt::ShiftModifier | Qt::ControlModifier);
    EXPECT_EQ(Listener::count(QAccessible::TextCaretMoved), 1);
    EXPECT_EQ(Listener::count(QAccessible::TextSelectionChanged), 1);
}

} // namespace
} // namespace velmo
