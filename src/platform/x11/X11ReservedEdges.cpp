#include "platform/x11/X11ReservedEdges.h"

#include "platform/x11/X11Toolkit.h"

#include <algorithm>
#include <array>

namespace velmo {
namespace {

/// Those of all windows, in order.
std::vector<xcb_window_t> childrenOf(xcb_connection_t* connection, const std::vector<xcb_window_t>& windows)
{
    std::vector<xcb_query_tree_cookie_t> cookies;
    cookies.reserve(windows.size());
    for (const xcb_window_t window : windows)
        cookies.push_back(xcb_query_tree(connection, window));
    std::vector<xcb_window_t> all;
    for (const auto cookie : cookies) {
        const auto children = awaitChildren(connection, cookie);
        all.insert(all.end(), children.begin(), children.end());
    }
    return all;
}

/// Without borders, on the root; empty when the window is gone.
QRect areaOnRoot(xcb_connection_t* connection, xcb_window_t window)
{
    const auto pendingSize = xcb_get_geometry(connection, window);
    const auto pendingPlace =
        xcb_translate_coordinates(connection, window, toolkitScreen(connection).root, 0, 0);
    const auto size = awaitReply(connection, xcb_get_geometry_reply, pendingSize);
    const auto place = awaitReply(connection, xcb_translate_coordinates_reply, pendingPlace);
    return size && place ? QRect(place->dst_x, place->dst_y, size->width, size->height) : QRect();
}

/// How deep it reaches in from the left, right, top and bottom of the desktop, then where along each of them
/// it begins and ends.
using Strut = std::array<int, 12>;

Strut strutFrom(const std::vector<quint32>& numbers)
{
    Strut strut{};
    const auto count = std::min(numbers.size(), strut.size());
    std::transform(numbers.begin(), numbers.begin() + static_cast<std::ptrdiff_t>(count), strut.begin(),
                   [](quint32 number) { return static_cast<int>(number); });
    return strut;
}

struct Claim {
    xcb_window_t window;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_property_cookie_t partial;
    xcb_get_property_cookie_t whole;

