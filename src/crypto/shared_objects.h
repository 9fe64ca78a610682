// The objects that all users of Botan in a process share, and that end with the process: its locked memory,
// its table of names and its generator.
#pragma once

// Has Botan make them, on the calling thread, and has the end of the process wait for threads that are at
// work (platform/process_end.h) before they end. Further calls do nothing that shows. What Botan cannot make
// now is made at its first use, or fails there.
void PrepareSharedCryptoObjects();
