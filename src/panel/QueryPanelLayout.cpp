// Where everything in the panel is.

#include "panel/CardMetrics.h"
#include "panel/HoldToRecordButton.h"
#include "panel/KeyBadgeView.h"
#include "panel/ModelPillButton.h"
#include "panel/QueryInputTextView.h"
#include "panel/QueryPanelContentView.h"
#include "panel/RoundedBackgroundView.h"
#include "panel/SpinnerView.h"
#include "panel/TranscriptScrollView.h"

#include <algorithm>

namespace velmo {

namespace {

constexpr int kMinimumInputHeight = 88;
constexpr int kFooterHeight = 42;

constexpr int kRowInsetX = 24;
constexpr int kRowInsetY = 8;
constexpr int kMinimumContainerHeight = 72;
constexpr int kFieldInsetX = 14;
constexpr int kFieldInsetTop = 10;
constexpr int kFieldToBar = 4;
constexpr int kBarInsetX = 10;
constexpr int kBarInsetBottom = 6;
constexpr int kBarHeight = 24;
constexpr int kBarSpacing = 6;
constexpr int kAroundField = kFieldInsetTop + kFieldToBar + kBarHeight + kBarInsetBottom;

constexpr int kFooterInsetX = 14;
constexpr int kCancelSpacing = 6;
constexpr int kStatusSpacing = 5;

/// Puts the widget at its preferred size into a row, in the middle of its height.
void centreAt(QWidget& widget, const QRect& row, int left)
{
    const QSize size = widget.sizeHint().expandedTo(widget.minimumSize());
    widget.setGeometry(left, row.top() + (row.height() - size.height()) / 2, size.width(), size.height());
}

} // namespace

void QueryPanelContentView::resizeEvent(QResizeEvent*)
{
    layOut();
}

void QueryPanelContentView::layOut()
{
    cardView_->setGeometry(rect());
    const QRect footer(0, height() - kFooterHeight, width(), kFooterHeight);
    const QRect input(0, footer.top() - inputHeight(), width(), inputHeight());
    // While the card grows, the transcript gets what is left, and the field's first line stays in view.
    const int transcriptBottom = std::clamp(input.top(), 0, std::max(height(), 0));
    layOutFooter(footer);
    layOutInputRow(QRect(QPoint(0, transcriptBottom), QPoint(width() - 1, footer.top() - 1)));
    transcriptScrollView_->setVisible(!transcriptScrollView_->isEmpty());
    transcriptScrollView_->setGeometry(0, 0, width(), transcriptBottom);
}

void QueryPanelContentView::layOutInputRow(const QRect& row)
{
    inputContainer_->setGeometry(row.adjusted(kRowInsetX, kRowInsetY, -kRowInsetX, -kRowInsetY));
    const QSize inside = inputContainer_->size();
    queryField_->setGeometry(
        kFieldInsetX, kFieldInsetTop, inside.width() - 2 * kFieldInsetX,
        std::min(queryField_->currentIntrinsicHeight(), std::max(inside.height() - kAroundField, 0)));
    const QRect bar(kBarInsetX, inside.height() - kBarInsetBottom - kBarHeight,
                    inside.width() - 2 * kBarInsetX, kBarHeight);
    centreAt(*modelButton_, bar, bar.left());
    int right = bar.right() + 1 - sendButton_->width();
    centreAt(*sendButton_, bar, right);
    right -= kBarSpacing + micButton_->width();
    centreAt(*micButton_, bar, right);
}

void QueryPanelContentView::layOutFooter(const QRect& row)
{
    centreAt(*cancelButton_, row, kFooterInsetX);
    centreAt(*escapeBadge_, row, cancelButton_->geometry().right() + 1 + kCancelSpacing);
    int right = row.right() + 1 - kFooterInsetX;
    for (QWidget* status :
         {static_cast<QWidget*>(transcribingLabel_), static_cast<QWidget*>(transcribingSpinner_),
          static_cast<QWidget*>(preparingLabel_), static_cast<QWidget*>(preparingSpinner_)}) {
        if (status->isHidden())
            continue;
        right -= status->sizeHint().expandedTo(status->minimumSize()).width();
        centreAt(*status, row, right);
        right -= kStatusSpacing;
    }
}

int QueryPanelContentView::inputHeight() const
{
    const int container =
        std::max(queryField_->currentIntrinsicHeight() + kAroundField, kMinimumContainerHeight);
    return std::max(container + 2 * kRowInsetY, kMinimumInputHeight);
}

int QueryPanelContentView::desiredHeight() const
{
    return std::min(inputHeight() + transcriptHeight_ + kFooterHeight, CardMetrics::kMaximumHeight);
}

} // namespace velmo
