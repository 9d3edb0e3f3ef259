#include <windows.h>

#include "app/clock.h"

namespace harbinet {

LocalTime SystemLocalTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,         now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds};
}

}  // namespace harbinet
