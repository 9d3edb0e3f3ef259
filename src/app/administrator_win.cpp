#include "app/administrator_win.h"

#include <windows.h>

namespace harbinet {

bool IsAdmin() {
    alignas(SID) BYTE administrators[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof administrators;
    BOOL is_member = FALSE;
    return CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &size) &&
           CheckTokenMembership(nullptr, administrators, &is_member) && is_member;
}

}  // namespace harbinet
