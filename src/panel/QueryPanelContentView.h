#pragma once

#include "core/AnnotationSession.h"
#include "panel/QueryInputTextView.h"
#include "panel/RoundedBackgroundView.h"

#include <QHash>
#include <QSet>
#include <QWidget>
#include <functional>

class QLabel;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace velmo {

class QueryChatMessageView;

/// Everything inside the query panel: the transcript, the question field, and the footer. Main thread.
class QueryPanelContentView final : public QWidget {
public:
    /// The session outlives it. onHeightChange is told the height that the content wants.
    QueryPanelContentView(AnnotationSession& session, std::function<void(int)> onHeightChange);

    void focusField();

    /// Follows the session no longer. The session may end while the view is still there, hidden.
    void detach();
    [[nodiscard]] int desiredHeight() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildTranscript();
    QWidget* buildInputRow();
    QWidget* buildFooter();
    void noteChange(const TranscriptChange& change);
    void updateTranscript();
    void updateState();
    void updateSendButton();
    void updateHeight();
    void submit();

    AnnotationSession& session_;
    std::function<void(int)> onHeightChange_;
    QScrollArea* transcriptScrollView_ = nullptr;
    QWidget* transcriptDocumentView_ = nullptr;
    QVBoxLayout* transcriptStack_ = nullptr;
    QWidget* transcriptDivider_ = nullptr;
    RoundedBackgroundView* inputContainer_ = nullptr;
    QueryInputTextView* queryField_ = nullptr;
    QToolButton* sendButton_ = nullptr;
    QLabel* preparingLabel_ = nullptr;

    QHash<QUuid, QueryChatMessageView*> rows_;
    QSet<QUuid> changedRows_;
    LaterRefresh refreshTranscript_;
    LaterRefresh refreshState_;
    std::vector<Subscription> subscriptions_;
};

} // namespace velmo
