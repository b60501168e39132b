#pragma once

#include <QByteArray>
#include <QUrl>
#include <memory>

struct pxProxyFactory_;

namespace velmo {

/// The proxies of the desktop's settings. One thread; it waits for the settings, and for their script where
/// they have one.
class SystemProxies {
public:
    SystemProxies() = default;
    SystemProxies(const SystemProxies&) = delete;
    SystemProxies& operator=(const SystemProxies&) = delete;
    ~SystemProxies() = default;

    /// Where requests to the address go through, as libcurl takes it; empty for nowhere, also where nobody
    /// can tell.
    [[nodiscard]] QByteArray proxyFor(const QUrl& url);

    /// The same of what the settings say, the best first. Names are left to the proxy to look up.
    [[nodiscard]] static QByteArray firstUsable(const QList<QByteArray>& proxies);

private:
    struct End {
        void operator()(pxProxyFactory_* factory) const;
    };

    std::unique_ptr<pxProxyFactory_, End> factory_; ///< From the first question on.
};

} // namespace velmo
