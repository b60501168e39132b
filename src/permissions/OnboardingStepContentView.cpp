#include "permissions/OnboardingStepContentView.h"

#include "permissions/PermissionChecker.h"
#include "widgets/FocusRing.h"
#include "widgets/FormTexts.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr int kIconSize = 48;
constexpr int kSpacing = 8;
constexpr int kGroupSpacing = 20;
constexpr int kLeastInset = 40;
constexpr int kGreatestWidth = 340;
constexpr int kBelowMiddle = 16;
constexpr QSize kPrimarySize{240, 30};
constexpr int kCurrentDot = 8;
constexpr int kIdleDot = 6;
constexpr int kDotGap = 8;
constexpr int kAboveBottom = 20;
constexpr int kLeastDotGap = 4;

constexpr TextLabel::Style kTitleStyle{22, 27, &WindowTheme::text, QFont::Bold, -0.2};
constexpr TextLabel::Style kDescriptionStyle{13, 17, &WindowTheme::secondaryText};
constexpr TextLabel::Style kHotkeyStyle{11, 15, &WindowTheme::text, QFont::Medium};

TextLabel* makeLabel(const TextLabel::Style& style, QWidget* parent)
{
    auto* label = new TextLabel(style, {}, parent);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

} // namespace

PageDots::PageDots(QWidget* parent)
    : QWidget(parent)
{}

void PageDots::setDots(int total, int current)
{
    total_ = total;
    current_ = current;
    setAccessibleName(QStringLiteral("Step ") + QString::number(current + 1) + QStringLiteral(" of ") +
                      QString::number(total));
    update();
}

QSize PageDots::sizeHint() const
{
    const QList<QRect> places = dots();
    return {places.isEmpty() ? 0 : places.constLast().right() + 1, kCurrentDot};
}

QList<QRect> PageDots::dots() const
{
    QList<QRect> places;
    int left = 0;
    for (int i = 0; i < total_; ++i) {
        const int size = i == current_ ? kCurrentDot : kIdleDot;
        places.append(QRect(left, (kCurrentDot - size) / 2, size, size));
        left += size + kDotGap;
    }
    return places;
}

void PageDots::paintEvent(QPaintEvent*)
{
    const WindowTheme theme = WindowTheme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QList<QRect> places = dots();
    for (int i = 0; i < total_; ++i) {
        painter.setBrush(i == current_ ? theme.accent : theme.idleDot);
        painter.drawEllipse(places.at(i));
    }
}

OnboardingStepContentView::OnboardingStepContentView(Permissions& permissions, QWidget* parent)
    : QWidget(parent)
    , permissions_(permissions)
    , iconView_(new SymbolView(kIconSize, this))
    , titleLabel_(makeLabel(kTitleStyle, this))
    , descriptionLabel_(makeLabel(kDescriptionStyle, this))
    , hotkeyLabel_(makeLabel(kHotkeyStyle, this))
    , primaryButton_(new PushButton(PushButton::Kind::Primary, {}, this))
    , noteLabel_(makeLabel(FormTexts::kWarning, this))
    , secondaryButton_(new PushButton(PushButton::Kind::Borderless, QStringLiteral("Skip"), this))
    , dotContainer_(new PageDots(this))
{
    resize(kSize);
    primaryButton_->setFixedSize(kPrimarySize);
    primaryButton_->setDefault(true);
    connect(primaryButton_, &QAbstractButton::clicked, this, [this] {
        if (onPrimary)
            onPrimary();
    });
    connect(secondaryButton_, &QAbstractButton::clicked, this, [this] {
        if (onSkip)
            onSkip();
    });
    new FocusRing(*this, [] { return WindowTheme::current().accent; });
}

void OnboardingStepContentView::configureWelcome()
{
    configure({QStringLiteral("pencil.and.scribble"), &WindowTheme::accent,
               QStringLiteral("Welcome to Velmo"),
               QStringLiteral("Annotate your screen and ask AI about what you see.\n\nVelmo needs a few "
                              "permissions to work properly. This only takes a moment."),
               QStringLiteral("Get Started")});
}

