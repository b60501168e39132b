#include "support/x11/SplitMonitors.h"

#include "support/x11/Await.h"

#include <QGuiApplication>
#include <QScreen>
#include <array>
#include <xcb/randr.h>
#include <xcb/xcbext.h>

namespace velmo::test {
namespace {

QStringList screenNames()
{
    QStringList names;
    if (qGuiApp != nullptr) {
        for (const auto* screen : QGuiApplication::screens())
            names << screen->name();
    }
    return names;
}

std::vector<quint32> outputsOf(const X11Connection& connection)
{
    const auto reply =
        connection.await(xcb_randr_get_screen_resources_current_reply,
                         xcb_randr_get_screen_resources_current(connection.get(), connection.root()));
    if (!reply)
        return {};
    const auto* first = xcb_randr_get_screen_resources_current_outputs(reply.get());
    return {first, first + xcb_randr_get_screen_resources_current_outputs_length(reply.get())};
}

} // namespace

SplitMonitors::SplitMonitors(Primary primary)
    : screensBefore_(screenNames())
{
    // The monitor that the server made by itself goes once another one has its outputs. The toolkit must not
    // look in between: the server announces a monitor with outputs only.
    xcb_grab_server(connection_->get());
    add("west", kWest, primary == Primary::West, outputsOf(*connection_));
    add("east", kEast, primary == Primary::East, {});
    xcb_ungrab_server(connection_->get());
    connection_->sync();
}

bool SplitMonitors::awaitToolkit() const
{
    const QStringList expected{QStringLiteral("west"), QStringLiteral("east")};
    return awaitCondition([&] {
        const QStringList names = screenNames();
        // The primary one comes first.
        return names.size() == expected.size() && names.contains(expected[0]) && names.contains(expected[1]);
    });
}

SplitMonitors::~SplitMonitors()
{
    xcb_grab_server(connection_->get());
    for (const xcb_atom_t name : names_)
        xcb_randr_delete_monitor(connection_->get(), connection_->root(), name);
    xcb_ungrab_server(connection_->get());
    connection_->sync();
    awaitCondition([this] { return screenNames() == screensBefore_; });
}

void SplitMonitors::add(const char* name, const QRect& area, bool isPrimary,
                        const std::vector<quint32>& outputs)
{
    names_.push_back(connection_->atom(name));
    xcb_randr_monitor_info_t info{};
    info.name = names_.back();
    info.primary = isPrimary ? 1 : 0;
    info.nOutput = static_cast<uint16_t>(outputs.size());
    info.x = static_cast<int16_t>(area.x());
    info.y = static_cast<int16_t>(area.y());
    info.width = static_cast<uint16_t>(area.width());
    info.height = static_cast<uint16_t>(area.height());
    // The library's own function for this request sends a wrong length now and then, so the request is put
    // together here: four bytes that the library fills in, the root, the structure, its outputs.
    std::array<quint32, 2> head{0, connection_->root()};
    std::vector<quint32> body(outputs);
    xcb_protocol_request_t request{3, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
    // The library wants room for two parts of its own before the first.
    std::array<iovec, 5> parts{{{nullptr, 0},
                                {nullptr, 0},
                                {head.data(), sizeof head},
                                {&info, sizeof info},
                                {body.data(), body.size() * sizeof(quint32)}}};
    xcb_send_request(connection_->get(), 0, parts.data() + 2, &request);
    connection_->sync();
}

} // namespace velmo::test
