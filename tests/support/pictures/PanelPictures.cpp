#include "support/pictures/PanelPictures.h"

#include "panel/AttachmentThumbnailButton.h"
#include "support/panel/PanelScene.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QTextEdit>
#include <algorithm>
#include <cmath>

namespace velmo {
namespace {

constexpr int kMargin = 24;

/// Something like a screen with a window on it, and a loop around a part of that.
QImage desktop()
{
    QImage image(QSize(1568, 882), QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient wallpaper(0, 0, image.width(), image.height());
    wallpaper.setColorAt(0, QColor(QStringLiteral("#3f51b5")));
    wallpaper.setColorAt(0.7, QColor(QStringLiteral("#a05cc0")));
    wallpaper.setColorAt(1, QColor(QStringLiteral("#e08060")));
    painter.fillRect(image.rect(), wallpaper);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(70, 60, 1180, 740), 14, 14);
    painter.setPen(QPen(QColor(QStringLiteral("#4f81e8")), 4));
    QPainterPath chart(QPointF(320, 560));
    for (int x = 320; x < 1180; x += 12) {
        const double spike = 280 * std::exp(-std::pow((x - 830) / 40.0, 2));
        chart.lineTo(x, 560 - spike - 12 * std::sin(x * 0.07));
    }
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(chart);
    painter.setPen(QPen(Qt::red, 4));
    painter.drawEllipse(QPointF(830, 420), 110, 190);
    return image;
}

QString longAnswer()
{
    return QStringLiteral(
        "# What the chart shows\nThe red loop encloses one isolated spike. **p95** rises from about 0.2 s to "
        "0.9 s within three minutes and falls back by 14:24. The lower line, **p50**, does not react at "
        "all.\n\n"
        "## Likely cause\n- The rise begins at the dashed deploy marker, not before it.\n- Only a small "
        "share of "
        "requests is slow, which fits a cold cache.\n- `POST /cart/confirm` is the one endpoint whose p95 "
        "equals "
        "the peak.\n\n### What to check first\n1. Compare `cache.hit_ratio` for the ten minutes around "
        "14:16.\n2. "
        "Look for a changed pool size, for example `DB_POOL_MAX=4`.\n3. Roll the release out to one node and "
        "repeat the measurement.\n\nIf the hit ratio dips at 14:16 and recovers by 14:24, the spike is the "
        "cache "
        "warming up. A short **warm-up step** before traffic is switched over would remove it: see "
        "https://example.org/runbooks/cache-warming (and its checklist).\n\n# If it returns\nKeep the "
        "previous "
        "release ready and set an alert on p95 above 0.5 s for two minutes. Then compare both traces and "
        "look "
        "for the first call that is slower than before.");
}

class Panels {
public:
    explicit Panels(const std::function<bool(const QPixmap&, const QString&)>& save)
        : save_(save)
    {}

    [[nodiscard]] bool drawAll()
    {
        return drawInput() && drawPreparing() && drawAnswers() && drawVoice() && drawError() && drawMenu() &&
               drawScripts();
    }

private:
    [[nodiscard]] static QPixmap onGround(const QPixmap& content)
    {
        const double ratio = content.devicePixelRatio();
        const QSize size = content.deviceIndependentSize().toSize() + QSize(2 * kMargin, 2 * kMargin);
        QPixmap picture(size * ratio);
        picture.setDevicePixelRatio(ratio);
        QPainter painter(&picture);
        QLinearGradient wallpaper(0, 0, size.width(), size.height());
        wallpaper.setColorAt(0, QColor(QStringLiteral("#3c4aa0")));
        wallpaper.setColorAt(1, QColor(QStringLiteral("#c07868")));
        painter.fillRect(QRect(QPoint(), size), wallpaper);
        painter.drawPixmap(kMargin, kMargin, content);
        return picture;
    }

    [[nodiscard]] bool saveScene(PanelScene& scene, const QString& name) const
    {
        scene.fit();
        scene.content->focusField();
        return save_(onGround(scene.content->grab()), name);
    }

    static QTextEdit& field(PanelScene& scene) { return *scene.content->findChild<QTextEdit*>(); }

    [[nodiscard]] bool drawInput()
    {
        PanelScene scene(&voice_);
        scene.deliverCapture(desktop());
        const QUuid capture = scene.session.chatMessages().messages().back().id;
        scene.session.removeAttachmentMessage(capture);
        scene.show();
        scene.content->focusField();
        if (!saveScene(scene, QStringLiteral("panel-01-empty")))
            return false;
        field(scene).setPlainText(QStringLiteral("Why does p95 jump right after the 14:16 deploy?"));
        if (!saveScene(scene, QStringLiteral("panel-02-typed")))
            return false;
        field(scene).append(QStringLiteral(
            "Compare it with the p50 line, which stays flat, and tell me which endpoint to look at first."));
        if (!saveScene(scene, QStringLiteral("panel-02b-typed-multiline")))
            return false;
        field(scene).setPlainText(
            QStringLiteral("One line\nand another\nand another\nand another\nand another\nand the last one"));
        field(scene).moveCursor(QTextCursor::End);
        return saveScene(scene, QStringLiteral("panel-02c-typed-long"));
    }

