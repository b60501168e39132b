#include "panel/TextViewMenu.h"

#include "panel/AutoSizingTextView.h"
#include "panel/PanelMenu.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>

namespace velmo {

void AutoSizingTextView::addLinkActions(QMenu& menu, const QUrl& link, const QString& openTitle,
                                        const QString& copyTitle)
{
    menu.addAction(openTitle, this, [this, link] {
        if (onOpenLink)
            onOpenLink(link);
    });
    menu.addAction(copyTitle, this,
                   [link] { QGuiApplication::clipboard()->setText(QString::fromLatin1(link.toEncoded())); });
}

/// At the text cursor if it can be seen, or else at the part of the text that can.
QPoint AutoSizingTextView::keyboardMenuPlace() const
{
    const QRect shown = visibleRegion().boundingRect();
    const QPoint cursor = cursorRectangle(selection_.cursor()).toAlignedRect().bottomLeft();
    return shown.isEmpty() || shown.contains(cursor) ? cursor : shown.center();
}

void AutoSizingTextView::contextMenuEvent(QContextMenuEvent* event)
{
    PanelMenu* menu = makeMenu ? makeMenu(this) : nullptr;
    if (menu == nullptr)
        return;
    const bool isByKeyboard = event->reason() == QContextMenuEvent::Keyboard;
    if (isByKeyboard) {
        // No pointer says which link is meant.
        constexpr int kLongestTitle = 360;
        constexpr qsizetype kMostLinks = 12;
        for (const WebLink& link : links_) {
            const QUrl address = webAddress(layout_.textView().mid(link.begin, link.end - link.begin));
            if (isOpen(link) || menu->actions().size() >= 2 * kMostLinks)
                continue;
            const QString title =
                menu->fontMetrics().elidedText(address.toDisplayString(), Qt::ElideMiddle, kLongestTitle);
            addLinkActions(*menu, address, QStringLiteral("Open ") + title, QStringLiteral("Copy ") + title);
        }
    } else if (const QUrl link = linkAt(event->pos()); link.isValid()) {
        addLinkActions(*menu, link, QStringLiteral("Open Link"), QStringLiteral("Copy Link"));
    }
    if (!menu->isEmpty())
        menu->addSeparator();
    menu->addAction(QStringLiteral("Copy"), this, [this] { copy(); })->setEnabled(!selection_.isEmpty());
    menu->addAction(QStringLiteral("Select All"), this, [this] { selectAll(); });
    menu->popupAt(QRect(isByKeyboard ? mapToGlobal(keyboardMenuPlace()) : event->globalPos(), QSize()), 0);
}

void openMenuByKeyboard(QWidget& widget)
{
    const QPoint at = widget.inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, at, widget.mapToGlobal(at));
    QCoreApplication::sendEvent(&widget, &event);
}

} // namespace velmo
