#include "app/ui_thread.h"

#include <thread>

namespace harbinet {
namespace {

// Made before main runs, by the thread that will run it.
const std::thread::id kUiThread = std::this_thread::get_id();

}  // namespace

bool IsUiThread() { return std::this_thread::get_id() == kUiThread; }

}  // namespace harbinet
