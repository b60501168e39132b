#include "widgets/SecureField.h"

#include "widgets/SystemFont.h"
#include "widgets/WindowAccessible.h"

#include <QProxyStyle>

namespace velmo {

namespace {

constexpr int kTextSize = 13;

/// The text alone, with small dots for characters, whatever the desktop's style would draw.
class BareLineStyle final : public QProxyStyle {
public:
    BareLineStyle()
        : QProxyStyle(QStringLiteral("fusion"))
    {}

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        if (element != PE_PanelLineEdit)
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* result) const override
    {
        constexpr int kBullet = 0x2022;
        if (hint == SH_LineEdit_PasswordCharacter)
            return kBullet;
        // Some desktops show each character for a moment.
        if (hint == SH_LineEdit_PasswordMaskDelay)
            return 0;
        return QProxyStyle::styleHint(hint, option, widget, result);
    }
};

} // namespace

SecureField::SecureField(const QString& accessibleName, QWidget* parent)
    : QLineEdit(parent)
{
    installWindowAccessibility();
    auto* style = new BareLineStyle;
    style->setParent(this);
    setStyle(style);
    setFrame(false);
    setEchoMode(Password);
    setFont(systemFont(kTextSize));
    setAccessibleName(accessibleName);
    connect(this, &QLineEdit::returnPressed, this, [this] {
        if (onReturn)
            onReturn();
    });
}

void SecureField::forget()
{
    // Unlike clear(), this empties what can be undone, too.
    setText(QString());
}

} // namespace velmo
