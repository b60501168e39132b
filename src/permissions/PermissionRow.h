#pragma once

#include "widgets/PushButton.h"
#include "widgets/SymbolView.h"
#include "widgets/TextLabel.h"

#include <QWidget>
#include <functional>

namespace velmo {

/// One permission: what it is for, and whether it is granted or how to grant it. Main thread.
class PermissionRow final : public QWidget {
public:
    struct Content {
        QString symbol;
        QString title;
        QString subtitle;
        bool isOptional = false;
    };

    explicit PermissionRow(const Content& content, QWidget* parent = nullptr);

    void setGranted(bool isGranted);
    /// A sentence under the others; none when it is empty.
    void setNote(const QString& note);

    /// The action of its button.
    std::function<void()> onGrantAccess;

    [[nodiscard]] bool isGranted() const { return button_->isHidden(); }
    [[nodiscard]] const SymbolView& icon() const { return *icon_; }
    [[nodiscard]] const TextLabel& title() const { return *title_; }
    [[nodiscard]] const TextLabel& subtitle() const { return *subtitle_; }
    [[nodiscard]] const TextLabel& note() const { return *note_; }
    [[nodiscard]] PushButton& button() const { return *button_; }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void layOut();

    SymbolView* icon_;
    TextLabel* title_;
    QWidget* tag_ = nullptr;
    TextLabel* subtitle_;
    TextLabel* note_;
    SymbolView* grantedIcon_;
    TextLabel* grantedLabel_;
    PushButton* button_;
};

} // namespace velmo
