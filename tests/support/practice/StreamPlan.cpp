#include "support/practice/ResponsePlan.h"

#include <algorithm>
#include <utility>

namespace velmo::practice {

namespace {

constexpr qsizetype kBlockBytes = qsizetype{64} * 1024;

qsizetype cutPosition(const Scenario& scenario, qsizetype pieces)
{
    return scenario.cutAfter < 0 ? pieces / 2 : std::min<qsizetype>(scenario.cutAfter, pieces);
}

QByteArrayList pieceEvents(const Dialect& dialect, const QString& model, const QStringList& pieces)
{
    QByteArrayList events;
    for (const QString& piece : pieces) {
        events.append(dialect.piece(model, piece));
    }
    return events;
}

/// Puts an addition before every event, and after the last.
QByteArrayList interleaved(const QByteArrayList& events, const std::function<QByteArray(qsizetype)>& addition)
{
    QByteArrayList result;
    for (qsizetype index = 0; index < events.size(); ++index) {
        result.append(addition(index));
        result.append(events.at(index));
    }
    result.append(addition(events.size()));
    return result;
}

QByteArray invalidJson(qsizetype index)
{
    static const QByteArrayList kinds{"data: {\"choices\": [not json\n\n",
                                      "data: [1, 2, 3]\n\n",
                                      "data: \"a string\"\n\n",
                                      "data: 42\n\n",
                                      "data: null\n\n",
                                      "data:\n\n",
                                      "data: {\"type\": 7, \"choices\": \"none\", \"delta\": []}\n\n"};
    // Two at a time, so that even a few pieces meet every kind.
    return kinds.at((2 * index) % kinds.size()) + kinds.at((2 * index + 1) % kinds.size());
}

QByteArray noise(qsizetype index)
{
    static const QByteArrayList kinds{": keep-alive\n\n", "event: ping\ndata: {\"type\": \"ping\"}\n\n",
                                      "id: 7\nretry: 3000\n: a comment among fields\n\n", "\n\n\n",
                                      ":\n\nevent: note\n\n"};
    return kinds.at(index % kinds.size());
}

void respaceDataFields(QByteArrayList& events)
{
    for (qsizetype index = 0; index < events.size(); ++index) {
        events[index].replace("data: {", index % 2 == 0 ? "data:{" : "data:  {");
    }
}

QByteArrayList withStrayCr(QByteArrayList events)
{
    for (QByteArray& event : events) {
        // White space is allowed there, so a reader that ends lines at LF only still finds valid JSON.
        event.replace("data: {", "data: {\r");
        event.prepend(": a comment\rwith a return\n");
    }
    return events;
}

QByteArray nonUtf8Event(const Dialect& dialect, const QString& model)
{
    return dialect.piece(model, QStringLiteral("BROKEN")).replace("BROKEN", "\xC3\x28 \xFF\xFE");
}

QByteArrayList inBlocks(const QByteArray& bytes)
{
    QByteArrayList blocks;
    for (qsizetype start = 0; start < bytes.size(); start += kBlockBytes) {
        blocks.append(bytes.mid(start, kBlockBytes));
    }
    return blocks;
}

/// Events of equal size until the text is complete, then the closing events. Holds one block of memory.
std::function<QByteArray()> hugeBlocks(const Dialect& dialect, const Scenario& scenario, const QString& model)
{
    const qsizetype textBytes = std::max<qsizetype>(scenario.hugePieceBytes, 1);
    QString text = QStringLiteral("all work and no play ").repeated(textBytes / 21 + 1).left(textBytes);
    const QByteArray event = dialect.piece(model, text);
    const qint64 perBlock = std::max<qint64>(kBlockBytes / event.size(), 1);
    const qint64 events = scenario.hugeBytes / textBytes;
    const auto lastText = static_cast<qsizetype>(scenario.hugeBytes % textBytes);
    const QByteArray last = (lastText > 0 ? dialect.piece(model, text.left(lastText)) : QByteArray()) +
                            dialect.closing(model).join();
    return [event, block = event.repeated(perBlock), perBlock, left = events, last, ended = false]() mutable {
        if (left > 0) {
            const qint64 count = std::min(left, perBlock);
            left -= count;
            return count == perBlock ? block : event.repeated(count);
        }
        return std::exchange(ended, true) ? QByteArray() : last;
    };
}

void replaceNewlines(QByteArrayList& blocks)
{
    for (QByteArray& block : blocks) {
        block.replace("\n", "\r\n");
    }
}

QStringList repeatedPieces(const QStringList& pieces, qsizetype count)
{
    QStringList result;
    for (qsizetype index = 0; index < count && !pieces.isEmpty(); ++index) {
        result.append(pieces.at(index % pieces.size()));
    }
    return result;
}

} // namespace

ResponsePlan planStream(const Dialect& dialect, const Scenario& scenario, const QString& model,
                        const QStringList& pieces)
{
    const bool drips = scenario.kind == ScenarioKind::SlowDrip;
    QByteArrayList opening = dialect.opening(model);
    QByteArrayList texts =
        pieceEvents(dialect, model, drips ? repeatedPieces(pieces, scenario.dripPieces) : pieces);
    QByteArrayList closing = dialect.closing(model);
    const qsizetype cut = cutPosition(scenario, texts.size());

    ResponsePlan plan;
    plan.contentType = "text/event-stream; charset=utf-8";
    plan.isStream = true;
    plan.headers = {{"Cache-Control", "no-cache"}, {"Request-Id", "req_practice"}};
    plan.blockDelay = drips ? scenario.dripDelay : scenario.pieceDelay.value_or(std::chrono::milliseconds(0));

    switch (scenario.kind) {
    case ScenarioKind::NonUtf8Line:
        texts.insert(cut, nonUtf8Event(dialect, model));
        break;
    case ScenarioKind::InvalidJsonEvents:
        respaceDataFields(texts);
        texts = interleaved(texts, invalidJson);
        break;
    case ScenarioKind::ErrorEvent:
        texts = texts.mid(0, cut);
        closing = {
            dialect.errorEvent(scenario.message.isEmpty() ? QStringLiteral("Overloaded") : scenario.message)};
        break;
    case ScenarioKind::PingsAndComments:
        opening.prepend(": a comment first\n\n");
        texts = interleaved(texts, noise);
        break;
    case ScenarioKind::StrayCr:
        texts = withStrayCr(texts);
        break;
    case ScenarioKind::DoneInMiddle:
        texts.insert(cut, dialect.endMarker());
        break;
    case ScenarioKind::RoleOnlyFirst:
        opening.append(dialect.textlessDeltas(model));
        break;
    case ScenarioKind::EmptyDeltas:
        texts = interleaved(texts, [&](qsizetype) { return dialect.piece(model, QString()); });
        break;
    case ScenarioKind::LongLine:
        opening.append(inBlocks(dialect.piece(model, QString(scenario.longLineBytes, QLatin1Char('x')))));
        plan.blockDelay = {};
        break;
    case ScenarioKind::HugeStream:
        texts.clear();
        closing.clear();
        plan.moreBlocks = hugeBlocks(dialect, scenario, model);
        plan.blockDelay = {};
        break;
    case ScenarioKind::NoFinalNewline:
    case ScenarioKind::NoFinalNewlineClose:
        if (scenario.lastEventIsText) {
            closing.clear();
        }
        break;
    default:
        break;
    }

    plan.cutBlock = opening.size() + cut;
    plan.blocks = opening + texts + closing;
    if (scenario.kind == ScenarioKind::Crlf) {
        replaceNewlines(plan.blocks);
    }
    const bool endsEarly =
        scenario.kind == ScenarioKind::NoFinalNewline || scenario.kind == ScenarioKind::NoFinalNewlineClose;
    while (endsEarly && plan.blocks.last().endsWith('\n')) {
        plan.blocks.last().chop(1);
    }
    return plan;
}

ResponsePlan planJson(int status, const QByteArray& body)
{
    ResponsePlan plan;
    plan.status = status;
    // Two blocks, so that a fault can also strike in the middle of a body that is not a stream.
    plan.blocks = {body.left(body.size() / 2), body.mid(body.size() / 2)};
    return plan;
}

ResponsePlan planCustom(const Scenario& scenario)
{
    ResponsePlan plan;
    plan.status = scenario.status;
    plan.contentType = scenario.contentType;
    plan.headers = scenario.headers;
    plan.blocks = scenario.blocks;
    plan.isStream = headerValue(scenario.headers, "Content-Length").isNull();
    plan.blockDelay = scenario.pieceDelay.value_or(std::chrono::milliseconds(0));
    return plan;
}

} // namespace velmo::practice
