#include "app/AskCommand.h"

#include "app/Services.h"
#include "capture/PngEncoder.h"
#include "core/Console.h"
#include "core/DebugLog.h"
#include "core/SettingsManager.h"
#include "core/Text.h"
#include "core/async/TaskScope.h"
#include "core/async/WorkerPool.h"
#include "providers/AnthropicProvider.h"
#include "providers/ImagePayload.h"
#include "providers/OpenAIProvider.h"

#include <QCoreApplication>
#include <QFile>
#include <cerrno>
#include <unistd.h>

namespace velmo {

namespace {

/// The picture as PNG bytes, or the sentence that says why there is none.
Result<QByteArray, QString> loadPicture(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Failure{QStringLiteral("Could not read ") + path + QStringLiteral(": ") + file.errorString()};
    QByteArray bytes = file.readAll();
    if (bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return bytes;
    const auto png = encodePng(decodeImage(bytes));
    if (!png)
        return Failure{QStringLiteral("Could not decode the picture ") + path};
    return *png;
}

struct Question {
    QString text;
    std::optional<QString> imagePath;
    QString systemPrompt;
};

async::Task<ExitCode> ask(Question question, std::shared_ptr<LLMProvider> provider)
{
    LLMMessage message{LLMMessage::Role::User, question.text, std::nullopt};
    if (question.imagePath) {
        auto load = [path = *question.imagePath] { return loadPicture(path); };
        auto picture = co_await async::onWorker(std::move(load));
        if (!picture) {
            printError(QStringLiteral("velmo: ") + picture.error());
            co_return ExitCode::Failed;
        }
        message.imageData = std::move(picture.value());
    }
    const auto pieces = provider->stream({message}, question.systemPrompt);
    bool endsWithLineFeed = true;
    while (true) {
        const auto batch = co_await pieces.nextBatch();
        if (batch.empty())
            break;
        for (const QString& piece : batch) {
            if (!printText(piece)) {
                printError(QStringLiteral("velmo: could not write to standard output: ") +
                           systemErrorText(errno));
                co_return ExitCode::Failed;
            }
            if (!piece.isEmpty())
                endsWithLineFeed = piece.endsWith(u'\n');
        }
    }
    // A terminal's prompt belongs on a line of its own; a script gets the answer alone.
    if (!endsWithLineFeed && isatty(STDOUT_FILENO) != 0)
        static_cast<void>(printText(QStringLiteral("\n")));
    if (const auto failure = pieces.error()) {
        printError(QStringLiteral("[Error: ") + localizedDescription(*failure) + u']');
        co_return ExitCode::Failed;
    }
    co_return ExitCode::Done;
}

async::Task<> askAndQuit(Question question, std::shared_ptr<LLMProvider> provider)
{
    const ExitCode code = co_await ask(std::move(question), std::move(provider));
    QCoreApplication::exit(static_cast<int>(code));
}

std::optional<QString> readQuestion(const AskArguments& arguments)
{
    QString text = arguments.question.value_or(QString());
    if (!arguments.question) {
        QFile input;
        if (!input.open(STDIN_FILENO, QIODevice::ReadOnly))
            return std::nullopt;
        text = QString::fromUtf8(input.readAll());
    }
    text = text.trimmed();
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace

ExitCode runAskCommand(int argc, char** argv, const AskArguments& arguments)
{
    Console::setStream(Console::Stream::StandardError);
    const QCoreApplication application(argc, argv);
    const auto question = readQuestion(arguments);
    if (!question) {
        printError(QStringLiteral("velmo: there is no question"));
        return ExitCode::Usage;
    }

    Services services(Services::Waiting::CommandLine);
    for (const QString& problem : services.defaults().takeProblems())
        DebugLog::log(QStringLiteral("Platform"), problem);
    const auto settings = SettingsManager::shared();
    const QString providerID = arguments.provider.value_or(settings->selectedProvider.value());
    const bool openAI = providerID == ProviderID::OpenAI;
    const auto key = settings->effectiveKey(openAI ? KeychainAccount::OpenAI : KeychainAccount::Anthropic);
    if (!key) {
        printError(QStringLiteral("Error: No ") +
                   (openAI ? QStringLiteral("OpenAI") : QStringLiteral("Anthropic")) +
                   QStringLiteral(" API key configured. Add it in Settings."));
        const auto availability = services.keychain().availability();
        if (availability != Keychain::Availability::Available)
            printError(QStringLiteral("velmo: ") + description(availability));
        return ExitCode::Failed;
    }
    const QString model = arguments.model.value_or(settings->effectiveModel(providerID));
    std::shared_ptr<LLMProvider> provider;
    if (openAI)
        provider = std::make_shared<OpenAIProvider>(*key, model);
    else
        provider = std::make_shared<AnthropicProvider>(*key, model);

    async::TaskScope tasks;
    tasks.start(askAndQuit({*question, arguments.imagePath, settings->effectiveSystemPrompt()}, provider));
    return static_cast<ExitCode>(QCoreApplication::exec());
}

} // namespace velmo
