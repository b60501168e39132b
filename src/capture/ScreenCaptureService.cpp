#include "capture/ScreenCaptureService.h"

#include "capture/PngEncoder.h"
#include "core/DebugLog.h"
#include "core/async/WorkerPool.h"

#include <QPainter>
#include <cmath>

namespace velmo {

namespace {

using CaptureResult = Result<QByteArray, PlatformError>;

void log(const QString& message)
{
    DebugLog::log(QStringLiteral("Capture"), message);
}

QString text(QSize size)
{
    return QString::number(size.width()) + u'x' + QString::number(size.height());
}

PlatformError toPlatformError(ScreenCaptureError error)
{
    const QString name = error == ScreenCaptureError::NoDisplay ? QStringLiteral("noDisplay")
                                                                : QStringLiteral("conversionFailed");
    return {PlatformError::Kind::Failed,
            QStringLiteral("The operation couldn't be completed. (ScreenCaptureError.") + name + u')'};
}

std::optional<ShareableDisplay> matchDisplay(std::optional<quint32> target,
                                             const std::vector<ShareableDisplay>& displays)
{
    if (!target)
        return std::nullopt;
    for (const ShareableDisplay& display : displays) {
        if (display.id == *target) {
            log(QStringLiteral("Matched requested display id=") + QString::number(*target) +
                QStringLiteral(" to SCDisplay"));
            return display;
        }
    }
    log(QStringLiteral("Falling back to first display because target display id=") +
        QString::number(*target) + QStringLiteral(" could not be matched"));
    return std::nullopt;
}

/// One display in native pixels, with its size in points.
struct ScreenImage {
    QImage pixels;
    QSize pointSize;
};

Result<ScreenImage, PlatformError> captureScreen(DisplayCapture& displays, std::optional<quint32> target)
{
    const auto content = displays.shareableContent();
    if (!content)
        return Failure{content.error()};
    const auto& available = content.value().displays;
    auto display = matchDisplay(target, available);
    if (!display) {
        if (available.empty())
            return Failure{toPlatformError(ScreenCaptureError::NoDisplay)};
        display = available.front();
    }
    const QSize pointSize(display->width, display->height);
    log(QStringLiteral("Using display id=") + QString::number(display->id) + QStringLiteral(" size=") +
        text(pointSize) + QStringLiteral(" windowCount=") + QString::number(content.value().windowCount));
    auto pixels = displays.captureDisplay(display->id, CaptureMoment::Frozen);
    if (!pixels)
        return Failure{pixels.error()};
    return ScreenImage{std::move(pixels.value()), pointSize};
}

/// From native pixels to the final size in one step: every resampling costs sharpness and time.
QImage composite(const ScreenImage& screen, const QImage& overlay, QSize finalSize)
{
    QImage image = screen.pixels.size() == finalSize
                       ? screen.pixels
                       : screen.pixels.scaled(finalSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    image = image.convertToFormat(QImage::Format_RGB32);
    image.setDevicePixelRatio(1);
    if (!overlay.isNull()) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(QRectF(QPointF(), finalSize), overlay, QRectF(overlay.rect()));
    }
    return image;
}

CaptureResult capture(DisplayCapture& displays, std::mutex& mutex, std::optional<quint32> displayID,
                      const QImage& overlay)
{
    const auto screen = [&] {
        const std::scoped_lock lock(mutex);
        return captureScreen(displays, displayID);
    }();
    if (!screen)
        return Failure{screen.error()};
    const QSize pointSize = screen.value().pointSize;
    const QSize finalSize = ScreenCaptureService::sizeForVision(pointSize);
    const QImage image = composite(screen.value(), overlay, finalSize);
    if (finalSize != pointSize)
        log(QStringLiteral("Resized image for Anthropic/OpenAI vision from=") + text(pointSize) +
            QStringLiteral(" to=") + text(finalSize));
    const auto png = encodePng(image);
    if (!png)
        return Failure{toPlatformError(ScreenCaptureError::ConversionFailed)};
    log(QStringLiteral("Capture finished finalSize=") + text(finalSize) + QStringLiteral(" pngBytes=") +
        QString::number(png->size()));
    return *png;
}

} // namespace

QSize ScreenCaptureService::sizeForVision(QSize size)
{
    const double longest = std::max(size.width(), size.height());
    if (longest <= kMaxAnthropicVisionEdge)
        return size;
    const double scale = kMaxAnthropicVisionEdge / longest;
    return {static_cast<int>(std::floor(size.width() * scale)),
            static_cast<int>(std::floor(size.height() * scale))};
}

async::Task<CaptureResult> ScreenCaptureService::captureWithAnnotations(std::optional<quint32> displayID,
                                                                        QImage drawingOverlay)
{
    const QSize overlaySize = drawingOverlay.deviceIndependentSize().toSize();
    log(QStringLiteral("Starting capture targetDisplayID=") +
        (displayID ? QString::number(*displayID) : QStringLiteral("nil")) + QStringLiteral(" overlaySize=") +
        text(overlaySize));
    auto work = [this, displayID, overlay = std::move(drawingOverlay)] {
        return capture(displays_, backendMutex_, displayID, overlay);
    };
    co_return co_await async::onWorker(std::move(work));
}

} // namespace velmo
