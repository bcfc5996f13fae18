#include <RZCore/platform/RZPlatform.h>

#include <sys/stat.h>

namespace RZPlatform {

bool restrictSettingsFile(const std::string& utf8Path)
{
    return !utf8Path.empty() && ::chmod(utf8Path.c_str(), S_IRUSR | S_IWUSR) == 0;
}

} // namespace RZPlatform
