#include "panel/QueryPanelContentView.h"

#include "core/DebugLog.h"
#include "core/Text.h"
#include "core/async/WorkerPool.h"
#include "overlay/ImagePreviewWindowController.h"
#include "panel/CardMetrics.h"
#include "panel/HoldToRecordButton.h"
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
#include "voice/ReplicateWhisperService.h"
#include "widgets/FocusRing.h"
#include "widgets/SystemFont.h"

#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kMaximumTranscriptHeight = 456;
constexpr int kFooterFontSize = 11;
constexpr std::chrono::milliseconds kFirstFocusDelay{320};
constexpr std::chrono::milliseconds kBlinkInterval{550};
/// Whoever has spoken for so long has forgotten to let go, or cannot.
constexpr std::chrono::minutes kLongestHold{5};

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

} // namespace

QueryPanelContentView::QueryPanelContentView(AnnotationSession& session, const PanelDesktop& desktop,
                                             std::shared_ptr<ReplicateWhisperService> transcriptionService,
                                             std::function<void(int)> onHeightChange)
    : session_(session)
    , desktop_(desktop)
    , transcriptionService_(std::move(transcriptionService))
    , onHeightChange_(std::move(onHeightChange))
    , cardView_(new RoundedBackgroundView(CardMetrics::kCornerRadius, QueryPanelTheme::background(),
                                          QueryPanelTheme::border(), this))
    , toolTip_(std::make_unique<PanelToolTip>(desktop.windows.isComposited()))
    , refreshTranscript_([this] { updateTranscript(); })
    , refreshState_(this, [this] { updateState(); })
    , refreshModel_(this, [this] { updateModelButtonTitle(); })
{
    installPanelAccessibility();
    resize(CardMetrics::kWidth, CardMetrics::kMinimumHeight);
    buildTranscript();
    buildInputRow();
    buildFooter();
    arrangeFocus();
    subscribe();
    updateTranscript();
    updateState();
    updateModelButtonTitle();
    firstFocus_.setObjectName(QStringLiteral("firstFocus"));
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
    micButton_->onRelease = {};
    queryField_->onEmptyEnterPressEnded = {};
}

void QueryPanelContentView::buildTranscript()
{
    transcriptScrollView_ = new TranscriptScrollView(
        CardMetrics::kWidth,
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
    inputContainer_ =
        new RoundedBackgroundView(CardMetrics::kCornerRadius, QueryPanelTheme::inputBackground(),
                                  QueryPanelTheme::subtleBorder(), this);
    queryField_ = new QueryInputTextView(inputContainer_);
    queryField_->configure(QStringLiteral("Ask anything about the annotated area…"), QueryPanelTheme::text(),
                           QueryPanelTheme::dimText());
    queryField_->onChange = [this] { updateSendButton(); };
    queryField_->onSubmit = [this] { submit(); };
    queryField_->onCancel = [this] { session_.cancel(); };
    queryField_->onEmptyEnterPressBegan = [this] { beginKeyboardRecording(); };
    queryField_->onEmptyEnterPressEnded = [this] { endKeyboardRecording(); };
    queryField_->onHeightChange = [this] { updateContentHeight(); };
    queryField_->textView().makeMenu = [this](QWidget* parent) { return makeMenu(parent); };
    modelButton_ = new ModelPillButton(*this);
    modelButton_->setParent(inputContainer_);
    micButton_ = new HoldToRecordButton(inputContainer_);
    micButton_->setVisible(transcriptionService_ != nullptr);
    micButton_->onPress = [this] { return startRecording(); };
    micButton_->onRelease = [this] { stopButtonRecordingAndTranscribe(); };
    microphoneBlinkTimer_.setInterval(kBlinkInterval);
    microphoneBlinkTimer_.callOnTimeout([this] {
        isMicrophoneBlinkVisible_ = !isMicrophoneBlinkVisible_;
        updateMicrophoneAppearance();
    });
    longestHold_.setObjectName(QStringLiteral("longestHold"));
    longestHold_.setSingleShot(true);
    longestHold_.setInterval(kLongestHold);
    longestHold_.callOnTimeout([this] { endLongHold(); });
    updateMicrophoneAppearance();
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
    focusRing_ = new FocusRing(*this, &QueryPanelTheme::focusRing);
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
    queryField_->onEmptyEnterPressBegan = {};
    queryField_->onEmptyEnterPressEnded = {};
    micButton_->onPress = {};
    micButton_->onRelease = {};
    // What is still being transcribed goes on in silence: nothing finds its way back from there.
    if (isRecording_)
        discardRecording();
    isTranscribing_ = false;
    transcriptionService_.reset();
}

void QueryPanelContentView::focusField()
{
    queryField_->textView().setFocus(Qt::OtherFocusReason);
    // Nothing tells of it while another window is the active one.
    updateInputBorder();
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
