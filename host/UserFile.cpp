#include "UserFile.h"

#include "Alerts.h"

#include <cstring>

namespace sorvane::host {

UserFile openUserFile(const std::string& path, const char* mode)
{
    UserFile file(std::fopen(path.c_str(), (std::string(mode) + 'e').c_str())); // not for a process the host starts
    if (!file) {
        const bool saving = std::strchr(mode, 'w') != nullptr;
        Alerts::instance().add("Kestrune : File Access Error",
                               std::string("Failed to ") + (saving ? "write to" : "read from") + " file " + path +
                                   "\nThis is often due to permissions settings\nYour data has not been " +
                                   (saving ? "saved" : "loaded"));
    }
    return file;
}

} // namespace sorvane::host
