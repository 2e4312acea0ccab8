// Text of others, made fit to be shown on a terminal and in a line.
//
// A server, or a file's name, could otherwise move the cursor, retitle the window or feed a
// terminal keystrokes. Dropping the characters would be shorter and would hide that they were
// there.
#pragma once

#include <string>
#include <string_view>

namespace recognize {

// Line ends become blanks. Other control characters (C0 but the tab, DEL, and C1, as UTF-8 or as
// bytes of their own) become "\x1b". All else passes, in whatever encoding.
std::string PlainText(std::string_view text);

}  // namespace recognize
