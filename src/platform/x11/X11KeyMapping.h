#pragma once

#include <cstdint>

// Translation of X11 key symbols and modifier state into the engine's key identities.
namespace X11KeyMapping {

// The engine's code for the keys it treats specially (Delete, Return, arrows, function keys,
// Home/End/Page keys); 0 for every other key.
int keyCode(std::uint32_t keysym);

// Shift, Caps Lock, Control, Alt (Mod1) and Super (Mod4) from an X event's state field.
std::uint64_t modifierFlags(unsigned int state);

} // namespace X11KeyMapping
