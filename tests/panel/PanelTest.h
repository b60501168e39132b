#pragma once

#include "panel/AttachmentThumbnailButton.h"
#include "panel/AutoSizingTextView.h"
#include "panel/HoldToRecordButton.h"
#include "panel/ModelPillButton.h"
#include "panel/PanelMenu.h"
#include "panel/QueryChatMessageView.h"
#include "panel/QueryInputTextView.h"
#include "panel/QueryPanelTheme.h"
#include "panel/RoundedBackgroundView.h"
#include "panel/SpinnerView.h"
#include "panel/TranscriptScrollView.h"
#include "support/core/Environment.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"
#include "support/panel/PanelScene.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {

/// The widgets of that class below a widget, in the order in which they were made.
template <typename T>
[[nodiscard]] std::vector<T*> widgetsIn(const QWidget& parent)
{
    std::vector<T*> found;
    const auto children = parent.findChildren<QWidget*>();
    for (QWidget* child : children) {
        if (auto* widget = dynamic_cast<T*>(child); widget != nullptr)
            found.push_back(widget);
    }
    return found;
}

/// As if typed on a keyboard; returns whether somebody took it.
inline bool sendKey(QWidget& widget, QEvent::Type type, int key,
                    Qt::KeyboardModifiers modifiers = Qt::NoModifier, const QString& text = QString(),
                    bool isRepeat = false)
{
    QKeyEvent event(type, key, modifiers, text, isRepeat);
    return QApplication::sendEvent(&widget, &event) && event.isAccepted();
}

inline bool pressKey(QWidget& widget, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
                     const QString& text = QString())
{
    return sendKey(widget, QEvent::KeyPress, key, modifiers, text);
}

inline bool releaseKey(QWidget& widget, int key)
{
    return sendKey(widget, QEvent::KeyRelease, key);
}

inline void typeText(QWidget& widget, const QString& text)
{
    for (const QChar character : text)
        pressKey(widget, 0, Qt::NoModifier, QString(character));
}

/// A picture as the capture service makes them.
[[nodiscard]] inline QImage pictureOf(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    return image;
}

/// A panel's content over a session that is asked for its first question.
class PanelTest : public testing::Test {
protected:
    PanelTest() { scene->show(); }

    /// Starts anew, with a microphone.
    void useMicrophone()
    {
        scene.reset();
        scene = std::make_unique<PanelScene>(&voice);
        scene->show();
    }

    template <typename T>
    [[nodiscard]] T& widget(std::size_t index = 0) const
    {
        return *widgetsIn<T>(*scene->content).at(index);
    }
    [[nodiscard]] QueryInputTextView& field() const { return widget<QueryInputTextView>(); }
    [[nodiscard]] QueryTextView& text() const { return field().textView(); }
    [[nodiscard]] SendButton& sendButton() const { return widget<SendButton>(); }
    [[nodiscard]] TranscriptScrollView& transcript() const { return widget<TranscriptScrollView>(); }
    [[nodiscard]] const QList<ChatMessage>& messages() const
    {
        return scene->session.chatMessages().messages();
    }
    [[nodiscard]] QueryChatMessageView& row(qsizetype message) const
    {
        return *transcript().row(messages().at(message).id);
    }

    [[nodiscard]] static QString shownText(const QueryChatMessageView& row)
    {
        return row.textView().layoutOfText().textView().toString();
    }

    /// The first picture has come; the panel shows it.
    void deliverCapture(QSize size = {160, 90})
    {
        scene->deliverCapture(pictureOf(size));
        scene->fit();
    }
    /// The first picture has come and was taken away again, so that there are no messages.
    void removeCapture()
    {
        deliverCapture();
        scene->session.removeAttachmentMessage(messages().back().id);
        scene->fit();
    }
    /// A question and its whole answer.
    void converse(const QString& question, const QString& answer)
    {
        scene->ask(question);
        scene->stream(answer);
        scene->finish();
        scene->fit();
    }

    CleanProviderEnvironment environment;
    LogLines log;
    PanelVoice voice;
    std::unique_ptr<PanelScene> scene = std::make_unique<PanelScene>();
};

} // namespace velmo
