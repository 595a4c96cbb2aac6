#pragma once

#include <QString>
#include <array>
#include <cstdint>

// Key identities of the expansion engine. They keep the virtual key codes the engine was
// designed around; the platform layer translates its own key symbols into them.
namespace VirtualKey {
inline constexpr int Return = 36;
inline constexpr int Tab = 48;
inline constexpr int Delete = 51; // the backspace key
inline constexpr int Escape = 53;
inline constexpr int KeypadEnter = 76;
inline constexpr int LeftArrow = 123;
inline constexpr int RightArrow = 124;
inline constexpr int DownArrow = 125;
inline constexpr int UpArrow = 126;
inline constexpr int F1 = 122;
inline constexpr int F2 = 120;
inline constexpr int F3 = 99;
inline constexpr int F4 = 118;
inline constexpr int F5 = 96;
inline constexpr int F6 = 97;
inline constexpr int F7 = 98;
inline constexpr int F8 = 100;
inline constexpr int F9 = 101;
inline constexpr int F10 = 109;
inline constexpr int F11 = 103;
inline constexpr int F12 = 111;
inline constexpr int F13 = 105;
inline constexpr int F14 = 107;
inline constexpr int F15 = 113;
inline constexpr int F16 = 106;
inline constexpr int F17 = 64;
inline constexpr int F18 = 79;
inline constexpr int F19 = 80;
inline constexpr int F20 = 90;
inline constexpr int Home = 115;
inline constexpr int End = 119;
inline constexpr int PageUp = 116;
inline constexpr int PageDown = 121;
inline constexpr int ForwardDelete = 117;

// Keys whose press ends what the user was typing: the cursor moved or the line ended.
// 131 stands where F7's code would be expected; F7 itself (98) does not reset.
inline constexpr std::array<int, 28> resetKeyCodes = {
    Return, KeypadEnter, Tab, Escape, LeftArrow, RightArrow, DownArrow, UpArrow, F1,  F2,
    F3,     F4,          F5,  F6,     131,       F8,         F9,        F10,     F11, F12,
    F13,    F14,         F15, F16,    F17,       F18,        F19,       F20};

constexpr bool isResetKey(int keyCode)
{
    for (int code : resetKeyCodes)
        if (code == keyCode)
            return true;
    return false;
}
} // namespace VirtualKey

namespace ModifierFlag {
inline constexpr std::uint64_t CapsLock = 0x10000;
inline constexpr std::uint64_t Shift = 0x20000;
inline constexpr std::uint64_t Control = 0x40000;
inline constexpr std::uint64_t Option = 0x80000;   // Alt
inline constexpr std::uint64_t Command = 0x100000; // Super
inline constexpr std::uint64_t Function = 0x800000;
// A chord with any of these is a shortcut, not typing.
inline constexpr std::uint64_t shortcutMask = Control | Option | Command;
} // namespace ModifierFlag

// One key press as the monitor saw it: the key's identity, the modifiers held, and the text
// the key produced in the current layout (empty for keys without text).
struct KeyEvent {
    int keyCode = 0;
    std::uint64_t flags = 0;
    QString text;
};
