#include "overlay/DrawingToolbarContentView.h"

#include "overlay/OverlayTheme.h"
#include "widgets/DevicePixels.h"

#include <QHBoxLayout>
#include <QPainter>
#include <array>

namespace velmo {

namespace {

const QMargins kInsets(16, 10, 16, 10);
constexpr int kGap = 12;
/// With "Done →" the row needs 444 at the usual gap; at this one it fits exactly.
constexpr int kNarrowGap = 8;
constexpr int kToolGap = 4;
constexpr int kColorGap = 6;
constexpr QSize kDivider(1, 24);
constexpr int kToolSize = 32;
constexpr int kToolSymbolSize = 20;
constexpr int kCancelSize = 28;
constexpr int kCancelSymbolSize = 18;

struct ColorOption {
    QColor color;
    QString name;
};

std::array<ColorOption, 7> colorOptions()
{
    return {{{StrokeColor::Red, QStringLiteral("Red")},
             {StrokeColor::Orange, QStringLiteral("Orange")},
             {StrokeColor::Yellow, QStringLiteral("Yellow")},
             {StrokeColor::Green, QStringLiteral("Green")},
             {StrokeColor::Blue, QStringLiteral("Blue")},
             {StrokeColor::White, QStringLiteral("White")},
             {StrokeColor::Black, QStringLiteral("Black")}}};
}

QString description(DrawingTool tool)
{
    return tool == DrawingTool::Scribble ? QStringLiteral("Scribble") : QStringLiteral("Text");
}

QWidget* makeStack(QHBoxLayout*& row, int spacing)
{
    auto* stack = new QWidget;
    row = new QHBoxLayout(stack);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(spacing);
    return stack;
}

class Divider final : public QWidget {
public:
    Divider() { setFixedSize(kDivider); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(snappedToPixels(painter, rect()), OverlayTheme::divider());
    }
};

} // namespace

DrawingToolbarContentView::DrawingToolbarContentView(std::shared_ptr<DrawingState> drawingState,
                                                     AnnotationSession& session)
    : drawingState_(std::move(drawingState))
    , session_(session)
{
    setFixedSize(kSize);
    setupLayout();
    bindState();
    refreshSelectionState();
}

void DrawingToolbarContentView::setupLayout()
{
    const auto settings = session_.settings();
    const bool hasDone = settings && settings->submitMode.value() == SubmitMode::ManualSubmit;
    setupToolStack();
    setupColorStack();
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(kInsets);
    row->setSpacing(hasDone ? kNarrowGap : kGap);
    row->addWidget(toolStack_);
    row->addWidget(new Divider);
    // Takes whatever room is left between the dividers and stands in its middle.
    row->addWidget(colorStack_, 1, Qt::AlignCenter);
    if (hasDone) {
        auto* done = new DoneButton;
        connect(done, &QAbstractButton::clicked, this, &DrawingToolbarContentView::donePressed);
        row->addWidget(new Divider);
        row->addWidget(done);
    }
    auto* cancel =
        new SymbolButton(QStringLiteral("xmark"), QStringLiteral("Cancel"), kCancelSize, kCancelSymbolSize);
    connect(cancel, &QAbstractButton::clicked, this, &DrawingToolbarContentView::cancelPressed);
    row->addWidget(new Divider);
    row->addWidget(cancel);
}

void DrawingToolbarContentView::setupToolStack()
{
    QHBoxLayout* row = nullptr;
    toolStack_ = makeStack(row, kToolGap);
    for (const DrawingTool tool : kDrawingTools) {
        auto* button = new SymbolButton(rawValue(tool), description(tool), kToolSize, kToolSymbolSize);
        button->setObjectName(rawValue(tool));
        connect(button, &QAbstractButton::clicked, this, [this, button] { toolPressed(*button); });
        row->addWidget(button);
        toolButtons_[tool] = button;
    }
}

void DrawingToolbarContentView::setupColorStack()
{
    QHBoxLayout* row = nullptr;
    colorStack_ = makeStack(row, kColorGap);
    for (const ColorOption& option : colorOptions()) {
        auto* button = new ColorSwatchButton(option.color, option.name);
        connect(button, &QAbstractButton::clicked, this, [this, button] { colorPressed(*button); });
        row->addWidget(button);
        colorButtons_.push_back(button);
    }
}

void DrawingToolbarContentView::toolPressed(const SymbolButton& sender)
{
    for (const DrawingTool tool : kDrawingTools) {
        if (rawValue(tool) == sender.objectName())
            drawingState_->selectedTool.set(tool);
    }
}

void DrawingToolbarContentView::colorPressed(const ColorSwatchButton& sender)
{
    drawingState_->selectedColor.set(sender.swatchColor());
}

void DrawingToolbarContentView::donePressed()
{
    session_.advanceToQuery();
}

void DrawingToolbarContentView::cancelPressed()
{
    session_.cancel();
}

void DrawingToolbarContentView::bindState()
{
    const LaterRefresh refresh(this, [this] { refreshSelectionState(); });
    cancellables_.push_back(
        drawingState_->selectedTool.subscribe([refresh](DrawingTool) { refresh.request(); }));
    cancellables_.push_back(
        drawingState_->selectedColor.subscribe([refresh](const QColor&) { refresh.request(); }));
}

void DrawingToolbarContentView::refreshSelectionState()
{
    for (const auto& [tool, button] : toolButtons_)
        button->setSelected(tool == drawingState_->selectedTool.value());
    for (ColorSwatchButton* button : colorButtons_)
        button->setSelected(button->swatchColor() == drawingState_->selectedColor.value());
}

void DrawingToolbarContentView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(OverlayTheme::toolbar());
    painter.drawRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
    painter.setPen(QPen(OverlayTheme::toolbarBorder(), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCornerRadius - 0.5,
                            kCornerRadius - 0.5);
}

} // namespace velmo
