#pragma once

#include "core/Geometry.h"
#include "core/Result.h"
#include "core/async/Task.h"
#include "platform/PlatformError.h"
#include "platform/Screens.h"
#include "platform/WindowFocus.h"
#include "providers/LLMProvider.h"

#include <QImage>
#include <functional>
#include <memory>
#include <optional>

/// What a session works with. Each is a small interface, so that a session runs without a display.
namespace velmo {

class AnnotationSession;

/// The strokes. Main thread.
class DrawingCanvas {
public:
    virtual ~DrawingCanvas() = default;
    virtual void beginStroke(CanvasPoint point) = 0;
    /// Adds a straight line to the stroke in progress and shows it; nothing without one.
    virtual void extendStroke(CanvasPoint point) = 0;
    /// True exactly when this was the first stroke ever finished on this canvas.
    virtual bool endStroke() = 0;
    /// The finished strokes on a transparent ground: of that area, or of the whole canvas.
    [[nodiscard]] virtual QImage renderToImage(std::optional<CanvasRect> area) const = 0;
};

/// The transparent layer over all screens. Main thread.
class AnnotationOverlay {
public:
    virtual ~AnnotationOverlay() = default;
    virtual void showWindow() = 0;
    virtual void close() = 0;
    virtual void hideToolbar() = 0;
    /// The rectangle that covers all screens.
    [[nodiscard]] virtual ScreenRect unionRect() const = 0;
    [[nodiscard]] virtual DrawingCanvas* canvas() = 0;
};

/// The window of question and answer. Main thread.
class QuestionPanel {
public:
    virtual ~QuestionPanel() = default;
    virtual void showWindow() = 0;
    virtual void close() = 0;
    virtual void focusInput() = 0;
    virtual void hideWindow() = 0;
    virtual void bringToFront() = 0;
    [[nodiscard]] virtual bool isWindowVisible() const = 0;
};

/// A display's picture with the strokes on it.
class AnnotatedCapture {
public:
    virtual ~AnnotatedCapture() = default;
    /// Keeps the display as it shows now for the capture that follows: our panel is about to take the
    /// keyboard, and other windows look different then. Without an id, the first display. Main thread.
    virtual void freezeScreen(std::optional<quint32> displayID) = 0;
    /// PNG bytes. Cancelling the awaiting task is a third outcome, neither value nor error.
    [[nodiscard]] virtual async::Task<Result<QByteArray, PlatformError>>
    captureWithAnnotations(std::optional<quint32> displayID, QImage drawingOverlay) = 0;
};

/// Builds a provider for one submission.
using ProviderFactory =
    std::function<std::unique_ptr<LLMProvider>(const QString& apiKey, const QString& model)>;

/// Handed in by the composition root; the references outlive the session.
struct SessionCollaborators {
    /// May give nothing, on a desktop where no overlay can be shown.
    std::function<std::unique_ptr<AnnotationOverlay>(AnnotationSession&, bool showToolbar)> makeOverlay;
    std::function<std::unique_ptr<QuestionPanel>(AnnotationSession&, const std::optional<Screen>&)> makePanel;
    AnnotatedCapture& capture;
    WindowFocus& focus;
    const Screens& screens;
    ProviderFactory makeAnthropicProvider;
    ProviderFactory makeOpenAIProvider;
};

} // namespace velmo
