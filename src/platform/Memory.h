#pragma once
// platform::returnFreedMemory: hands the heap's free pages back to the
// system. A long search frees tens of megabytes at once when it ends; the
// allocator would otherwise keep them resident, per thread arena, for the
// rest of the host's life.
//
// Threading: may be called from any thread.
//
//   finder.releaseFiles();
//   platform::returnFreedMemory();

namespace platform {

void returnFreedMemory();

}  // namespace platform
