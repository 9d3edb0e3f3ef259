#include <windows.h>

#include <bcrypt.h>

#include "app/immortal.h"
#include "app/random.h"

namespace harbinet {
namespace {

class CngRandom final : public RandomSource {
public:
    bool Fill(std::span<std::uint8_t> bytes) override {
        return BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                               BCRYPT_USE_SYSTEM_PREFERRED_RNG) >= 0;
    }
    std::uint32_t TickCount() override { return GetTickCount(); }
};

}  // namespace

RandomSource& SystemRandom() { return Immortal<CngRandom>(); }

}  // namespace harbinet
