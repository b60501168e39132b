#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// A folder may include itself and what stands here; longer paths are looked up first.
const std::map<std::string, std::set<std::string>> kAllowed{
    {"core/async", {"core"}},
    {"core", {"core/async", "platform", "providers"}},
    {"platform", {"core", "core/async"}},
    {"platform/x11", {"core", "core/async", "platform"}},
    {"platform/linux", {"core", "core/async", "platform"}},
    {"providers", {"core", "core/async", "platform"}},
    {"capture", {"core", "core/async", "platform"}},
    {"input", {"core", "core/async", "platform", "widgets"}},
    {"widgets", {"core", "platform"}},
    {"overlay", {"core", "core/async", "platform", "widgets"}},
    {"markdown", {}},
    {"voice", {"core", "core/async", "platform"}},
    {"updates", {"core", "core/async", "platform", "widgets"}},
    {"panel", {"core", "core/async", "platform", "widgets", "markdown", "overlay", "voice"}},
    {"permissions", {"core", "core/async", "platform", "widgets"}},
    {"settings", {"core", "core/async", "platform", "widgets"}},
    {"app",
     {"core", "core/async", "platform", "platform/x11", "platform/linux", "providers", "capture", "input",
      "overlay", "panel", "permissions", "settings", "updates", "widgets", "markdown", "voice",
      "app/doctor"}},
    {"app/doctor", {"app", "core", "platform", "platform/x11", "platform/linux"}},
};

/// The base library stands below the seam, although its files share a folder with the session.
const std::set<std::string> kBaseFiles{
    "Clock",    "Console",  "CoordinateSpace", "CurrentDesktops", "DebugLog", "DelayLoadedLibrary", "Erase",
    "Geometry", "Identity", "Loopback",        "Published",       "Result",   "ServiceEndpoint",    "Text"};

/// The folders that may know the session and the settings.
const std::set<std::string> kAboveSession{"app",     "app/doctor", "capture", "input",
                                          "overlay", "panel",      "settings"};

/// What stays below the session although its folder is above it: the monitor is told all that it needs.
const std::set<std::string> kBelowSession{"input/HotkeyMonitor.h", "input/HotkeyMonitor.cpp"};

/// What the session may know of the providers: the contract, never a vendor or the way over the network.
const std::set<std::string> kProviderContract{"providers/LLMProvider.h", "providers/LLMMessage.h",
                                              "providers/LLMError.h"};

/// All that the panel may know of the overlay: it opens pictures.
const std::string kPanelFromOverlay = "overlay/ImagePreviewWindowController.h";

/// Headers of libraries that must not leave their backend's folder.
const std::map<std::string, std::string> kConfined{
    {"xcb/", "platform/x11"},      {"X11/", "platform/x11"},       {"curl/", "platform/linux"},
    {"QDBus", "platform/linux"},   {"systemd/", "platform/linux"}, {"wayland-", "platform/wayland"},
    {"pulse/", "platform/linux"},  {"libav", "platform/linux"},    {"openssl/", "updates"},
    {"proxy.h", "platform/linux"},
};

struct Include {
    std::string file; ///< Relative to src.
    std::string path; ///< As it stands between the quotes or brackets.
};

std::string folderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool isBase(const std::string& path)
{
    return folderOf(path) == "core/async" ||
           (folderOf(path) == "core" && kBaseFiles.contains(fs::path(path).stem().string()));
}

/// Empty when the include is fine.
std::string objection(const Include& include)
{
    const std::string from = folderOf(include.file);
    for (const auto& [prefix, home] : kConfined) {
        if (include.path.starts_with(prefix) && from != home)
            return include.file + " includes " + include.path + ", which stays in " + home;
    }
    const std::string to = folderOf(include.path);
    if (!kAllowed.contains(to) || to == from)
        return {};
    std::string arrow = include.file + " includes " + include.path;
    if (!kAllowed.contains(from))
        return include.file + " is in a folder without rules";
    if (!kAllowed.at(from).contains(to))
        return arrow;
    const bool isAboveSession = kAboveSession.contains(from) && !kBelowSession.contains(include.file);
    if (to == "core" && !isAboveSession && !isBase(include.path))
        return arrow + ", which is above it";
    if (from == "core" && isBase(include.file) && !isBase(include.path))
        return arrow + ", which is above the base";
    if (from == "panel" && to == "overlay" && include.path != kPanelFromOverlay)
        return arrow + ", which is more than the preview";
    if (from == "core" && to == "providers" && !kProviderContract.contains(include.path))
        return arrow + ", which is not the providers' contract";
    return {};
}

