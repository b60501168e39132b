#include "app/Services.h"

#include "app/ServiceEnvironment.h"
#include "core/DebugLog.h"
#include "core/SettingsManager.h"
#include "core/async/WorkerPool.h"
#include "platform/NullKeychain.h"
#include "platform/linux/CurlHttpClient.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "providers/LLMTransport.h"

namespace velmo {

namespace {

SecretPatience patienceOf(Services::Waiting waiting)
{
    switch (waiting) {
    case Services::Waiting::Interface:
        return SecretServiceKeychain::kInterface;
    case Services::Waiting::Survey:
        return SecretServiceKeychain::kSurvey;
    case Services::Waiting::CommandLine:
        break;
    }
    return SecretServiceKeychain::kCommandLine;
}

} // namespace

/// Keys for a server of the user's own, or for practice, must not be pushed aside by those that are kept.
std::shared_ptr<Keychain> Services::makeKeychain(Waiting waiting)
{
    if (isKeyringSwitchedOff())
        return std::make_shared<NullKeychain>(Keychain::Availability::Off);
    return SecretServiceKeychain::create(patienceOf(waiting));
}

Services::Services(Waiting waiting)
    : keychain_(makeKeychain(waiting))
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
    // The settings, which live longer, have it as well, and a question to the user would stay.
    keychain_->shutDown();
    LLMTransport::shutDown();
    http_.reset();
    async::shutDownWorkers();
    defaults_->flush();
    DebugLog::flush();
}

} // namespace velmo
