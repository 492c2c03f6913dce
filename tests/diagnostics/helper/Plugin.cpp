// A library that remembers how often it was called, until it is unloaded.

extern "C" [[gnu::visibility("default")]] int CountCalls() {
    static int s_calls = 0;
    return ++s_calls;
}
