#include "widgets/WindowLabel.h"

#include "widgets/SystemFont.h"

namespace velmo {

namespace {

constexpr double kBodySize = 13;
constexpr double kHeaderSize = 12;
constexpr double kCaptionSize = 11;
constexpr int kHeaderHeight = 16;
constexpr int kCaptionHeight = 15;

struct Look {
    QFont font;
    QPalette::ColorRole color = QPalette::WindowText;
    int lineHeight = 0;
    bool wraps = false;
};

Look lookOf(WindowLabel::Kind kind)
{
    switch (kind) {
    case WindowLabel::Kind::Body:
        return {systemFont(kBodySize), QPalette::WindowText, kHeaderHeight, false};
    case WindowLabel::Kind::Value:
        return {systemFont(kBodySize, QFont::Medium), QPalette::WindowText, kHeaderHeight, false};
    case WindowLabel::Kind::Header:
        return {systemFont(kHeaderSize, QFont::DemiBold), QPalette::PlaceholderText, kHeaderHeight, false};
    case WindowLabel::Kind::Caption:
        return {systemFont(kCaptionSize), QPalette::PlaceholderText, kCaptionHeight, true};
    case WindowLabel::Kind::Warning:
        return {systemFont(kCaptionSize), QPalette::BrightText, kCaptionHeight, true};
    }
    return {};
}

} // namespace

WindowLabel::WindowLabel(Kind kind, const QString& text, QWidget* parent)
    : QLabel(parent)
{
    const Look look = lookOf(kind);
    setFont(look.font);
    setForegroundRole(look.color);
    setMinimumHeight(look.lineHeight);
    setWordWrap(look.wraps);
    setTextFormat(Qt::PlainText);
    setText(text);
}

} // namespace velmo