    [[nodiscard]] bool drawPreparing()
    {
        PanelScene scene(&voice_);
        scene.show();
        return saveScene(scene, QStringLiteral("panel-03-preparing"));
    }

    [[nodiscard]] bool drawAnswers()
    {
        PanelScene scene(&voice_);
        scene.deliverCapture(desktop());
        scene.show();
        if (!turnUntil([&] { return isLoaded(scene); }))
            return false;
        if (!saveScene(scene, QStringLiteral("panel-10-attachment")))
            return false;
        scene.ask(QStringLiteral("Why does p95 jump right after the 14:16 deploy?"));
        if (!saveScene(scene, QStringLiteral("panel-04b-thinking")))
            return false;
        scene.stream(QStringLiteral(
            "The spike starts with the deploy marked by the dashed line and lasts about six minutes. Only "
            "**p95** moves; p50 stays at roughly 100 ms, so most requests are unaffected.\n\nThe table "
            "points to `POST /cart/confirm`: its p95 of 812 ms matches the"));
        if (!saveScene(scene, QStringLiteral("panel-04-streaming")))
            return false;
        scene.stream(QStringLiteral(" spike.\n\n") + longAnswer());
        scene.finish();
        return saveScene(scene, QStringLiteral("panel-05-long-answer"));
    }

    [[nodiscard]] bool drawVoice()
    {
        PanelScene scene(&voice_);
        scene.deliverCapture(desktop());
        scene.show();
        if (!turnUntil([&] { return isLoaded(scene); }))
            return false;
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
        QApplication::sendEvent(&field(scene), &press);
        if (!saveScene(scene, QStringLiteral("panel-06-recording")))
            return false;
        voice_.time += std::chrono::seconds(2);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier);
        QApplication::sendEvent(&field(scene), &release);
        settle();
        return saveScene(scene, QStringLiteral("panel-07-transcribing"));
    }

    /// The thumbnail is decoded.
    static bool isLoaded(const PanelScene& scene)
    {
        const auto widgets = scene.content->findChildren<QWidget*>();
        return std::ranges::any_of(widgets, [](QWidget* widget) {
            const auto* thumbnail = dynamic_cast<AttachmentThumbnailButton*>(widget);
            return thumbnail != nullptr && thumbnail->isLoaded();
        });
    }

    [[nodiscard]] bool drawError()
    {
        PanelScene scene(&voice_);
        scene.deliverCapture(desktop());
        scene.show();
        if (!turnUntil([&] { return isLoaded(scene); }))
            return false;
        scene.ask(QStringLiteral("What is this?"));
        scene.stream(QStringLiteral("The chart shows"));
        scene.provider.requests.back().answer.fail(LLMError::httpError(529, QStringLiteral("Overloaded")));
        settle();
        return saveScene(scene, QStringLiteral("panel-08b-error-partial"));
    }

    [[nodiscard]] bool drawMenu()
    {
        PanelScene scene(&voice_);
        scene.deliverCapture(desktop());
        scene.show();
        scene.content->showModelMenu();
        QMenu* menu = scene.content->findChild<QMenu*>();
        menu->setActiveAction(menu->actions().at(2));
        settle();
        const QPixmap picture = menu->grab();
        menu->close();
        return save_(onGround(picture), QStringLiteral("panel-09-model-menu"));
    }

    /// Fonts that lack characters get help from others.
    [[nodiscard]] bool drawScripts()
    {
        PanelScene scene(&voice_);
        scene.deliverCapture(desktop());
        scene.show();
        scene.ask(QStringLiteral("שלום עולם! ما هذا؟ 这是什么？ 🙂👍🏽"));
        // clang-format off: it counts columns of these scripts otherwise each time.
        const QStringList lines{
            QStringLiteral("# 図の説明 🙂"),
            QStringLiteral("これは**太字**と`コード`です。"),
            QStringLiteral("مرحبا بالعالم، هذا **نص عريض** مع `code` داخله."),
            QStringLiteral("עברית עם **מודגש** ו-English באמצע."),
            QStringLiteral("Emoji: 👩‍👩‍👧‍👦 🇩🇪 👍🏽 — and \u0001 control\u0000 "
                           "characters\u200b."),
            QStringLiteral("日本語の長い段落は空白がなくても折り返されます。").repeated(3),
        };
        // clang-format on
        scene.stream(lines.join(u'\n'));
        scene.finish();
        return saveScene(scene, QStringLiteral("panel-11-scripts"));
    }

    PanelVoice voice_; ///< As for a user who has a key for it.
    std::function<bool(const QPixmap&, const QString&)> save_;
};

} // namespace

bool drawPanels(const std::function<bool(const QPixmap&, const QString& name)>& save)
{
    return Panels(save).drawAll();
}

} // namespace velmo
