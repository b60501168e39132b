#include "platform/x11/X11OwnWindows.h"

#include "core/Identity.h"

#include <utility>

namespace velmo {
namespace {

/// Window managers put at most a frame and a wrapper around a client's window.
constexpr int kDeepestClient = 3;

struct Candidate {
    xcb_window_t window;
    xcb_window_t topLevel;
};

bool hasOwnClass(const QByteArray& property)
{
    // Instance and class, each ended by a zero byte.
    const auto names = property.split('\0');
    const QByteArray own(kApplicationIdentifier);
    return names.value(0) == own || names.value(1) == own;
}

std::vector<Candidate> childrenOf(X11Connection& connection, const std::vector<Candidate>& parents)
{
    std::vector<xcb_query_tree_cookie_t> cookies;
    cookies.reserve(parents.size());
    for (const auto& parent : parents)
        cookies.push_back(xcb_query_tree(connection.get(), parent.window));
    std::vector<Candidate> children;
    for (std::size_t i = 0; i < parents.size(); ++i) {
        for (const xcb_window_t child : awaitChildren(connection.get(), cookies[i]))
            children.push_back({child, parents[i].topLevel});
    }
    return children;
}

} // namespace

std::unordered_set<xcb_window_t> findOwnWindows(X11Connection& connection,
                                                const std::vector<xcb_window_t>& topLevels,
                                                const std::optional<X11ResourceRange>& ownResources)
{
    const xcb_atom_t managedState = connection.atom("WM_STATE");
    std::unordered_set<xcb_window_t> own;
    std::vector<Candidate> level;
    level.reserve(topLevels.size());
    for (const xcb_window_t window : topLevels)
        level.push_back({window, window});

    for (int depth = 0; depth < kDeepestClient && !level.empty(); ++depth) {
        std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> cookies;
        cookies.reserve(level.size());
        for (const auto& candidate : level) {
            cookies.emplace_back(requestProperty(connection.get(), candidate.window, managedState),
                                 requestProperty(connection.get(), candidate.window, XCB_ATOM_WM_CLASS));
        }
        std::vector<Candidate> inside;
        for (std::size_t i = 0; i < level.size(); ++i) {
            const bool managed = !awaitNumbers(connection.get(), cookies[i].first).empty();
            const bool ownClass = hasOwnClass(awaitBytes(connection.get(), cookies[i].second));
            const bool ours = ownClass || (ownResources && ownResources->contains(level[i].window));
            // Inside another window only a managed one makes that window ours: our tray icon lives inside a
            // panel, and the panel has to stay in the picture.
            if (ours && (depth == 0 || managed))
                own.insert(level[i].topLevel);
            else if (!managed)
                inside.push_back(level[i]);
        }
        level = depth + 1 < kDeepestClient ? childrenOf(connection, inside) : std::vector<Candidate>{};
    }
    return own;
}

} // namespace velmo
