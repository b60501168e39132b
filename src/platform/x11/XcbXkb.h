#pragma once

// The header of the XKB extension has a field that is named as a C++ keyword.
#include <xcb/xcb.h>

#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
