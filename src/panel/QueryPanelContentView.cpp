#include "panel/QueryPanelContentView.h"

#include "core/DebugLog.h"
#include "core/Text.h"
#include "core/async/WorkerPool.h"
#include "overlay/ImagePreviewWindowController.h"
#include "panel/FocusRing.h"
#include "panel/KeyBadgeView.h"
#include "panel/ModelPillButton.h"
#include "panel/PanelMenu.h"
#include "panel/PanelPart.h"
#include "panel/PanelToolTip.h"
#include "panel/QueryInputTextView.h"
#include "panel/QueryPanelTheme.h"
#include "panel/RoundedBackgroundView.h"
#include "panel/SpinnerView.h"
#include "panel/TextViewMenu.h"
#include "panel/TranscriptScrollView.h"
#include "widgets/SystemFont.h"

#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kPanelWidth = 620;
constexpr double kRadius = 18;
constexpr int kMaximumTranscriptHeight = 456;
constexpr int kMinimumInputHeight = 88;
constexpr int kFooterHeight = 42;
constexpr int kMaximumHeight = 720;

constexpr int kRowInsetX = 24;
constexpr int kRowInsetY = 8;
constexpr int kMinimumContainerHeight = 72;
constexpr int kFieldInsetX = 14;
constexpr int kFieldInsetTop = 10;
constexpr int kFieldToBar = 4;
constexpr int kBarInsetX = 10;
constexpr int kBarInsetBottom = 6;
constexpr int kBarHeight = 24;
constexpr int kBarSpacing = 6;
constexpr int kAroundField = kFieldInsetTop + kFieldToBar + kBarHeight + kBarInsetBottom;

constexpr int kFooterInsetX = 14;
constexpr int kCancelSpacing = 6;
constexpr int kStatusSpacing = 5;
constexpr int kFooterFontSize = 11;
constexpr std::chrono::milliseconds kFirstFocusDelay{320};

QLabel* makeStatusLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setFont(systemFont(kFooterFontSize));
    label->setPalette(QueryPanelTheme::palette(QueryPanelTheme::dimText()));
    return label;
}

/// Text, or what else a key does to a question.
bool isForQuestion(const QKeyEvent& event)
{
    if (event.matches(QKeySequence::Paste))
        return true;
    if ((event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) != 0)
        return false;
    switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Backspace:
        return true;
    default:
        return !event.text().isEmpty() && event.text().front().category() != QChar::Other_Control;
    }
}

/// Puts the widget at its preferred size into a row, in the middle of its height.
void centreAt(QWidget& widget, const QRect& row, int left)
{
    const QSize size = widget.sizeHint().expandedTo(widget.minimumSize());
    widget.setGeometry(left, row.top() + (row.height() - size.height()) / 2, size.width(), size.height());
}

} // namespace

QueryPanelContentView::QueryPanelContentView(AnnotationSession& session, const PanelDesktop& desktop,
                                             std::shared_ptr<ReplicateWhisperService> transcriptionService,
                                             std::function<void(int)> onHeightChange)
    : session_(session)
    , desktop_(desktop)
    , transcriptionService_(std::move(transcriptionService))
    , onHeightChange_(std::move(onHeightChange))
    , cardView_(
          new RoundedBackgroundView(kRadius, QueryPanelTheme::background(), QueryPanelTheme::border(), this))
    , toolTip_(std::make_unique<PanelToolTip>(desktop.windows.isComposited()))
    , refreshTranscript_([this] { updateTranscript(); })
    , refreshState_(this, [this] { updateState(); })
    , refreshModel_(this, [this] { updateModelButtonTitle(); })
{
    installPanelAccessibility();
    resize(kPanelWidth, kMinimumInputHeight + kFooterHeight);
    buildTranscript();
    buildInputRow();
    buildFooter();
    arrangeFocus();
    subscribe();
    updateTranscript();
    updateState();
    updateModelButtonTitle();
    firstFocus_.setSingleShot(true);
    firstFocus_.callOnTimeout([this] {
        if (isVisible())
            focusField();
    });
    firstFocus_.start(kFirstFocusDelay);
}

