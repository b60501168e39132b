#include "updates/UpdateWindow.h"

#include "widgets/DialogWindow.h"
#include "widgets/FocusRing.h"
#include "widgets/PushButton.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowPalette.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>
#include <algorithm>

namespace velmo {

namespace {

constexpr QSize kSmallest{420, 168};
constexpr int kInset = 20;
constexpr int kGap = 6;
constexpr int kButtonGap = 8;
constexpr int kTextSize = 13;

} // namespace

UpdateWindow::UpdateWindow()
    : title_(new QLabel(this))
    , text_(new QLabel(this))
    , open_(new PushButton(PushButton::Kind::Primary, QStringLiteral("Open Release Page"), this))
    , close_(new PushButton(PushButton::Kind::Normal, QStringLiteral("Close"), this))
{
    DialogWindow::prepare(*this, QStringLiteral("Software Update"), kSmallest);
    title_->setFont(systemFont(kTextSize, QFont::DemiBold));
    text_->setFont(systemFont(kTextSize));
    text_->setWordWrap(true);
    text_->setAlignment(Qt::AlignTop | Qt::AlignLeading);
    for (QLabel* label : {title_, text_}) {
        // It may hold what a server has sent.
        label->setTextFormat(Qt::PlainText);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(kButtonGap);
    buttons->addStretch();
    buttons->addWidget(close_);
    buttons->addWidget(open_);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(kInset, kInset, kInset, kInset);
    stack->setSpacing(kGap);
    stack->addWidget(title_);
    stack->addWidget(text_, 1);
    stack->addLayout(buttons);

    new FocusRing(*this, [] { return WindowTheme::current().accent; });
    connect(close_, &PushButton::clicked, this, &QWidget::close);
    connect(open_, &PushButton::clicked, this, [this] {
        if (!onOpenPage || onOpenPage(page_))
            close();
        else
            write(title_->text(), QStringLiteral("Nothing on this computer opens the page of the release: ") +
                                      page_.toDisplayString());
    });
    setAutoFillBackground(true);
    followScheme();
}

void UpdateWindow::showChecking()
{
    write(QStringLiteral(u"Checking for Updates…"), {});
    open_->hide();
}

void UpdateWindow::showMessage(const UpdateMessage& message, const QUrl& page)
{
    page_ = page;
    write(message.title, message.text);
    open_->setVisible(message.offersPage);
    open_->setDefault(message.offersPage);
    close_->setDefault(!message.offersPage);
}

void UpdateWindow::write(const QString& title, const QString& text)
{
    title_->setText(title);
    text_->setText(text);
    setAccessibleDescription(title + u' ' + text);
    // Some reasons need more lines than others, and other fonts than ours are wider.
    const int height = layout()->totalHeightForWidth(kSmallest.width());
    setFixedSize(kSmallest.width(), std::max(height, kSmallest.height()));
}

bool UpdateWindow::event(QEvent* event)
{
    if (event->type() == QEvent::ApplicationPaletteChange)
        followScheme();
    const bool result = QWidget::event(event);
    if (event->type() == QEvent::Close && onClosed)
        onClosed();
    return result;
}

void UpdateWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

void UpdateWindow::followScheme()
{
    const WindowTheme theme = WindowTheme::current();
    QPalette colors = windowPalette(theme);
    setPalette(colors);
    colors.setColor(QPalette::WindowText, theme.secondaryText);
    text_->setPalette(colors);
}

} // namespace velmo
