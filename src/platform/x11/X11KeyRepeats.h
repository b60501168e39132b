#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <unordered_map>

class QKeyEvent;

namespace velmo {

/// Keys that are held, told from keys that are pressed again and again.
///
/// While a key is held the server sends releases and presses in pairs. The toolkit knows a pair by looking
/// ahead for its press; when it is busy it may read the release alone, and takes it for one of the user's.
/// Here such a release waits until it is known what it was. Main thread; filters the application's events.
/// The toolkit asks the latest of the application's filters first, so those that are younger meet keys as the
/// toolkit takes them; a filter of a window comes after all of the application's, and meets them as they are.
class X11KeyRepeats final : public QObject {
public:
    X11KeyRepeats();
    X11KeyRepeats(const X11KeyRepeats&) = delete;
    X11KeyRepeats& operator=(const X11KeyRepeats&) = delete;
    ~X11KeyRepeats() override;

private:
    struct Release {
        QPointer<QObject> window;
        std::unique_ptr<QKeyEvent> event;
    };

    bool eventFilter(QObject* watched, QEvent* event) override;
    bool postpone(QObject& window, const QKeyEvent& release);
    bool settle(QObject& window, const QKeyEvent& press);
    [[nodiscard]] static bool isDown(quint32 keyCode);

    std::unordered_map<quint32, Release> postponed_; ///< By key code.
    bool isSending_ = false;
};

} // namespace velmo
