#pragma once

#include <termios.h>

namespace halvo {

// What restoreTerminal() has to undo. The thread that waits for signals reads it, so it stands outside every
// object; there is one terminal for a process.

void noteRawMode(int descriptor, const termios& original, const termios& raw) noexcept;
/// Sets the mode that noteRawMode() was given.
void restoreNotedMode() noexcept;
void noteHiddenCursor(int descriptor) noexcept;
void noteCursorShown() noexcept;

} // namespace halvo
