#include "support/practice/PracticeServer.h"
#include "support/practice/TranscriptPrinter.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <optional>

namespace {

using velmo::practice::PracticeServer;
using velmo::practice::Scenario;
using velmo::practice::ServerOptions;

constexpr int kUsageError = 2;

struct CommandLine {
    ServerOptions options;
    Scenario scenario;
    QString transcriptOf; ///< A recorded request to print instead of serving.
};

void complain(const QString& message)
{
    std::fprintf(stderr, "velmo-practice: %s\n", qUtf8Printable(message));
}

std::optional<CommandLine> readCommandLine(const QCoreApplication& application)
{
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Listen on port N (default: a free one)."),
                                  QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption record(QStringLiteral("record"),
                                    QStringLiteral("Write each request, and the images in it, to DIR."),
                                    QStringLiteral("DIR"));
    const QCommandLineOption scenario(QStringLiteral("scenario"),
                                      QStringLiteral("How requests are answered: ") +
                                          velmo::practice::scenarioNames().join(QLatin1String(", ")) +
                                          QLatin1Char('.'),
                                      QStringLiteral("NAME"), QStringLiteral("answer"));
    const QCommandLineOption delay(
        QStringLiteral("delay-ms"),
        QStringLiteral("Wait N milliseconds between streamed pieces (default: 30)."), QStringLiteral("N"),
        QStringLiteral("30"));
    const QCommandLineOption redirect(
        QStringLiteral("redirect-to"),
        QStringLiteral("Where the redirect scenarios lead, as in http://host:port."),
        QStringLiteral("ORIGIN"), QStringLiteral("http://127.0.0.1:9"));
    const QCommandLineOption certificate(
        QStringLiteral("tls-cert"), QStringLiteral("Speak TLS, with this PEM file."), QStringLiteral("FILE"));
    const QCommandLineOption key(QStringLiteral("tls-key"),
                                 QStringLiteral("The key of the certificate (PEM)."), QStringLiteral("FILE"));
    const QCommandLineOption transcript(
        QStringLiteral("transcript"), QStringLiteral("Print the conversation in a recorded request and end."),
        QStringLiteral("FILE"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Imitates a model service and a speech service on this computer."));
    parser.addHelpOption();
    parser.addOptions({port, record, scenario, delay, redirect, certificate, key, transcript});
    parser.process(application);

    CommandLine line;
    bool portIsNumber = false;
    bool delayIsNumber = false;
    line.options.port = parser.value(port).toUShort(&portIsNumber);
    line.options.pieceDelay = std::chrono::milliseconds(parser.value(delay).toUInt(&delayIsNumber));
    line.options.recordDirectory = parser.value(record);
    line.options.tlsCertificateFile = parser.value(certificate);
    line.options.tlsKeyFile = parser.value(key);
    line.scenario.redirectTo = parser.value(redirect);
    line.transcriptOf = parser.value(transcript);
    const auto kind = velmo::practice::scenarioKind(parser.value(scenario));
    if (!kind) {
        complain(QStringLiteral("there is no scenario '%1'; see --help").arg(parser.value(scenario)));
        return std::nullopt;
    }
    if (!portIsNumber || !delayIsNumber) {
        complain(QStringLiteral("--port and --delay-ms take numbers"));
        return std::nullopt;
    }
    if (parser.isSet(certificate) != parser.isSet(key)) {
        complain(QStringLiteral("--tls-cert and --tls-key belong together"));
        return std::nullopt;
    }
    line.scenario.kind = *kind;
    return line;
}

} // namespace

int main(int argc, char** argv)
{
    // Blocked before any thread exists, so that no thread but this one, which waits for them, receives them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGTERM);
    sigaddset(&endSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    const QCoreApplication application(argc, argv);
    const auto line = readCommandLine(application);
    if (!line) {
        return kUsageError;
    }
    if (!line->transcriptOf.isEmpty()) {
        const auto text = velmo::practice::readTranscript(line->transcriptOf);
        if (!text) {
            complain(QStringLiteral("there is no conversation in ") + line->transcriptOf);
            return EXIT_FAILURE;
        }
        std::fputs(qUtf8Printable(*text), stdout);
        return EXIT_SUCCESS;
    }
    PracticeServer server;
    server.setScenario(line->scenario);
    if (server.start(line->options) == 0) {
        complain(server.errorString());
        return EXIT_FAILURE;
    }
    std::printf("practice service at %s\n", qUtf8Printable(server.baseUrl()));
    std::fflush(stdout);

    int received = 0;
    sigwait(&endSignals, &received);
    server.stop();
    return EXIT_SUCCESS;
}
