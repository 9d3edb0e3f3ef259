// The picture of a QR code: 4 x 4 pixels a module and a quiet zone of four modules. Pure functions.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "app/large_buffer.h"

namespace harbinet {

inline constexpr int kQrModulePixels = 4;
inline constexpr int kQrQuietModules = 4;
inline constexpr std::uint32_t kQrDark = 0xFF000000;
inline constexpr std::uint32_t kQrLight = 0xFFFFFFFF;

using QrPixelRows = std::vector<std::uint32_t, LargeBufferAllocator<std::uint32_t>>;

// Pixels of one side for a code of `modules` a side.
int QrSide(int modules);

// Row by row from the top, 32 bits a pixel (ARGB). The lowest bit of each of the modules * modules
// bytes says dark.
QrPixelRows QrPixels(std::span<const unsigned char> matrix, int modules);

}  // namespace harbinet
