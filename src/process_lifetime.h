// Bytes that stay allocated until the process ends: default texts that were overwritten, and the
// resources and texts of an engine list that Init replaced, which an open session may still borrow.
// They remain reachable, so a leak checker stays silent.
#pragma once

// Takes over an array that was allocated with new[]; null is ignored. Any thread.
void KeepForProcessLifetime(const char* bytes);
