#include "platform/x11/X11KeyRepeats.h"

#include "platform/x11/X11Toolkit.h"

#include <QKeyEvent>
#include <QScopedValueRollback>
#include <utility>

namespace velmo {
namespace {

/// Both events of a pair have one time; no finger is as quick as this.
constexpr quint64 kSameMoment = 10; // Milliseconds.

} // namespace

X11KeyRepeats::X11KeyRepeats()
{
    qGuiApp->installEventFilter(this);
}

X11KeyRepeats::~X11KeyRepeats() = default;

bool X11KeyRepeats::eventFilter(QObject* watched, QEvent* event)
{
    if (isSending_ || !watched->isWindowType())
        return false;
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease)
        return false;
    const auto& key = static_cast<const QKeyEvent&>(*event);
    // Keys without a code come from an input method.
    if (key.isAutoRepeat() || key.nativeScanCode() == 0)
        return false;
    return event->type() == QEvent::KeyRelease ? postpone(*watched, key) : settle(*watched, key);
}

bool X11KeyRepeats::postpone(QObject& window, const QKeyEvent& release)
{
    // What is still down will come up once more.
    if (!isDown(release.nativeScanCode())) {
        postponed_.erase(release.nativeScanCode());
        return false;
    }
    postponed_[release.nativeScanCode()] = {&window, std::unique_ptr<QKeyEvent>(release.clone())};
    return true;
}

bool X11KeyRepeats::settle(QObject& window, const QKeyEvent& press)
{
    const auto found = postponed_.find(press.nativeScanCode());
    if (found == postponed_.end())
        return false;
    const Release release = std::move(found->second);
    postponed_.erase(found);
    const QScopedValueRollback sending(isSending_, true);
    if (press.timestamp() - release.event->timestamp() >= kSameMoment) {
        // It was let go and pressed again.
        if (QObject* where = release.window.data(); where != nullptr)
            QCoreApplication::sendEvent(where, release.event.get());
        return false;
    }
    QKeyEvent repeat(QEvent::KeyPress, press.key(), press.modifiers(), press.nativeScanCode(),
                     press.nativeVirtualKey(), press.nativeModifiers(), press.text(), true,
                     static_cast<quint16>(press.count()), press.device());
    repeat.setTimestamp(press.timestamp());
    QCoreApplication::sendEvent(&window, &repeat);
    return true;
}

bool X11KeyRepeats::isDown(quint32 keyCode)
{
    constexpr quint32 kKeyCodes = 256;
    constexpr quint32 kBits = 8;
    xcb_connection_t* toolkit = toolkitConnection();
    if (toolkit == nullptr || keyCode >= kKeyCodes)
        return false;
    const auto keys = awaitReply(toolkit, xcb_query_keymap_reply, xcb_query_keymap(toolkit));
    return keys && (keys->keys[keyCode / kBits] >> keyCode % kBits & 1) != 0;
}

} // namespace velmo
