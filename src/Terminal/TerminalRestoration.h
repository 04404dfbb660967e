#pragma once

#include <termios.h>

namespace halvo {

// What restoreTerminal() has to undo. A signal handler reads it, so it stands outside every object; there is
// one terminal for a process.

void noteRawMode(int descriptor, const termios& original) noexcept;
/// Sets the mode that noteRawMode() was given.
void restoreNotedMode() noexcept;
void noteHiddenCursor(int descriptor) noexcept;
void noteCursorShown() noexcept;

} // namespace halvo