QueryPanelContentView::~QueryPanelContentView()
{
    // Children lose the focus while they go, and some of them are gone by then.
    disconnect(qApp, nullptr, this, nullptr);
}

void QueryPanelContentView::buildTranscript()
{
    transcriptScrollView_ = new TranscriptScrollView(
        kPanelWidth,
        {
            .openAttachment = [this](const ChatAttachment& attachment) { openAttachment(attachment); },
            .removeAttachment = [this](const QUuid& id) { session_.removeAttachmentMessage(id); },
            .openLink =
                [this](const QUrl& address) {
                    if (desktop_.openAddress)
                        desktop_.openAddress(address);
                },
            .makeMenu = [this](QWidget* parent) { return makeMenu(parent); },
            .heightChanged = [this] { updateContentHeight(); },
        },
        this);
}

void QueryPanelContentView::buildInputRow()
{
    inputContainer_ = new RoundedBackgroundView(kRadius, QueryPanelTheme::inputBackground(),
                                                QueryPanelTheme::subtleBorder(), this);
    queryField_ = new QueryInputTextView(inputContainer_);
    queryField_->configure(QStringLiteral("Ask anything about the annotated area…"), QueryPanelTheme::text(),
                           QueryPanelTheme::dimText());
    queryField_->onChange = [this] { updateSendButton(); };
    queryField_->onSubmit = [this] { submit(); };
    queryField_->onCancel = [this] { session_.cancel(); };
    queryField_->onHeightChange = [this] { updateContentHeight(); };
    queryField_->textView().makeMenu = [this](QWidget* parent) { return makeMenu(parent); };
    modelButton_ = new ModelPillButton(*this);
    modelButton_->setParent(inputContainer_);
    micButton_ = new HoldToRecordButton(inputContainer_);
    micButton_->setVisible(transcriptionService_ != nullptr);
    sendButton_ = new SendButton(inputContainer_);
    connect(sendButton_, &QAbstractButton::clicked, this, [this] { submit(); });
}

void QueryPanelContentView::buildFooter()
{
    cancelButton_ = new TextButton(QStringLiteral("Cancel"), this);
    connect(cancelButton_, &QAbstractButton::clicked, this, [this] { session_.cancel(); });
    escapeBadge_ = new KeyBadgeView(QStringLiteral("esc"), this);
    preparingSpinner_ = new SpinnerView(this);
    preparingLabel_ = makeStatusLabel(QStringLiteral("Preparing screenshot…"), this);
    transcribingSpinner_ = new SpinnerView(this);
    transcribingLabel_ = makeStatusLabel(QStringLiteral("Transcribing…"), this);
}

/// Tab goes from the transcript, oldest message first, over the question and its controls to the footer.
void QueryPanelContentView::arrangeFocus()
{
    const QWidgetList order{transcriptScrollView_, &queryField_->textView(),
                            modelButton_,          micButton_,
                            sendButton_,           cancelButton_};
    for (qsizetype next = 1; next < order.size(); ++next)
        setTabOrder(order.at(next - 1), order.at(next));
    focusRing_ = new FocusRing(*this);
    focusRing_->addScrolledArea(transcriptScrollView_->documentView());
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* before, QWidget*) {
        // A control that is gone or cannot be used any more has handed the keyboard to any other one.
        if (before != nullptr && isVisible() && isAncestorOf(before) &&
            (!before->isVisibleTo(this) || !before->isEnabledTo(this)))
            focusField();
        updateInputBorder();
    });
}