void OnboardingStepContentView::configurePermission(MissingPermission permission)
{
    switch (permission) {
    case MissingPermission::Accessibility:
        configure({QStringLiteral("keyboard"), &WindowTheme::accent, QStringLiteral("Accessibility Access"),
                   QStringLiteral("Velmo needs Accessibility permission to detect your global activation "
                                  "hotkey while other apps are in focus."),
                   QStringLiteral("Open System Settings")});
        break;
    case MissingPermission::ScreenRecording:
        configure({QStringLiteral("rectangle.inset.filled.on.rectangle"), &WindowTheme::accent,
                   QStringLiteral("Screen Recording"),
                   QStringLiteral("Velmo needs Screen Recording permission to capture an annotated "
                                  "screenshot of your screen."),
                   QStringLiteral("Open System Settings")});
        break;
    case MissingPermission::Microphone: {
        const bool isRefused = PermissionChecker::isMicrophoneRefused(permissions_);
        configure({QStringLiteral("mic.circle"), &WindowTheme::accent, QStringLiteral("Microphone Access"),
                   QStringLiteral("Velmo can use your microphone for voice input, so you can ask questions "
                                  "by speaking instead of typing."),
                   isRefused ? QStringLiteral("Open System Settings") : QStringLiteral("Allow Access"),
                   isRefused});
        break;
    }
    }
}

void OnboardingStepContentView::configureComplete(const QString& hotkey, const QString& problem)
{
    QString line;
    if (!problem.isEmpty())
        line = problem + QStringLiteral("\nChoose another one in the settings.");
    else if (!hotkey.isEmpty())
        line = QStringLiteral("Your hotkey is ") + hotkey + u'.';
    configure({QStringLiteral("checkmark.circle"), &WindowTheme::granted, QStringLiteral("You're All Set!"),
               QStringLiteral("Velmo is ready to use.\nPress your hotkey to get started."),
               QStringLiteral("Start Using Velmo"), false, line});
}

void OnboardingStepContentView::configure(const Page& page)
{
    iconView_->setSymbol(page.symbol, page.tint);
    titleLabel_->setText(page.title);
    descriptionLabel_->setText(page.description);
    hotkeyLabel_->setText(page.hotkeyLine);
    primaryButton_->setTitle(page.primary);
    noteLabel_->setText({});
    // Otherwise it would take the keyboard along.
    if (!page.hasSkip && secondaryButton_->hasFocus())
        primaryButton_->setFocus(Qt::OtherFocusReason);
    secondaryButton_->setVisible(page.hasSkip);
    layOut();
}

void OnboardingStepContentView::setNote(const QString& note)
{
    noteLabel_->setText(note);
    layOut();
    noteLabel_->announce();
}

void OnboardingStepContentView::updateDots()
{
    dotContainer_->setDots(totalSteps, currentStepIndex);
    const QSize size = dotContainer_->sizeHint();
    dotContainer_->setGeometry((width() - size.width()) / 2, height() - kAboveBottom - size.height(),
                               size.width(), size.height());
}

void OnboardingStepContentView::resizeEvent(QResizeEvent*)
{
    layOut();
    updateDots();
}

/// Icon, texts and buttons are three groups, one below the other.
void OnboardingStepContentView::layOut()
{
    const int textWidth = std::min(width() - 2 * kLeastInset, kGreatestWidth);
    struct Item {
        QWidget* widget;
        QSize size;
        bool beginsGroup = false;
    };
    const auto text = [textWidth](TextLabel* label) {
        return Item{label, QSize(textWidth, label->heightForWidth(textWidth))};
    };
    QList<Item> items{{iconView_, iconView_->size()}, text(titleLabel_), text(descriptionLabel_)};
    items[1].beginsGroup = true;
    hotkeyLabel_->setVisible(!hotkeyLabel_->text().isEmpty());
    if (!hotkeyLabel_->text().isEmpty())
        items.append(text(hotkeyLabel_));
    items.append({primaryButton_, kPrimarySize, true});
    noteLabel_->setVisible(!noteLabel_->text().isEmpty());
    if (!noteLabel_->text().isEmpty())
        items.append(text(noteLabel_));
    if (!secondaryButton_->isHidden())
        items.append({secondaryButton_, secondaryButton_->sizeHint()});

    const auto gapBefore = [](const Item& item) { return item.beginsGroup ? kGroupSpacing : kSpacing; };
    int total = -gapBefore(items.constFirst());
    for (const Item& item : items)
        total += gapBefore(item) + item.size.height();
    // A long note, or a wide font, must not run into the dots.
    const int lowest = height() - kAboveBottom - kCurrentDot - kLeastDotGap - total;
    const auto middle = static_cast<int>(std::lround((height() - total) / 2.0 + kBelowMiddle));
    int top = std::min(middle, lowest) - gapBefore(items.constFirst());
    for (const Item& item : items) {
        top += gapBefore(item);
        item.widget->setGeometry((width() - item.size.width()) / 2, top, item.size.width(),
                                 item.size.height());
        top += item.size.height();
    }
}

void OnboardingStepContentView::paintEvent(QPaintEvent*)
{
    QPainter(this).fillRect(rect(), WindowTheme::current().window);
}

} // namespace velmo
