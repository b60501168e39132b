#include "core/ServiceEndpoint.h"

#include "core/Loopback.h"

namespace velmo {

QUrl serviceEndpoint(const ServiceBase& service, const QString& operation)
{
    const QString configured = qEnvironmentVariable(service.variable).trimmed();
    QString base = configured.isEmpty() ? QString::fromLatin1(service.usual) : configured;
    if (!base.contains(QStringLiteral("://"))) {
        const bool local = isLoopbackHost(QUrl(QStringLiteral("http://") + base).host());
        base.prepend(local ? QStringLiteral("http://") : QStringLiteral("https://"));
    }
    const QString version = QStringLiteral("/v1");
    while (base.endsWith(u'/') || base.endsWith(version))
        base.chop(base.endsWith(u'/') ? 1 : version.size());
    return QUrl(base + version + u'/' + operation, QUrl::StrictMode);
}

} // namespace velmo
