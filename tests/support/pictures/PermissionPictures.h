#pragma once

#include <QPixmap>
#include <functional>

namespace velmo {

/// Every page of the onboarding, and the permissions as settings show them, light and dark.
[[nodiscard]] bool drawPermissions(const std::function<bool(const QPixmap&, const QString& name)>& save);

} // namespace velmo
