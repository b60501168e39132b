#include "panel/QueryPanelContentView.h"

#include "core/DebugLog.h"
#include "core/Text.h"
#include "panel/ModelNames.h"
#include "panel/QueryChatMessageView.h"
#include "panel/QueryPanelTheme.h"
#include "widgets/SymbolIcon.h"
#include "widgets/SystemFont.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kTextColumn = 24;
constexpr int kTranscriptInset = 14;
constexpr int kRowSpacing = 12;
constexpr int kMaximumTranscriptHeight = 456;
constexpr int kMinimumInputHeight = 88;
constexpr int kFooterHeight = 42;
constexpr int kMaximumHeight = 720;
constexpr double kCardRadius = 18;
constexpr int kSendSize = 22;

QLabel* makeLabel(const QString& text, int size, QFont::Weight weight, const QColor& color)
{
    auto* label = new QLabel(text);
    label->setFont(systemFont(size, weight));
    label->setPalette(QueryPanelTheme::palette(color));
    return label;
}

} // namespace

QueryPanelContentView::QueryPanelContentView(AnnotationSession& session,
                                             std::function<void(int)> onHeightChange)
    : session_(session)
    , onHeightChange_(std::move(onHeightChange))
    , refreshTranscript_(this, [this] { updateTranscript(); })
    , refreshState_(this, [this] { updateState(); })
{
    auto* card = new RoundedBackgroundView(kCardRadius, QueryPanelTheme::background(),
                                           QueryPanelTheme::border(), this);
    auto* fill = new QVBoxLayout(this);
    fill->setContentsMargins(0, 0, 0, 0);
    fill->addWidget(card);
    auto* column = new QVBoxLayout(card);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(buildTranscript());
    column->addWidget(transcriptDivider_);
    column->addWidget(buildInputRow());
    column->addWidget(buildFooter());

    subscriptions_.push_back(
        session.chatMessages().subscribe([this](const TranscriptChange& change) { noteChange(change); }));
    subscriptions_.push_back(session.state().subscribe([this](SessionState) { refreshState_.request(); }));
    subscriptions_.push_back(
        session.isPreparingCapture().subscribe([this](bool) { refreshState_.request(); }));
    updateTranscript();
    updateState();
}

void QueryPanelContentView::detach()
{
    subscriptions_.clear();
    refreshTranscript_.cancel();
    refreshState_.cancel();
}

QWidget* QueryPanelContentView::buildTranscript()
{
    transcriptDocumentView_ = new QWidget;
    transcriptDocumentView_->setAutoFillBackground(false);
    transcriptStack_ = new QVBoxLayout(transcriptDocumentView_);
    transcriptStack_->setContentsMargins(kTextColumn, kTranscriptInset, kTextColumn, kTranscriptInset);
    transcriptStack_->setSpacing(kRowSpacing);
    transcriptScrollView_ = new QScrollArea;
    transcriptScrollView_->setFrameShape(QFrame::NoFrame);
    transcriptScrollView_->setWidgetResizable(true);
    transcriptScrollView_->setFocusPolicy(Qt::NoFocus);
    transcriptScrollView_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    transcriptScrollView_->setPalette(QueryPanelTheme::palette(QueryPanelTheme::text()));
    transcriptScrollView_->verticalScrollBar()->setStyleSheet(QStringLiteral(
        "QScrollBar:vertical { background: transparent; width: 8px; margin: 4px 1px; }"
        "QScrollBar::handle:vertical { background: rgba(255,255,255,71); border-radius: 3px; min-height: "
        "24px; }"
        "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
        "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }"));
    transcriptScrollView_->setWidget(transcriptDocumentView_);
    transcriptDivider_ = new QWidget;
    transcriptDivider_->setFixedHeight(1);
    transcriptDivider_->setAutoFillBackground(true);
    QPalette line;
    line.setColor(QPalette::Window, QueryPanelTheme::faintBorder());
    transcriptDivider_->setPalette(line);
    return transcriptScrollView_;
}

