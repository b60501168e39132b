#pragma once

#include "updates/UpdateCheck.h"

#include <QString>

namespace velmo {

/// What the user is told.
struct UpdateMessage {
    QString title;
    QString text;
    bool offersPage = false;
};

/// packageManager is who keeps this installation up to date, as in "APT"; empty: the user.
[[nodiscard]] UpdateMessage describe(const UpdateOutcome& outcome, const UpdateSource& source,
                                     const QVersionNumber& current, const QString& packageManager);

} // namespace velmo
