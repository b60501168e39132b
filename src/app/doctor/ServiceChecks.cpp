#include "app/doctor/Checks.h"

#include "app/KeySources.h"
#include "core/Loopback.h"
#include "core/ServiceEndpoint.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <array>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo::Doctor {

namespace {

using State = Finding::State;

const QString kPortals = QStringLiteral("Portals");
const QString kMicrophone = QStringLiteral("Microphone");
const QString kKeyring = QStringLiteral("Keyring");
const QString kKeys = QStringLiteral("Keys");
const QString kServers = QStringLiteral("Servers");
const QString kSettings = QStringLiteral("Settings");
const QString kLog = QStringLiteral("Log");

QString word(Keychain::Availability availability)
{
    switch (availability) {
    case Keychain::Availability::Available:
        return QStringLiteral("available");
    case Keychain::Availability::Locked:
        return QStringLiteral("locked");
    case Keychain::Availability::NoService:
        return QStringLiteral("noService");
    case Keychain::Availability::Timeout:
        return QStringLiteral("timeout");
    case Keychain::Availability::Refused:
        return QStringLiteral("refused");
    case Keychain::Availability::Off:
        return QStringLiteral("off");
    case Keychain::Availability::NoBus:
        break;
    }
    return QStringLiteral("noBus");
}

QString fewWords(Keychain::Availability availability)
{
    switch (availability) {
    case Keychain::Availability::Available:
        return QStringLiteral("keys can be kept in it");
    case Keychain::Availability::Locked:
        return QStringLiteral("locked");
    case Keychain::Availability::NoService:
        return QStringLiteral("none runs");
    case Keychain::Availability::Timeout:
        return QStringLiteral("it does not answer");
    case Keychain::Availability::Refused:
        return QStringLiteral("it does not answer as one should");
    case Keychain::Availability::Off:
        return QStringLiteral("switched off");
    case Keychain::Availability::NoBus:
        break;
    }
    return QStringLiteral("none, since there is no session bus");
}

QString word(KeySource source)
{
    switch (source) {
    case KeySource::Keychain:
        return QStringLiteral("keyring");
    case KeySource::Environment:
        return QStringLiteral("environment");
    case KeySource::None:
        break;
    }
    return QStringLiteral("none");
}

QString adviceFor(Keychain::Availability availability)
{
    switch (availability) {
    case Keychain::Availability::Available:
        return {};
    case Keychain::Availability::Locked:
        return QStringLiteral("Unlock it, for instance by logging in with a password or with your keyring "
                              "program. What is in it cannot be read until then.");
    case Keychain::Availability::Timeout:
        return QStringLiteral("Restart the keyring, or log in again. No key can be read or kept until then.");
    case Keychain::Availability::Off:
        return description(availability) + QStringLiteral(" Unset the variable to have it used.");
    default:
        return description(availability);
    }
}

QString adviceFor(const KeyService& service)
{
    return QStringLiteral("\"velmo key set ") + service.name +
           QStringLiteral("\" puts one into the keyring; or set ") +
           SettingsManager::environmentKeyName(service.account) + u'.';
}

Finding keyFinding(const SettingsManager& settings, Keychain& keychain, const KeyService& service)
{
    const KeySource source = settings.keySource(service.account);
    Finding finding{
        .area = kKeys,
        .text = service.title + QStringLiteral(": ") + keySourceSentence(settings, keychain, service),
        .details = {{QStringLiteral("service"), service.name}, {QStringLiteral("source"), word(source)}}};
    const bool isOpenAISelected = settings.selectedProvider.value() == ProviderID::OpenAI;
    const bool isSelected =
        service.account == (isOpenAISelected ? KeychainAccount::OpenAI : KeychainAccount::Anthropic);
    finding.details.insert(QStringLiteral("selected"), isSelected);
    if (source != KeySource::None)
        return finding;
    if (isSelected) {
        finding.state = State::Broken;
        finding.advice = QStringLiteral("Questions go to this service. ") + adviceFor(service);
    } else if (service.account == KeychainAccount::Replicate) {
        finding.text += QStringLiteral("; asking by voice is off");
    }
    return finding;
}

/// Whether it may be shown. A key that was put into the wrong variable would be read as the name of a host.
bool isAddress(const QString& value, const QUrl& url)
{
    const bool isWeb = url.scheme() == QStringLiteral("https") || url.scheme() == QStringLiteral("http");
    if (!url.isValid() || url.host().isEmpty() || !isWeb)
        return false;
    return value.isEmpty() || value.contains(QStringLiteral("://")) || url.host().contains(u'.') ||
           isLoopbackHost(url.host());
}

Finding endpointFinding(const QString& title, const ServiceBase& base)
{
    const QUrl url = serviceEndpoint(base, QStringLiteral("v"));
    const QString variable = QString::fromLatin1(base.variable);
    const QString value = qEnvironmentVariable(base.variable).trimmed();
    Finding finding{.area = kServers,
                    .details = {{QStringLiteral("service"), title.toLower()},
                                {QStringLiteral("configured"), !value.isEmpty()}}};
    if (!isAddress(value, url)) {
        finding.state = State::Limited;
        // What stands there is not repeated: it may be a password or a key.
        finding.text =
            title + QStringLiteral(": what ") + variable + QStringLiteral(" holds is no web address");
        finding.advice = QStringLiteral("Mend it, with https:// in front, or unset it.");
        return finding;
    }
    finding.text = title + QStringLiteral(": ") + url.host() + QStringLiteral(" by ") + url.scheme() +
                   (value.isEmpty() ? QString() : QStringLiteral(" (") + variable + u')');
    finding.details.insert(QStringLiteral("host"), url.host());
    finding.details.insert(QStringLiteral("scheme"), url.scheme());
    if (url.scheme() == QStringLiteral("http") && !isLoopbackHost(url.host())) {
        finding.state = State::Limited;
        finding.text += QStringLiteral(", which is refused");
        finding.advice = QStringLiteral("Plain http is used on this computer only; write https.");
    }
    return finding;
}

} // namespace