std::vector<Include> includesOf(const fs::path& root)
{
    static const std::regex pattern(R"re(^\s*#\s*include\s*["<]([^">]+)[">])re");
    std::vector<Include> found;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const auto extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp")
            continue;
        std::ifstream input(entry.path());
        std::smatch match;
        for (std::string line; std::getline(input, line);) {
            if (std::regex_search(line, match, pattern))
                found.push_back({fs::relative(entry.path(), root).generic_string(), match[1].str()});
        }
    }
    return found;
}

TEST(IncludeArrows, EveryIncludeFollowsTheArrows)
{
    const auto includes = includesOf(VELMO_SOURCE_DIRECTORY);
    ASSERT_GT(includes.size(), 300U) << "the sources were not found";
    std::vector<std::string> objections;
    for (const Include& include : includes) {
        if (const std::string text = objection(include); !text.empty())
            objections.push_back(text);
    }
    EXPECT_THAT(objections, testing::IsEmpty());
}

TEST(IncludeArrows, ForbiddenIncludesAreObjectedTo)
{
    const std::vector<Include> forbidden{
        {"providers/AnthropicProvider.cpp", "core/AnnotationSession.h"},
        {"core/AnnotationSession.cpp", "providers/AnthropicProvider.h"},
        {"core/AnnotationSession.cpp", "overlay/OverlayWindowController.h"},
        {"core/DebugLog.cpp", "platform/HttpClient.h"},
        {"overlay/OverlaySurface.cpp", "panel/QueryInputPanel.h"},
        {"panel/QueryInputPanel.cpp", "platform/x11/X11WindowSurfaces.h"},
        {"platform/x11/X11EventTap.cpp", "core/SettingsManager.h"},
        {"platform/Screens.h", "core/AnnotationSession.h"},
        {"panel/QueryPanelController.cpp", "app/AppDelegate.h"},
        {"panel/QueryPanelContentView.cpp", "overlay/OverlaySurface.h"},
        {"markdown/IncrementalRenderer.cpp", "core/Text.h"},
        {"overlay/OverlaySurface.cpp", "markdown/StyledText.h"},
        {"app/AppDelegate.cpp", "xcb/xcb.h"},
        {"app/doctor/DoctorCommand.cpp", "systemd/sd-bus.h"},
        {"app/doctor/DoctorCommand.cpp", "panel/QueryPanelController.h"},
        {"providers/LLMTransport.cpp", "curl/curl.h"},
        {"input/HotkeyMonitor.cpp", "core/SettingsManager.h"},
        {"input/MenuBarController.cpp", "app/AppDelegate.h"},
        {"permissions/PermissionsView.cpp", "core/SettingsManager.h"},
        {"permissions/PermissionChecker.cpp", "platform/linux/LinuxPermissions.h"},
        {"panel/QueryPanelController.cpp", "permissions/PermissionChecker.h"},
        {"settings/SettingsView.cpp", "input/HotkeyCaptureSheet.h"},
        {"settings/SettingsView.cpp", "app/AppDelegate.h"},
        {"widgets/FormSection.cpp", "core/SettingsManager.h"},
        {"strange/New.cpp", "core/Text.h"},
    };
    for (const Include& include : forbidden)
        EXPECT_FALSE(objection(include).empty()) << include.file << " includes " << include.path;
}

TEST(IncludeArrows, PermittedIncludesPass)
{
    const std::vector<Include> permitted{
        {"core/AnnotationSession.cpp", "providers/LLMProvider.h"},
        {"core/AnnotationSession.cpp", "core/async/Timer.h"},
        {"platform/x11/X11EventTap.cpp", "xcb/xinput.h"},
        {"platform/linux/CurlTransfer.cpp", "curl/curl.h"},
        {"panel/QueryPanelController.cpp", "core/AnnotationSession.h"},
        {"panel/QueryPanelContentView.cpp", "overlay/ImagePreviewWindowController.h"},
        {"panel/MessageTextView.cpp", "markdown/StyledText.h"},
        {"input/MenuBarController.h", "core/AnnotationSession.h"},
        {"input/StatusMenu.cpp", "widgets/WindowTheme.h"},
        {"permissions/OnboardingWindowController.cpp", "core/async/MainLoop.h"},
        {"app/AppDelegate.cpp", "permissions/PermissionChecker.h"},
        {"settings/SettingsView.h", "core/SettingsManager.h"},
        {"app/AppDelegate.cpp", "panel/QueryPanelController.h"},
    };
    for (const Include& include : permitted)
        EXPECT_EQ(objection(include), "");
}

} // namespace
