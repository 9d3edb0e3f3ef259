// The program's entry among what Windows runs when this user logs on. UI thread.
#pragma once

namespace harbinet {

// True when the entry names the running executable, whatever stands around its path.
bool IsAutostartEnabled();

// Writes or deletes the entry; true on success, and when there was nothing to delete.
bool SetAutostart(bool enabled);

}  // namespace harbinet
