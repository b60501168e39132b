#pragma once

#include "platform/linux/JsonFileDefaults.h"

#include <memory>

namespace velmo {

/// What every verb that asks a model stands on: settings, keys and the HTTP client. Create it after the
/// application object; its destructor ends everything that still runs, in the right order.
class Services {
public:
    Services();
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;
    ~Services();

    [[nodiscard]] JsonFileDefaults& defaults() { return *defaults_; }

private:
    std::shared_ptr<JsonFileDefaults> defaults_ = std::make_shared<JsonFileDefaults>();
};

} // namespace velmo
