#pragma once

namespace ZKL {

// Keeps the shared library that holds `address` loaded until the process ends.
void KeepLibraryLoaded(const void* address) noexcept;

}  // namespace ZKL
