#include "panel/AttachmentThumbnailButton.h"

#include "core/async/WorkerPool.h"
#include "panel/QueryPanelTheme.h"
#include "widgets/RoundedBorder.h"

#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

constexpr QSizeF kLargest(220, 140);
constexpr QSizeF kSmallest(80, 50);
constexpr double kRadius = 10;
constexpr int kRemoveInset = 6;
constexpr int kRemoveSize = 22;
constexpr float kHoveredBorder = 0.34F;

/// The picture in the middle of that many pixels, as large as it fits; null if it cannot be decoded. Worker.
QImage decodeThumbnail(const QByteArray& data, QSize pixels)
{
    const QImage image = QImage::fromData(data);
    if (image.isNull())
        return {};
    QImage result(pixels, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    const QSize fitted = image.size().scaled(pixels, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    QPainter painter(&result);
    painter.drawImage((pixels.width() - fitted.width()) / 2, (pixels.height() - fitted.height()) / 2,
                      image.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    return result;
}

} // namespace

QSizeF AttachmentThumbnailButton::thumbnailSize(QSizeF image)
{
    const double scale =
        image.isEmpty() ? 1 : std::min(kLargest.width() / image.width(), kLargest.height() / image.height());
    return (image * scale).expandedTo(kSmallest);
}

AttachmentThumbnailButton::AttachmentThumbnailButton(const QByteArray& imageData, QSize imageSize,
                                                     std::function<void()> onTap,
                                                     std::function<void()> onRemove, QWidget* parent)
    : QWidget(parent)
    , imageButton_(new ImageButton(this))
{
    const QSize size = thumbnailSize(imageSize).toSize();
    setFixedSize(size);
    imageButton_->setFixedSize(size);
    connect(imageButton_, &QAbstractButton::clicked, this, [onTap = std::move(onTap)] { onTap(); });
    if (onRemove) {
        removeButton_ =
            new RoundIconButton(QStringLiteral("xmark.bold"), QStringLiteral("Remove"), kRemoveSize, this);
        removeButton_->setToolTip(QStringLiteral("Remove attachment"));
        removeButton_->move(size.width() - kRemoveInset - kRemoveSize, kRemoveInset);
        connect(removeButton_, &QAbstractButton::clicked, this,
                [onRemove = std::move(onRemove)] { onRemove(); });
    }
    tasks_.start(load(imageData, size, devicePixelRatioF()));
}

void AttachmentThumbnailButton::setTitle(const QString& title)
{
    imageButton_->setAccessibleName(title);
    if (removeButton_ != nullptr)
        removeButton_->setAccessibleDescription(title);
}

async::Task<> AttachmentThumbnailButton::load(QByteArray imageData, QSize size, double pixelRatio)
{
    auto decode = [imageData, pixels = size * pixelRatio] { return decodeThumbnail(imageData, pixels); };
    const QImage image = co_await async::onWorker(std::move(decode));
    if (image.isNull()) {
        if (onUndecodable)
            onUndecodable();
        co_return;
    }
    QPixmap picture = QPixmap::fromImage(image);
    picture.setDevicePixelRatio(pixelRatio);
    imageButton_->setPicture(picture);
}

AttachmentThumbnailButton::ImageButton::ImageButton(QWidget* parent)
    : PanelButton({2, kRadius}, parent)
{
    setCursor(Qt::PointingHandCursor);
    setToolTip(QStringLiteral("Click to view full size"));
    setAccessibleName(QStringLiteral("Attachment"));
}

void AttachmentThumbnailButton::ImageButton::setPicture(const QPixmap& picture)
{
    picture_ = picture;
    update();
}

void AttachmentThumbnailButton::ImageButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(picture_.isNull() ? QBrush(QueryPanelTheme::inputBackground()) : QBrush(picture_));
    painter.drawRoundedRect(QRectF(rect()), kRadius, kRadius);
    const QPen border(blended(QueryPanelTheme::border(), white(kHoveredBorder), hover()), 1);
    drawRoundedBorder(painter, rect(), kRadius, border);
}

} // namespace velmo
