#include "settings/SettingsRootView.h"

#include "settings/SettingsView.h"
#include "widgets/FocusRing.h"
#include "widgets/SegmentedControl.h"
#include "widgets/WindowPalette.h"

#include <QEvent>
#include <QPainter>
#include <utility>

namespace velmo {

namespace {

constexpr QSize kTabsSize(260, 28);
constexpr int kTabsTop = 14;
constexpr int kDividerTop = 56;
constexpr int kContentsTop = kDividerTop + 1;
constexpr int kPermissionsTab = 1;

} // namespace

SettingsRootView::SettingsRootView(std::shared_ptr<SettingsManager> settings,
                                   SettingsCollaborators collaborators, QWidget* parent)
    : QWidget(parent)
    , settings_(std::move(settings))
    , collaborators_(std::move(collaborators))
{
    setAutoFillBackground(true);
    followScheme();
    tabs_ = new SegmentedControl({QStringLiteral("General"), QStringLiteral("Permissions")}, this);
    tabs_->setAccessibleName(QStringLiteral("Tabs"));
    tabs_->onChoose = [this](int index) { settings_->settingsSelectedTab.set(index); };
    general_ = new SettingsView(settings_, collaborators_, this);
    auto* focusRing = new FocusRing(*this, [] { return WindowTheme::current().accent; });
    focusRing->addScrolledArea(*general_->widget());
    selectedTab_ = settings_->settingsSelectedTab.subscribe([this](qint64) { refresh_.request(); });
    refresh();
}

SettingsRootView::~SettingsRootView() = default;

void SettingsRootView::refresh()
{
    const bool isPermissions = settings_->settingsSelectedTab.value() == kPermissionsTab;
    tabs_->setCurrentIndex(isPermissions ? kPermissionsTab : 0);
    if (isPermissions && permissions_ == nullptr && collaborators_.makePermissionsView) {
        permissions_ = collaborators_.makePermissionsView().release();
        permissions_->setParent(this);
        placeContents();
    }
    general_->setVisible(!isPermissions);
    if (permissions_ != nullptr)
        permissions_->setVisible(isPermissions);
}

void SettingsRootView::placeContents()
{
    const QRect below = rect().adjusted(0, kContentsTop, 0, 0);
    tabs_->setGeometry(QRect(QPoint((width() - kTabsSize.width()) / 2, kTabsTop), kTabsSize));
    general_->setGeometry(below);
    if (permissions_ != nullptr)
        permissions_->setGeometry(below);
}

void SettingsRootView::followScheme()
{
    setPalette(windowPalette(WindowTheme::current()));
}

bool SettingsRootView::event(QEvent* event)
{
    if (event->type() == QEvent::ApplicationPaletteChange)
        followScheme();
    return QWidget::event(event);
}

void SettingsRootView::showEvent(QShowEvent* event)
{
    // Whoever opens the window on a tab has just chosen it.
    refresh();
    QWidget::showEvent(event);
}

void SettingsRootView::resizeEvent(QResizeEvent*)
{
    placeContents();
}

void SettingsRootView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(QRect(0, kDividerTop, width(), 1), WindowTheme::current().separator);
}

} // namespace velmo
