#pragma once

#include "permissions/MissingPermission.h"

#include <QList>

namespace velmo {

/// A page of the first run.
class OnboardingStep {
public:
    enum class Kind { Permission, Welcome, Complete };

    [[nodiscard]] static OnboardingStep forPermission(MissingPermission permission)
    {
        return {Kind::Permission, permission};
    }
    [[nodiscard]] static OnboardingStep welcome() { return {Kind::Welcome, {}}; }
    [[nodiscard]] static OnboardingStep complete() { return {Kind::Complete, {}}; }

    /// A whole first run: a page for each permission, between the welcome and the end.
    [[nodiscard]] static QList<OnboardingStep> all(const QList<MissingPermission>& missing)
    {
        QList<OnboardingStep> steps{welcome()};
        for (const MissingPermission permission : missing)
            steps.append(forPermission(permission));
        steps.append(complete());
        return steps;
    }

    [[nodiscard]] Kind kind() const { return kind_; }
    /// Only for a step of that kind.
    [[nodiscard]] MissingPermission permission() const { return permission_; }

    friend bool operator==(const OnboardingStep&, const OnboardingStep&) = default;

private:
    OnboardingStep(Kind kind, MissingPermission permission)
        : kind_(kind)
        , permission_(permission)
    {}

    Kind kind_;
    MissingPermission permission_;
};

} // namespace velmo
