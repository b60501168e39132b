#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace velmo {

/// Exit codes of every verb.
enum class ExitCode { Done = 0, Failed = 1, Usage = 2 };

/// "velmo ask", as it was typed.
struct AskArguments {
    std::optional<QString> provider; ///< "anthropic" or "openai".
    std::optional<QString> model;
    std::optional<QString> imagePath;
    std::optional<QString> question; ///< None: it comes from standard input.
};

/// "velmo key", as it was typed.
struct KeyArguments {
    enum class Action { Status, Set, Clear };
    Action action = Action::Status;
    QString name; ///< "anthropic", "openai" or "replicate"; empty for the status.
};

/// How the program was started: by somebody who waits for it, or by the session.
enum class StartMode { Interactive, Background };

/// What a start wants of the program, whether it runs already or not. Nothing in particular means the
/// settings where it runs.
enum class StartWish { None, Annotate, Settings };

struct StartArguments {
    StartMode mode = StartMode::Interactive;
    StartWish wish = StartWish::None;
};

/// How "velmo doctor" tells what it found: to people or to tools.
enum class DoctorFormat { Text, Json };

/// A command line, understood.
struct CommandLine {
    enum class Verb { Start, Cancel, Quit, Ask, Key, Doctor, Help, Version };
    Verb verb = Verb::Start;
    StartArguments start{};
    AskArguments ask{};
    KeyArguments key{};
    DoctorFormat doctorFormat = DoctorFormat::Text;
};

/// The arguments after the program's name; nothing, and the reason, if they are not understood.
[[nodiscard]] std::optional<CommandLine> parseCommandLine(const QStringList& arguments, QString* reason);

/// Writes all of it to standard output, and waits for a reader that is slow. False, with the reason in errno,
/// when it cannot be written: nobody reads any more, or the disk is full.
[[nodiscard]] bool printText(const QString& text);

/// The same where nothing else is left to do.
[[nodiscard]] ExitCode printResult(const QString& text);

/// Writes a line to standard error, for whoever typed the command.
void printError(const QString& text);

/// Does what the command line says and gives the process's exit code.
[[nodiscard]] int runCommandLine(int argc, char** argv);

} // namespace velmo
