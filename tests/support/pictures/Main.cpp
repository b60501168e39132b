// Draws the views for the documentation and for comparing them with their design: one file a view,
// with every state it has. Usage: velmo-pictures FOLDER

#include "fakes/FakeCapture.h"
#include "fakes/FakeFocus.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeScreens.h"
#include "fakes/FakeWindowSurfaces.h"
#include "fakes/InMemoryDefaults.h"
#include "overlay/DrawingCanvasView.h"
#include "overlay/DrawingToolbarContentView.h"
#include "overlay/HintCapsuleController.h"
#include "overlay/ImagePreviewWindowController.h"
#include "overlay/PenCursor.h"
#include "support/pictures/MenuPictures.h"
#include "support/pictures/PanelPictures.h"
#include "support/pictures/PermissionPictures.h"
#include "support/pictures/SettingsPictures.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace velmo {
namespace {

constexpr int kMargin = 20;
const QColor kGround(QStringLiteral("#5a63c8"));

class Pictures {
public:
    explicit Pictures(const QString& folder)
        : folder_(folder)
    {
        session_.setSettings(settings_);
    }

    [[nodiscard]] bool drawAll()
    {
        return drawToolbars(SubmitMode::SingleStroke, QStringLiteral("toolbar-single-stroke")) &&
               drawToolbars(SubmitMode::ManualSubmit, QStringLiteral("toolbar-manual-submit")) &&
               drawHint() && drawPen() && drawStrokes() && drawPreview() &&
               drawPanels(
                   [this](const QPixmap& picture, const QString& name) { return save(picture, name); }) &&
               drawMenus(
                   [this](const QPixmap& picture, const QString& name) { return save(picture, name); }) &&
               drawPermissions(
                   [this](const QPixmap& picture, const QString& name) { return save(picture, name); }) &&
               drawSettings(
                   [this](const QPixmap& picture, const QString& name) { return save(picture, name); });
    }

private:
    [[nodiscard]] bool save(const QPixmap& picture, const QString& name) const
    {
        const QString path = folder_ + u'/' + name + QStringLiteral(".png");
        const bool saved = picture.save(path);
        std::fputs((saved ? path + u'\n' : QStringLiteral("cannot write ") + path + u'\n').toLocal8Bit(),
                   saved ? stdout : stderr);
        return saved;
    }

    [[nodiscard]] static QPixmap ground(QSize size)
    {
        const double ratio = qGuiApp->devicePixelRatio();
        QPixmap picture(size * ratio);
        picture.setDevicePixelRatio(ratio);
        picture.fill(kGround);
        return picture;
    }

    /// One row for each colour, and one with the other tool.
    [[nodiscard]] bool drawToolbars(SubmitMode mode, const QString& name)
    {
        settings_->submitMode.set(mode);
        const QList<QColor> colors{StrokeColor::Red,   StrokeColor::Orange, StrokeColor::Yellow,
                                   StrokeColor::Green, StrokeColor::Blue,   StrokeColor::White,
                                   StrokeColor::Black};
        const QSize row = DrawingToolbarContentView::kSize + QSize(2 * kMargin, kMargin);
        QPixmap picture = ground(QSize(2 * row.width(), 4 * row.height() + kMargin));
        QPainter painter(&picture);
        for (int i = 0; i <= colors.size(); ++i) {
            const auto state = std::make_shared<DrawingState>();
            if (i < colors.size())
                state->selectedColor.set(colors[i]);
            else
                state->selectedTool.set(DrawingTool::Text);
            DrawingToolbarContentView toolbar(state, session_);
            toolbar.setAttribute(Qt::WA_TranslucentBackground);
            painter.drawPixmap(QPoint(i % 2 * row.width(), i / 2 * row.height()) + QPoint(kMargin, kMargin),
                               toolbar.grab());
        }
        painter.end();
        return save(picture, name);
    }

    [[nodiscard]] bool drawHint() const
    {
        QPixmap picture = ground(HintCapsuleView::kSize + QSize(2 * kMargin, 2 * kMargin));
        HintCapsuleView view(nullptr);
        view.setAttribute(Qt::WA_TranslucentBackground);
        QPainter(&picture).drawPixmap(kMargin, kMargin, view.grab());
        return save(picture, QStringLiteral("hint-capsule"));
    }

