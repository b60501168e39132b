#pragma once

#include <QJsonObject>
#include <QMap>
#include <QStringList>
#include <optional>

namespace velmo {

/// What the environment of a process says about the services, without what is secret in it. Services are
/// known by their names, as in KeyService. Plain value.
struct ServiceEnvironment {
    struct Server {
        bool isConfigured = false; ///< Or the usual one.
        QString scheme{};          ///< Empty, as is the host, if what is configured is no web address.
        QString host{};
        friend bool operator==(const Server&, const Server&) = default;
    };

    bool isKeyringOff = false; ///< The user keeps the process from it.
    QStringList keys{};        ///< The services whose keys it holds.
    QMap<QString, Server> servers{};

    /// This process's.
    [[nodiscard]] static ServiceEnvironment own();

    [[nodiscard]] QJsonObject toJson() const;
    /// Nothing if there is none in it.
    [[nodiscard]] static std::optional<ServiceEnvironment> fromJson(const QJsonObject& object);
};

/// VELMO_KEYRING=off.
[[nodiscard]] bool isKeyringSwitchedOff();

} // namespace velmo
