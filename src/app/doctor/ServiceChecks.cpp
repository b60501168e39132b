#include "app/doctor/Checks.h"

#include "app/KeySources.h"
#include "core/Loopback.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo::Doctor {

namespace {

using State = Finding::State;

const QString kPortals = QStringLiteral("Portals");
const QString kMicrophone = QStringLiteral("Microphone");
const QString kKeyring = QStringLiteral("Keyring");
const QString kKeys = QStringLiteral("Keys");
const QString kEnvironment = QStringLiteral("Environment");
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

/// Where the Velmo with that environment has its key from; given where one with this process's would.
KeySource sourceIn(const ServiceEnvironment& environment, KeySource here, const KeyService& service)
{
    if (!environment.isKeyringOff && here == KeySource::Keychain)
        return KeySource::Keychain;
    return environment.keys.contains(service.name) ? KeySource::Environment : KeySource::None;
}

QString sentenceAboutRunning(KeySource source, const KeyService& service)
{
    const QString variable = SettingsManager::environmentKeyName(service.account);
    return source == KeySource::Environment
               ? QStringLiteral("from the environment of the Velmo that runs (") + variable + u')'
               : QStringLiteral("none that the Velmo that runs could use (") + variable +
                     QStringLiteral(" is not set for it)");
}

/// Questions go to it.
bool isSelected(const SettingsManager& settings, const KeyService& service)
{
    const bool isOpenAI = settings.selectedProvider.value() == ProviderID::OpenAI;
    return service.account == (isOpenAI ? KeychainAccount::OpenAI : KeychainAccount::Anthropic);
}

Finding keyFinding(const SettingsManager& settings, Keychain& keychain, const ServiceEnvironment& environment,
                   const KeyService& service)
{
    const auto stored = keychain.read(settings.keychainService, service.account);
    const KeySource here = SettingsManager::keySource(stored, service.account);
    const KeySource source = sourceIn(environment, here, service);
    const bool isAsHere = source == here;
    const bool isAsked = isSelected(settings, service);
    Finding finding{
        .area = kKeys,
        .text = service.title + QStringLiteral(": ") +
                (isAsHere ? keySourceSentence(stored, service) : sentenceAboutRunning(source, service)),
        .details = {{QStringLiteral("service"), service.name},
                    {QStringLiteral("source"), word(source)},
                    {QStringLiteral("selected"), isAsked}}};
    if (source != KeySource::None)
        return finding;
    if (isAsked && isKeyringSwitchedOff() && !environment.isKeyringOff) {
        finding.state = State::Limited;
        finding.advice = QStringLiteral("It may have one from the keyring, which is switched off here. Unset "
                                        "VELMO_KEYRING to have it looked at.");
    } else if (isAsked) {
        finding.state = State::Broken;
        finding.advice = QStringLiteral("Questions go to this service. ") + adviceFor(service);
    } else if (service.account == KeychainAccount::Replicate) {
        finding.text += QStringLiteral("; asking by voice is off");
    }
    return finding;
}

Finding endpointFinding(const KeyService& service, const ServiceEnvironment::Server& server, bool isSelected)
{
    // Without its server the selected service answers no question.
    const State whenUnusable = isSelected ? State::Broken : State::Limited;
    const QString variable = QString::fromLatin1(service.base.variable);
    Finding finding{.area = kServers,
                    .details = {{QStringLiteral("service"), service.name},
                                {QStringLiteral("configured"), server.isConfigured}}};
    if (server.host.isEmpty()) {
        finding.state = whenUnusable;
        // What stands there is not repeated: it may be a password or a key.
        finding.text =
            service.title + QStringLiteral(": what ") + variable + QStringLiteral(" holds is no web address");
        finding.advice = QStringLiteral("Mend it, with https:// in front, or unset it.");
        return finding;
    }
    finding.text = service.title + QStringLiteral(": ") + server.host + QStringLiteral(" by ") +
                   server.scheme + (server.isConfigured ? QStringLiteral(" (") + variable + u')' : QString());
    finding.details.insert(QStringLiteral("host"), server.host);
    finding.details.insert(QStringLiteral("scheme"), server.scheme);
    if (server.scheme == QStringLiteral("http") && !isLoopbackHost(server.host)) {
        finding.state = whenUnusable;
        finding.text += QStringLiteral(", which is refused");
        finding.advice = QStringLiteral("Plain http is used on this computer only; write https.");
    }
    return finding;
}

Finding difference(const QString& variable)
{
    return {.area = kEnvironment,
            .state = State::Limited,
            .text = variable + QStringLiteral(" is not the same here and for the Velmo that runs"),
            .advice = QStringLiteral("What is said here holds for the one that runs: it has the environment "
                                     "that it was started in. To have it use this one, \"velmo quit\", and "
                                     "start it from here."),
            .details = {{QStringLiteral("variable"), variable}}};
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

Findings keys(const SettingsManager& settings, Keychain& keychain, const ServiceEnvironment& environment)
{
    // The keyring comes first, and is asked last, so that it knows of what the reads ran into.
    Findings findings(1);
    for (const KeyService& service : keyServices())
        findings.push_back(keyFinding(settings, keychain, environment, service));
    const auto availability = keychain.availability();
    const bool isAvailable = availability == Keychain::Availability::Available;
    findings.front() = {.area = kKeyring,
                        .state = isAvailable ? State::Fine : State::Limited,
                        .text = fewWords(availability),
                        .advice = adviceFor(availability),
                        .details = {{QStringLiteral("availability"), word(availability)}}};
    return findings;
}

Findings endpoints(const SettingsManager& settings, const ServiceEnvironment& environment)
{
    Findings findings;
    for (const KeyService& service : keyServices())
        findings.push_back(
            endpointFinding(service, environment.servers.value(service.name), isSelected(settings, service)));
    return findings;
}

Findings differences(const ServiceEnvironment& here, const ServiceEnvironment& running)
{
    Findings findings;
    if (here.isKeyringOff != running.isKeyringOff)
        findings.push_back(difference(QStringLiteral("VELMO_KEYRING")));
    for (const KeyService& service : keyServices()) {
        if (here.keys.contains(service.name) != running.keys.contains(service.name))
            findings.push_back(difference(SettingsManager::environmentKeyName(service.account)));
        if (here.servers.value(service.name) != running.servers.value(service.name))
            findings.push_back(difference(QString::fromLatin1(service.base.variable)));
    }
    return findings;
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
