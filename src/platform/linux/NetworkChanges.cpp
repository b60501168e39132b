#include "platform/linux/NetworkChanges.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velmo {

namespace {

/// Connecting a datagram socket only looks the route up.
template <typename Address>
bool canReach(const Address& address, int family)
{
    const int descriptor = socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return false;
    const int status = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const bool unreachable =
        status != 0 && (errno == ENETUNREACH || errno == ENETDOWN || errno == EADDRNOTAVAIL);
    close(descriptor);
    return !unreachable;
}

} // namespace

NetworkChanges::NetworkChanges()
    : descriptor_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE))
{
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE;
    if (descriptor_ >= 0 &&
        bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(descriptor_);
        descriptor_ = -1;
    }
}

NetworkChanges::~NetworkChanges()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

bool NetworkChanges::hasRoute()
{
    // Addresses that are set aside for documents: only a default route leads there.
    const in_port_t port = htons(443);
    sockaddr_in version4{};
    version4.sin_family = AF_INET;
    version4.sin_port = port;
    inet_pton(AF_INET, "192.0.2.1", &version4.sin_addr);
    sockaddr_in6 version6{};
    version6.sin6_family = AF_INET6;
    version6.sin6_port = port;
    inet_pton(AF_INET6, "2001:db8::1", &version6.sin6_addr);
    return canReach(version4, AF_INET) || canReach(version6, AF_INET6);
}

void NetworkChanges::drain() const
{
    std::array<char, 8192> buffer{};
    while (recv(descriptor_, buffer.data(), buffer.size(), 0) > 0) {
    }
}

} // namespace velmo
