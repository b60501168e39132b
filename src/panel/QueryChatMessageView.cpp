#include "panel/QueryChatMessageView.h"

#include "panel/QueryPanelTheme.h"
#include "panel/RoundedBackgroundView.h"
#include "widgets/SymbolIcon.h"
#include "widgets/SystemFont.h"

#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kFontSize = 13;
constexpr int kAssistantTrailingSpace = 48;
constexpr int kBubbleWidth = 412; // 0.72 of the row
constexpr int kBubbleInsetX = 16;
constexpr int kBubbleInsetY = 12;
constexpr double kBubbleRadius = 16;
constexpr int kSpacing = 6;
constexpr double kThumbnailRadius = 10;
constexpr int kRemoveButtonSize = 22;

QSize thumbnailSize(QSize image)
{
    constexpr double kMaximumWidth = 220;
    constexpr double kMaximumHeight = 140;
    constexpr double kMinimumWidth = 80;
    constexpr double kMinimumHeight = 50;
    const double scale =
        image.isEmpty() ? 1 : std::min(kMaximumWidth / image.width(), kMaximumHeight / image.height());
    return QSizeF(std::max(image.width() * scale, kMinimumWidth),
                  std::max(image.height() * scale, kMinimumHeight))
        .toSize();
}

QPixmap roundedThumbnail(const QImage& image, QSize size, double ratio)
{
    QPixmap pixmap(size * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    const QRectF frame(0.5, 0.5, size.width() - 1, size.height() - 1);
    QPainterPath outline;
    outline.addRoundedRect(frame, kThumbnailRadius, kThumbnailRadius);
    painter.setClipPath(outline);
    const QSize fitted = image.size().scaled(size, Qt::KeepAspectRatio);
    const QPointF corner((size.width() - fitted.width()) / 2.0, (size.height() - fitted.height()) / 2.0);
    painter.drawImage(QRectF(corner, fitted),
                      image.scaled(fitted * ratio, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    painter.setClipping(false);
    painter.setPen(QueryPanelTheme::border());
    painter.drawPath(outline);
    return pixmap;
}

QLabel* makeTextLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText); // What a model writes is never markup.
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setFont(systemFont(kFontSize));
    return label;
}

} // namespace

QueryChatMessageView::QueryChatMessageView(const ChatMessage& message,
                                           std::function<void(const QUuid&)> onRemove, QWidget* parent)
    : QWidget(parent)
{
    if (message.role == ChatMessageRole::User)
        buildUserRow(message, std::move(onRemove));
    else
        buildAssistantRow();
    update(message);
}

void QueryChatMessageView::buildAssistantRow()
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, kAssistantTrailingSpace, 0);
    textLabel_ = makeTextLabel(this);
    row->addWidget(textLabel_);
}

void QueryChatMessageView::buildUserRow(const ChatMessage& message,
                                        std::function<void(const QUuid&)> onRemove)
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(kSpacing);
    const QImage image = message.attachment ? QImage::fromData(message.attachment->imageData) : QImage();
    if (!image.isNull()) {
        const QSize size = thumbnailSize(image.size());
        auto* thumbnail = new QLabel(this);
        thumbnail->setFixedSize(size);
        thumbnail->setPixmap(roundedThumbnail(image, size, devicePixelRatioF()));
        thumbnail->setAccessibleName(message.attachment->title);
        column->addWidget(thumbnail, 0, Qt::AlignRight);
        if (message.text.isEmpty() && !message.isStreaming) {
            constexpr int kInset = 6;
            auto* remove = new QToolButton(thumbnail);
            remove->setIcon(symbolIcon(QStringLiteral("xmark"), Qt::white, 12));
            remove->setStyleSheet(QStringLiteral(
                "QToolButton { background: rgba(0,0,0,179); border: none; border-radius: 11px; }"));
            remove->setCursor(Qt::PointingHandCursor);
            remove->setToolTip(QStringLiteral("Remove attachment"));
            remove->setAccessibleName(QStringLiteral("Remove"));
            remove->setGeometry(size.width() - kInset - kRemoveButtonSize, kInset, kRemoveButtonSize,
                                kRemoveButtonSize);
            connect(remove, &QToolButton::clicked, this,
                    [onRemove = std::move(onRemove), id = message.id] { onRemove(id); });
        }
    }
    bubble_ = new RoundedBackgroundView(kBubbleRadius, QueryPanelTheme::userBubbleBackground(),
                                        QueryPanelTheme::userBubbleBorder(), this);
    auto* inside = new QVBoxLayout(bubble_);
    inside->setContentsMargins(kBubbleInsetX, kBubbleInsetY, kBubbleInsetX, kBubbleInsetY);
    textLabel_ = makeTextLabel(bubble_);
    inside->addWidget(textLabel_);
    column->addWidget(bubble_, 0, Qt::AlignRight);
}

void QueryChatMessageView::update(const ChatMessage& message)
{
    const bool waiting = message.text.isEmpty() && message.isStreaming;
    if (!waiting) {
        showText(message.text, false);
        return;
    }
    showText(message.role == ChatMessageRole::Assistant ? QStringLiteral("Thinking…")
                                                        : QStringLiteral("Transcribing…"),
             true);
}

void QueryChatMessageView::showText(const QString& text, bool dimmed)
{
    textLabel_->setPalette(
        QueryPanelTheme::palette(dimmed ? QueryPanelTheme::dimText() : QueryPanelTheme::text()));
    if (textLabel_->text() != text)
        textLabel_->setText(text);
    if (!bubble_)
        return;
    bubble_->setVisible(!text.isEmpty());
    // A wrapping label would choose a width of its own; a bubble is as wide as its text, up to its limit.
    const QFontMetrics metrics(textLabel_->font());
    const int natural =
        metrics.boundingRect(QRect(0, 0, INT_MAX / 2, INT_MAX / 2), Qt::AlignLeft, text).width() + 2;
    textLabel_->setFixedWidth(std::min(natural, kBubbleWidth - 2 * kBubbleInsetX));
}

} // namespace velmo
