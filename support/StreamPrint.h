// Printing on a standard stream without waiting for ever for whoever reads it.
#pragma once

#include <cstdio>
#include <string_view>

// On `stream`, standard output or standard error, behind what the host itself has printed there.
// What finds a full pipe that takes nothing for a second is lost, and until it takes something
// again nothing waits for it.
void PrintOn(std::FILE* stream, std::string_view text);

// Whether a short text that others print there, without this care, would not wait.
bool HasRoomNow(std::FILE* stream);

// In the child of a fork: the threads that printed are gone.
void GoOnPrintingInChild();
