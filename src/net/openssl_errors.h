// Turns the calling thread's OpenSSL error queue into log lines, "TLS: " and OpenSSL's own text.
#pragma once

#include "app/event_log.h"

namespace harbinet {

// Empties the queue into the log.
void LogOpenSslErrors(EventLog& log);

// Empties the queue but leaves out what a visitor causes without harm: the alert of a browser that
// distrusts the self-signed certificate, and a peer that just goes away. True when a line was
// written.
bool LogHandshakeErrors(EventLog& log);

}  // namespace harbinet
