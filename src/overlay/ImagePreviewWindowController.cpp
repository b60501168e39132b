#include "overlay/ImagePreviewWindowController.h"

#include "widgets/ToolkitSpace.h"

#include <QKeyEvent>
#include <QPainter>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <utility>

namespace velmo {

namespace {

constexpr double kShareOfScreen = 0.85;
constexpr ScreenSize kMinimum{320, 240};
constexpr ScreenRect kUnknownScreen{0, 0, 1280, 800};

} // namespace

/// The window and its only content.
class ImagePreviewWindow final : public QWidget {
public:
    ImagePreviewWindow(const QImage& image, WindowSurfaces& windows)
        : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint)
        , image_(image)
        , windows_(windows)
    {
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    /// Anew, when it is shown already.
    void bringForward()
    {
        isPlaced_ = false;
        update();
    }

protected:
    /// Comes before the window is mapped.
    void showEvent(QShowEvent* event) override
    {
        isPlaced_ = false;
        // A window that only comes back from being minimised has its state from the window manager.
        if (!event->spontaneous())
            windows_.showOnEveryDesktop(*this);
        QWidget::showEvent(event);
    }

    void hideEvent(QHideEvent* event) override
    {
        QWidget::hideEvent(event);
        windows_.releaseTop(*this);
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Escape || event->key() == Qt::Key_Space)
            close();
        else
            QWidget::keyPressEvent(event);
    }

    void paintEvent(QPaintEvent*) override
    {
        // It is painted once the window manager has framed and shown it.
        if (!std::exchange(isPlaced_, true))
            windows_.bringManagedToTop(*this);
        QPainter painter(this);
        painter.fillRect(rect(), palette().window());
        if (image_.isNull())
            return;
        const double ratio = devicePixelRatioF();
        const QSize pixels = (QSizeF(size()) * ratio).toSize();
        const QSize fitted = image_.size().scaled(pixels, Qt::KeepAspectRatio);
        if (fitted.isEmpty())
            return;
        if (shown_.size() != fitted) {
            shown_ =
                QPixmap::fromImage(image_.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        }
        painter.scale(1 / ratio, 1 / ratio);
        painter.drawPixmap((pixels.width() - fitted.width()) / 2, (pixels.height() - fitted.height()) / 2,
                           shown_);
    }

private:
    QImage image_;
    QPixmap shown_; ///< The picture at the size that it is shown in.
    WindowSurfaces& windows_;
    bool isPlaced_ = false; ///< Above our other windows, since it was shown.
};

ScreenSize ImagePreviewWindowController::contentSize(ScreenSize image,
                                                     const std::optional<ScreenRect>& visibleFrame)
{
    const ScreenRect frame = visibleFrame.value_or(kUnknownScreen);
    ScreenSize size = image;
    if (image.width > 0 && image.height > 0) {
        const double scale = std::min(kShareOfScreen * frame.width / image.width,
                                      kShareOfScreen * frame.height / image.height);
        if (scale < 1)
            size = {image.width * scale, image.height * scale};
    }
    return {std::max(size.width, kMinimum.width), std::max(size.height, kMinimum.height)};
}

ImagePreviewWindowController::ImagePreviewWindowController(const QImage& image, const QString& title,
                                                           const Screens& screens, WindowSurfaces& windows)
    : window_(std::make_unique<ImagePreviewWindow>(image, windows))
{
    const auto main = screens.main();
    const QSizeF points = image.deviceIndependentSize();
    const ScreenSize size = contentSize({points.width(), points.height()},
                                        main ? std::optional(main->visibleFrame) : std::nullopt);
    window_->setWindowTitle(title);
    window_->resize(static_cast<int>(std::lround(size.width)), static_cast<int>(std::lround(size.height)));
    if (main) {
        const QRectF visible = toolkitSpace().toQt(main->visibleFrame);
        window_->move((visible.center() - QPointF(size.width, size.height) / 2).toPoint());
    }
}

ImagePreviewWindowController::~ImagePreviewWindowController()
{
    // Not only hidden: whoever else of ours wants the keyboard is to have it before the window goes.
    window_->close();
}

void ImagePreviewWindowController::showWindow()
{
    if (window_->isVisible())
        window_->bringForward();
    window_->show();
    window_->raise();
    window_->activateWindow();
}

bool ImagePreviewWindowController::isVisible() const
{
    return window_->isVisible();
}

} // namespace velmo
