#include "ui/qr_pixels.h"

#include <cstddef>

namespace harbinet {

int QrSide(int modules) { return (modules + 2 * kQrQuietModules) * kQrModulePixels; }

QrPixelRows QrPixels(std::span<const unsigned char> matrix, int modules) {
    const int side = QrSide(modules);
    const auto width = static_cast<std::size_t>(modules);
    const auto module_at = [](int pixel) { return pixel / kQrModulePixels - kQrQuietModules; };
    const auto inside = [modules](int module) { return module >= 0 && module < modules; };

    QrPixelRows pixels;
    pixels.reserve(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    for (int y = 0; y < side; ++y) {
        const int row = module_at(y);
        for (int x = 0; x < side; ++x) {
            const int column = module_at(x);
            const bool dark =
                inside(row) && inside(column) &&
                (matrix[static_cast<std::size_t>(row) * width + static_cast<std::size_t>(column)] &
                 1U) != 0;
            pixels.push_back(dark ? kQrDark : kQrLight);
        }
    }
    return pixels;
}

}  // namespace harbinet
