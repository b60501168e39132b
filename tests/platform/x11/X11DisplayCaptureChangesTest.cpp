#include "platform/x11/X11DisplayCapture.h"

#include "CaptureFixture.h"
#include "support/x11/RootBackground.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace velmo::test {
namespace {

class X11DisplayCaptureChangesTest : public X11DisplayCaptureTest {
protected:
    void follow()
    {
        backend().setChangeHandler([this] { ++calls_; });
    }

    /// Does something and expects to be told of it.
    void expectCallAfter(const std::function<void()>& change)
    {
        const int before = calls_;
        change();
        EXPECT_TRUE(awaitCondition([&] { return calls_ > before; }));
    }

    /// Expects that nothing was told of until another program's window changes. Calls come in the order of
    /// what they tell of, so an unwanted one would have come before.
    void expectSilenceUntilAChange(PlainClient& other)
    {
        QElapsedTimer passed;
        passed.start();
        // Longer than calls are held back for, so that an unwanted one is not merged into the wanted one.
        awaitCondition([&] { return passed.hasExpired(250); });
        EXPECT_EQ(calls_, 0);
        paintOver(other, {0, 0, 30, 30}, 0x00ff00);
        EXPECT_TRUE(awaitCondition([&] { return calls_ > 0; }));
        EXPECT_EQ(calls_, 1);
    }

    int calls_ = 0;
    QElapsedTimer sinceFirst_;
};

TEST_F(X11DisplayCaptureChangesTest, TellsOfACompositorThatComesAndGoes)
{
    backend().prepare();
    follow();
    expectCallAfter([] { ASSERT_TRUE(display().startCompositor()); });
    expectCallAfter([] { display().stopCompositor(); });
}

TEST_F(X11DisplayCaptureChangesTest, TellsOfEverythingThatLooksDifferent)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    PlainClient other(client({300, 200, 500, 400}, 0x604020));
    xcb_connection_t* xcb = window.connection().get();
    backend().prepare();
    follow();
    const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    static_cast<void>(settledScreen());
    ASSERT_EQ(calls_, 0);
    const auto configure = [&](uint16_t what, uint32_t value) {
        xcb_configure_window(xcb, window.window(), what, &value);
        window.connection().sync();
    };

    expectCallAfter([&] { paintOver(window, {0, 0, 50, 50}, 0xff0000); });
    expectCallAfter([&] { paintOver(window, {0, 0, 50, 50}, 0x00ff00); });
    expectCallAfter([&] { configure(XCB_CONFIG_WINDOW_X, 130); });
    expectCallAfter([&] { configure(XCB_CONFIG_WINDOW_WIDTH, 480); });
    expectCallAfter([&] { configure(XCB_CONFIG_WINDOW_STACK_MODE, XCB_STACK_MODE_BELOW); });
    expectCallAfter([&] {
        xcb_unmap_window(xcb, window.window());
        window.connection().sync();
    });
    expectCallAfter([&] {
        xcb_map_window(xcb, window.window());
        window.connection().sync();
    });
    expectCallAfter([&] { paintOver(window, {0, 0, 50, 50}, 0x0000ff); });
    expectCallAfter([&] {
        const uint32_t opacity = 0x80000000;
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window.window(),
                            window.connection().atom("_NET_WM_WINDOW_OPACITY"), XCB_ATOM_CARDINAL, 32, 1,
                            &opacity);
        window.connection().sync();
    });
    std::unique_ptr<PlainClient> late;
    expectCallAfter([&] { late = std::make_unique<PlainClient>(client({900, 80, 200, 200}, 0x206040)); });
    expectCallAfter([&] { paintOver(*late, {0, 0, 50, 50}, 0xff0000); });
    expectCallAfter([&] { late.reset(); });
    std::unique_ptr<RootBackground> background;
    expectCallAfter([&] { background = std::make_unique<RootBackground>(RootBackground::Announced::Yes); });
}

TEST_F(X11DisplayCaptureChangesTest, TellsTenTimesASecondAtMostAndAlwaysOfTheLast)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    const FloatingWidget overlay(QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 255));
    static_cast<void>(settledScreen());
    QImage seen;
    backend().setChangeHandler([&] {
        if (calls_++ == 0)
            sinceFirst_.start();
        seen = capture();
    });
    quint32 color = 0;
    for (int round = 0; round < 6; ++round) {
        QElapsedTimer painting;
        painting.start();
        // Ends at another point of the interval each time.
        awaitCondition([&] {
            paintOver(window, {10, 10, 300, 300}, color += 0x010203);
            return painting.hasExpired(170 + round * 23);
        });
        const QRgb last = 0xff000000 | (color & 0xffffff);
        EXPECT_TRUE(awaitCondition([&] { return seen.pixel(150, 150) == last; }));
    }
    EXPECT_GE(calls_, 6);
    EXPECT_LE(calls_, 2 + sinceFirst_.elapsed() / 100);
}

