#include "core/CurrentDesktops.h"

#include "support/core/Environment.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {
namespace {

TEST(CurrentDesktopsTest, AreTheSessionsList)
{
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    EXPECT_THAT(currentDesktops(), testing::ElementsAre(QStringLiteral("ubuntu"), QStringLiteral("GNOME")));
    desktop.assign(":KDE:");
    EXPECT_THAT(currentDesktops(), testing::ElementsAre(QStringLiteral("KDE")));
    desktop.assign(std::nullopt);
    EXPECT_THAT(currentDesktops(), testing::IsEmpty());
}

} // namespace
} // namespace velmo
