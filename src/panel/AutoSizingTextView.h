#pragma once

#include "panel/StyledTextLayout.h"
#include "panel/TextSelection.h"
#include "panel/WebLinks.h"
#include "widgets/FocusRing.h"

#include <QPoint>
#include <QTimer>
#include <QUrl>
#include <QWidget>
#include <functional>
#include <optional>

namespace velmo {

class PanelMenu;

/// A text that can be read, selected and copied, but not changed, and that is as high as its lines. Addresses
/// of the web open on a click. A very long text is laid out over several turns of the main loop and grows
/// meanwhile. Main thread; positions are units of UTF-16.
class AutoSizingTextView final : public QWidget, public FocusRingTarget {
public:
    /// The inset is what stays free above and below the text.
    explicit AutoSizingTextView(int verticalInset, QWidget* parent = nullptr);

    [[nodiscard]] const StyledTextLayout& layoutOfText() const { return layout_; }
    /// From the position on, the text becomes that of whole, which agrees with it before. A selection that
    /// ends before the position stays.
    void replaceFrom(qsizetype position, const markdown::StyledText& whole);
    /// For a whole text: what it has in common with the one shown stays as it is.
    void setText(const markdown::StyledText& whole);
    void setTextColor(const QColor& color);
    [[nodiscard]] const QColor& textColor() const { return textColor_; }
    /// Whether more is to come: then an address at the end may not be complete, and is no link yet.
    void setGrowing(bool growing);
    [[nodiscard]] bool isGrowing() const { return isGrowing_; }

    /// The width that lines are broken at.
    void setContainerWidth(int width);
    /// Of the longest line.
    [[nodiscard]] int usedWidth() const;
    /// As high as the lines and the insets, in whole points.
    [[nodiscard]] int intrinsicHeight() const;

    std::function<void()> onHeightChange; ///< On a later turn, when more has been laid out.
    std::function<void()> onSelect;       ///< The user begins to select here.
    std::function<void(const QUrl&)> onOpenLink;
    std::function<PanelMenu*(QWidget*)> makeMenu; ///< A menu that deletes itself when it closes.
    std::function<void(const QRect&)> onReveal;   ///< A part, in this view's coordinates, is to be seen.

    [[nodiscard]] const TextSelection& selection() const { return selection_; }
    [[nodiscard]] QString selectedText() const;
    void select(qsizetype anchor, qsizetype cursor);
    void clearSelection() { select(selection_.cursor(), selection_.cursor()); }

    [[nodiscard]] qsizetype positionAt(QPointF point) const;
    [[nodiscard]] QRectF cursorRectangle(qsizetype position) const;
    [[nodiscard]] std::vector<QRectF> rectanglesOf(qsizetype begin, qsizetype end) const;
    /// Invalid where there is no link.
    [[nodiscard]] QUrl linkAt(QPointF point) const;
    /// The web addresses in the text, in order.
    [[nodiscard]] const std::vector<WebLink>& links() const { return links_; }
    [[nodiscard]] FocusRingShape focusRingShape() const override { return {4, 4}; }
    [[nodiscard]] QSize sizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void layOutSome();
    void findLinks(qsizetype changedFrom);
    [[nodiscard]] bool isOpen(const WebLink& link) const;
    void selectAll();
    void beginSelecting() const;
    void copy() const;
    void offerSelection() const;
    [[nodiscard]] QPointF textPoint(QPointF point) const { return point - QPointF(0, verticalInset_); }
    void extendSelectionTo(QPointF point);
    [[nodiscard]] bool selectByKey(const QKeyEvent& event);
    void updatePointer(QPointF point);
    void addLinkActions(QMenu& menu, const QUrl& link, const QString& openTitle, const QString& copyTitle);
    [[nodiscard]] QPoint keyboardMenuPlace() const;

    int verticalInset_;
    StyledTextLayout layout_;
    QColor textColor_;
    std::vector<WebLink> links_;
    bool isGrowing_ = false;
    bool continuesLater_ = false;

    TextSelection selection_;
    bool isSelecting_ = false;
    QTimer selectionScroll_;
    QUrl pressedLink_;
    QUrl hoveredLink_;
    std::optional<quint64> doubleClickedAt_; ///< By the time stamps of events, in milliseconds.
};

} // namespace velmo
