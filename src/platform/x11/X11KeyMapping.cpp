#include "platform/x11/X11KeyMapping.h"

#include "platform/api/KeyEvent.h"

#include <X11/X.h>
#include <X11/keysym.h>
#include <array>
#include <utility>

namespace X11KeyMapping {

int keyCode(std::uint32_t keysym)
{
    static constexpr std::array<std::pair<std::uint32_t, int>, 35> table{{
        {XK_BackSpace, VirtualKey::Delete},
        {XK_Return, VirtualKey::Return},
        {XK_KP_Enter, VirtualKey::KeypadEnter},
        {XK_Tab, VirtualKey::Tab},
        {XK_ISO_Left_Tab, VirtualKey::Tab},
        {XK_Escape, VirtualKey::Escape},
        {XK_Left, VirtualKey::LeftArrow},
        {XK_Right, VirtualKey::RightArrow},
        {XK_Down, VirtualKey::DownArrow},
        {XK_Up, VirtualKey::UpArrow},
        {XK_Home, VirtualKey::Home},
        {XK_End, VirtualKey::End},
        {XK_Prior, VirtualKey::PageUp},
        {XK_Next, VirtualKey::PageDown},
        {XK_Delete, VirtualKey::ForwardDelete},
        {XK_F1, VirtualKey::F1},
        {XK_F2, VirtualKey::F2},
        {XK_F3, VirtualKey::F3},
        {XK_F4, VirtualKey::F4},
        {XK_F5, VirtualKey::F5},
        {XK_F6, VirtualKey::F6},
        {XK_F7, VirtualKey::F7},
        {XK_F8, VirtualKey::F8},
        {XK_F9, VirtualKey::F9},
        {XK_F10, VirtualKey::F10},
        {XK_F11, VirtualKey::F11},
        {XK_F12, VirtualKey::F12},
        {XK_F13, VirtualKey::F13},
        {XK_F14, VirtualKey::F14},
        {XK_F15, VirtualKey::F15},
        {XK_F16, VirtualKey::F16},
        {XK_F17, VirtualKey::F17},
        {XK_F18, VirtualKey::F18},
        {XK_F19, VirtualKey::F19},
        {XK_F20, VirtualKey::F20},
    }};
    for (const auto& [symbol, code] : table)
        if (symbol == keysym)
            return code;
    return 0;
}

std::uint64_t modifierFlags(unsigned int state)
{
    std::uint64_t flags = 0;
    if (state & ShiftMask)
        flags |= ModifierFlag::Shift;
    if (state & LockMask)
        flags |= ModifierFlag::CapsLock;
    if (state & ControlMask)
        flags |= ModifierFlag::Control;
    if (state & Mod1Mask)
        flags |= ModifierFlag::Option;
    if (state & Mod4Mask)
        flags |= ModifierFlag::Command;
    return flags;
}

} // namespace X11KeyMapping
