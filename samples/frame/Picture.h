#pragma once

// The finished picture: pixels of three bytes, and the file that they go to.

#include <cstdint>
#include <span>
#include <string>

namespace frame {

// A number by which two pictures can be compared.
std::uint64_t PictureHash(std::span<const std::uint8_t> pixels);

// Writes a PNG file of `width` x `height` pixels (red, green, blue). False with one line in `error`
// when the file cannot be written whole; nothing half written is left behind.
bool WritePng(const std::string& path, std::uint32_t width, std::uint32_t height,
              const std::uint8_t* pixels, std::string& error);

}  // namespace frame
