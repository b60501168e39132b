#include "platform/x11/X11KeyReader.h"

#include "platform/x11/X11InputExtensions.h"
#include "platform/x11/X11KeyboardLayout.h"

namespace velmo {

PressedKey X11KeyReader::read(quint32 nativeKeyCode, quint32 nativeModifiers)
{
    if (!connection_ || connection_->isBroken()) {
        connection_ = X11Connection::open();
        if (!connection_ || !X11InputExtensions::probe(*connection_).missing.isEmpty())
            return {};
    }
    const X11KeyboardLayout layout = X11KeyboardLayout::read(*connection_);
    connection_->discardEvents();
    return {layout.virtualKeyCode(nativeKeyCode), layout.flags(nativeModifiers),
            keyCharacters(*connection_, static_cast<xcb_keycode_t>(nativeKeyCode), nativeModifiers)};
}

} // namespace velmo
