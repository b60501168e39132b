#include "permissions/PermissionsView.h"

#include "permissions/PermissionChecker.h"
#include "widgets/RoundedBorder.h"

#include <QPainter>
#include <QPointer>
#include <QTimer>
#include <QVBoxLayout>
#include <chrono>
#include <utility>

namespace velmo {

namespace {

constexpr std::chrono::milliseconds kRefreshInterval{1000};
constexpr int kInset = 20;
constexpr int kTopInset = 16;
constexpr int kGap = 14;
constexpr double kRadius = 10;
constexpr int kNoticeHeight = 40;
constexpr int kNoticeInset = 14;
constexpr int kNoticeIconSize = 18;
constexpr int kNoticeIconGap = 10;
constexpr TextLabel::Style kNoticeStyle{12.5, 18};

PermissionRow::Content contentOf(MissingPermission permission)
{
    switch (permission) {
    case MissingPermission::Accessibility:
        return {QStringLiteral("keyboard"), QStringLiteral("Accessibility"),
                QStringLiteral("Required for the global hotkey to work while other apps are in focus.")};
    case MissingPermission::ScreenRecording:
        return {QStringLiteral("rectangle.inset.filled.on.rectangle"), QStringLiteral("Screen Recording"),
                QStringLiteral("Required to capture an annotated screenshot to send to the AI.")};
    case MissingPermission::Microphone:
        return {QStringLiteral("mic.circle"), QStringLiteral("Microphone"),
                QStringLiteral("Optional. Enables voice input transcription."), true};
    }
    return {};
}

} // namespace

PermissionNotice::PermissionNotice(QWidget* parent)
    : QWidget(parent)
    , icon_(new SymbolView(kNoticeIconSize, this))
    , label_(new TextLabel(kNoticeStyle, {}, this))
{
    setFixedHeight(kNoticeHeight);
    hide();
}

void PermissionNotice::setKind(Kind kind)
{
    // Whoever looks every second says it every second.
    if (std::exchange(kind_, kind) == kind)
        return;
    if (kind == Kind::RequiredMissing) {
        icon_->setSymbol(QStringLiteral("exclamationmark.triangle.fill"), &WindowTheme::warning);
        label_->setText(QStringLiteral("Velmo can't work without the required permissions below."));
    } else if (kind == Kind::AllGranted) {
        icon_->setSymbol(QStringLiteral("checkmark.seal.fill"), &WindowTheme::granted);
        label_->setText(QStringLiteral("All permissions granted"));
    }
    setVisible(kind != Kind::None);
    update();
}

void PermissionNotice::resizeEvent(QResizeEvent*)
{
    icon_->move(kNoticeInset, (height() - kNoticeIconSize) / 2);
    const int left = kNoticeInset + kNoticeIconSize + kNoticeIconGap;
    label_->setGeometry(left, 0, width() - left - kNoticeInset, height());
}

void PermissionNotice::paintEvent(QPaintEvent*)
{
    const WindowTheme theme = WindowTheme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kind_ == Kind::AllGranted ? theme.grantedNotice : theme.warningNotice);
    painter.drawRoundedRect(rect(), kRadius, kRadius);
}

/// The ground of the rows, and the lines between them.
class PermissionsView::Card final : public QWidget {
public:
    explicit Card(QWidget* parent)
        : QWidget(parent)
        , stack_(new QVBoxLayout(this))
    {
        stack_->setContentsMargins(0, 0, 0, 0);
        stack_->setSpacing(kLine);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }

    void addRow(PermissionRow* row) { stack_->addWidget(row); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const WindowTheme theme = WindowTheme::current();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme.card);
        painter.drawRoundedRect(rect(), kRadius, kRadius);
        for (int row = 1; row < stack_->count(); ++row)
            painter.fillRect(0, stack_->itemAt(row)->geometry().top() - kLine, width(), kLine,
                             theme.separator);
        drawRoundedBorder(painter, rect(), kRadius, QPen(theme.cardBorder, kLine));
    }

private:
    static constexpr int kLine = 1;
    QVBoxLayout* stack_;
};

PermissionsView::PermissionsView(Permissions& permissions, QWidget* parent)
    : QWidget(parent)
    , permissions_(permissions)
    , notice_(new PermissionNotice(this))
    , refreshTimer_(new QTimer(this))
{
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(kInset, kTopInset, kInset, kInset);
    stack->setSpacing(kGap);
    stack->addWidget(notice_);
    auto* card = new Card(this);
    for (const MissingPermission permission : kAllPermissions) {
        auto* row = new PermissionRow(contentOf(permission), card);
        row->onGrantAccess = [this, permission] { grant(permission); };
        rows_.at(static_cast<std::size_t>(permission)) = row;
        card->addRow(row);
    }
    stack->addWidget(card);
    stack->addStretch();

    refreshTimer_->setObjectName(QStringLiteral("refreshTimer"));
    refreshTimer_->setInterval(kRefreshInterval);
    refreshTimer_->callOnTimeout(this, [this] { refresh(); });
    // The first answer about the microphone comes soon after the first question.
    microphoneSubscription_ = permissions.observeMicrophone([this] { refreshIfShown(); });
}

void PermissionsView::showEvent(QShowEvent*)
{
    refresh();
    refreshTimer_->start();
}

void PermissionsView::hideEvent(QHideEvent*)
{
    refreshTimer_->stop();
}

void PermissionsView::refreshIfShown()
{
    if (isVisible())
        refresh();
}

void PermissionsView::refresh()
{
    const auto isGranted = [this](MissingPermission permission) {
        const bool granted = PermissionChecker::isGranted(permissions_, permission);
        row(permission).setGranted(granted);
        return granted;
    };
    accessibilityGranted_ = isGranted(MissingPermission::Accessibility);
    screenRecordingGranted_ = isGranted(MissingPermission::ScreenRecording);
    microphoneGranted_ = isGranted(MissingPermission::Microphone);
    if (!accessibilityGranted_ || !screenRecordingGranted_)
        notice_->setKind(PermissionNotice::Kind::RequiredMissing);
    else
        notice_->setKind(microphoneGranted_ ? PermissionNotice::Kind::AllGranted
                                            : PermissionNotice::Kind::None);
}

void PermissionsView::grant(MissingPermission permission)
{
    const PanelOpening opening =
        PermissionChecker::request(permissions_, permission, [self = QPointer(this)] {
            if (auto* view = self.data(); view != nullptr)
                view->refreshIfShown();
        });
    row(permission).setNote(opening.explanation());
}

} // namespace velmo
