#include "Picture.h"

#include <png.h>

#include <cstdio>

#include "ZelREKernel/base/MurmurHash3.h"

namespace frame {

std::uint64_t PictureHash(std::span<const std::uint8_t> pixels) {
    return MurmurHash3_x86_64(pixels.data(), static_cast<std::uint32_t>(pixels.size()), 0);
}

bool WritePng(const std::string& path, std::uint32_t width, std::uint32_t height,
              const std::uint8_t* pixels, std::string& error) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr) == 0) {
        error = path + ": " + image.message;
        std::remove(path.c_str());
        return false;
    }
    return true;
}

}  // namespace frame
