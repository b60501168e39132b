#include "Benchmarks.h"
#include "Limits.h"
#include "panel/MessageTextView.h"
#include "panel/QueryPanelController.h"
#include "panel/TranscriptScrollView.h"
#include "support/panel/PanelScene.h"

#include <QFile>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <ctime>
#include <map>

namespace velmo::bench {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kAnswerLength = 20'000;
constexpr int kPieces = 2'000;
constexpr int kPieceLength = kAnswerLength / kPieces;
constexpr int kEdge = 200; ///< Pieces at the beginning and at the end that are compared.

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// Of this thread alone: what else the machine does beside is not counted.
double processorMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// With all that answers are made of, paragraph by paragraph or as a single one.
QString answer(bool hasParagraphs)
{
    const QString block = QStringLiteral(
        "## Likely cause\nThe rise begins at the **dashed deploy marker**, not before it, and only a small "
        "share "
        "of requests is slow, which fits a cold cache.\n- `POST /cart/confirm` is the one endpoint whose p95 "
        "equals the peak.\n- See https://example.org/runbooks/cache for *more* of this.\n\n");
    QString text;
    while (text.size() < kAnswerLength)
        text += block;
    text.truncate(kAnswerLength);
    return hasParagraphs ? text : text.replace(u'\n', u' ').replace(u'#', u'-');
}

/// A shown panel after so many messages of questions and answers, in which the answer to a last question has
/// just begun.
std::unique_ptr<PanelScene> sceneWithMessages(int count)
{
    auto scene = std::make_unique<PanelScene>();
    scene->content->setAttribute(Qt::WA_DontShowOnScreen, false);
    scene->show();
    scene->deliverCapture(QImage(1568, 882, QImage::Format_RGB32));
    while (scene->session.chatMessages().messages().size() < count) {
        scene->ask(
            QStringLiteral("What does this part of the picture show, and why does it look like that?"));
        scene->stream(answer(true).left(600));
        scene->finish();
    }
    scene->ask(QStringLiteral("And now?"));
    scene->fit();
    return scene;
}

/// What the main thread spends on each piece when they come one a frame, in milliseconds of the processor.
std::vector<double> costOfPieces(PanelScene& scene, const QString& text)
{
    std::vector<double> costs;
    for (qsizetype begin = 0; begin < text.size(); begin += kPieceLength) {
        // Only the first and the last ones are compared; those between may come together.
        const auto piece = begin / kPieceLength;
        if (piece >= kEdge && piece < kPieces - kEdge) {
            const auto rest = text.mid(begin, (kPieces - kEdge - piece) * kPieceLength);
            scene.stream(rest);
            turnFor(std::chrono::milliseconds(100));
            scene.fit();
            begin += rest.size() - kPieceLength;
            continue;
        }
        const double before = processorMilliseconds();
        scene.stream(text.mid(begin, kPieceLength));
        QEventLoop frame;
        QTimer::singleShot(std::chrono::milliseconds(17), Qt::PreciseTimer, &frame, &QEventLoop::quit);
        frame.exec();
        if (scene.content->height() != scene.requestedHeight)
            scene.content->resize(scene.content->width(), scene.requestedHeight);
        QCoreApplication::processEvents();
        costs.push_back(processorMilliseconds() - before);
    }
    return costs;
}

double mean(std::vector<double>::const_iterator begin, std::vector<double>::const_iterator end)
{
    double sum = 0;
    for (auto cost = begin; cost != end; ++cost)
        sum += *cost;
    return sum / static_cast<double>(end - begin);
}

void streamedPieces(benchmark::State& state)
{
    const int messages = static_cast<int>(state.range(0));
    const bool hasParagraphs = state.range(1) != 0;
    const std::string name = "panel/" + std::to_string(messages) + (hasParagraphs ? "/" : "/one paragraph/");
    for ([[maybe_unused]] auto iteration : state) {
        const auto scene = sceneWithMessages(messages);
        const auto costs = costOfPieces(*scene, answer(hasParagraphs));
        Limits::shared().note(name + "start", mean(costs.begin(), costs.begin() + kEdge));
        Limits::shared().note(name + "end", mean(costs.end() - kEdge, costs.end()));
    }
}

BENCHMARK(streamedPieces)
    ->Args({2, 1})
    ->Args({200, 1})
    ->Args({200, 0})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

/// Everything at once, as fast as it can be taken.
void streamedAtOnce(benchmark::State& state)
{
    Limits& limits = Limits::shared();
    for ([[maybe_unused]] auto iteration : state) {
        const auto scene = sceneWithMessages(200);
        const QString text = answer(true);
        const auto layoutBegin = Clock::now();
        StyledTextLayout layout(524);
        layout.replaceFrom(0, MessageTextView::attributedAssistantText(text));
        layout.layOut();
        limits.note("panel/full layout", milliseconds(Clock::now() - layoutBegin));
        std::vector<double> blocks;
        const auto turn = [&] {
            const auto begin = Clock::now();
            QCoreApplication::processEvents();
            blocks.push_back(milliseconds(Clock::now() - begin));
            if (scene->content->height() != scene->requestedHeight)
                scene->content->resize(scene->content->width(), scene->requestedHeight);
        };
        for (qsizetype begin = 0; begin < text.size(); begin += kPieceLength) {
            scene->stream(text.mid(begin, kPieceLength));
            turn();
        }
        const auto end = Clock::now() + std::chrono::milliseconds(200);
        while (Clock::now() < end)
            turn();
        std::ranges::sort(blocks);
        limits.note("panel/longest block", blocks.back());
        // Of the turns that did something.
        std::erase_if(blocks, [](double block) { return block < 0.2; });
        limits.note("panel/p99 block",
                    blocks.at(static_cast<std::size_t>(static_cast<double>(blocks.size() - 1) * 0.99)));
    }
}

BENCHMARK(streamedAtOnce)->Iterations(5)->Unit(benchmark::kMillisecond);

double residentMegabytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    constexpr double kPageBytes = 4096;
    const QList<QByteArray> pages = file.readAll().split(' ');
    return pages.value(1).toDouble() * kPageBytes / 1e6;
}

