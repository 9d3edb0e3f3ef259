// The endpoints of share links, as handlers for the route table: making one, and what everybody who
// holds one may do. Each runs on its connection's own thread, writes its whole reply and logs what
// it did.
#pragma once

#include <string_view>

#include "files/file_service.h"
#include "files/shares/share_table.h"

namespace harbinet {

// What the file endpoints work with, and the links.
struct ShareServices : FileServices {
    ShareTable& shares;
};

// Behind the login gate.
void ServeCreateShareLink(const ShareServices& services, Exchange& exchange);

// For everyone who holds a link. `page` is the shared folder page.
void ServeFileLink(const ShareServices& services, Exchange& exchange);
void ServeFolderLinkGet(const ShareServices& services, std::string_view page, Exchange& exchange);
void ServeFolderLinkPost(const ShareServices& services, Exchange& exchange);

}  // namespace harbinet
