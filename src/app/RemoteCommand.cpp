#include "app/RemoteCommand.h"

#include "platform/linux/LinuxApplicationInstance.h"

namespace velmo {

namespace {

/// Ending a session gives the keyboard back first, and the settings are written.
constexpr std::chrono::seconds kQuitPatience{5};

QString processName(qint32 processID)
{
    return processID > 0 ? QStringLiteral(" (process ") + QString::number(processID) + u')' : QString();
}

QString adviceAgainst(qint32 processID)
{
    return processID > 0
               ? QStringLiteral("; \"kill -9 ") + QString::number(processID) + QStringLiteral("\" ends it")
               : QString();
}

} // namespace

ExitCode explain(const RemoteOutcome& outcome)
{
    switch (outcome.kind) {
    case RemoteOutcome::Kind::First:
        return ExitCode::Done;
    case RemoteOutcome::Kind::Answered:
        if (outcome.reply.isAccepted)
            return ExitCode::Done;
        printError(QStringLiteral("velmo: ") + outcome.reply.text);
        return ExitCode::Failed;
    case RemoteOutcome::Kind::NobodyRuns:
        printError(QStringLiteral("velmo: Velmo is not running"));
        return ExitCode::Failed;
    case RemoteOutcome::Kind::Silent:
        printError(QStringLiteral("velmo: the Velmo that runs") + processName(outcome.processID) +
                   QStringLiteral(" does not answer") + adviceAgainst(outcome.processID));
        return ExitCode::Failed;
    }
    return ExitCode::Failed;
}

ExitCode runRemoteCommand(RemoteVerb verb)
{
    LinuxApplicationInstance instance;
    const RemoteOutcome outcome = instance.deliver(verb);
    // Whoever wants it ended has what he wants.
    if (verb == RemoteVerb::Quit && outcome.kind == RemoteOutcome::Kind::NobodyRuns)
        return ExitCode::Done;
    const bool isEnding = verb == RemoteVerb::Quit && outcome.reply.isEnding;
    const ExitCode code = isEnding ? ExitCode::Done : explain(outcome);
    if (verb != RemoteVerb::Quit || code != ExitCode::Done || outcome.processID <= 0 ||
        instance.awaitEnd(outcome.processID, kQuitPatience))
        return code;
    printError(QStringLiteral("velmo: the Velmo that runs") + processName(outcome.processID) +
               QStringLiteral(" has not ended") + adviceAgainst(outcome.processID));
    return ExitCode::Failed;
}

} // namespace velmo