TEST_F(X11DisplayCaptureChangesTest, IsSilentAboutOwnWindows)
{
    PlainClient other(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    follow();
    const OwnWindows own(*platform_.windowSurfaces);
    ASSERT_TRUE(own.isComplete());
    FloatingWidget busy(QRect(150, 150, 300, 200), QColor(9, 9, 9, 255));
    FloatingWidget mover(QRect(1000, 800, 300, 200), QColor(9, 9, 9, 255));
    for (int i = 0; i < 30; ++i) {
        busy.repaint();
        mover.move(1000 + i, 800);
        QCoreApplication::processEvents();
    }
    static_cast<void>(settledScreen());
    expectSilenceUntilAChange(other);
}

TEST_F(X11DisplayCaptureChangesTest, IsSilentAboutTheFramesAroundOwnWindows)
{
    ASSERT_TRUE(display().startWindowManager());
    PlainClient other(client({100, 80, 500, 400}, 0x204060));
    QWidget settings;
    settings.setGeometry(1000, 200, 500, 400);
    settings.show();
    static_cast<void>(settledScreen());
    backend().prepare();
    follow();
    for (int i = 0; i < 30; ++i) {
        settings.move(1000 + i, 200);
        settings.setWindowTitle(QString::number(i));
        QCoreApplication::processEvents();
    }
    static_cast<void>(settledScreen());
    expectSilenceUntilAChange(other);
}

TEST_F(X11DisplayCaptureChangesTest, IsSilentAboutCaptures)
{
    const RootBackground background(RootBackground::Announced::No);
    PlainClient other(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    follow();
    for (int i = 0; i < 5; ++i) {
        backend().freeze(displayID_);
        static_cast<void>(capture(CaptureMoment::Frozen));
        static_cast<void>(capture());
    }
    expectSilenceUntilAChange(other);
}

TEST_F(X11DisplayCaptureChangesTest, IsSilentAboutWhatNobodySees)
{
    PlainClient other(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    follow();
    xcb_connection_t* xcb = other.connection().get();
    const xcb_window_t hidden = xcb_generate_id(xcb);
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, hidden, other.connection().root(), 0, 0, 50, 50, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_window_t input = xcb_generate_id(xcb);
    xcb_create_window(xcb, 0, input, other.connection().root(), 0, 0, 50, 50, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(xcb, input);
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, other.window(), XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 3,
                        "new");
    other.connection().sync();
    expectSilenceUntilAChange(other);
}

TEST_F(X11DisplayCaptureChangesTest, TellsOnlyWhilePreparedAndOnlyWhoeverAsks)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    int witnessed = 0;
    X11DisplayCapture witness;
    witness.setChangeHandler([&] { ++witnessed; });
    witness.prepare();
    quint32 color = 0;
    // The witness's word comes later than this backend's would.
    const auto change = [&] {
        for (int i = 0; i < 2; ++i) {
            const int before = witnessed;
            paintOver(window, {0, 0, 50, 50}, color += 0x101010);
            ASSERT_TRUE(awaitCondition([&] { return witnessed > before; }));
        }
    };
    follow();
    change();
    EXPECT_EQ(calls_, 0) << "not prepared yet";

    backend().prepare();
    change();
    EXPECT_GE(calls_, 1);

    backend().release();
    calls_ = 0;
    change();
    EXPECT_EQ(calls_, 0) << "released";

    backend().prepare();
    backend().setChangeHandler({});
    change();
    EXPECT_EQ(calls_, 0) << "nobody asks";
    witness.setChangeHandler({});
}

TEST_F(X11DisplayCaptureChangesTest, MayBeEndedByItsOwnHandler)
{
    PlainClient window(client({100, 80, 500, 400}, 0x204060));
    backend().prepare();
    backend().setChangeHandler([this] {
        ++calls_;
        backend().setChangeHandler({});
    });
    paintOver(window, {0, 0, 50, 50}, 0xff0000);
    EXPECT_TRUE(awaitCondition([&] { return calls_ == 1; }));
    backend().setChangeHandler([this] {
        ++calls_;
        backend().release();
    });
    paintOver(window, {0, 0, 50, 50}, 0x00ff00);
    EXPECT_TRUE(awaitCondition([&] { return calls_ == 2; }));
    expectCallAfter([&] {
        backend().prepare();
        paintOver(window, {0, 0, 50, 50}, 0x0000ff);
    });
}

TEST_F(X11DisplayCaptureChangesTest, IsSilentWithoutTheExtensionsAndSaysSo)
{
    VirtualDisplay::Options poor;
    poor.arguments = {"-extension", "DAMAGE"};
    const VirtualDisplay other(poor);
    ASSERT_FALSE(other.name().isEmpty());
    X11DisplayCapture capture;
    capture.prepare();
    EXPECT_EQ(capture.takeDiagnostics(), QStringList());
    capture.setChangeHandler([this] { ++calls_; });
    EXPECT_EQ(capture.takeDiagnostics().size(), 1);
}

TEST_F(X11DisplayCaptureChangesTest, RestsWhenTheServerHasGone)
{
    X11DisplayCapture capture;
    {
        const VirtualDisplay other;
        ASSERT_FALSE(other.name().isEmpty());
        capture.prepare();
        capture.setChangeHandler([this] { ++calls_; });
        const PlainClient window(client({100, 80, 500, 400}, 0x204060));
        ASSERT_TRUE(awaitCondition([&] { return calls_ > 0; }));
    }
    // A connection that is lost stays readable for ever: a loop that listens to it never sleeps.
    int awakenings = 0;
    QEventLoop loop;
    QTimer::singleShot(300, &loop, &QEventLoop::quit);
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &loop,
                     [&] { ++awakenings; });
    loop.exec();
    EXPECT_LT(awakenings, 100);
}

} // namespace
} // namespace velmo::test
