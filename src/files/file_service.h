// The file endpoints below the web root, as handlers for the route table. Each runs on its
// connection's own thread, writes its whole reply and logs what it did.
#pragma once

#include "app/event_log.h"
#include "app/web_root.h"
#include "files/file_system.h"
#include "http/router.h"

namespace harbinet {

// What every file endpoint works with. All of it lives as long as the process.
struct FileServices {
    FileSystem& files;
    const WebRoot& web_root;
    EventLog& log;
};

// Behind the login gate.
void ServeListing(const FileServices& services, Exchange& exchange);
void ServeDownload(const FileServices& services, Exchange& exchange);
void ServeUpload(const FileServices& services, Exchange& exchange);
void ServeMakeFolder(const FileServices& services, Exchange& exchange);
void ServeRemoveFolder(const FileServices& services, Exchange& exchange);
void ServeDelete(const FileServices& services, Exchange& exchange);
void ServeDeleteMany(const FileServices& services, Exchange& exchange);

}  // namespace harbinet
