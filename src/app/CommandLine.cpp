#include "app/CommandLine.h"

#include "app/AskCommand.h"
#include "app/CoreDumps.h"
#include "app/KeyCommand.h"
#include "app/KeySources.h"
#include "app/RemoteCommand.h"
#include "app/VelmoApp.h"
#include "app/doctor/DoctorCommand.h"
#include "core/SettingsManager.h"

#include <QFile>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <unistd.h>

namespace velmo {

namespace {

const char* const kUsage = R"(Velmo: circle something on the screen and ask about it.

Usage:
  velmo [--background]       start, and wait for the hotkey (Ctrl+Alt+Space), for a left
                             drag with Alt+Super held, or for a middle-button drag;
                             where it runs already, open its settings, or with
                             --background do nothing
  velmo annotate             begin with an empty overlay; starts it if need be
  velmo settings             open the settings; starts it if need be
  velmo cancel               put away what is drawn and asked
  velmo quit                 end the one that runs, and wait until it is gone
  velmo ask [--provider anthropic|openai] [--model NAME] [--image FILE] [QUESTION]
                             ask one question and print the answer as it arrives;
                             without QUESTION it is read from standard input
  velmo doctor [--json]      say what works on this desktop, what does not, and what to do;
                             changes nothing
  velmo key set anthropic|openai|replicate
                             put a key into the keyring; it is read from standard input
  velmo key clear anthropic|openai|replicate
                             empty it there
  velmo key status           say where each key comes from, without showing it
  velmo --help | --version

Keys come from the keyring, else from ANTHROPIC_API_KEY, OPENAI_API_KEY and
REPLICATE_API_TOKEN; servers of your own from ANTHROPIC_BASE_URL, OPENAI_BASE_URL and
REPLICATE_BASE_URL, the models of the first two from ANTHROPIC_MODEL and OPENAI_MODEL.
Exit codes: 0 done, 1 failed, 2 wrong usage.
)";

/// An argument as it may be repeated: what follows an option's name may be a key.
QString nameOf(const QString& argument)
{
    return argument.startsWith(u'-') ? argument.section(u'=', 0, 0) : argument;
}

/// Reads "--name VALUE" and "--name=VALUE".
bool takeOption(const QString& name, const QStringList& arguments, qsizetype& position,
                std::optional<QString>& value)
{
    const QString& argument = arguments.at(position);
    if (argument.startsWith(name + u'=')) {
        value = argument.sliced(name.size() + 1);
        return true;
    }
    if (argument != name || position + 1 >= arguments.size())
        return false;
    value = arguments.at(++position);
    return true;
}

bool parseAsk(const QStringList& arguments, AskArguments& ask, QString* reason)
{
    QStringList words;
    bool optionsEnded = false;
    for (qsizetype position = 0; position < arguments.size(); ++position) {
        const QString& argument = arguments.at(position);
        if (!optionsEnded && argument == QStringLiteral("--")) {
            optionsEnded = true;
        } else if (!optionsEnded && argument.startsWith(QStringLiteral("--"))) {
            if (!takeOption(QStringLiteral("--provider"), arguments, position, ask.provider) &&
                !takeOption(QStringLiteral("--model"), arguments, position, ask.model) &&
                !takeOption(QStringLiteral("--image"), arguments, position, ask.imagePath)) {
                *reason = QStringLiteral("unknown option, or one without its value: ") + nameOf(argument);
                return false;
            }
        } else {
            words.append(argument);
        }
    }
    if (ask.provider && *ask.provider != ProviderID::Anthropic && *ask.provider != ProviderID::OpenAI) {
        *reason = QStringLiteral("unknown provider: ") + *ask.provider;
        return false;
    }
    if (!words.isEmpty())
        ask.question = words.join(u' ');
    return true;
}

/// As they are enumerated in a sentence.
QString serviceNames()
{
    QStringList names;
    for (const KeyService& service : keyServices())
        names.append(service.name);
    const QString last = names.takeLast();
    return names.join(QStringLiteral(", ")) + QStringLiteral(" and ") + last;
}

bool parseKey(const QStringList& arguments, KeyArguments& key, QString* reason)
{
    const QString action = arguments.value(0);
    if (action == QStringLiteral("status") && arguments.size() == 1)
        return true;
    if (action != QStringLiteral("set") && action != QStringLiteral("clear")) {
        *reason = QStringLiteral("\"key\" is followed by status, or by set or clear and a service");
        return false;
    }
    key.action = action == QStringLiteral("set") ? KeyArguments::Action::Set : KeyArguments::Action::Clear;
    key.name = arguments.value(1);
    // What was typed is not repeated: it may be a key.
    if (arguments.size() > 2) {
        *reason = QStringLiteral("a key is read from standard input, never from the command line");
        return false;
    }
    if (std::ranges::none_of(keyServices(),
                             [&](const KeyService& service) { return service.name == key.name; })) {
        *reason = QStringLiteral("the service is one of ") + serviceNames();
        return false;
    }
    return true;
}

/// What stands alone.
bool parseWord(const QString& word, CommandLine& line)
{
    using Verb = CommandLine::Verb;
    static const std::map<QString, CommandLine> all{
        {QStringLiteral("--background"), {.start = {.mode = StartMode::Background}}},
        {QStringLiteral("annotate"), {.start = {.wish = StartWish::Annotate}}},
        {QStringLiteral("settings"), {.start = {.wish = StartWish::Settings}}},
        {QStringLiteral("cancel"), {.verb = Verb::Cancel}},
        {QStringLiteral("quit"), {.verb = Verb::Quit}},
        {QStringLiteral("doctor"), {.verb = Verb::Doctor}},
        {QStringLiteral("--help"), {.verb = Verb::Help}},
        {QStringLiteral("-h"), {.verb = Verb::Help}},
        {QStringLiteral("--version"), {.verb = Verb::Version}},
    };
    const auto found = all.find(word);
    if (found == all.end())
        return false;
    line = found->second;
    return true;
}

/// Why a line makes no sense. Words that are not ours are not repeated: one of them may be a key.
QString refusal(const QStringList& arguments)
{
    const QString& verb = arguments.first();
    CommandLine line;
    if (!parseWord(verb, line))
        return verb.startsWith(u'-') ? QStringLiteral("unknown option") : QStringLiteral("unknown command");
    return u'"' + verb + QStringLiteral("\" is followed by ") +
           (line.verb == CommandLine::Verb::Doctor ? QStringLiteral("--json or nothing")
                                                   : QStringLiteral("nothing"));
}

/// A standard stream that was closed would be replaced by the next file that is opened, which would then get
/// what is meant for the stream. What stands in for it fails, as a closed one would.
void occupyStandardStreams()
{
    constexpr std::array kModes{O_WRONLY, O_RDONLY, O_RDONLY};
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            open("/dev/null", kModes.at(static_cast<size_t>(descriptor)));
    }
}

} // namespace

