#include "core/platform/Memory.h"

#include <climits>
#include <malloc.h>

namespace vesk {

void keepFreedMemory() {
  mallopt(M_ARENA_MAX, 2);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TOP_PAD, 1 << 20);
}

}  // namespace vesk
