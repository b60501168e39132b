#include "support/practice/ResponsePlan.h"

#include <algorithm>
#include <chrono>

namespace velmo::practice {

namespace {

using std::chrono::milliseconds;

/// A reset overtakes nothing that was delivered, but a client needs a moment to read what came before it.
constexpr milliseconds kBeforeReset{30};

enum class Framing { Length, Chunked, UntilClose };

QByteArray chunkOf(const QByteArray& block)
{
    return block.isEmpty() ? QByteArray() : QByteArray::number(block.size(), 16) + "\r\n" + block + "\r\n";
}

qsizetype totalSize(const QByteArrayList& blocks)
{
    qsizetype total = 0;
    for (const QByteArray& block : blocks) {
        total += block.size();
    }
    return total;
}

QByteArray headOf(const ResponsePlan& plan, Framing framing, const QByteArray& version, bool keepsAlive)
{
    QByteArray head =
        version + ' ' + QByteArray::number(plan.status) + ' ' + reasonPhrase(plan.status) + "\r\n";
    if (!plan.contentType.isEmpty()) {
        head += "Content-Type: " + plan.contentType + "\r\n";
    }
    for (const auto& [name, value] : plan.headers) {
        head += name + ": " + value + "\r\n";
    }
    if (framing == Framing::Chunked) {
        head += "Transfer-Encoding: chunked\r\n";
    } else if (framing == Framing::Length && headerValue(plan.headers, "Content-Length").isNull()) {
        head += "Content-Length: " + QByteArray::number(totalSize(plan.blocks)) + "\r\n";
    }
    if (!keepsAlive || framing == Framing::UntilClose) {
        head += "Connection: close\r\n";
    }
    return head + "\r\n";
}

/// One block for each byte, or for each byte but those that end a multi-byte sequence.
QByteArrayList splitBytes(const QByteArray& body, bool onlyInsideSequences)
{
    QByteArrayList blocks;
    qsizetype start = 0;
    for (qsizetype index = 1; index < body.size(); ++index) {
        const bool continues = (static_cast<unsigned char>(body.at(index)) & 0xC0U) == 0x80U;
        if (continues || !onlyInsideSequences) {
            blocks.append(body.mid(start, index - start));
            start = index;
        }
    }
    blocks.append(body.mid(start));
    return blocks;
}

QByteArrayList splitOnce(const QByteArray& body, qsizetype at)
{
    const qsizetype position = std::clamp<qsizetype>(at, 0, body.size());
    return {body.left(position), body.mid(position)};
}

/// The plan as the scenario wants its head and the cuts between its blocks.
ResponsePlan adjusted(const Scenario& scenario, ResponsePlan plan)
{
    switch (scenario.kind) {
    case ScenarioKind::SplitEverywhere:
        plan.blocks = splitBytes(plan.blocks.join(), false);
        plan.blockDelay = {};
        break;
    case ScenarioKind::SplitAt:
        plan.blocks = splitOnce(plan.blocks.join(), scenario.splitAt);
        break;
    case ScenarioKind::MultibyteSplit:
        plan.blocks = splitBytes(plan.blocks.join(), true);
        break;
    case ScenarioKind::GzipClaimed:
        plan.headers.emplaceBack("Content-Encoding", "gzip");
        break;
    case ScenarioKind::OversizedHead:
        plan.headers.emplaceBack("X-Padding", QByteArray(scenario.oversizedHeadBytes, 'p'));
        break;
    default:
        break;
    }
    return plan;
}

Framing framingOf(const Scenario& scenario, const ResponsePlan& plan)
{
    switch (scenario.kind) {
    case ScenarioKind::DropInBodyLength:
        return Framing::Length;
    case ScenarioKind::Http10Close:
    case ScenarioKind::NoFinalNewlineClose:
        return Framing::UntilClose;
    case ScenarioKind::DropInBody:
    case ScenarioKind::ResetInBody:
    case ScenarioKind::BadChunk:
    case ScenarioKind::SplitEverywhere:
    case ScenarioKind::SplitAt:
    case ScenarioKind::MultibyteSplit:
        return Framing::Chunked;
    default:
        return plan.isStream ? Framing::Chunked : Framing::Length;
    }
}

QList<Step> faultSteps(ScenarioKind kind)
{
    switch (kind) {
    case ScenarioKind::ResetInBody:
        return {Step::wait(kBeforeReset), Step::reset()};
    case ScenarioKind::BadChunk:
        return {Step::write("zz\r\nthis is no chunk\r\n"), Step::close()};
    default:
        return {Step::close()};
    }
}

bool cutsBody(ScenarioKind kind)
{
    return kind == ScenarioKind::DropInBody || kind == ScenarioKind::DropInBodyLength ||
           kind == ScenarioKind::ResetInBody || kind == ScenarioKind::BadChunk;
}

/// The steps for a reply that has no regular head, or none for the other kinds.
QList<Step> headlessSteps(ScenarioKind kind)
{
    switch (kind) {
    case ScenarioKind::DropBeforeHead:
        return {Step::close()};
    case ScenarioKind::ResetBeforeHead:
        return {Step::reset()};
    case ScenarioKind::NeverAnswers:
        return {Step::hang()};
    case ScenarioKind::NotHttp:
        return {Step::write("220 practice ESMTP ready\r\n\x01\x02\xff\xfe\r\n\r\n"), Step::close()};
    default:
        return {};
    }
}

/// Splits every write into single bytes, which the connection pushes out one by one.
QList<Step> bytewise(const QList<Step>& steps)
{
    QList<Step> result;
    for (const Step& step : steps) {
        if (step.kind != Step::Kind::Write) {
            result.append(step);
            continue;
        }
        for (qsizetype index = 0; index < step.bytes.size(); ++index) {
            result.append(Step::write(step.bytes.mid(index, 1)));
        }
    }
    return result;
}

Reply endlessReply(const QList<Step>& first, const std::function<QByteArray()>& moreBlocks, const Step& last)
{
    return [steps = replyOf(first + QList<Step>{Step::hang()}), moreBlocks, last, isBody = false,
            isOver = false]() mutable {
        if (!isBody) {
            Step step = steps();
            isBody = step.kind == Step::Kind::Hang;
            if (!isBody) {
                return step;
            }
        }
        if (isOver) {
            return last;
        }
        const QByteArray block = moreBlocks();
        isOver = block.isEmpty();
        return Step::write(isOver ? QByteArray("0\r\n\r\n") : chunkOf(block));
    };
}

} // namespace

Reply makeReply(const Scenario& scenario, const ResponsePlan& original, const RecordedRequest& request)
{
    QList<Step> steps = headlessSteps(scenario.kind);
    if (!steps.isEmpty()) {
        return replyOf(steps);
    }
    const ResponsePlan plan = adjusted(scenario, original);
    Framing framing = framingOf(scenario, plan);
    if (framing == Framing::Chunked && request.minorVersion == 0) {
        framing = Framing::UntilClose; // A client of HTTP/1.0 knows no chunks.
    }
    const bool keepsAlive = request.keepsAlive() && framing != Framing::UntilClose;
    const QByteArray version = scenario.kind == ScenarioKind::Http10Close ? "HTTP/1.0" : "HTTP/1.1";
    const Step last = keepsAlive ? Step::finish() : Step::close();

    if (scenario.kind == ScenarioKind::SlowHead) {
        steps.append(Step::wait(scenario.headDelay));
    }
    steps.append(Step::write(headOf(plan, framing, version, keepsAlive)));
    const bool isCut = cutsBody(scenario.kind);
    const qsizetype count = isCut ? std::min(plan.cutBlock, plan.blocks.size()) : plan.blocks.size();
    for (qsizetype index = 0; index < count; ++index) {
        if (index > 0 && plan.blockDelay.count() > 0) {
            steps.append(Step::wait(plan.blockDelay));
        }
        const QByteArray& block = plan.blocks.at(index);
        steps.append(Step::write(framing == Framing::Chunked ? chunkOf(block) : block));
    }
    if (isCut) {
        return replyOf(steps + faultSteps(scenario.kind));
    }
    if (plan.moreBlocks) {
        return endlessReply(steps, plan.moreBlocks, last);
    }
    if (framing == Framing::Chunked) {
        steps.append(Step::write("0\r\n\r\n"));
    }
    steps.append(last);
    return replyOf(scenario.kind == ScenarioKind::SplitEverywhere ? bytewise(steps) : steps);
}

} // namespace velmo::practice
