// The endpoint that packs selected files of one folder into an archive.
#pragma once

#include "files/file_service.h"

namespace harbinet {

// Behind the login gate.
void ServeZip(const FileServices& services, Exchange& exchange);

}  // namespace harbinet
