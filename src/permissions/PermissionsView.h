#pragma once

#include "permissions/MissingPermission.h"
#include "permissions/PermissionRow.h"
#include "platform/Permissions.h"
#include "widgets/SymbolView.h"
#include "widgets/TextLabel.h"

#include <QWidget>
#include <array>

class QTimer;

namespace velmo {

/// A line of advice on a ground of its colour. Main thread.
class PermissionNotice final : public QWidget {
public:
    explicit PermissionNotice(QWidget* parent = nullptr);

    enum class Kind { None, RequiredMissing, AllGranted };
    /// Nothing is shown for None.
    void setKind(Kind kind);
    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] const SymbolView& icon() const { return *icon_; }
    [[nodiscard]] const TextLabel& label() const { return *label_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    Kind kind_ = Kind::None;
    SymbolView* icon_;
    TextLabel* label_;
};

/// The state of all permissions, as a part of another window. It looks whenever it is shown, and every second
/// while it is. Its ground is its window's. Main thread.
class PermissionsView final : public QWidget {
public:
    /// The permissions outlive it.
    explicit PermissionsView(Permissions& permissions, QWidget* parent = nullptr);

    [[nodiscard]] bool accessibilityGranted() const { return accessibilityGranted_; }
    [[nodiscard]] bool screenRecordingGranted() const { return screenRecordingGranted_; }
    [[nodiscard]] bool microphoneGranted() const { return microphoneGranted_; }

    [[nodiscard]] const PermissionNotice& notice() const { return *notice_; }
    [[nodiscard]] PermissionRow& row(MissingPermission permission) const
    {
        return *rows_.at(static_cast<std::size_t>(permission));
    }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    class Card;

    void refresh();
    void refreshIfShown();
    void grant(MissingPermission permission);

    Permissions& permissions_;
    bool accessibilityGranted_ = false;
    bool screenRecordingGranted_ = false;
    bool microphoneGranted_ = false;
    PermissionNotice* notice_;
    std::array<PermissionRow*, kAllPermissions.size()> rows_{};
    QTimer* refreshTimer_;
    Subscription microphoneSubscription_;
};

} // namespace velmo
