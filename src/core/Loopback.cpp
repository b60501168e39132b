#include "core/Loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace velmo {

bool isLoopbackHost(const QString& host)
{
    const QString name = host.endsWith(u'.') ? host.chopped(1).toLower() : host.toLower();
    if (name == QStringLiteral("localhost") || name.endsWith(QStringLiteral(".localhost")))
        return true;
    const QByteArray address = name.toLatin1();
    in_addr version4{};
    if (inet_pton(AF_INET, address.constData(), &version4) == 1)
        return (ntohl(version4.s_addr) >> 24U) == IN_LOOPBACKNET;
    in6_addr version6{};
    return inet_pton(AF_INET6, address.constData(), &version6) == 1 && IN6_IS_ADDR_LOOPBACK(&version6);
}

} // namespace velmo
