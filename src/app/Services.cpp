#include "app/Services.h"

#include "core/DebugLog.h"
#include "core/SettingsManager.h"
#include "core/async/WorkerPool.h"
#include "platform/linux/CurlHttpClient.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "providers/LLMTransport.h"

namespace velmo {

Services::Services()
    : keychain_(SecretServiceKeychain::create())
{
    SettingsManager::installStores(defaults_, keychain_);
    LLMTransport::installClient([this] { return http(); });
}

const std::shared_ptr<HttpClient>& Services::http()
{
    if (!http_)
        http_ = std::make_shared<CurlHttpClient>();
    return http_;
}

Services::~Services()
{
    LLMTransport::shutDown();
    http_.reset();
    async::shutDownWorkers();
    defaults_->flush();
    DebugLog::flush();
}

} // namespace velmo
