#pragma once

#include "permissions/MissingPermission.h"
#include "platform/Permissions.h"
#include "widgets/PushButton.h"
#include "widgets/SymbolView.h"
#include "widgets/TextLabel.h"

#include <QWidget>
#include <functional>

namespace velmo {

/// The dots that say how far one has come.
class PageDots final : public QWidget {
public:
    explicit PageDots(QWidget* parent = nullptr);

    void setDots(int total, int current);
    [[nodiscard]] QSize sizeHint() const override;
    /// Each dot's place, in order.
    [[nodiscard]] QList<QRect> dots() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int total_ = 0;
    int current_ = 0;
};

/// The contents of the onboarding window: one page at a time. Main thread.
class OnboardingStepContentView final : public QWidget {
public:
    static constexpr QSize kSize{480, 340};

    /// The permissions outlive it.
    explicit OnboardingStepContentView(Permissions& permissions, QWidget* parent = nullptr);

    void configureWelcome();
    void configurePermission(MissingPermission permission);
    /// Names the hotkey, unless the text is empty; or says why it does not work, if there is a reason.
    void configureComplete(const QString& hotkey, const QString& problem);

    /// A sentence under the button, until the next page is configured; none when it is empty.
    void setNote(const QString& note);

    /// After a change of these two.
    void updateDots();
    int totalSteps = 0;
    int currentStepIndex = 0;

    /// The buttons' actions. They do not replace themselves.
    std::function<void()> onPrimary;
    std::function<void()> onSkip;

    [[nodiscard]] const SymbolView& iconView() const { return *iconView_; }
    [[nodiscard]] const TextLabel& titleLabel() const { return *titleLabel_; }
    [[nodiscard]] const TextLabel& descriptionLabel() const { return *descriptionLabel_; }
    [[nodiscard]] const TextLabel& hotkeyLabel() const { return *hotkeyLabel_; }
    [[nodiscard]] const TextLabel& noteLabel() const { return *noteLabel_; }
    [[nodiscard]] PushButton& primaryButton() const { return *primaryButton_; }
    [[nodiscard]] PushButton& secondaryButton() const { return *secondaryButton_; }
    [[nodiscard]] const PageDots& dotContainer() const { return *dotContainer_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Page {
        QString symbol;
        QColor WindowTheme::*tint;
        QString title;
        QString description;
        QString primary;
        bool hasSkip = false;
        QString hotkeyLine = {};
    };

    void configure(const Page& page);
    void layOut();

    Permissions& permissions_;
    SymbolView* iconView_;
    TextLabel* titleLabel_;
    TextLabel* descriptionLabel_;
    TextLabel* hotkeyLabel_;
    PushButton* primaryButton_;
    TextLabel* noteLabel_;
    PushButton* secondaryButton_;
    PageDots* dotContainer_;
};

} // namespace velmo
