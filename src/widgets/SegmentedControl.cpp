#include "widgets/SegmentedControl.h"

#include "widgets/FadingButton.h"
#include "widgets/FocusRing.h"
#include "widgets/SoftShadow.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowTheme.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kInset = 2;
constexpr double kTrackRadius = 8;
constexpr double kSegmentRadius = 6;
constexpr double kTextSize = 12.5;
constexpr SoftShadow kShadow{.drop = 1, .blur = 2, .alpha = 0.14F};
constexpr double kHoverShare = 0.35;

class Segment final : public FadingButton, public FocusRingTarget, public DescribedWidget {
public:
    Segment(const QString& title, QWidget* parent)
        : FadingButton(parent)
        , DescribedWidget(QAccessible::PageTab)
    {
        setCheckable(true);
        setAutoExclusive(true);
        setFocusPolicy(Qt::StrongFocus);
        setText(title);
        setAccessibleName(title);
    }

    [[nodiscard]] FocusRingShape focusRingShape() const override { return {0, kSegmentRadius}; }
    [[nodiscard]] QSize sizeHint() const override { return fontMetrics().size(Qt::TextSingleLine, text()); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const WindowTheme theme = WindowTheme::current();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        if (!isChecked() && hover() > 0) {
            QColor ground = theme.selectedSegment;
            ground.setAlphaF(static_cast<float>(hover() * kHoverShare));
            painter.setBrush(ground);
            painter.drawRoundedRect(rect(), kSegmentRadius, kSegmentRadius);
        }
        const ExactFont exact(kTextSize, isChecked() ? QFont::DemiBold : QFont::Medium);
        painter.setFont(exact.font);
        painter.setPen(theme.text);
        painter.scale(exact.scale, exact.scale);
        painter.drawText(QRectF(0, 0, width() / exact.scale, height() / exact.scale),
                         Qt::AlignCenter | Qt::TextSingleLine, text());
    }
};

} // namespace

SegmentedControl::SegmentedControl(const QStringList& titles, QWidget* parent)
    : QWidget(parent)
    , DescribedWidget(QAccessible::PageTabList)
{
    for (const QString& title : titles) {
        auto* segment = new Segment(title, this);
        const int index = static_cast<int>(segments_.size());
        segments_.append(segment);
        connect(segment, &QAbstractButton::clicked, this, [this, index] {
            if (onChoose)
                onChoose(index);
        });
        connect(segment, &QAbstractButton::toggled, this, [this] { update(); });
    }
}

void SegmentedControl::setCurrentIndex(int index)
{
    if (index >= 0 && index < segments_.size())
        segments_[index]->setChecked(true);
}

int SegmentedControl::currentIndex() const
{
    for (int i = 0; i < static_cast<int>(segments_.size()); ++i) {
        if (segments_[i]->isChecked())
            return i;
    }
    return -1;
}

/// The chosen segment's ground and its shadow, which reaches beyond it, belong to the track.
void SegmentedControl::paintEvent(QPaintEvent*)
{
    const WindowTheme theme = WindowTheme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.segmentTrack);
    painter.drawRoundedRect(rect(), kTrackRadius, kTrackRadius);
    const int chosen = currentIndex();
    if (chosen < 0)
        return;
    const QRectF segment = segments_[chosen]->geometry();
    paintSoftShadow(painter, segment, kSegmentRadius, kShadow);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme.selectedSegment);
    painter.drawRoundedRect(segment, kSegmentRadius, kSegmentRadius);
}

void SegmentedControl::resizeEvent(QResizeEvent*)
{
    const QRect inside = rect().adjusted(kInset, kInset, -kInset, -kInset);
    const int count = static_cast<int>(segments_.size());
    for (int i = 0; i < count; ++i) {
        const int left = inside.left() + inside.width() * i / count;
        const int right = inside.left() + inside.width() * (i + 1) / count;
        segments_[i]->setGeometry(left, inside.top(), right - left, inside.height());
    }
}

} // namespace velmo
