#include "app/KeyCommand.h"

#include "app/CoreDumps.h"
#include "app/KeyInput.h"
#include "app/KeySources.h"
#include "app/Services.h"
#include "core/SettingsManager.h"

#include <QCoreApplication>

namespace velmo {

namespace {

using Status = Keychain::Status;

const KeyService& serviceOf(const QString& name)
{
    for (const KeyService& service : keyServices()) {
        if (service.name == name)
            return service;
    }
    Q_UNREACHABLE();
}

ExitCode tellStatus(Keychain& keychain)
{
    constexpr int kColumn = 11;
    const auto settings = SettingsManager::shared();
    QString lines;
    for (const KeyService& service : keyServices()) {
        const auto stored = keychain.read(settings->keychainService, service.account);
        lines += service.name.leftJustified(kColumn) + keySourceSentence(stored, service) + u'\n';
    }
    // Asked last, so that it knows of what the reads ran into.
    const auto availability = keychain.availability();
    if (availability != Keychain::Availability::Available)
        lines += description(availability) + u'\n';
    return printResult(lines);
}

/// Waits for the user, or for a slow keyring, where a write does.
Status settled(Status status)
{
    if (status != Status::Pending)
        return status;
    printError(QStringLiteral("velmo: waiting for the keyring, which may have to be unlocked"));
    const Subscription end =
        SettingsManager::shared()->subscribeToLateWrites([&status](const QString&, const Status& outcome) {
            status = outcome;
            QCoreApplication::quit();
        });
    QCoreApplication::exec();
    return status;
}

/// What was not done is a word such as "stored".
ExitCode explainFailure(Keychain& keychain, Status status, const QString& deed)
{
    if (status == Status::Unconfirmed) {
        printError(
            QStringLiteral("velmo: the keyring did not confirm it in time, so nobody knows whether the key "
                           "was ") +
            deed);
        return ExitCode::Failed;
    }
    QString reason;
    if (status == Status::Dismissed)
        reason = QStringLiteral("The keyring stayed locked.");
    else if (const auto availability = keychain.availability();
             availability != Keychain::Availability::Available)
        reason = description(availability);
    else
        reason = QStringLiteral("The keyring refused it.");
    printError(QStringLiteral("velmo: nothing was ") + deed + QStringLiteral(". ") + reason);
    return ExitCode::Failed;
}

ExitCode setKey(Keychain& keychain, const KeyService& service, const QString& key)
{
    const Status status = settled(SettingsManager::shared()->keychainWrite(service.account, key));
    if (status != Status::Success)
        return explainFailure(keychain, status, QStringLiteral("stored"));
    return printResult(QStringLiteral("The key for ") + service.title +
                       QStringLiteral(" is in the keyring.\n"));
}

ExitCode clearKey(Keychain& keychain, const KeyService& service)
{
    const auto settings = SettingsManager::shared();
    // What is not there needs no empty item in its place, let alone a keyring to put it into.
    const Status status = settled(keychain.update(settings->keychainService, service.account, QByteArray()));
    if (status != Status::Success && status != Status::ItemNotFound)
        return explainFailure(keychain, status, QStringLiteral("cleared"));
    QString lines =
        QStringLiteral("The keyring holds no key for ") + service.title + QStringLiteral(" any more.\n");
    if (settings->keySource(service.account) == KeySource::Environment)
        lines +=
            SettingsManager::environmentKeyName(service.account) + QStringLiteral(" still supplies one.\n");
    return printResult(lines);
}

} // namespace

ExitCode runKeyCommand(int argc, char** argv, const KeyArguments& arguments)
{
    forbidCoreDumps(CoreDumps::OffUntilTheEnd);
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
    for (const QString& problem : program.defaults().takeProblems())
        printError(QStringLiteral("velmo: ") + problem);
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
