#pragma once

#include "panel/HoldToRecordButton.h"
#include "panel/PanelTest.h"

#include <QMouseEvent>

namespace velmo {

/// A panel with a microphone, asked for its first question; the first picture has been taken away.
class VoiceInput : public PanelTest {
protected:
    VoiceInput()
    {
        useMicrophone();
        removeCapture();
        log.take();
    }

    void pressReturn() { pressKey(text(), Qt::Key_Return); }
    void releaseReturn()
    {
        releaseKey(text(), Qt::Key_Return);
        settle();
    }
    void holdReturn(Clock::TimePoint::duration duration)
    {
        pressReturn();
        voice.time += duration;
        releaseReturn();
    }

    [[nodiscard]] HoldToRecordButton& microphone() const { return widget<HoldToRecordButton>(); }
    void sendMouse(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons) const
    {
        QMouseEvent event(type, at, microphone().mapToGlobal(at), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(&microphone(), &event);
    }
    void pressMicrophone() const
    {
        sendMouse(QEvent::MouseButtonPress, {10, 10}, Qt::LeftButton, Qt::LeftButton);
    }
    void releaseMicrophone(QPointF at = {10, 10}) const
    {
        sendMouse(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
        settle();
    }

    [[nodiscard]] bool isRecording() const
    {
        return !voice.recorders.recordings.empty() && voice.recorders.recordings.back()->isRunning();
    }
    [[nodiscard]] std::size_t recordings() const { return voice.recorders.recordings.size(); }
    [[nodiscard]] QString placeholder() const { return field().placeholderField().text(); }
    [[nodiscard]] bool isTranscribingShown() const
    {
        const auto labels = scene->content->findChildren<QLabel*>();
        return std::ranges::any_of(labels, [](const QLabel* label) {
            return label->isVisibleTo(label->window()) && label->text() == QStringLiteral("Transcribing…");
        });
    }
    /// The panel's own lines since the last time.
    [[nodiscard]] QStringList lines() { return log.take().filter(QStringLiteral("[QueryPanel]")); }
};

} // namespace velmo
