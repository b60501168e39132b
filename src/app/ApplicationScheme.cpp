#include "app/ApplicationScheme.h"

#include "widgets/WindowPalette.h"

#include <QApplication>

namespace velmo {

ApplicationScheme::ApplicationScheme(ColorScheme& scheme)
    : scheme_(scheme)
{
    scheme_.setChangeHandler([this] { follow(); });
    follow();
}

ApplicationScheme::~ApplicationScheme()
{
    scheme_.setChangeHandler({});
}

/// The toolkit's colours stay where they are of the right scheme, since menus and dialogs of the toolkit's
/// own look most like the desktop's with them.
void ApplicationScheme::follow()
{
    // Some desktops' plug-ins change them while the program runs.
    if (!replacesColors_)
        hasDarkColors_ = WindowTheme::isDark(QApplication::palette());
    const auto preference = scheme_.preference();
    const bool wantsDark = preference == ColorScheme::Preference::Dark;
    const bool isReplaced = preference != ColorScheme::Preference::None && wantsDark != hasDarkColors_;
    if (isReplaced)
        QApplication::setPalette(applicationPalette(wantsDark ? WindowTheme::dark() : WindowTheme::light()));
    else if (replacesColors_)
        QApplication::setPalette(QPalette());
    replacesColors_ = isReplaced;
}

} // namespace velmo
