#include "overlay/DrawingToolbarPanel.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>

namespace velmo {

namespace {

constexpr QSize kSize(420, 56);
constexpr int kDistanceFromBottom = 40;
constexpr double kCornerRadius = 12;
const QColor kFill(32, 32, 37, 235);
const QColor kBorder(255, 255, 255, 31);

const QString kButtonStyle = QStringLiteral(
    "QPushButton { color: white; background: rgba(255,255,255,51); border: none; border-radius: 6px;"
    " padding: 5px 12px; font-size: 13px; font-weight: 600; }"
    "QPushButton:pressed { background: rgba(255,255,255,87); }");

QPushButton* addButton(QWidget* parent, const QString& title)
{
    auto* button = new QPushButton(title, parent);
    button->setStyleSheet(kButtonStyle);
    button->setFocusPolicy(Qt::NoFocus);
    return button;
}

} // namespace

DrawingToolbarPanel::DrawingToolbarPanel(AnnotationSession& session, const QRect& screenGeometry)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnTopHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    const int left = screenGeometry.left() + (screenGeometry.width() - kSize.width()) / 2;
    const int top = screenGeometry.top() + screenGeometry.height() - kDistanceFromBottom - kSize.height();
    setGeometry(QRect(QPoint(left, top), kSize));

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 0, 14, 0);
    row->addStretch();
    const auto settings = session.settings();
    if (settings && settings->submitMode.value() == SubmitMode::ManualSubmit) {
        auto* done = addButton(this, QStringLiteral("Done →"));
        connect(done, &QPushButton::clicked, this, [&session] { session.advanceToQuery(); });
        row->addWidget(done);
    }
    auto* cancel = addButton(this, QStringLiteral("✕"));
    cancel->setAccessibleName(QStringLiteral("Cancel"));
    connect(cancel, &QPushButton::clicked, this, [&session] { session.cancel(); });
    row->addWidget(cancel);
}

void DrawingToolbarPanel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(kFill);
    painter.setPen(kBorder);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCornerRadius, kCornerRadius);
}

} // namespace velmo