    /// Nothing when nothing is shown or claimed.
    [[nodiscard]] std::optional<Strut> await(xcb_connection_t* connection) const
    {
        const auto state = awaitReply(connection, xcb_get_window_attributes_reply, attributes);
        const auto numbers = awaitNumbers(connection, partial);
        auto depths = awaitNumbers(connection, whole);
        if (!state || state->map_state != XCB_MAP_STATE_VIEWABLE)
            return std::nullopt;
        if (numbers.size() >= Strut().size())
            return strutFrom(numbers);
        if (depths.size() < 4)
            return std::nullopt;
        // The older property has the depths alone. It counts as far along the edge as the panel goes: of the
        // whole edge, other monitors would have their part without having the panel.
        depths.resize(4);
        Strut strut = strutFrom(depths);
        const QRect own = areaOnRoot(connection, window);
        for (const std::size_t sideways : {4U, 6U}) {
            strut[sideways] = own.top();
            strut[sideways + 1] = own.bottom();
        }
        for (const std::size_t along : {8U, 10U}) {
            strut[along] = own.left();
            strut[along + 1] = own.right();
        }
        return strut;
    }
};

std::vector<X11ReservedEdges::Stripe> stripesOf(xcb_connection_t* connection,
                                                const std::vector<Claim>& claims, QSize desktop)
{
    const int width = desktop.width();
    const int height = desktop.height();
    std::vector<X11ReservedEdges::Stripe> stripes;
    for (const Claim& claim : claims) {
        const auto strut = claim.await(connection);
        if (!strut)
            continue;
        const auto [left, right, top, bottom, leftFrom, leftTo, rightFrom, rightTo, topFrom, topTo,
                    bottomFrom, bottomTo] = *strut;
        stripes.push_back({Qt::LeftEdge, {QPoint(0, leftFrom), QPoint(left - 1, leftTo)}});
        stripes.push_back({Qt::RightEdge, {QPoint(width - right, rightFrom), QPoint(width - 1, rightTo)}});
        stripes.push_back({Qt::TopEdge, {QPoint(topFrom, 0), QPoint(topTo, top - 1)}});
        stripes.push_back(
            {Qt::BottomEdge, {QPoint(bottomFrom, height - bottom), QPoint(bottomTo, height - 1)}});
    }
    std::erase_if(stripes, [](const auto& stripe) { return stripe.area.isEmpty(); });
    return stripes;
}

} // namespace

X11ReservedEdges::Atoms X11ReservedEdges::readAtoms(xcb_connection_t* connection)
{
    const std::array<QByteArray, 6> names{
        "_NET_SUPPORTING_WM_CHECK", "_NET_SUPPORTED",        "_NET_WORKAREA",
        "_NET_CLIENT_LIST",         "_NET_WM_STRUT_PARTIAL", "_NET_WM_STRUT"};
    std::array<xcb_intern_atom_cookie_t, 6> cookies{};
    // Made where nobody has them yet, so that they need not be asked for again.
    std::ranges::transform(names, cookies.begin(), [connection](const QByteArray& name) {
        return xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    });
    std::array<xcb_atom_t, 6> atoms{};
    std::ranges::transform(cookies, atoms.begin(), [connection](xcb_intern_atom_cookie_t cookie) {
        const auto reply = awaitReply(connection, xcb_intern_atom_reply, cookie);
        return reply ? reply->atom : xcb_atom_t{XCB_NONE};
    });
    return {atoms[0], atoms[1], atoms[2], atoms[3], atoms[4], atoms[5]};
}

X11ReservedEdges::Answer X11ReservedEdges::read(xcb_connection_t* connection, bool hasSeveralMonitors)
{
    if (!atoms_)
        atoms_ = readAtoms(connection);
    const xcb_window_t root = toolkitScreen(connection).root;
    const auto pendingManager = requestProperty(connection, root, atoms_->manager);
    const auto pendingSupported = requestProperty(connection, root, atoms_->supported);
    const auto pendingArea = requestProperty(connection, root, atoms_->area);
    const auto pendingClients = requestProperty(connection, root, atoms_->clients);
    const auto pendingTree = xcb_query_tree(connection, root);
    const auto pendingSize = xcb_get_geometry(connection, root);
    const auto manager = awaitNumbers(connection, pendingManager);
    const auto supported = awaitNumbers(connection, pendingSupported);
    const auto area = awaitNumbers(connection, pendingArea);
    const auto clients = awaitNumbers(connection, pendingClients);
    auto windows = awaitChildren(connection, pendingTree);
    const auto size = awaitReply(connection, xcb_get_geometry_reply, pendingSize);

    Answer answer;
    // A manager that ended without a farewell leaves all of these behind, but not the window that says so.
    answer.isAreaPublished = !area.empty() && !manager.empty() &&
                             std::ranges::find(supported, atoms_->area) != supported.end() &&
                             readNumber(connection, manager.front(), atoms_->manager) == manager.front();
    if (!size || (answer.isAreaPublished && !hasSeveralMonitors))
        return answer;
    // Window managers that publish a work area list the panels with the other windows. Others may keep them
    // out of the list, or list nothing: then a panel can be any window, in a frame or without one.
    if (answer.isAreaPublished) {
        windows = clients;
    } else {
        const auto framed = childrenOf(connection, windows);
        windows.insert(windows.end(), framed.begin(), framed.end());
    }
    std::vector<Claim> claims;
    claims.reserve(windows.size());
    for (const xcb_window_t window : windows)
        claims.push_back({window, xcb_get_window_attributes(connection, window),
                          requestProperty(connection, window, atoms_->partialStrut),
                          requestProperty(connection, window, atoms_->strut)});
    answer.stripes = stripesOf(connection, claims, QSize(size->width, size->height));
    return answer;
}

} // namespace velmo
