// Runs an input of a call fuzzer, on the library or on the front, which stay started from one input to the next. Each
// input begins with one card in one reader and leaves nothing behind.
#pragma once

#include "tests/fuzz/calls/call_decoder.h"

#include <string_view>

namespace fuzz {

// To be called once, before the first input. With `logs`, every line of the log is made.
void StartLibrary(bool logs);
void StartFront(bool logs);
void StartLibraryForThreads();

// `prologue` is played first, with the same powers but for the choice of operations.
void RunOnLibrary(std::string_view input, const Powers& powers, std::string_view prologue = "");
void RunOnFront(std::string_view input, const Powers& powers, std::string_view prologue = "");

// Each part of the input up to a '|' is a thread's, four at most. The library gets the mutex callbacks that it wants from
// hosts with threads.
void RunThreadsOnLibrary(std::string_view input);
void RunThreadsOnFront(std::string_view input);

} // namespace fuzz
