#include "sim/show/png.h"

#ifdef FWSTATUS_HAS_PNG
#include <png.h>
#endif

#include <stdexcept>

namespace sim {

#ifdef FWSTATUS_HAS_PNG

void write_png(const std::string& path, const pixels_t& pixels) {
    static_assert(sizeof(pixels_t::colour_t) == 3, "rows are handed over as they lie in memory");
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = pixels.width;
    image.height = pixels.height;
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, pixels.colours.data(), 0, nullptr) == 0) {
        throw std::runtime_error{path + ": " + image.message};
    }
}

#else

void write_png(const std::string& path, const pixels_t& /*pixels*/) {
    throw std::runtime_error{path + ": this build of the simulator has no libpng"};
}

#endif

}  // namespace sim