/// Tells when a window has been painted.
class PaintWatch final : public QObject {
public:
    PaintWatch() { qApp->installEventFilter(this); }
    [[nodiscard]] bool sawPaint() const { return sawPaint_; }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        sawPaint_ = sawPaint_ || (event->type() == QEvent::Paint &&
                                  dynamic_cast<QueryPanelContentView*>(watched) != nullptr);
        return false;
    }

private:
    bool sawPaint_ = false;
};

/// From nothing to the first frame: the panel is built anew for each session.
void opening(benchmark::State& state)
{
    constexpr int kRounds = 50;
    PanelScene scene;
    std::vector<double> times;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < kRounds; ++round) {
            const PaintWatch watch;
            const auto begin = Clock::now();
            QueryPanelController panel(scene.session, std::nullopt,
                                       PanelDesktop{scene.screens, scene.windows, {}, {}, {}});
            panel.showWindow();
            while (!watch.sawPaint())
                QCoreApplication::processEvents();
            times.push_back(milliseconds(Clock::now() - begin));
            panel.close();
            turnFor(std::chrono::milliseconds(200));
        }
    }
    std::ranges::sort(times);
    Limits::shared().note("panel/opening", times.at(times.size() / 2));
}

BENCHMARK(opening)->Iterations(1)->Unit(benchmark::kMillisecond);

/// A hundred captures, of which each has a picture of its own size.
void thumbnails(benchmark::State& state)
{
    QByteArray data;
    QBuffer buffer(&data);
    QImage image(1568, 882, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    image.save(&buffer, "PNG");
    for ([[maybe_unused]] auto iteration : state) {
        constexpr int kWidth = 620;
        constexpr int kMessages = 100;
        TranscriptScrollView view(kWidth, {[](const ChatAttachment&) {}, [](const QUuid&) {}, {}, {}, [] {}});
        view.resize(kWidth, 456);
        view.show();
        settle();
        const double before = residentMegabytes();
        Transcript transcript;
        const auto subscription =
            transcript.subscribe([&](const TranscriptChange& change) { view.note(change); });
        for (int message = 0; message < kMessages; ++message)
            transcript.append(ChatMessage::capture(data));
        view.refresh(transcript);
        turnFor(std::chrono::seconds(4));
        Limits::shared().note("panel/thumbnails", residentMegabytes() - before);
    }
}

BENCHMARK(thumbnails)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

void checkPanelLimits()
{
    Limits& limits = Limits::shared();
    limits.checkRatio("a streamed piece among 200 messages, to among 2", "panel/200/end", "panel/2/end", 1.5);
    limits.checkRatio("a streamed piece at the end of 20,000 characters, to at the start", "panel/200/end",
                      "panel/200/start", 2);
    limits.checkRatio("the same in one long paragraph", "panel/200/one paragraph/end",
                      "panel/200/one paragraph/start", 2);
    Limits::report("the same as the first thing in the chat, while it still grows",
                   limits.value("panel/2/end") / limits.value("panel/2/start"));
    Limits::report("a streamed piece with its frame, ms", limits.value("panel/200/end"));
    Limits::report("2,000 pieces at once: longest block, to one full layout",
                   limits.value("panel/longest block") / limits.value("panel/full layout"));
    limits.check("2,000 pieces at once: longest block, in frames of 16 ms",
                 limits.value("panel/longest block") / 16, 1);
    Limits::report("2,000 pieces at once: p99 of the blocks, ms", limits.value("panel/p99 block"));
    limits.check("opening the panel, built and painted, p50, in frames of 16 ms",
                 limits.value("panel/opening") / 16, 2);
    Limits::report("100 messages with a thumbnail each, MB resident", limits.value("panel/thumbnails"));
}

} // namespace velmo::bench
