#pragma once

#include "platform/WindowFocus.h"

#include <QSet>
#include <QStringList>

namespace velmo {

/// The keyboard's whereabouts, as the test sets them. Every request to move the focus is written down.
class FakeFocus final : public WindowFocus {
public:
    /// An element that requests call by this name.
    [[nodiscard]] static AccessibilityElement named(const QString& name)
    {
        return {0, std::make_shared<NamedElement>(name)};
    }

    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() const override
    {
        return frontmost;
    }
    void setActivationHandler(ActivationHandler handler) override { handler_ = std::move(handler); }
    [[nodiscard]] std::optional<AccessibilityElement> focusedWindow(const RunningApplication&) const override
    {
        return window;
    }
    [[nodiscard]] std::optional<AccessibilityElement> focusedElement(const RunningApplication&) const override
    {
        return element;
    }
    [[nodiscard]] bool isRunning(qint32 processID) const override { return !ended.contains(processID); }
    void activate(qint32 processID, const std::optional<AccessibilityElement>& target) override
    {
        requests.append(QStringLiteral("activate ") + QString::number(processID) +
                        (target ? QStringLiteral(" window=") + QString::number(target->window) : QString()));
    }
    void focusElement(const AccessibilityElement& target) override
    {
        const auto* known = dynamic_cast<const NamedElement*>(target.element.get());
        requests.append(QStringLiteral("focus ") + (known != nullptr ? known->name : QString()));
    }
    [[nodiscard]] bool isTrusted() const override { return trusted; }
    void activateThisApplication() override { ++ownActivations; }

    /// The user switches to an application.
    void userActivates(qint32 processID)
    {
        if (handler_)
            handler_(RunningApplication{processID, 0});
    }
    [[nodiscard]] bool isTracked() const { return static_cast<bool>(handler_); }

    std::optional<RunningApplication> frontmost;
    std::optional<AccessibilityElement> window;
    std::optional<AccessibilityElement> element;
    QSet<qint32> ended;
    bool trusted = true;
    QStringList requests;
    int ownActivations = 0;

private:
    struct NamedElement final : FocusedElement {
        explicit NamedElement(const QString& text)
            : name(text)
        {}
        const QString name;
    };

    ActivationHandler handler_;
};

} // namespace velmo
