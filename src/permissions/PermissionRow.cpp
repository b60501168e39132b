#include "permissions/PermissionRow.h"

#include "widgets/FormTexts.h"
#include "widgets/RoundedBorder.h"

#include <QPainter>

namespace velmo {

namespace {

constexpr int kInset = 14;
constexpr int kVerticalInset = 13;
constexpr int kIconSize = 24;
constexpr int kIconGap = 12;
constexpr int kTextWidth = 300;
constexpr int kTagGap = 6;
constexpr int kTagTop = 1; ///< Below the title's.
constexpr int kTagHeight = 14;
constexpr int kTagInset = 5;
constexpr double kTagRadius = 4;
constexpr int kGrantedIconSize = 16;
constexpr int kGrantedGap = 5;
constexpr int kNoteGap = 4;

constexpr TextLabel::Style kTitleStyle{13, 18, &WindowTheme::text, QFont::DemiBold};
constexpr TextLabel::Style kSubtitleStyle{12, 16, &WindowTheme::secondaryText};
constexpr TextLabel::Style kGrantedStyle{12.5, 18, &WindowTheme::granted, QFont::Medium};
constexpr TextLabel::Style kTagStyle{10, kTagHeight, &WindowTheme::secondaryText, QFont::Medium};

class Tag final : public QWidget {
public:
    Tag(const QString& text, QWidget* parent)
        : QWidget(parent)
    {
        auto* label = new TextLabel(kTagStyle, text, this);
        label->setAlignment(Qt::AlignCenter);
        setFixedSize(label->sizeHint().width() + 2 * kTagInset, kTagHeight);
        label->setGeometry(rect());
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        drawRoundedBorder(painter, rect(), kTagRadius, QPen(WindowTheme::current().fieldBorder, 1));
    }
};

} // namespace

PermissionRow::PermissionRow(const Content& content, QWidget* parent)
    : QWidget(parent)
    , icon_(new SymbolView(kIconSize, this))
    , title_(new TextLabel(kTitleStyle, content.title, this))
    , subtitle_(new TextLabel(kSubtitleStyle, content.subtitle, this))
    , note_(new TextLabel(FormTexts::kWarning, {}, this))
    , grantedIcon_(new SymbolView(kGrantedIconSize, this))
    , grantedLabel_(new TextLabel(kGrantedStyle, QStringLiteral("Granted"), this))
    , button_(new PushButton(PushButton::Kind::Normal, QStringLiteral("Grant Access"), this))
{
    setAccessibleName(content.title);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    icon_->setSymbol(content.symbol, &WindowTheme::accent);
    grantedIcon_->setSymbol(QStringLiteral("checkmark.circle.fill"), &WindowTheme::granted);
    if (content.isOptional)
        tag_ = new Tag(QStringLiteral("Optional"), this);
    // All the buttons have the same name.
    button_->setAccessibleDescription(content.title);
    connect(button_, &QAbstractButton::clicked, this, [this] {
        if (onGrantAccess)
            onGrantAccess();
    });
    setNote({});
    setGranted(false);
}

void PermissionRow::setGranted(bool isGranted)
{
    button_->setVisible(!isGranted);
    grantedIcon_->setVisible(isGranted);
    grantedLabel_->setVisible(isGranted);
    if (isGranted)
        setNote({});
}

void PermissionRow::setNote(const QString& note)
{
    if (note_->text() == note && note_->isHidden() == note.isEmpty())
        return;
    note_->setText(note);
    note_->setVisible(!note.isEmpty());
    updateGeometry();
    layOut();
    note_->announce();
}

QSize PermissionRow::sizeHint() const
{
    int height = 2 * kVerticalInset + title_->sizeHint().height() + subtitle_->heightForWidth(kTextWidth);
    if (!note_->text().isEmpty())
        height += kNoteGap + note_->heightForWidth(kTextWidth);
    return {2 * kInset + kIconSize + kIconGap + kTextWidth + kIconGap + button_->sizeHint().width(), height};
}

void PermissionRow::resizeEvent(QResizeEvent*)
{
    layOut();
}

void PermissionRow::layOut()
{
    const auto placeInMiddle = [this](QWidget* widget, int left, const QSize& size) {
        widget->setGeometry(left, (height() - size.height()) / 2, size.width(), size.height());
    };
    const int left = kInset + kIconSize + kIconGap;
    placeInMiddle(icon_, kInset, icon_->size());

    int top = kVerticalInset;
    title_->setGeometry({{left, top}, title_->sizeHint()});
    if (tag_ != nullptr)
        tag_->move(title_->geometry().right() + 1 + kTagGap, top + kTagTop);
    top += title_->height();
    subtitle_->setGeometry(left, top, kTextWidth, subtitle_->heightForWidth(kTextWidth));
    top += subtitle_->height() + kNoteGap;
    note_->setGeometry(left, top, kTextWidth, note_->heightForWidth(kTextWidth));

    const int right = width() - kInset;
    placeInMiddle(button_, right - button_->sizeHint().width(), button_->sizeHint());
    const QSize granted = grantedLabel_->sizeHint();
    placeInMiddle(grantedLabel_, right - granted.width(), granted);
    placeInMiddle(grantedIcon_, right - granted.width() - kGrantedGap - kGrantedIconSize,
                  grantedIcon_->size());
}

} // namespace velmo
