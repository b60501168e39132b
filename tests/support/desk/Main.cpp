// An ordinary application window with real text in it, to be looked at and typed into: it stands for
// somebody's desktop in `make run` and in tests. It says on standard output where things are and what it
// receives:
//
//   ready                the window is on the screen and has the keyboard
//   target X Y W H       what is worth circling, in pixels of the screen
//   top Y                where its contents begin, below the title bar
//   text WORDS           what its field holds now

#include <QApplication>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QProxyStyle>
#include <QStyleOption>
#include <QVBoxLayout>
#include <QWindow>
#include <cmath>
#include <cstdio>

namespace {

void say(const QString& line)
{
    std::fputs((line + u'\n').toUtf8().constData(), stdout);
    std::fflush(stdout);
}

QLabel* makeLabel(const QString& text, int size, bool bold = false,
                  const QColor& color = QColor(0x1c, 0x1c, 0x22))
{
    auto* label = new QLabel(text);
    QFont font;
    font.setPixelSize(size);
    font.setBold(bold);
    label->setFont(font);
    QPalette palette;
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    return label;
}

/// A latency curve with a spike in it.
class Chart final : public QWidget {
public:
    Chart() { setMinimumHeight(300); }

    /// Around the spike, in this widget.
    [[nodiscard]] QRect spike() const
    {
        const int centre = static_cast<int>(width() * kSpikeAt);
        constexpr int kHalfWidth = 70;
        return {centre - kHalfWidth, 10, 2 * kHalfWidth, height() - 40};
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(rect(), Qt::white);
        painter.setPen(QColor(0xe4, 0xe4, 0xea));
        constexpr int kLines = 6;
        for (int line = 0; line < kLines; ++line)
            painter.drawLine(0, 20 + line * (height() - 50) / (kLines - 1), width(),
                             20 + line * (height() - 50) / (kLines - 1));
        QPainterPath curve;
        for (int x = 0; x <= width(); x += 4) {
            const double position = static_cast<double>(x) / width();
            const double distance = (position - kSpikeAt) / 0.035;
            const double value =
                0.25 + 0.03 * std::sin(position * 60) + 0.65 * std::exp(-distance * distance);
            const QPointF point(x, height() - 30 - value * (height() - 60));
            if (x == 0)
                curve.moveTo(point);
            else
                curve.lineTo(point);
        }
        painter.setPen(QPen(QColor(0x3b, 0x6f, 0xe0), 2));
        painter.drawPath(curve);
    }

private:
    static constexpr double kSpikeAt = 0.62;
};

/// Looks the same with the keyboard and without. Applications of this toolkit take the marks of the keyboard
/// away when somebody has held a grab of it for 0.4 s, as if they had lost it; a picture that is compared
/// pixel by pixel is not to depend on how long a drawing took.
class StillStyle final : public QProxyStyle {
public:
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
        if (element != PE_PanelLineEdit || frame == nullptr) {
            QProxyStyle::drawPrimitive(element, option, painter, widget);
            return;
        }
        QStyleOptionFrame still(*frame);
        still.state.setFlag(State_HasFocus, false);
        QProxyStyle::drawPrimitive(element, &still, painter, widget);
    }

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        return metric == PM_TextCursorWidth ? 0 : QProxyStyle::pixelMetric(metric, option, widget);
    }
};

QWidget* makeCard(const QString& title, const QString& value, const QString& change)
{
    auto* card = new QFrame;
    card->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(card);
    column->addWidget(makeLabel(title, 13, false, QColor(0x5c, 0x5c, 0x68)));
    column->addWidget(makeLabel(value, 22, true));
    column->addWidget(makeLabel(change, 12, false, QColor(0xb4, 0x30, 0x20)));
    return card;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("metrics"));
    QApplication::setStyle(new StillStyle);
    QWidget window;
    window.setWindowTitle(QStringLiteral("Checkout — Latency"));
    QPalette ground;
    ground.setColor(QPalette::Window, Qt::white);
    window.setPalette(ground);

    auto* chart = new Chart;
    auto* note = new QLineEdit;
    note->setPlaceholderText(QStringLiteral("Note"));
    auto* cards = new QHBoxLayout;
    cards->addWidget(
        makeCard(QStringLiteral("p95 latency"), QStringLiteral("812 ms"), QStringLiteral("+ 214 %")));
    cards->addWidget(
        makeCard(QStringLiteral("p50 latency"), QStringLiteral("104 ms"), QStringLiteral("+ 3 %")));
    cards->addWidget(makeCard(QStringLiteral("Requests"), QStringLiteral("26.6 k"), QStringLiteral("+ 1 %")));
    auto* column = new QVBoxLayout(&window);
    column->addWidget(makeLabel(QStringLiteral("Checkout, the last hour"), 24, true));
    column->addLayout(cards);
    column->addWidget(chart, 1);
    column->addWidget(
        makeLabel(QStringLiteral("POST /cart/confirm    GET /cart    POST /payment/intent"), 13));
    column->addWidget(note);

    QObject::connect(note, &QLineEdit::textChanged,
                     [](const QString& text) { say(QStringLiteral("text ") + text); });
    QObject::connect(&application, &QApplication::focusChanged, [&](const QWidget*, const QWidget* now) {
        if (now != note)
            return;
        const QRect spike = chart->spike();
        const QPoint corner = chart->mapToGlobal(spike.topLeft());
        say(QStringLiteral("target %1 %2 %3 %4")
                .arg(corner.x())
                .arg(corner.y())
                .arg(spike.width())
                .arg(spike.height()));
        say(QStringLiteral("top %1").arg(window.geometry().top()));
        say(QStringLiteral("ready"));
    });
    window.setGeometry(160, 90, 1100, 760);
    window.show();
    note->setFocus();
    return QApplication::exec();
}
