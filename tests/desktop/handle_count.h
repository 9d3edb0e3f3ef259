// How many GDI and user handles another process holds.
#pragma once

#include <windows.h>

namespace harbinet::test {

struct HandleCount {
    std::size_t gdi = 0;
    std::size_t user = 0;
};

HandleCount CountHandles(HANDLE process);

}  // namespace harbinet::test
