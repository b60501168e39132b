#pragma once

#include "platform/HttpClient.h"

#include <memory>

namespace velmo {

/// HTTP over libcurl: every request runs on one thread, which starts with the first one. TLS certificates are
/// always verified; plain http goes to this computer only. Proxies come from the environment, else from the
/// desktop; SSL_CERT_FILE names other roots of trust.
class CurlHttpClient final : public HttpClient {
public:
    CurlHttpClient();
    /// Ends every transfer as cancelled and waits for the thread.
    ~CurlHttpClient() override;

    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler onHead) override;

private:
    class Core;
    std::shared_ptr<Core> core_;
};

} // namespace velmo
