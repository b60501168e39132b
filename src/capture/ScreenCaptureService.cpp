#include "capture/ScreenCaptureService.h"

#include "capture/PngEncoder.h"
#include "capture/StrokeComposition.h"
#include "core/DebugLog.h"
#include "core/async/WorkerPool.h"

#include <algorithm>
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

/// The screen with the strokes on it.
std::optional<ScreenImage> composite(ScreenImage screen, const QImage& overlay)
{
    screen.pixels = std::move(screen.pixels).convertToFormat(QImage::Format_RGB32);
    if (screen.pixels.isNull() || screen.pointSize.isEmpty())
        return std::nullopt;
    layOver(screen.pixels, overlay);
    return screen;
}

/// From native pixels to the final size in one step: every resampling costs sharpness and time. Null if
/// nothing is left of an edge.
QImage resizeForVisionIfNeeded(const ScreenImage& image)
{
    const QSize size = ScreenCaptureService::sizeForVision(image.pointSize);
    QImage resized = image.pixels.size() == size
                         ? image.pixels
                         : image.pixels.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (size != image.pointSize)
        log(QStringLiteral("Resized image for Anthropic/OpenAI vision from=") + text(image.pointSize) +
            QStringLiteral(" to=") + text(size));
    return resized;
}

CaptureResult capture(DisplayCapture& displays, std::optional<quint32> displayID, const QImage& overlay)
{
    auto screen = captureScreen(displays, displayID);
    if (!screen)
        return Failure{screen.error()};
    const auto image = composite(std::move(screen.value()), overlay);
    if (!image)
        return Failure{toPlatformError(ScreenCaptureError::ConversionFailed)};
    const QImage resized = resizeForVisionIfNeeded(*image);
    const auto png = encodePng(resized);
    if (!png)
        return Failure{toPlatformError(ScreenCaptureError::ConversionFailed)};
    log(QStringLiteral("Capture finished finalSize=") + text(resized.size()) + QStringLiteral(" pngBytes=") +
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
    const QSizeF overlaySize = drawingOverlay.deviceIndependentSize();
    log(QStringLiteral("Starting capture targetDisplayID=") +
        (displayID ? QString::number(*displayID) : QStringLiteral("nil")) + QStringLiteral(" overlaySize=") +
        text(QSize(static_cast<int>(overlaySize.width()), static_cast<int>(overlaySize.height()))));
    auto work = [&displays = displays_, displayID, overlay = std::move(drawingOverlay)] {
        return capture(displays, displayID, overlay);
    };
    co_return co_await async::onWorker(std::move(work));
}

} // namespace velmo
