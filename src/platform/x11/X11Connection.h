#pragma once

#include "platform/x11/XcbSupport.h"

#include <QByteArray>
#include <QHash>
#include <deque>
#include <memory>

namespace velmo {

/// An own connection to the X server. One thread at a time uses it.
///
/// A lost connection never ends the process: requests then do nothing, replies are null and isBroken() is
/// true.
class X11Connection {
public:
    /// Null when no display answers.
    [[nodiscard]] static std::unique_ptr<X11Connection> open();
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    [[nodiscard]] xcb_connection_t* get() const { return connection_; }
    [[nodiscard]] const xcb_screen_t& screen() const { return *screen_; }
    [[nodiscard]] xcb_window_t root() const { return screen_->root; }
    [[nodiscard]] bool isBroken() const { return xcb_connection_has_error(connection_) != 0; }
    [[nodiscard]] int fileDescriptor() const { return xcb_get_file_descriptor(connection_); }

    /// The extension's first numbers; null when the server lacks it.
    [[nodiscard]] const xcb_query_extension_reply_t* extension(xcb_extension_t& extension) const;

    /// Interned once per connection.
    [[nodiscard]] xcb_atom_t atom(const char* name);

    /// This screen's own among selections that are the same for each, as in "_NET_WM_CM".
    [[nodiscard]] xcb_atom_t screenSelection(const QByteArray& name);

    /// The window that owns the selection; 0 when nobody does.
    [[nodiscard]] xcb_window_t ownerOf(xcb_atom_t selection) const;

    /// The selection that whoever manages compositing on this screen owns.
    [[nodiscard]] xcb_atom_t compositorSelection();

    /// The window that manages compositing on this screen; 0 when nobody does.
    [[nodiscard]] xcb_window_t compositingManager();

    template <typename Reply, typename Cookie>
    [[nodiscard]] XcbPointer<Reply>
    await(Reply* (*function)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const
    {
        return awaitReply(connection_, function, cookie);
    }

    /// The next event or error, without waiting; null when there is none.
    [[nodiscard]] XcbPointer<xcb_generic_event_t> nextEvent();

    /// Drops everything that has arrived. Returns how many of it were errors.
    int discardEvents();

    /// A time stamp that the server made now, as focus requests need one: a made-up or an old one is refused.
    /// Events that arrive meanwhile stay for nextEvent(). XCB_CURRENT_TIME on a lost connection.
    [[nodiscard]] xcb_timestamp_t serverTime();

    /// Returns when the server has carried out every request so far.
    void sync() const;

private:
    X11Connection(xcb_connection_t* connection, int screenNumber, xcb_screen_t* screen);

    xcb_connection_t* connection_;
    int screenNumber_;
    xcb_screen_t* screen_;
    QHash<QByteArray, xcb_atom_t> atoms_;
    std::deque<XcbPointer<xcb_generic_event_t>> waiting_;
    xcb_window_t clockWindow_ = XCB_NONE;
};

} // namespace velmo
