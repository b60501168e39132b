// A key that is being typed goes nowhere but into the key store.

#include "support/core/LogLines.h"
#include "support/settings/SettingsTest.h"

#include <QAccessible>
#include <QClipboard>

namespace velmo {
namespace {

const QString kSecret = QStringLiteral("sk-secret");

class KeySecrecyTest : public SettingsTest {
protected:
    void typeSecret() const { type(field(0), kSecret); }
    void combine(int key) const { press(key, {}, Qt::ControlModifier); }
};

TEST_F(KeySecrecyTest, AssistiveTechnologyReadsDots)
{
    typeSecret();
    QAccessibleInterface* part = QAccessible::queryAccessibleInterface(&field(0));
    ASSERT_NE(part, nullptr);
    EXPECT_TRUE(part->state().passwordEdit);
    EXPECT_EQ(part->role(), QAccessible::EditableText);
    for (const auto kind :
         {QAccessible::Name, QAccessible::Description, QAccessible::Value, QAccessible::Help})
        EXPECT_FALSE(part->text(kind).contains(kSecret));
    EXPECT_EQ(part->text(QAccessible::Value), QString(kSecret.size(), u'•'));
    // What is typed would be told on its behalf.
    EXPECT_EQ(part->textInterface(), nullptr);
}

TEST_F(KeySecrecyTest, NothingIsCopiedOrCut)
{
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    typeSecret();
    field(0).selectAll();
    combine(Qt::Key_C);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
    combine(Qt::Key_X);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
}

TEST_F(KeySecrecyTest, NothingIsKeptForUndoing)
{
    typeSecret();
    ASSERT_TRUE(field(0).isUndoAvailable());
    row(0).forgetInput();
    // Dots hide what could be undone, and is there all the same.
    field(0).setEchoMode(QLineEdit::Normal);
    EXPECT_FALSE(field(0).isUndoAvailable());
    EXPECT_FALSE(field(0).isRedoAvailable());
    field(0).undo();
    EXPECT_EQ(field(0).text(), QString());
}

TEST_F(KeySecrecyTest, KeysCanBePasted)
{
    QGuiApplication::clipboard()->setText(kSecret);
    field(0).setFocus();
    combine(Qt::Key_V);
    EXPECT_EQ(row(0).inputText(), kSecret);
}

TEST_F(KeySecrecyTest, NoKeyReachesTheLog)
{
    LogLines log;
    typeSecret();
    press(Qt::Key_Return);
    keychain->isAvailable = false;
    inRow(0, QStringLiteral("Clear")).click();
    typeSecret();
    press(Qt::Key_Return);
    EXPECT_TRUE(log.take().filter(kSecret).isEmpty());
}

} // namespace
} // namespace velmo