    /// On four grounds, as it is and six times as large.
    [[nodiscard]] bool drawPen() const
    {
        constexpr int kField = 160;
        constexpr int kPen = 24;
        constexpr int kLarge = 6;
        const QList<QColor> grounds{Qt::white, QColor(0x8b, 0x8a, 0x96), QColor(0x17, 0x16, 0x1b), kGround};
        QPixmap picture = ground(QSize(kField * 2 * static_cast<int>(grounds.size()), kField));
        const double ratio = picture.devicePixelRatio();
        QPainter painter(&picture);
        for (int i = 0; i < grounds.size(); ++i) {
            const QRect field(i * 2 * kField, 0, 2 * kField, kField);
            painter.fillRect(field, grounds[i]);
            painter.drawPixmap(QRect(field.topLeft() + QPoint(50, 68), QSize(kPen, kPen)),
                               penCursor(ratio).pixmap());
            painter.drawPixmap(QRect(field.topLeft() + QPoint(140, 8), QSize(kPen, kPen) * kLarge),
                               penCursor(ratio * kLarge).pixmap());
        }
        painter.end();
        return save(picture, QStringLiteral("pen-cursor"));
    }

    /// A loop in each colour.
    [[nodiscard]] bool drawStrokes()
    {
        constexpr int kColumns = 7;
        constexpr double kCell = 120;
        const QSize size(static_cast<int>(kCell * kColumns), static_cast<int>(kCell));
        QPixmap picture = ground(size);
        const auto state = std::make_shared<DrawingState>();
        DrawingCanvasView canvas({0, 0, kCell * kColumns, kCell}, state, session_,
                                 {{{0, 0, kCell * kColumns, kCell},
                                   {0, 0, picture.width(), picture.height()},
                                   picture.devicePixelRatio()}});
        const std::array colors{StrokeColor::Red,   StrokeColor::Orange, StrokeColor::Yellow,
                                StrokeColor::Green, StrokeColor::Blue,   StrokeColor::White,
                                StrokeColor::Black};
        for (int i = 0; i < kColumns; ++i) {
            state->selectedColor.set(colors.at(static_cast<std::size_t>(i)));
            const auto at = [i](double turn) {
                const double angle = 2 * std::numbers::pi * turn;
                const double radius = kCell * (0.33 + 0.05 * turn);
                return CanvasPoint{kCell * (i + 0.5) + radius * std::cos(angle),
                                   kCell / 2 + radius * 0.8 * std::sin(angle)};
            };
            canvas.beginStroke(at(0));
            for (double turn = 0; turn < 1.1; turn += 0.01)
                canvas.extendStroke(at(turn));
            canvas.endStroke();
        }
        QPainter painter(&picture);
        painter.scale(1 / picture.devicePixelRatio(), 1 / picture.devicePixelRatio());
        canvas.layer(0).paint(painter, canvas.layer(0).native());
        painter.end();
        return save(picture, QStringLiteral("strokes"));
    }

    /// A wide picture in the preview's window, without the frame that a window manager adds.
    [[nodiscard]] bool drawPreview()
    {
        QImage image(QSize(640, 200), QImage::Format_RGB32);
        image.fill(kGround);
        ImagePreviewWindowController preview(image, QStringLiteral("Screenshot"), screens_, windows_);
        preview.showWindow();
        const auto widgets = QApplication::topLevelWidgets();
        const auto window = std::ranges::find_if(widgets, [](const QWidget* widget) {
            return widget->windowTitle() == QStringLiteral("Screenshot");
        });
        return window != widgets.end() && save((*window)->grab(), QStringLiteral("preview"));
    }

    QString folder_;
    std::shared_ptr<SettingsManager> settings_ = std::make_shared<SettingsManager>(
        std::make_shared<InMemoryDefaults>(), std::make_shared<FakeKeychain>());
    FakeScreens screens_;
    FakeWindowSurfaces windows_;
    FakeFocus focus_;
    FakeCapture capture_;
    AnnotationSession session_{SessionCollaborators{{}, {}, capture_, focus_, screens_, {}, {}}};
};

} // namespace
} // namespace velmo

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 2 || !QDir().mkpath(arguments[1])) {
        std::fputs("usage: velmo-pictures FOLDER\n", stderr);
        return 2;
    }
    return velmo::Pictures(arguments[1]).drawAll() ? 0 : 1;
}
