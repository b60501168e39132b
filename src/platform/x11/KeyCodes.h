#pragma once

#include <array>
#include <string_view>

namespace velmo {

/// A key as the settings name it, and as the X keyboard does. Both mean a position on the keyboard, not what
/// is printed on it, so that a change of layout changes neither.
struct KeyCodeName {
    int keyCode; ///< Virtual key code.
    std::string_view xkbName;
};

/// Every virtual key code that has a place on a PC keyboard, in order.
inline constexpr std::array<KeyCodeName, 119> kKeyCodeNames{{
    // clang-format off
    {0, "AC01"}, {1, "AC02"}, {2, "AC03"}, {3, "AC04"}, {4, "AC06"}, {5, "AC05"}, {6, "AB01"},
    {7, "AB02"}, {8, "AB03"}, {9, "AB04"}, {10, "LSGT"}, {11, "AB05"}, {12, "AD01"}, {13, "AD02"},
    {14, "AD03"}, {15, "AD04"}, {16, "AD06"}, {17, "AD05"}, {18, "AE01"}, {19, "AE02"},
    {20, "AE03"}, {21, "AE04"}, {22, "AE06"}, {23, "AE05"}, {24, "AE12"}, {25, "AE09"},
    {26, "AE07"}, {27, "AE11"}, {28, "AE08"}, {29, "AE10"}, {30, "AD12"}, {31, "AD09"},
    {32, "AD07"}, {33, "AD11"}, {34, "AD08"}, {35, "AD10"}, {36, "RTRN"}, {37, "AC09"},
    {38, "AC07"}, {39, "AC11"}, {40, "AC08"}, {41, "AC10"}, {42, "BKSL"}, {43, "AB08"},
    {44, "AB10"}, {45, "AB06"}, {46, "AB07"}, {47, "AB09"}, {48, "TAB"}, {49, "SPCE"}, {50, "TLDE"},
    {51, "BKSP"}, {53, "ESC"}, {54, "RWIN"}, {55, "LWIN"}, {56, "LFSH"}, {57, "CAPS"}, {58, "LALT"},
    {59, "LCTL"}, {60, "RTSH"}, {61, "RALT"}, {62, "RCTL"}, {64, "FK17"}, {65, "KPDL"},
    {67, "KPMU"}, {69, "KPAD"}, {71, "NMLK"}, {72, "VOL+"}, {73, "VOL-"}, {74, "MUTE"},
    {75, "KPDV"}, {76, "KPEN"}, {78, "KPSU"}, {79, "FK18"}, {80, "FK19"}, {81, "KPEQ"}, {82, "KP0"},
    {83, "KP1"}, {84, "KP2"}, {85, "KP3"}, {86, "KP4"}, {87, "KP5"}, {88, "KP6"}, {89, "KP7"},
    {90, "FK20"}, {91, "KP8"}, {92, "KP9"}, {93, "AE13"}, {94, "AB11"}, {95, "KPPT"}, {96, "FK05"},
    {97, "FK06"}, {98, "FK07"}, {99, "FK03"}, {100, "FK08"}, {101, "FK09"}, {102, "MUHE"},
    {103, "FK11"}, {104, "HENK"}, {105, "FK13"}, {106, "FK16"}, {107, "FK14"}, {109, "FK10"},
    {110, "COMP"}, {111, "FK12"}, {113, "FK15"}, {114, "INS"}, {115, "HOME"}, {116, "PGUP"},
    {117, "DELE"}, {118, "FK04"}, {119, "END"}, {120, "FK02"}, {121, "PGDN"}, {122, "FK01"},
    {123, "LEFT"}, {124, "RGHT"}, {125, "DOWN"}, {126, "UP"},
    // clang-format on
}};

} // namespace velmo
