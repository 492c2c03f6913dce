// The kernel library's heap is out of a test program's reach here; tests say so and skip.
