#pragma once

#include "core/SettingsManager.h"
#include "settings/SettingsCollaborators.h"

#include <QWidget>
#include <memory>

namespace velmo {

class SegmentedControl;
class SettingsView;

/// The contents of the settings window: two tabs, of which the settings say which one is shown. Title and
/// size are its window's. Main thread.
class SettingsRootView final : public QWidget {
public:
    SettingsRootView(std::shared_ptr<SettingsManager> settings, SettingsCollaborators collaborators,
                     QWidget* parent = nullptr);
    ~SettingsRootView() override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void refresh();
    void placeContents();
    void followScheme();

    std::shared_ptr<SettingsManager> settings_;
    SettingsCollaborators collaborators_;
    SegmentedControl* tabs_;
    SettingsView* general_;
    QWidget* permissions_ = nullptr; ///< Null before it is first chosen.
    LaterRefresh refresh_{this, [this] { refresh(); }};
    Subscription selectedTab_;
};

} // namespace velmo
