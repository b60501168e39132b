#include "widgets/SymbolView.h"

#include "widgets/SymbolIcon.h"

#include <QPainter>

namespace velmo {

SymbolView::SymbolView(int size, QWidget* parent)
    : QWidget(parent)
{
    setFixedSize(size, size);
}

void SymbolView::setSymbol(const QString& name, QColor WindowTheme::*color)
{
    name_ = name;
    color_ = color;
    update();
}

void SymbolView::paintEvent(QPaintEvent*)
{
    if (name_.isEmpty())
        return;
    QPainter painter(this);
    drawSymbol(painter, name_, tint(), rect());
}

} // namespace velmo