bool printText(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            write(STDOUT_FILENO, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count < 0 && errno == EAGAIN) {
            // Whoever started us left it non-blocking. Unlike a log line, an answer is worth waiting for.
            pollfd ready{STDOUT_FILENO, POLLOUT, 0};
            poll(&ready, 1, -1);
            continue;
        }
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0)
            written += count;
    }
    return true;
}

ExitCode printResult(const QString& text)
{
    return printText(text) ? ExitCode::Done : ExitCode::Failed;
}

void printError(const QString& text)
{
    const QByteArray line = text.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

std::optional<CommandLine> parseCommandLine(const QStringList& arguments, QString* reason)
{
    CommandLine line;
    if (arguments.isEmpty())
        return line;
    const QString& verb = arguments.first();
    if (verb == QStringLiteral("ask")) {
        line.verb = CommandLine::Verb::Ask;
        if (!parseAsk(arguments.sliced(1), line.ask, reason))
            return std::nullopt;
        return line;
    }
    if (verb == QStringLiteral("key")) {
        line.verb = CommandLine::Verb::Key;
        if (!parseKey(arguments.sliced(1), line.key, reason))
            return std::nullopt;
        return line;
    }
    if (arguments == QStringList{QStringLiteral("doctor"), QStringLiteral("--json")}) {
        line.verb = CommandLine::Verb::Doctor;
        line.doctorFormat = DoctorFormat::Json;
        return line;
    }
    if (arguments.size() == 1 && parseWord(verb, line))
        return line;
    *reason = refusal(arguments);
    return std::nullopt;
}

int runCommandLine(int argc, char** argv)
{
    occupyStandardStreams();
    forbidCoreDumps(CoreDumps::Off);
    // A reader that goes away is no reason to die: writing reports it.
    std::signal(SIGPIPE, SIG_IGN);
    // Nor is a file that may not grow any more.
    std::signal(SIGXFSZ, SIG_IGN);

    QStringList arguments;
    for (int index = 1; index < argc; ++index)
        arguments.append(QFile::decodeName(argv[index]));
    QString reason;
    const auto line = parseCommandLine(arguments, &reason);
    if (!line) {
        printError(QStringLiteral("velmo: ") + reason + QStringLiteral(" (see velmo --help)"));
        return static_cast<int>(ExitCode::Usage);
    }
    switch (line->verb) {
    case CommandLine::Verb::Start:
        return static_cast<int>(runVelmoApp(argc, argv, line->start));
    case CommandLine::Verb::Cancel:
        return static_cast<int>(runRemoteCommand(RemoteVerb::Cancel));
    case CommandLine::Verb::Quit:
        return static_cast<int>(runRemoteCommand(RemoteVerb::Quit));
    case CommandLine::Verb::Ask:
        return static_cast<int>(runAskCommand(argc, argv, line->ask));
    case CommandLine::Verb::Key:
        return static_cast<int>(runKeyCommand(argc, argv, line->key));
    case CommandLine::Verb::Doctor:
        return static_cast<int>(runDoctorCommand(argc, argv, line->doctorFormat));
    case CommandLine::Verb::Help:
        return static_cast<int>(printResult(QString::fromUtf8(kUsage)));
    case CommandLine::Verb::Version:
        return static_cast<int>(printResult(QStringLiteral("velmo " VELMO_VERSION "\n")));
    }
    return static_cast<int>(ExitCode::Failed);
}

} // namespace velmo
