#pragma once

#include "core/async/TaskScope.h"
#include "panel/PanelButtons.h"

#include <QPixmap>
#include <functional>

namespace velmo {

/// A small picture of an attachment. It is decoded once, on a worker, at the size that it is shown in.
/// Main thread.
class AttachmentThumbnailButton final : public QWidget {
public:
    /// The image's size in points. Without onRemove there is no button for it.
    AttachmentThumbnailButton(const QByteArray& imageData, QSize imageSize, std::function<void()> onTap,
                              std::function<void()> onRemove, QWidget* parent = nullptr);

    /// What the picture is called, to those who cannot see it.
    void setTitle(const QString& title);
    /// The data turned out to be no picture after all.
    std::function<void()> onUndecodable;

    [[nodiscard]] bool isLoaded() const { return !picture().isNull(); }
    /// As it is shown, in pixels of the screen; null until it is decoded.
    [[nodiscard]] const QPixmap& picture() const { return imageButton_->picture(); }
    /// The size of a thumbnail of an image of that size, in points.
    [[nodiscard]] static QSizeF thumbnailSize(QSizeF image);

private:
    class ImageButton final : public PanelButton {
    public:
        explicit ImageButton(QWidget* parent);
        [[nodiscard]] const QPixmap& picture() const { return picture_; }
        void setPicture(const QPixmap& picture);

    protected:
        void paintEvent(QPaintEvent* event) override;

    private:
        QPixmap picture_; ///< In pixels of the screen.
    };

    async::Task<> load(QByteArray imageData, QSize size, double pixelRatio);

    ImageButton* imageButton_;
    RoundIconButton* removeButton_ = nullptr;
    async::TaskScope tasks_;
};

} // namespace velmo
