#pragma once

#include "app/doctor/Finding.h"

namespace velmo {

/// What was found, put into words. Plain functions.

/// Nothing that was found keeps the main job from working.
[[nodiscard]] bool canWork(const Findings& findings);

/// For people: a line for each, with what to do below it, and what it comes to at the end.
[[nodiscard]] QString reportAsText(const Findings& findings);

/// For tools: an object with "velmo" (the version), "works", and "findings", a list of objects with "area",
/// "state" ("fine", "limited" or "broken"), "text", and "advice" and "details" where there are any.
[[nodiscard]] QString reportAsJson(const Findings& findings, const QString& version);

} // namespace velmo
