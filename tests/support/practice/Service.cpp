#include "support/practice/Service.h"

#include "support/practice/Answer.h"

#include <QJsonDocument>

#include <functional>
#include <optional>
#include <utility>

namespace velmo::practice {

namespace {

using ErrorBody = std::function<QByteArray(int, const QString&)>;

int statusOf(ScenarioKind kind)
{
    switch (kind) {
    case ScenarioKind::Status401:
        return 401;
    case ScenarioKind::Status429:
        return 429;
    case ScenarioKind::Status500:
        return 500;
    case ScenarioKind::Status529:
        return 529;
    default:
        return 0;
    }
}

ResponsePlan planStatus(const Scenario& scenario, int status, const QByteArray& key,
                        const ErrorBody& errorBody)
{
    QString message = scenario.message;
    if (message.isEmpty()) {
        message = QStringLiteral("practice failure with status %1").arg(status);
    }
    if (scenario.echoKey) {
        message += QStringLiteral(" for the key '%1'").arg(QString::fromUtf8(key));
    }
    ResponsePlan plan = planJson(status, errorBody(status, message));
    if (status == 429) {
        plan.headers.emplaceBack("Retry-After", "7");
    }
    return plan;
}

/// The plan of a scenario that looks at nothing in the request but its key, or nothing for the other
/// scenarios.
std::optional<ResponsePlan> planUnchecked(const Scenario& scenario, const RecordedRequest& request,
                                          const QByteArray& key, const ErrorBody& errorBody)
{
    ResponsePlan plan;
    switch (scenario.kind) {
    case ScenarioKind::Status401:
    case ScenarioKind::Status429:
    case ScenarioKind::Status500:
    case ScenarioKind::Status529:
        return planStatus(scenario, statusOf(scenario.kind), key, errorBody);
    case ScenarioKind::StatusEmptyBody:
        plan.status = 500;
        return plan;
    case ScenarioKind::NonUtf8Body:
        return planJson(500, "{\"error\": {\"message\": \"\xFF\xFE broken \xC3\x28\"}}");
    case ScenarioKind::Empty200:
        plan.contentType = "text/event-stream; charset=utf-8";
        return plan;
    case ScenarioKind::Redirect302:
    case ScenarioKind::Redirect307:
        plan.status = scenario.kind == ScenarioKind::Redirect302 ? 302 : 307;
        plan.contentType.clear();
        plan.headers.emplaceBack("Location", scenario.redirectTo.toUtf8() + request.path);
        return plan;
    case ScenarioKind::Custom:
        return planCustom(scenario);
    case ScenarioKind::DropBeforeHead:
    case ScenarioKind::ResetBeforeHead:
    case ScenarioKind::NeverAnswers:
    case ScenarioKind::NotHttp:
        return plan; // No byte of it is sent.
    default:
        return std::nullopt;
    }
}

} // namespace

Service::Service(Settings settings)
    : settings_(std::move(settings))
{}

Reply Service::replyTo(const RecordedRequest& request, Instructions instructions)
{
    if (!instructions.scenario.pieceDelay) {
        instructions.scenario.pieceDelay = settings_.pieceDelay;
    }
    const ResponsePlan plan = SpeechDesk::serves(request.plainPath()) ? planSpeech(request, instructions)
                                                                      : planModel(request, instructions);
    return makeReply(instructions.scenario, plan, request);
}

const Dialect* Service::dialectOf(const QByteArray& plainPath) const
{
    if (plainPath.endsWith("/v1/messages")) {
        return messages_.get();
    }
    return plainPath.endsWith("/v1/chat/completions") ? chat_.get() : nullptr;
}

ResponsePlan Service::planSpeech(const RecordedRequest& request, const Instructions& instructions)
{
    if (auto plan =
            planUnchecked(instructions.scenario, request, bearerKey(request), SpeechDesk::errorBody)) {
        return *plan;
    }
    const QByteArray origin = settings_.scheme + "://" + request.header("Host");
    return speechDesk_.answer(request, instructions.speech, origin);
}

ResponsePlan Service::planModel(const RecordedRequest& request, const Instructions& instructions) const
{
    const Scenario& scenario = instructions.scenario;
    const Dialect* known = dialectOf(request.plainPath());
    const Dialect& dialect = known != nullptr ? *known : *chat_;
    const auto errorBody = [&dialect](int status, const QString& message) {
        return dialect.errorBody(status, message);
    };
    if (auto plan = planUnchecked(scenario, request, dialect.receivedKey(request), errorBody)) {
        return *plan;
    }
    if (known == nullptr) {
        return planJson(404, errorBody(404, QStringLiteral("there is nothing at this path")));
    }
    if (request.method != "POST") {
        return planJson(405, errorBody(405, QStringLiteral("only POST is answered here")));
    }
    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    if (const auto rejection = checkRequest(dialect, request, body)) {
        return planJson(rejection->status, errorBody(rejection->status, rejection->message));
    }
    const Conversation conversation = dialect.read(body);
    const QStringList pieces = scenario.kind == ScenarioKind::Answer
                                   ? cutIntoPieces(composeAnswer(conversation, settings_.redRule))
                                   : instructions.pieces;
    return planStream(dialect, scenario, conversation.model, pieces);
}

} // namespace velmo::practice