QWidget* QueryPanelContentView::buildInputRow()
{
    auto* row = new QWidget;
    auto* rowLayout = new QHBoxLayout(row);
    rowLayout->setContentsMargins(kTextColumn, 8, kTextColumn, 8);
    inputContainer_ = new RoundedBackgroundView(kCardRadius, QueryPanelTheme::inputBackground(),
                                                QueryPanelTheme::subtleBorder());
    inputContainer_->setMinimumHeight(72);
    rowLayout->addWidget(inputContainer_);

    auto* column = new QVBoxLayout(inputContainer_);
    column->setContentsMargins(0, 10, 0, 6);
    column->setSpacing(4);
    queryField_ = new QueryInputTextView;
    queryField_->onChange = [this] { updateSendButton(); };
    queryField_->onSubmit = [this] { submit(); };
    queryField_->onCancel = [this] { session_.cancel(); };
    queryField_->onHeightChange = [this] { updateHeight(); };
    queryField_->installEventFilter(this);
    auto* fieldRow = new QHBoxLayout;
    fieldRow->setContentsMargins(14, 0, 14, 0);
    fieldRow->addWidget(queryField_);
    column->addLayout(fieldRow);

    auto* bar = new QHBoxLayout;
    bar->setContentsMargins(10, 0, 10, 0);
    bar->setSpacing(6);
    const auto settings = session_.settings();
    auto* model = makeLabel(settings ? modelPillTitle(*settings) : QString(), 10, QFont::Normal,
                            QColor::fromRgbF(1, 1, 1, 0.65F));
    model->setTextFormat(Qt::PlainText);
    model->setFixedHeight(22);
    model->setStyleSheet(QStringLiteral("QLabel { background: rgba(255,255,255,18); border: 1px solid "
                                        "rgba(255,255,255,41); border-radius: 11px; padding: 0 11px; }"));
    bar->addWidget(model);
    bar->addStretch();
    sendButton_ = new QToolButton;
    sendButton_->setAutoRaise(true);
    sendButton_->setFixedSize(kSendSize, kSendSize);
    sendButton_->setIconSize(QSize(kSendSize, kSendSize));
    sendButton_->setStyleSheet(
        QStringLiteral("QToolButton { border: none; background: transparent; padding: 0; }"));
    sendButton_->setAccessibleName(QStringLiteral("Send"));
    connect(sendButton_, &QToolButton::clicked, this, [this] { submit(); });
    bar->addWidget(sendButton_);
    column->addLayout(bar);
    return row;
}

QWidget* QueryPanelContentView::buildFooter()
{
    auto* footer = new QWidget;
    footer->setFixedHeight(kFooterHeight);
    auto* row = new QHBoxLayout(footer);
    row->setContentsMargins(14, 11, 14, 11);
    row->setSpacing(6);
    auto* cancelButton = new QPushButton(QStringLiteral("Cancel"));
    cancelButton->setFlat(true);
    cancelButton->setFont(systemFont(11, QFont::Medium));
    cancelButton->setStyleSheet(
        QStringLiteral("QPushButton { color: rgba(255,255,255,102); border: none; background: transparent; }"
                       "QPushButton:hover { color: rgba(255,255,255,191); }"));
    connect(cancelButton, &QPushButton::clicked, this, [this] { session_.cancel(); });
    row->addWidget(cancelButton);
    auto* badge = makeLabel(QStringLiteral("esc"), 10, QFont::Medium, QColor::fromRgbF(1, 1, 1, 0.65F));
    badge->setStyleSheet(QStringLiteral(
        "QLabel { border: 1px solid rgba(255,255,255,26); border-radius: 4px; padding: 2px 4px; }"));
    row->addWidget(badge);
    row->addStretch();
    preparingLabel_ =
        makeLabel(QStringLiteral("Preparing screenshot…"), 11, QFont::Normal, QueryPanelTheme::dimText());
    row->addWidget(preparingLabel_);
    return footer;
}

