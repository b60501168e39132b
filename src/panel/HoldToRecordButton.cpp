#include "panel/HoldToRecordButton.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace velmo {

namespace {

constexpr int kSize = 20;

bool isHoldingKey(const QKeyEvent& event)
{
    return event.key() == Qt::Key_Space || event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

} // namespace

HoldToRecordButton::HoldToRecordButton(QWidget* parent)
    : SymbolPanelButton(QStringLiteral("mic"), QStringLiteral("Record"), kSize, parent)
{
    // Mouse and keys never get as far as a click.
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (holder_ == Holder::None)
            hold(Holder::Assistance);
        else
            endHoldOf(Holder::Assistance);
    });
}

void HoldToRecordButton::hold(Holder holder)
{
    if (holder_ != Holder::None)
        return;
    if (!onPress || !onPress())
        return;
    holder_ = holder;
    fadePress(true);
}

void HoldToRecordButton::endHoldOf(Holder holder)
{
    if (holder_ != holder || holder == Holder::None)
        return;
    holder_ = Holder::None;
    fadePress(false);
    if (onRelease)
        onRelease();
}

void HoldToRecordButton::letGo()
{
    endHoldOf(holder_);
}

void HoldToRecordButton::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        hold(Holder::Mouse);
}

/// The toolkit sends it here until the last button is up, wherever the pointer is.
void HoldToRecordButton::mouseMoveEvent(QMouseEvent* /*event*/) {}

void HoldToRecordButton::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        endHoldOf(Holder::Mouse);
}

void HoldToRecordButton::keyPressEvent(QKeyEvent* event)
{
    if (!isHoldingKey(*event))
        SymbolPanelButton::keyPressEvent(event);
    else if (!event->isAutoRepeat())
        hold(Holder::Key);
}

void HoldToRecordButton::keyReleaseEvent(QKeyEvent* event)
{
    if (!isHoldingKey(*event))
        SymbolPanelButton::keyReleaseEvent(event);
    else if (!event->isAutoRepeat())
        endHoldOf(Holder::Key);
}

/// The key comes up somewhere else now.
void HoldToRecordButton::focusOutEvent(QFocusEvent* event)
{
    endHoldOf(Holder::Key);
    SymbolPanelButton::focusOutEvent(event);
}

/// Nobody can hold what is not there, and the end of it would go unnoticed.
void HoldToRecordButton::hideEvent(QHideEvent* event)
{
    letGo();
    SymbolPanelButton::hideEvent(event);
}

} // namespace velmo
