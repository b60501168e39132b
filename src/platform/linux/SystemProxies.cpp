#include "platform/linux/SystemProxies.h"

#include "platform/linux/ProxyLibrary.h"

namespace velmo {

void SystemProxies::End::operator()(pxProxyFactory_* factory) const
{
    px_proxy_factory_free(factory);
}

QByteArray SystemProxies::proxyFor(const QUrl& url)
{
    if (!proxyLibrary.load())
        return {};
    if (!factory_)
        factory_.reset(px_proxy_factory_new());
    if (!factory_)
        return {};
    char** const found = px_proxy_factory_get_proxies(factory_.get(), url.toEncoded().constData());
    if (found == nullptr)
        return {};
    QList<QByteArray> proxies;
    for (char** proxy = found; *proxy != nullptr; ++proxy)
        proxies.emplace_back(*proxy);
    px_proxy_factory_free_proxies(found);
    return firstUsable(proxies);
}

QByteArray SystemProxies::firstUsable(const QList<QByteArray>& proxies)
{
    for (const QByteArray& proxy : proxies) {
        const qsizetype end = proxy.indexOf("://");
        const QByteArray scheme = end > 0 ? proxy.first(end).toLower() : QByteArray();
        if (scheme == "direct")
            return {};
        if (scheme == "http")
            return proxy;
        if (scheme == "socks" || scheme == "socks5")
            return "socks5h" + proxy.sliced(end);
        if (scheme == "socks4" || scheme == "socks4a")
            return "socks4a" + proxy.sliced(end);
    }
    return {};
}

} // namespace velmo
