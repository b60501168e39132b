#pragma once

#include "app/ServiceEnvironment.h"
#include "platform/EventTap.h"

namespace velmo {

/// What only the program that runs can know, for "velmo doctor". Plain value.
struct ProgramStatus {
    EventTap::StartReport tap{};
    std::optional<ServiceEnvironment> environment{};

    /// As it is sent.
    [[nodiscard]] QString toJson() const;
    /// What is missing, or of another kind, is as if nothing had been said.
    [[nodiscard]] static ProgramStatus fromJson(const QString& text);
};

} // namespace velmo
