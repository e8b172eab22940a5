#pragma once

namespace vesk {

// For a program that reads a whole vault into memory again and again: memory that is let go stays with the allocator
// instead of going back to the system, so that the next reading costs no page faults, and all threads share one arena.
void keepFreedMemory();

}  // namespace vesk
