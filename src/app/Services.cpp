#include "app/Services.h"

#include "core/DebugLog.h"
#include "core/SettingsManager.h"
#include "core/async/WorkerPool.h"
#include "platform/NullKeychain.h"
#include "platform/linux/CurlHttpClient.h"
#include "providers/LLMTransport.h"

namespace velmo {

Services::Services()
{
    SettingsManager::installStores(defaults_, std::make_shared<NullKeychain>());
    LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
}

Services::~Services()
{
    LLMTransport::shutDown();
    async::shutDownWorkers();
    defaults_->flush();
    DebugLog::flush();
}

} // namespace velmo