void QueryPanelContentView::subscribe()
{
    subscriptions_.push_back(session_.chatMessages().subscribe([this](const TranscriptChange& change) {
        transcriptScrollView_->note(change);
        refreshTranscript_.request();
    }));
    subscriptions_.push_back(session_.state().subscribe([this](SessionState) { refreshState_.request(); }));
    subscriptions_.push_back(
        session_.isPreparingCapture().subscribe([this](bool) { refreshState_.request(); }));
    const auto settings = session_.settings();
    if (!settings)
        return;
    for (const Setting<QString>* setting :
         {&settings->selectedProvider, &settings->anthropicModel, &settings->openAIModel})
        subscriptions_.push_back(setting->subscribe([this](const QString&) { refreshModel_.request(); }));
}

void QueryPanelContentView::detach()
{
    subscriptions_.clear();
    refreshTranscript_.cancel();
    refreshState_.cancel();
    refreshModel_.cancel();
    firstFocus_.stop();
    preview_.cancel();
    imagePreviewController_.reset();
    toolTip_->hide();
}

void QueryPanelContentView::focusField()
{
    queryField_->textView().setFocus(Qt::OtherFocusReason);
}

void QueryPanelContentView::resizeEvent(QResizeEvent*)
{
    layOut();
}

void QueryPanelContentView::layOut()
{
    cardView_->setGeometry(rect());
    const QRect footer(0, height() - kFooterHeight, width(), kFooterHeight);
    const QRect input(0, footer.top() - inputHeight(), width(), inputHeight());
    // While the card grows, the transcript gets what is left, and the field's first line stays in view.
    const int transcriptBottom = std::clamp(input.top(), 0, std::max(height(), 0));
    layOutFooter(footer);
    layOutInputRow(QRect(QPoint(0, transcriptBottom), QPoint(width() - 1, footer.top() - 1)));
    transcriptScrollView_->setVisible(!transcriptScrollView_->isEmpty());
    transcriptScrollView_->setGeometry(0, 0, width(), transcriptBottom);
}

void QueryPanelContentView::layOutInputRow(const QRect& row)
{
    inputContainer_->setGeometry(row.adjusted(kRowInsetX, kRowInsetY, -kRowInsetX, -kRowInsetY));
    const QSize inside = inputContainer_->size();
    queryField_->setGeometry(
        kFieldInsetX, kFieldInsetTop, inside.width() - 2 * kFieldInsetX,
        std::min(queryField_->currentIntrinsicHeight(), std::max(inside.height() - kAroundField, 0)));
    const QRect bar(kBarInsetX, inside.height() - kBarInsetBottom - kBarHeight,
                    inside.width() - 2 * kBarInsetX, kBarHeight);
    centreAt(*modelButton_, bar, bar.left());
    int right = bar.right() + 1 - sendButton_->width();
    centreAt(*sendButton_, bar, right);
    right -= kBarSpacing + micButton_->width();
    centreAt(*micButton_, bar, right);
}

void QueryPanelContentView::layOutFooter(const QRect& row)
{
    centreAt(*cancelButton_, row, kFooterInsetX);
    centreAt(*escapeBadge_, row, cancelButton_->geometry().right() + 1 + kCancelSpacing);
    int right = row.right() + 1 - kFooterInsetX;
    for (QWidget* status :
         {static_cast<QWidget*>(transcribingLabel_), static_cast<QWidget*>(transcribingSpinner_),
          static_cast<QWidget*>(preparingLabel_), static_cast<QWidget*>(preparingSpinner_)}) {
        if (status->isHidden())
            continue;
        right -= status->sizeHint().expandedTo(status->minimumSize()).width();
        centreAt(*status, row, right);
        right -= kStatusSpacing;
    }
}

int QueryPanelContentView::inputHeight() const
{
    const int container =
        std::max(queryField_->currentIntrinsicHeight() + kAroundField, kMinimumContainerHeight);
    return std::max(container + 2 * kRowInsetY, kMinimumInputHeight);
}

int QueryPanelContentView::desiredHeight() const
{
    return std::min(inputHeight() + transcriptHeight_ + kFooterHeight, kMaximumHeight);
}

void QueryPanelContentView::updateContentHeight()
{
    transcriptHeight_ = transcriptScrollView_->isEmpty()
                            ? 0
                            : std::min(transcriptScrollView_->fittingHeight(), kMaximumTranscriptHeight);
    layOut();
    onHeightChange_(desiredHeight());
}

