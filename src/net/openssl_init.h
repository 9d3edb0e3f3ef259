// OpenSSL's start-up.
#pragma once

namespace harbinet {

// Starts the library before anything else of it is used; calling it again changes nothing. Any
// thread.
void InitOpenSsl();

}  // namespace harbinet
