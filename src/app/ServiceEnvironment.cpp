#include "app/ServiceEnvironment.h"

#include "app/KeySources.h"
#include "core/Loopback.h"
#include "core/ServiceEndpoint.h"

#include <QJsonArray>

namespace velmo {

namespace {

const QString kKeyringOff = QStringLiteral("keyringOff");
const QString kKeys = QStringLiteral("keys");
const QString kServers = QStringLiteral("servers");
const QString kConfigured = QStringLiteral("configured");
const QString kScheme = QStringLiteral("scheme");
const QString kHost = QStringLiteral("host");

/// Whether it may be shown. A key that was put into the wrong variable would be read as the name of a host.
bool isAddress(const QString& value, const QUrl& url)
{
    const bool isWeb = url.scheme() == QStringLiteral("https") || url.scheme() == QStringLiteral("http");
    if (!url.isValid() || url.host().isEmpty() || !isWeb)
        return false;
    return value.isEmpty() || value.contains(QStringLiteral("://")) || url.host().contains(u'.') ||
           isLoopbackHost(url.host());
}

ServiceEnvironment::Server serverOf(const ServiceBase& base)
{
    const QString value = qEnvironmentVariable(base.variable).trimmed();
    const QUrl url = serviceEndpoint(base, QStringLiteral("v"));
    ServiceEnvironment::Server server{.isConfigured = !value.isEmpty()};
    if (isAddress(value, url)) {
        server.scheme = url.scheme();
        server.host = url.host();
    }
    return server;
}

} // namespace

bool isKeyringSwitchedOff()
{
    return qEnvironmentVariable("VELMO_KEYRING") == QStringLiteral("off");
}

ServiceEnvironment ServiceEnvironment::own()
{
    ServiceEnvironment environment{.isKeyringOff = isKeyringSwitchedOff()};
    for (const KeyService& service : keyServices()) {
        const QByteArray variable = SettingsManager::environmentKeyName(service.account).toLatin1();
        if (!qEnvironmentVariable(variable.constData()).trimmed().isEmpty())
            environment.keys.append(service.name);
        environment.servers.insert(service.name, serverOf(service.base));
    }
    return environment;
}

QJsonObject ServiceEnvironment::toJson() const
{
    QJsonObject all;
    for (auto server = servers.begin(); server != servers.end(); ++server)
        all.insert(server.key(), QJsonObject{{kConfigured, server->isConfigured},
                                             {kScheme, server->scheme},
                                             {kHost, server->host}});
    return {{kKeyringOff, isKeyringOff}, {kKeys, QJsonArray::fromStringList(keys)}, {kServers, all}};
}

std::optional<ServiceEnvironment> ServiceEnvironment::fromJson(const QJsonObject& object)
{
    if (!object[kKeys].isArray() || !object[kServers].isObject())
        return std::nullopt;
    ServiceEnvironment environment{.isKeyringOff = object[kKeyringOff].toBool()};
    const QJsonArray keys = object[kKeys].toArray();
    for (const auto& key : keys)
        environment.keys.append(key.toString());
    const QJsonObject servers = object[kServers].toObject();
    for (auto server = servers.begin(); server != servers.end(); ++server) {
        const QJsonObject values = server.value().toObject();
        environment.servers.insert(server.key(), {values[kConfigured].toBool(), values[kScheme].toString(),
                                                  values[kHost].toString()});
    }
    return environment;
}

} // namespace velmo
