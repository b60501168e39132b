#pragma once

#include "updates/UpdateText.h"

#include <QUrl>
#include <QWidget>
#include <functional>

class QLabel;

namespace velmo {

class PushButton;

/// Says what the check for updates is doing, or what it found. Main thread.
class UpdateWindow final : public QWidget {
public:
    UpdateWindow();

    void showChecking();
    /// The page is what the message may offer to open.
    void showMessage(const UpdateMessage& message, const QUrl& page);

    std::function<void()> onClosed;
    std::function<bool(const QUrl& page)> onOpenPage;

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void write(const QString& title, const QString& text);
    void followScheme();

    QLabel* title_;
    QLabel* text_;
    PushButton* open_;
    PushButton* close_;
    QUrl page_;
};

} // namespace velmo