void QueryPanelContentView::focusField()
{
    queryField_->setFocus(Qt::ActiveWindowFocusReason);
}

void QueryPanelContentView::noteChange(const TranscriptChange& change)
{
    changedRows_.insert(change.id);
    refreshTranscript_.request();
}

void QueryPanelContentView::updateTranscript()
{
    QScrollBar* bar = transcriptScrollView_->verticalScrollBar();
    constexpr int kAlmostAtBottom = 4;
    const bool wasAtBottom = bar->value() >= bar->maximum() - kAlmostAtBottom;
    const Transcript& transcript = session_.chatMessages();
    for (const QUuid& id : rows_.keys()) {
        if (!transcript.find(id))
            delete rows_.take(id);
    }
    for (const ChatMessage& message : transcript.messages()) {
        QueryChatMessageView*& row = rows_[message.id];
        if (!row) {
            row = new QueryChatMessageView(message,
                                           [this](const QUuid& id) { session_.removeAttachmentMessage(id); });
            transcriptStack_->addWidget(row);
        } else if (changedRows_.contains(message.id)) {
            row->update(message);
        }
    }
    changedRows_.clear();
    updateHeight();
    if (wasAtBottom) {
        transcriptDocumentView_->adjustSize();
        bar->setValue(bar->maximum());
    }
}

int QueryPanelContentView::desiredHeight() const
{
    constexpr int kContainerWithoutField = 10 + 4 + 24 + 6;
    constexpr int kRowMargins = 16;
    const int input =
        std::max(queryField_->desiredHeight() + kContainerWithoutField + kRowMargins, kMinimumInputHeight);
    const int transcript = rows_.isEmpty() ? 0 : transcriptScrollView_->minimumHeight();
    return std::min(input + transcript + kFooterHeight, kMaximumHeight);
}

void QueryPanelContentView::updateHeight()
{
    const bool empty = rows_.isEmpty();
    transcriptScrollView_->setVisible(!empty);
    transcriptDivider_->setVisible(!empty);
    constexpr int kPanelWidth = 620;
    // Rows of pictures alone have one height at any width.
    const int content = transcriptStack_->hasHeightForWidth()
                            ? transcriptStack_->totalHeightForWidth(kPanelWidth)
                            : transcriptStack_->totalSizeHint().height();
    transcriptScrollView_->setFixedHeight(empty ? 0 : std::min(content, kMaximumTranscriptHeight));
    onHeightChange_(desiredHeight());
}

void QueryPanelContentView::updateState()
{
    const bool editable = session_.state().value() != SessionState::Streaming;
    queryField_->setReadOnly(!editable);
    preparingLabel_->setVisible(session_.isPreparingCapture().value());
    updateSendButton();
}

void QueryPanelContentView::updateSendButton()
{
    const bool enabled = !queryField_->trimmedText().isEmpty() && !session_.isPreparingCapture().value() &&
                         session_.state().value() != SessionState::Streaming;
    sendButton_->setEnabled(enabled);
    sendButton_->setIcon(symbolIcon(QStringLiteral("arrow.up.circle.fill"),
                                    enabled ? QueryPanelTheme::accent() : QueryPanelTheme::dimText(),
                                    kSendSize));
}

void QueryPanelContentView::submit()
{
    const QString query = queryField_->trimmedText();
    if (query.isEmpty())
        return;
    queryField_->clear();
    session_.submit(query);
    DebugLog::log(QStringLiteral("QueryPanel"),
                  QStringLiteral("Submit triggered queryLength=") + QString::number(characterCount(query)));
}

bool QueryPanelContentView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == queryField_ && (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)) {
        QColor focused = QueryPanelTheme::accent();
        focused.setAlphaF(0.5F);
        inputContainer_->setBorderColor(event->type() == QEvent::FocusIn ? focused
                                                                         : QueryPanelTheme::subtleBorder());
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace velmo
