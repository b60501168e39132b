#include "app/KeyCommand.h"

#include "app/KeyInput.h"
#include "app/Services.h"
#include "core/SettingsManager.h"

#include <QCoreApplication>
#include <array>
#include <cstdio>

namespace velmo {

namespace {

using Status = Keychain::Status;

struct Service {
    QString name;
    QString title;
    QString account;
};

const std::array<Service, 3>& services()
{
    static const std::array<Service, 3> all{
        Service{QStringLiteral("anthropic"), QStringLiteral("Anthropic"), KeychainAccount::Anthropic},
        Service{QStringLiteral("openai"), QStringLiteral("OpenAI"), KeychainAccount::OpenAI},
        Service{QStringLiteral("replicate"), QStringLiteral("Replicate"), KeychainAccount::Replicate}};
    return all;
}

const Service& serviceOf(const QString& name)
{
    for (const Service& service : services()) {
        if (service.name == name)
            return service;
    }
    Q_UNREACHABLE();
}

ExitCode print(const QString& lines)
{
    const QByteArray bytes = lines.toUtf8();
    const bool isWritten = std::fputs(bytes.constData(), stdout) >= 0 && std::fflush(stdout) == 0;
    return isWritten ? ExitCode::Done : ExitCode::Failed;
}

QString sourceOf(const SettingsManager& settings, const QString& account, Keychain::Availability availability)
{
    const QString variable = SettingsManager::environmentKeyName(account);
    switch (settings.keySource(account)) {
    case KeySource::Keychain:
        return QStringLiteral("from the keyring");
    case KeySource::Environment:
        return QStringLiteral("from the environment (") + variable + u')';
    case KeySource::None:
        break;
    }
    const QString noneKept = availability == Keychain::Availability::Available
                                 ? QStringLiteral("not in the keyring, and ")
                                 : QString();
    return QStringLiteral("none (") + noneKept + variable + QStringLiteral(" is not set)");
}

ExitCode tellStatus(Keychain& keychain)
{
    constexpr int kColumn = 11;
    const auto settings = SettingsManager::shared();
    const auto availability = keychain.availability();
    QString lines;
    for (const Service& service : services())
        lines +=
            service.name.leftJustified(kColumn) + sourceOf(*settings, service.account, availability) + u'\n';
    if (availability != Keychain::Availability::Available)
        lines += description(availability) + u'\n';
    return print(lines);
}

/// Waits for the user where a write does.
Status settled(Keychain& keychain, Status status)
{
    if (status != Status::Pending)
        return status;
    printError(QStringLiteral("velmo: waiting for the keyring to be unlocked"));
    keychain.onLateWrite = [&status](const QString&, Status outcome) {
        status = outcome;
        QCoreApplication::quit();
    };
    QCoreApplication::exec();
    keychain.onLateWrite = nullptr;
    return status;
}

ExitCode explainFailure(Keychain& keychain)
{
    const auto availability = keychain.availability();
    printError(QStringLiteral("velmo: nothing was stored. ") +
               (availability == Keychain::Availability::Available
                    ? QStringLiteral("The keyring was not unlocked, or refused it.")
                    : description(availability)));
    return ExitCode::Failed;
}

ExitCode setKey(Keychain& keychain, const Service& service, const QString& key)
{
    if (settled(keychain, SettingsManager::shared()->keychainWrite(service.account, key)) != Status::Success)
        return explainFailure(keychain);
    return print(QStringLiteral("The key for ") + service.title + QStringLiteral(" is in the keyring.\n"));
}

ExitCode clearKey(Keychain& keychain, const Service& service)
{
    const auto settings = SettingsManager::shared();
    // What is not there needs no empty item in its place, let alone a keyring to put it into.
    const Status status =
        settled(keychain, keychain.update(settings->keychainService, service.account, QByteArray()));
    if (status != Status::Success && status != Status::ItemNotFound)
        return explainFailure(keychain);
    QString lines =
        QStringLiteral("The keyring holds no key for ") + service.title + QStringLiteral(" any more.\n");
    if (settings->keySource(service.account) == KeySource::Environment)
        lines +=
            SettingsManager::environmentKeyName(service.account) + QStringLiteral(" still supplies one.\n");
    return print(lines);
}

} // namespace

ExitCode runKeyCommand(int argc, char** argv, const KeyArguments& arguments)
{
    const QCoreApplication application(argc, argv);
    QString key;
    if (arguments.action == KeyArguments::Action::Set) {
        auto input =
            readKey(QStringLiteral("Key for ") + serviceOf(arguments.name).title + QStringLiteral(": "));
        if (!input) {
            printError(QStringLiteral("velmo: ") + input.error());
            return ExitCode::Usage;
        }
        key = std::move(input.value());
    }
    Services program(Services::Waiting::CommandLine);
    switch (arguments.action) {
    case KeyArguments::Action::Set:
        return setKey(program.keychain(), serviceOf(arguments.name), key);
    case KeyArguments::Action::Clear:
        return clearKey(program.keychain(), serviceOf(arguments.name));
    case KeyArguments::Action::Status:
        return tellStatus(program.keychain());
    }
    return ExitCode::Failed;
}

} // namespace velmo
