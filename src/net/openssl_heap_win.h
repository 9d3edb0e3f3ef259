// OpenSSL's heap. What a connection's encryption holds comes and goes by the tens of kilobytes; in
// one heap with the sessions, links and log lines that stay for hours, these would settle in the
// gaps, and each next connection would find only gaps that are too small.
#pragma once

namespace harbinet {

// From here on OpenSSL's memory comes from a heap of its own. False when there is none to be had,
// or when OpenSSL holds memory already: it stays with the heap of everybody then. UI thread, before
// anything else of OpenSSL is used.
bool GiveOpenSslItsOwnHeap();

}  // namespace harbinet