void QueryPanelContentView::updateTranscript()
{
    transcriptScrollView_->refresh(session_.chatMessages());
    updateContentHeight();
}

void QueryPanelContentView::updateState()
{
    const bool isEditable =
        session_.state().value() != SessionState::Streaming && !isRecording_ && !isTranscribing_;
    queryField_->setEditable(isEditable);
    updateSendButton();
    updateInputBorder();
    const auto show = [](SpinnerView& spinner, QLabel& label, bool isUnderWay) {
        if (isUnderWay)
            spinner.startAnimating();
        else
            spinner.stopAnimating();
        label.setVisible(isUnderWay);
    };
    show(*preparingSpinner_, *preparingLabel_, session_.isPreparingCapture().value());
    show(*transcribingSpinner_, *transcribingLabel_, isTranscribing_);
    layOut();
}

void QueryPanelContentView::updateSendButton()
{
    const bool hadFocus = sendButton_->hasFocus();
    sendButton_->setCanSend(queryField_->hasContent() &&
                            session_.state().value() != SessionState::Streaming &&
                            !session_.isPreparingCapture().value() && !isRecording_ && !isTranscribing_);
    // A control that cannot be used any more would take the keyboard along into nowhere.
    if (hadFocus && !sendButton_->isEnabled())
        focusField();
}

/// Also while another window is the active one.
bool QueryPanelContentView::isFieldFocused() const
{
    return window()->focusWidget() == &queryField_->textView();
}

void QueryPanelContentView::updateInputBorder()
{
    inputContainer_->setBorderColor(isFieldFocused() ? QueryPanelTheme::focusedBorder()
                                                     : QueryPanelTheme::subtleBorder());
}

void QueryPanelContentView::submit()
{
    const QString query = queryField_->trimmedText();
    if (query.isEmpty())
        return;
    queryField_->clear();
    queryField_->updatePlaceholder();
    queryField_->recalculateHeight();
    updateSendButton();
    session_.submit(query);
    DebugLog::log(QStringLiteral("QueryPanel"),
                  QStringLiteral("Submit triggered queryLength=") + QString::number(characterCount(query)));
}

void QueryPanelContentView::openAttachment(const ChatAttachment& attachment)
{
    // The last click counts.
    preview_.cancel();
    preview_ = tasks_.start(showPreview(attachment));
}

async::Task<> QueryPanelContentView::showPreview(ChatAttachment attachment)
{
    auto decode = [data = attachment.imageData] { return QImage::fromData(data); };
    const QImage image = co_await async::onWorker(std::move(decode));
    if (image.isNull())
        co_return;
    imagePreviewController_ = std::make_unique<ImagePreviewWindowController>(
        image, attachment.title, desktop_.screens, desktop_.windows);
    imagePreviewController_->showWindow();
}

/// What is typed while a control or an answer has the keyboard is meant for the question.
void QueryPanelContentView::keyPressEvent(QKeyEvent* event)
{
    // The window system itself knows the menu key only.
    if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier) {
        if (QWidget* focused = focusWidget())
            openMenuByKeyboard(*focused);
        return;
    }
    // What the field itself does not take comes back here.
    if (!isForQuestion(*event) || isFieldFocused()) {
        QWidget::keyPressEvent(event);
        return;
    }
    focusField();
    QCoreApplication::sendEvent(&queryField_->textView(), event);
}

bool QueryPanelContentView::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        showToolTip(static_cast<const QHelpEvent*>(event)->globalPos());
        return true;
    }
    return QWidget::event(event);
}

void QueryPanelContentView::showToolTip(QPoint at)
{
    const QWidget* under = QApplication::widgetAt(at);
    while (under != nullptr && under != this && under->toolTip().isEmpty())
        under = under->parentWidget();
    if (under != nullptr && !under->toolTip().isEmpty())
        toolTip_->showText(at, under->toolTip());
}

} // namespace velmo
