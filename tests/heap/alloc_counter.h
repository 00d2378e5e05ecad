// Counts the heap calls that libcirrow.so itself makes, and can make them fail: malloc, calloc,
// realloc and free are interposed in the test program, and a call counts when its return address
// lies in the library.
#pragma once

#include <cstdint>

namespace cwt {

struct HeapCalls {
    uint32_t allocs = 0;
    uint32_t frees = 0;
};

// Starts counting from zero.
void heap_reset();
HeapCalls heap_calls();
// Makes the library's next `count` allocations fail (return null).
void heap_fail_next(uint32_t count);
// False where interposing is not possible (under AddressSanitizer, which owns malloc).
bool heap_counting_available();

}  // namespace cwt
