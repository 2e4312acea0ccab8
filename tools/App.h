// The program behind main.
#pragma once

namespace recognize {

enum ExitStatus { kAllRecognized = 0, kSomeFailed = 1, kWrongUsage = 2 };

// Runs the program with main's arguments; returns its exit status.
int RunApp(int argc, const char* const* argv);

}  // namespace recognize