Findings portals(const std::optional<BusSurvey>& bus, const SessionKind& kind)
{
    using Presence = BusSurvey::Presence;
    Finding finding{.area = kPortals};
    const Presence presence = bus ? bus->portal : Presence::Silent;
    QJsonObject interfaces;
    QStringList names;
    if (bus) {
        for (const auto& [name, version] : bus->portalInterfaces) {
            interfaces.insert(QString::fromStdString(name), static_cast<int>(version));
            names.append(QString::fromStdString(name) + u' ' + QString::number(version));
        }
    }
    switch (presence) {
    case Presence::Present:
        finding.text = names.isEmpty() ? QStringLiteral("they run, without any that Velmo could use")
                                       : names.join(QStringLiteral(", "));
        break;
    case Presence::Startable:
        finding.text = QStringLiteral("they can be started");
        break;
    case Presence::Silent:
        finding.text = QStringLiteral("they do not answer");
        break;
    case Presence::Absent:
        finding.text = QStringLiteral("none");
        break;
    }
    if (kind.type == QStringLiteral("x11"))
        finding.text += QStringLiteral("; not needed on X11");
    finding.details = {{QStringLiteral("present"), presence == Presence::Present},
                       {QStringLiteral("interfaces"), interfaces}};
    return {finding};
}

Findings microphone(const std::optional<Result<QString, PlatformError>>& microphone)
{
    if (microphone && *microphone)
        return {{.area = kMicrophone,
                 .text = microphone->value(),
                 .details = {{QStringLiteral("source"), microphone->value()}}}};
    return {{.area = kMicrophone,
             .state = State::Limited,
             .text = microphone ? microphone->error().description
                                : QStringLiteral("The sound server does not answer."),
             .advice = QStringLiteral("Only asking by voice needs it. Plug one in, or start PulseAudio or "
                                      "PipeWire, if you want that.")}};
}

Findings keys(const SettingsManager& settings, Keychain& keychain)
{
    Findings keys;
    for (const KeyService& service : keyServices())
        keys.push_back(keyFinding(settings, keychain, service));
    // Asked last, so that it knows of what the reads ran into.
    const auto availability = keychain.availability();
    const bool isAvailable = availability == Keychain::Availability::Available;
    const Finding keyring{.area = kKeyring,
                          .state = isAvailable ? State::Fine : State::Limited,
                          .text = fewWords(availability),
                          .advice = adviceFor(availability),
                          .details = {{QStringLiteral("availability"), word(availability)}}};
    keys.insert(keys.begin(), keyring);
    return keys;
}

Findings endpoints()
{
    return {endpointFinding(QStringLiteral("Anthropic"), kAnthropicBase),
            endpointFinding(QStringLiteral("OpenAI"), kOpenAIBase),
            endpointFinding(QStringLiteral("Replicate"), kReplicateBase)};
}

Findings settingsFile(const QString& path, const QString& problem)
{
    const QFileInfo file(path);
    Finding finding{.area = kSettings,
                    .text =
                        file.exists() ? path : path + QStringLiteral(" (not there yet: the defaults hold)"),
                    .details = {{QStringLiteral("path"), path}, {QStringLiteral("problem"), problem}}};
    if (!problem.isEmpty()) {
        finding.state = State::Limited;
        finding.text = path + QStringLiteral(" cannot be understood: ") + problem;
        finding.advice =
            QStringLiteral("Mend it. Else Velmo puts it aside at its next start, as settings.json.bad, "
                           "and uses the defaults.");
    }
    Findings findings{finding};
    const QStringList aside = file.dir().entryList({file.fileName() + QStringLiteral(".bad*")}, QDir::Files);
    if (!aside.isEmpty())
        findings.push_back(
            {.area = kSettings,
             .text = QStringLiteral("put aside earlier: ") + aside.join(QStringLiteral(", "))});
    return findings;
}

Findings log(const QString& path)
{
    struct stat status {};
    const bool exists = lstat(QFile::encodeName(path).constData(), &status) == 0;
    Finding finding{.area = kLog, .text = path, .details = {{QStringLiteral("path"), path}}};
    if (exists && (!S_ISREG(status.st_mode) || status.st_uid != geteuid())) {
        finding.state = State::Limited;
        finding.text += QStringLiteral(" cannot be written: ") +
                        (S_ISREG(status.st_mode) ? QStringLiteral("it belongs to somebody else")
                                                 : QStringLiteral("it is no regular file"));
        finding.advice = QStringLiteral("Have it removed. Until then the lines are on standard output only.");
    }
    return {finding};
}

} // namespace velmo::Doctor
