#include "platform/linux/NetworkChanges.h"

#include <array>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velmo {

NetworkChanges::NetworkChanges() : descriptor_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE))
{
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE;
    if (descriptor_ >= 0 && bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(descriptor_);
        descriptor_ = -1;
    }
}

NetworkChanges::~NetworkChanges()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

void NetworkChanges::drain() const
{
    std::array<char, 8192> buffer{};
    while (recv(descriptor_, buffer.data(), buffer.size(), 0) > 0) {
    }
}

} // namespace velmo
